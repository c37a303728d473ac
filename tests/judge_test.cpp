// The judge of `make faults`: what it counts and what it does not.

#include "faults/judge.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "faults/line.h"

namespace tarqlog::faults {
namespace {

constexpr char kHeader[] = "A [9:9](f):";

/// The line as a library writes it.
std::string Written(Line line) {
    return "I [12:34](f):" + TextOf(line) + "\n";
}

/// Lines of thread 0.
std::string Written(int first, int end) {
    std::string lines;
    for (int number = first; number < end; ++number) {
        lines += Written({0, number});
    }
    return lines;
}

Verdict VerdictOn(std::string const& content, long due, Window const& window = {}) {
    Judge judge(kHeader, "");
    judge.Read(content);
    return judge.Decide({due}, window);
}

TEST(JudgeTest, TextIsReadBackAsItsLine) {
    for (Line const line : {Line{0, 0}, Line{7, 199}, Line{63, 123456}}) {
        std::string const text = TextOf(line);
        auto const parsed = ParseText(text + "more");
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->line.thread, line.thread);
        EXPECT_EQ(parsed->line.number, line.number);
        EXPECT_EQ(parsed->size, text.size());
    }
}

TEST(JudgeTest, NoByteOfATextMayBeAnotherOrMissing) {
    std::string const text = TextOf({3, 17});
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        SCOPED_TRACE(i);
        std::string changed = text;
        changed[i] = '?';
        EXPECT_FALSE(ParseText(changed));
        EXPECT_FALSE(ParseText(text.substr(0, i)));
        EXPECT_FALSE(ParseText(std::string(text).erase(i, 1)));
    }
}

TEST(JudgeTest, HeaderIsKnownByItsPattern) {
    EXPECT_TRUE(IsHeader("I [12:-4](f):", kHeader));
    EXPECT_TRUE(IsHeader("INFO    [1:2](f):", kHeader));
    EXPECT_TRUE(IsHeader("whatever", ""));
    for (char const* const other : {"", "I [12:34](f)", "I [12:34](f)::", " [12:34](f):",
                                    "I [12:](f):", "I[12:34](f):", "I [12:34](f):I [12:34](f):"}) {
        EXPECT_FALSE(IsHeader(other, kHeader)) << other;
    }
}

TEST(JudgeTest, WholeFileIsWhole) {
    Verdict const verdict = VerdictOn(Written(0, 100), 100);
    EXPECT_EQ(verdict.found, 100);
    EXPECT_EQ(verdict.lost, 0);
    EXPECT_EQ(verdict.doubled, 0);
    EXPECT_EQ(verdict.reordered, 0);
    EXPECT_EQ(verdict.torn, 0);
}

TEST(JudgeTest, LineThatIsNotThereIsLostWithItsBytes) {
    Verdict const verdict = VerdictOn(Written(0, 5) + Written(6, 10), 10);
    EXPECT_EQ(verdict.lost, 1);
    EXPECT_EQ(verdict.lostBytes, static_cast<long>(Written({0, 5}).size()));
    EXPECT_EQ(verdict.lostOfOneThread, 1);
    EXPECT_EQ(verdict.lostBeforeWarning, 0);
}

TEST(JudgeTest, LinesOfAThreadThatWroteNothingAreLost) {
    Judge judge(kHeader, "");
    judge.Read(Written(0, 10));
    EXPECT_EQ(judge.Decide({10, 0, 7}).lost, 7);
}

TEST(JudgeTest, LineThatIsNotDueIsNotMissed) {
    EXPECT_EQ(VerdictOn(Written(0, 12), 10).lost, 0);
}

TEST(JudgeTest, LossBeforeAWarningIsToldFromLossAfterIt) {
    EXPECT_EQ(VerdictOn(Written(0, 50), 60).lostBeforeWarning, 0);
    EXPECT_EQ(VerdictOn(Written(0, 49), 60).lostBeforeWarning, 1);  // the warning itself
    EXPECT_EQ(VerdictOn(Written(0, 30) + Written(31, 60), 60).lostBeforeWarning, 1);
}

TEST(JudgeTest, LossInTheWindowIsToldFromLossOutside) {
    std::string const content = Written(0, 3) + Written(5, 10);  // without 3 and 4
    EXPECT_EQ(VerdictOn(content, 10, {3, 5}).lostOutside, 0);
    EXPECT_EQ(VerdictOn(content, 10, {4, 5}).lostOutside, 1);
    EXPECT_EQ(VerdictOn(content, 10, {3, 4}).lostOutside, 1);
    EXPECT_EQ(VerdictOn(content, 10).lostOutside, 2);
}

TEST(JudgeTest, SecondCopyIsDoubleAlsoInAnotherFile) {
    Judge judge(kHeader, "");
    judge.Read(Written(0, 10) + Written({0, 9}));
    judge.Read(Written({0, 3}));
    Verdict const verdict = judge.Decide({10});
    EXPECT_EQ(verdict.found, 10);
    EXPECT_EQ(verdict.doubled, 2);
    EXPECT_EQ(verdict.reordered, 0);
}

TEST(JudgeTest, LineBehindALaterOneOfItsThreadIsReordered) {
    EXPECT_EQ(VerdictOn(Written(0, 5) + Written(6, 8) + Written({0, 5}), 8).reordered, 1);
    EXPECT_EQ(VerdictOn(Written({1, 7}) + Written({0, 3}), 0).reordered, 0);
}

TEST(JudgeTest, LineWithoutItsEndIsTornOnce) {
    std::string const line = Written({0, 1});
    for (std::string::size_type size = 1; size < line.size(); ++size) {
        SCOPED_TRACE(size);
        Verdict const verdict = VerdictOn(Written({0, 0}) + line.substr(0, size), 1);
        EXPECT_EQ(verdict.torn, 1);
        EXPECT_EQ(verdict.unended, size == line.size() - 1 ? 1 : 0);
    }
}

TEST(JudgeTest, WholeTextInATornLineIsFound) {
    std::string const line = Written({0, 0});
    Verdict const verdict = VerdictOn(line.substr(0, line.size() - 4) + Written({0, 1}), 2);
    EXPECT_EQ(verdict.torn, 1);
    EXPECT_EQ(verdict.lost, 1);
    EXPECT_EQ(verdict.found, 1);
    EXPECT_EQ(verdict.unended, 0);
}

TEST(JudgeTest, TwoTextsOnALineAreTorn) {
    std::string const line = Written({0, 0});
    Verdict const verdict = VerdictOn(line.substr(0, line.size() - 1) + Written({0, 1}), 2);
    EXPECT_EQ(verdict.torn, 1);
    EXPECT_EQ(verdict.lost, 0);
    EXPECT_EQ(verdict.unended, 1);
}

TEST(JudgeTest, TextWithoutItsHeaderIsTorn) {
    EXPECT_EQ(VerdictOn(TextOf({0, 0}) + "\n", 1).torn, 1);
}

TEST(JudgeTest, HoleIsTorn) {
    EXPECT_EQ(VerdictOn(std::string(100, '\0') + Written({0, 0}), 1).torn, 1);
}

TEST(JudgeTest, WhatTheLibraryWritesByItselfIsNotTorn) {
    Judge judge(kHeader, "Log file|Running");
    judge.Read("Log file created\nRunning\n" + Written({0, 0}) + "Runn\nLog fil\n");
    EXPECT_EQ(judge.Decide({1}).torn, 2);
}

}  // namespace
}  // namespace tarqlog::faults
