// `make soak` in its shortest form: that it finds every line, and that it would tell if it did not.

#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

ChildResult SoakWith(std::string const& plant) {
    return RunProgram(TARQLOG_SOAK_PATH, {"0", plant});
}

TEST(SoakTest, EveryLineIsAccountedFor) {
    ChildResult const result = RunProgram(TARQLOG_SOAK_PATH, {"0"});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0) << result.output;
}

/// How many lines each destination admits to have lost.
std::map<std::string, long> LostIn(std::string const& output) {
    std::map<std::string, long> lost;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string name;
        std::string word;
        long number = 0;
        if (fields >> name >> number >> word >> number >> word >> number && word == "found") {
            lost[name] = number;
        }
    }
    return lost;
}

TEST(SoakTest, LinesAreLostWhereThereIsTroubleAndNowhereElse) {
    std::string lossy;
    std::string lossless;
    for (auto const& [name, lost] : LostIn(RunProgram(TARQLOG_SOAK_PATH, {"0"}).output)) {
        (lost > 0 ? lossy : lossless) += name + ' ';
    }
    EXPECT_EQ(lossy, "growing rolling throwing udp ");
    EXPECT_EQ(lossless, "echo shared small stderr stdout syslog ");
}

TEST(SoakTest, LineThatIsMissingIsNoticed) {
    ChildResult const result = SoakWith("dropped-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.errors.find("is there 0 times instead of 1\n"), std::string::npos)
        << result.errors;
}

TEST(SoakTest, LineThatIsThereTwiceIsNoticed) {
    ChildResult const result = SoakWith("doubled-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.errors.find("is there 2 times instead of 1\n"), std::string::npos)
        << result.errors;
}

TEST(SoakTest, LineThatIsTornIsNoticed) {
    ChildResult const result = SoakWith("torn-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: small: torn: I [2026-11-\n"), 0U) << result.errors;
}

TEST(SoakTest, LossThatNobodyAdmitsIsNoticedAmongThoseAdmitted) {
    ChildResult const result = SoakWith("unadmitted-loss");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: growing: has "), 0U) << result.errors;
    EXPECT_NE(result.errors.find("\nsoak: growing: misses "), std::string::npos) << result.errors;
}

TEST(SoakTest, DescriptorThatStaysOpenIsNoticed) {
    ChildResult const result = SoakWith("leaked-descriptor");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: descriptors left open: "), 0U) << result.errors;
}

TEST(SoakTest, MemoryThatGrowsIsNoticed) {
    ChildResult const result = SoakWith("growing-memory");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: the heap has grown from "), 0U) << result.errors;
}

TEST(SoakTest, ThreadThatHangsIsNamed) {
    ChildResult const result = SoakWith("hung-thread");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: no progress:\n  writer soak.3, after step 50\n"), 0U)
        << result.errors;
}

#if !defined(TARQLOG_TEST_TSAN)  // which looks away in the child of many threads: nothing forks

TEST(SoakTest, ChildThatDiesIsNoticed) {
    ChildResult const result = SoakWith("dying-child");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "soak: a child hung or died, with wait status 256\n");
}

#endif

TEST(SoakTest, InterruptedRunAccountsForItsLinesAndLeavesNothingBehind) {
    TemporaryDirectory const directory;
    std::string const script =
        "TMPDIR=$1; export TMPDIR; \"$0\" 60 & until ls \"$1\" | grep -q .; do :; done; "
        "kill -INT $!; wait $!";
    ChildResult const result =
        RunProgram("/bin/sh", {"-c", script, TARQLOG_SOAK_PATH, directory.Path()});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.output.find(" s, interrupted: "), std::string::npos) << result.output;
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(SoakTest, WhatIsNoNumberOfMinutesIsRefused) {
    for (std::string const minutes : {"", "ten", "-1", "1.5", "1 ", "10081", "99999999999"}) {
        SCOPED_TRACE(minutes);
        ChildResult const result = RunProgram(TARQLOG_SOAK_PATH, {minutes});
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.errors,
                  "soak: MINUTES is a whole number from 0 to 10080, not \"" + minutes + "\"\n");
        EXPECT_EQ(result.output, "");
    }
}

TEST(SoakTest, WhatCannotBePlantedIsRefused) {
    ChildResult const result = SoakWith("lost-line");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "soak: there is nothing called \"lost-line\" to be planted\n");
}

}  // namespace
}  // namespace tarqlog
