#include "tarqlog/wrappers.h"

#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/header_formats.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/logger.h"
#include "tarqlog/logsink.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/is_free.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/text_oracle.h"

namespace tarqlog {
namespace {

long long timeMs;

/// Notes each line as a destination would write it, under the full header, and does what the test
/// asks for.
class LineAppender : public AppenderBase {
public:
    typedef std::function<void(LogRecord const&)> Script;

    explicit LineAppender(Script const& script = Script()) : AppenderBase(true), script_(script) {}

    std::vector<std::string> const& Lines() const { return lines_; }

protected:
    void DoAppend(LogRecord const& record) override {
        std::string const header = Header();
        if (script_) {
            script_(record);
        }
        lines_.push_back(header + TextOf(record));
    }

private:
    Script const script_;
    std::vector<std::string> lines_;  // guarded by Mutex()
};

/// Doubles each text; of "none" it leaves nothing.
class DoublingAppender : public RewritingAppender {
public:
    explicit DoublingAppender(boost::shared_ptr<AppenderBase> const& inner)
        : RewritingAppender(inner) {}

protected:
    void Rewrite(LogRecord const& record, std::string& text) override {
        EXPECT_EQ(text, "");
        text = TextOf(record) == "none" ? "" : TextOf(record) + TextOf(record);
    }
};

class WrappersTest : public testing::Test {
protected:
    WrappersTest() {
        timeMs = 1700000000123;
        LogSysInfo::SetGetTimeFunc([] { return timeMs; });
        LogSysInfo::SetGetThreadIdFunc([] { return 4242U; });
    }

    boost::shared_ptr<LineAppender> const inner_ = boost::make_shared<LineAppender>();
    std::mt19937 random_{1700000000};
};

class RewritingAppenderTest : public WrappersTest {};

class EscapingAppenderTest : public WrappersTest {
protected:
    static std::string Escaped(std::string const& text) {
        auto const noting = boost::make_shared<NotingAppender>();
        EscapingAppender appender(noting);
        appender.Append(TaggedRecord(kInfo, text));
        return noting->Texts().at(0);
    }
};

class JsonLinesAppenderTest : public WrappersTest {
protected:
    static std::string Line(Severity severity, std::string const& text,
                            std::vector<std::string> const& parts = {"core", "io"}) {
        auto const inner = boost::make_shared<LineAppender>();
        JsonLinesAppender appender(inner);
        appender.Append(TaggedRecord(severity, text, parts));
        return inner->Lines().at(0);
    }

    /// The line's value of "text" as it stands between its quotes.
    static std::string TextValue(std::string const& text) {
        std::string const line = Line(kInfo, text);
        std::string const before =
            R"({"time":"2023-11-14T22:13:20.123Z","severity":"info","thread":4242,)"
            R"("tag":"core.io","text":")";
        EXPECT_EQ(line.substr(0, before.size()), before);
        EXPECT_EQ(line.substr(line.size() - 2), "\"}");
        return line.substr(before.size(), line.size() - before.size() - 2);
    }
};

// The base of them all.

TEST_F(RewritingAppenderTest, RecordReachesTheInnerAppenderWithItsNewText) {
    DoublingAppender appender(inner_);

    appender.Append(TaggedRecord(kInfo, "ready", {"core"}));

    EXPECT_EQ(inner_->Lines(),
              std::vector<std::string>{"I [2023-11-14 22:13:20.123][t:4242](core):readyready"});
}

TEST_F(RewritingAppenderTest, SeverityTimeThreadIdAndTagAreTheOriginals) {
    DoublingAppender appender(inner_);
    TaggedRecord const record(kDebug | kError, "ready", {"core", "io"});
    timeMs = 0;
    LogSysInfo::SetGetThreadIdFunc([] { return 7U; });

    appender.Append(record);

    EXPECT_EQ(inner_->Lines(),
              std::vector<std::string>{"D [2023-11-14 22:13:20.123][t:4242](core.io):readyready"});
}

TEST_F(RewritingAppenderTest, OriginalStaysAsItWas) {
    DoublingAppender appender(inner_);
    TaggedRecord const record(kInfo, "ready");

    appender.Append(record);
    appender.Append(record);

    EXPECT_EQ(TextOf(record), "ready");
    EXPECT_EQ(inner_->Lines().size(), 2U);
    EXPECT_EQ(inner_->Lines()[1], inner_->Lines()[0]);
}

TEST_F(RewritingAppenderTest, RecordWhoseTextBecomesEmptyIsWrittenNowhere) {
    DoublingAppender appender(inner_);

    appender.Append(TaggedRecord(kInfo, "none"));

    EXPECT_EQ(inner_->Lines(), std::vector<std::string>());
}

TEST_F(RewritingAppenderTest, RecordPassesWhenBothMasksLetIt) {
    DoublingAppender appender(inner_);
    appender.SetSeverity(kInfo | kWarning);
    inner_->SetSeverity(kWarning | kError);

    for (Severity const severity : {kInfo, kWarning, kError}) {
        appender.Append(TaggedRecord(severity, "x"));
    }

    EXPECT_EQ(inner_->Lines(), std::vector<std::string>{"W [2023-11-14 22:13:20.123][t:4242]):xx"});
}

TEST_F(RewritingAppenderTest, NewWrapperAcceptsTheSixLevels) {
    EXPECT_EQ(DoublingAppender(inner_).GetSevertiy(), kAllSeverities);
}

TEST_F(RewritingAppenderTest, HeaderIsTheInnerAppendersAlone) {
    DoublingAppender appender(inner_);
    appender.SetHeaderFunc(PatternHeader("wrapper "));
    inner_->SetHeaderFunc(PatternHeader("%l "));

    appender.Append(TaggedRecord(kInfo, "x"));

    EXPECT_EQ(inner_->Lines(), std::vector<std::string>{"info xx"});
}

TEST_F(RewritingAppenderTest, WithoutAnInnerAppenderRecordsAreLost) {
    TaggedRecord const record(kInfo, "ready");

    EXPECT_NO_THROW(DoublingAppender(nullptr).Append(record));
    EXPECT_NO_THROW(EscapingAppender(nullptr).Append(record));
    EXPECT_NO_THROW(JsonLinesAppender(nullptr).Append(record));
}

TEST_F(RewritingAppenderTest, InnerAppenderLivesAsLongAsTheWrapper) {
    auto appender = boost::make_shared<DoublingAppender>(inner_);
    EXPECT_EQ(inner_.use_count(), 2);

    appender.reset();

    EXPECT_EQ(inner_.use_count(), 1);
}

TEST_F(RewritingAppenderTest, WrapperMayBeWrapped) {
    DoublingAppender appender(boost::make_shared<EscapingAppender>(inner_));
    inner_->SetHeaderFunc(PatternHeader("%n:"));

    appender.Append(TaggedRecord(kInfo, "a\n", {"core"}));

    EXPECT_EQ(inner_->Lines(), std::vector<std::string>{"core:a\\na\\n"});
}

TEST_F(RewritingAppenderTest, BothMutexesAreHeldWhileTheInnerAppenderWrites) {
    std::vector<bool> free;
    AppenderBase* outer = nullptr;
    AppenderBase* inside = nullptr;
    auto const inner = boost::make_shared<LineAppender>([&](LogRecord const&) {
        free = {IsFree(outer->Mutex()), IsFree(inside->Mutex())};
    });
    DoublingAppender appender(inner);
    outer = &appender;
    inside = inner.get();

    appender.Append(TaggedRecord(kInfo, "x"));

    EXPECT_EQ(free, (std::vector<bool>{false, false}));
}

TEST_F(RewritingAppenderTest, WhatTheInnerAppenderThrowsPassesUnchanged) {
    auto const inner =
        boost::make_shared<LineAppender>([](LogRecord const&) { throw std::out_of_range("full"); });
    DoublingAppender appender(inner);

    EXPECT_THROW(appender.Append(TaggedRecord(kInfo, "x")), std::out_of_range);
    EXPECT_TRUE(IsFree(appender.Mutex()));
    EXPECT_TRUE(IsFree(inner->Mutex()));
}

TEST_F(RewritingAppenderTest, InnerAppenderMayLogThroughTheWrapper) {
    AppenderBase* outer = nullptr;
    auto const inner = boost::make_shared<LineAppender>([&](LogRecord const& record) {
        if (TextOf(record) == "outerouter") {
            outer->Append(TaggedRecord(kInfo, "inner"));
        }
    });
    inner->SetHeaderFunc(PatternHeader("%L "));
    DoublingAppender appender(inner);
    outer = &appender;

    appender.Append(TaggedRecord(kInfo, "outer"));

    EXPECT_EQ(inner->Lines(), (std::vector<std::string>{"I innerinner", "I outerouter"}));
}

TEST_F(RewritingAppenderTest, RecordsOfManyThreadsAndTwoWrappersAreWrittenWhole) {
    inner_->SetHeaderFunc(PatternHeader("%t:"));
    DoublingAppender doubling(inner_);
    EscapingAppender escaping(inner_);

    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&doubling, &escaping, i] {
            for (int j = 0; j < 500; ++j) {
                AppenderBase& appender = i % 2 == 0 ? static_cast<AppenderBase&>(doubling)
                                                    : static_cast<AppenderBase&>(escaping);
                appender.Append(TaggedRecord(kInfo, i % 2 == 0 ? "two " : "one\n"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    ASSERT_EQ(inner_->Lines().size(), 2000U);
    int doubled = 0;
    for (std::string const& line : inner_->Lines()) {
        doubled += line == "4242:two two " ? 1 : 0;
        EXPECT_TRUE(line == "4242:two two " || line == "4242:one\\n") << line;
    }
    EXPECT_EQ(doubled, 1000);
}

TEST_F(RewritingAppenderTest, WrapperJoinsASinkInPlaceOfTheInnerAppender) {
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<EscapingAppender>(inner_));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
    Logger logger("core.io");
    ASSERT_TRUE(logger.HasSink(kInfo));
    LogRecord record(kInfo);
    record.WriteData("two\nlines", 9);

    logger.PushRecord(record);
    LogCore::Get()->RemoveAllSinks();

    EXPECT_EQ(inner_->Lines(),
              std::vector<std::string>{"I [2023-11-14 22:13:20.123][t:4242](core.io):two\\nlines"});
}

TEST_F(RewritingAppenderTest, BaseIsAbstract) {
    EXPECT_TRUE(std::is_abstract<RewritingAppender>::value);
    EXPECT_TRUE((std::is_base_of<RewritingAppender, EscapingAppender>::value));
    EXPECT_TRUE((std::is_base_of<RewritingAppender, JsonLinesAppender>::value));
    EXPECT_FALSE((std::is_convertible<boost::shared_ptr<AppenderBase>, EscapingAppender>::value));
}

std::uint32_t const kPlainNumbers[] = {
    ' ',    '!',    '/',    '~',    0xa0,   0xe9,    0x7ff,   0x800,   0x20ac,  0xfff,   0x1000,
    0x2028, 0xd7ff, 0xe000, 0xfffd, 0xffff, 0x10000, 0x1f600, 0x3ffff, 0x40000, 0x10ffff};

std::string const kNotUtf8[] = {
    "\x80",              // the rest of nothing
    "\xbf",              //
    "\xc0\x80",          // overlong
    "\xc1\xbf",          //
    "\xe0\x9f\xbf",      //
    "\xf0\x8f\xbf\xbf",  //
    "\xed\xa0\x80",      // surrogates
    "\xed\xbf\xbf",      //
    "\xf4\x90\x80\x80",  // beyond U+10FFFF
    "\xf5\x80\x80\x80",  //
    "\xfe",              //
    "\xff",              //
    "\xc3",              // cut short
    "\xe2\x82",          //
    "\xf0\x9f\x98",      //
    "\xc3\xc0",          // broken off
    "\xe1\x80\xc0",      //
};

/// Each byte as `\xNN`.
std::string InHex(std::string const& bytes) {
    std::string text;
    for (char const byte : bytes) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned int>(byte) & 0xffU);
        text += hex;
    }
    return text;
}

// Escapes.

TEST_F(EscapingAppenderTest, PlainTextPassesAsItIs) {
    EXPECT_EQ(Escaped("2 of 3: \"caf\xc3\xa9\", 5 \xe2\x82\xac & \xf0\x9f\x98\x80 'n' %d"),
              "2 of 3: \"caf\xc3\xa9\", 5 \xe2\x82\xac & \xf0\x9f\x98\x80 'n' %d");
    for (std::uint32_t const number : kPlainNumbers) {
        SCOPED_TRACE(number);
        EXPECT_EQ(Escaped("a" + Utf8(number) + "b"), "a" + Utf8(number) + "b");
    }
}

TEST_F(EscapingAppenderTest, LineFeedsAndBackslashesHaveShortEscapes) {
    EXPECT_EQ(Escaped("one\ntwo\n"), "one\\ntwo\\n");
    EXPECT_EQ(Escaped("C:\\new\\x41"), "C:\\\\new\\\\x41");
}

TEST_F(EscapingAppenderTest, ControlCharactersAreHexadecimal) {
    EXPECT_EQ(Escaped("\x1b[31mred\x1b[0m"), "\\x1b[31mred\\x1b[0m");
    EXPECT_EQ(Escaped("a\tb\r"), "a\\x09b\\x0d");
    EXPECT_EQ(Escaped(std::string("a\0b", 3)), "a\\x00b");
    for (std::uint32_t number = 0; number < 0xa0; ++number) {
        if ((number < 0x20 || number >= 0x7f) && number != '\n') {
            SCOPED_TRACE(number);
            EXPECT_EQ(Escaped("a" + Utf8(number) + "b"), "a" + InHex(Utf8(number)) + "b");
        }
    }
}

TEST_F(EscapingAppenderTest, BytesThatAreNoUtf8AreHexadecimal) {
    for (std::string const& bytes : kNotUtf8) {
        SCOPED_TRACE(InHex(bytes));
        EXPECT_EQ(Escaped(bytes), InHex(bytes));
        EXPECT_EQ(Escaped("a" + bytes + "b"), "a" + InHex(bytes) + "b");
        EXPECT_EQ(Escaped(bytes + "\xc3\xa9"), InHex(bytes) + "\xc3\xa9");
    }
}

TEST_F(EscapingAppenderTest, AnyTextStaysOnOneLineAndCanBeReadBack) {
    std::string const kLikely = "\\\n\x1b\x7fxn0a\xc2\x80\x9b\xa0\xe2\x82\xac\xf0\x9f\xed\xff";
    for (int i = 0; i < 20000; ++i) {
        std::string text(1 + random_() % 12, '\0');
        for (char& byte : text) {
            byte = random_() % 4 == 0 ? static_cast<char>(random_())
                                      : kLikely[random_() % kLikely.size()];
        }
        std::string const escaped = Escaped(text);
        ASSERT_EQ(Unescaped(escaped), text) << escaped;
        for (char const byte : escaped) {
            auto const number = static_cast<unsigned char>(byte);
            ASSERT_TRUE(number >= 0x20 && number != 0x7f) << InHex(escaped);
        }
    }
}

TEST_F(EscapingAppenderTest, TagAndHeaderPassAsTheyAre) {
    EscapingAppender appender(inner_);
    inner_->SetHeaderFunc(ColourHeader(PatternHeader("%n: "), true));

    appender.Append(TaggedRecord(kInfo, "x\x1b", {"a\\b"}));

    EXPECT_EQ(inner_->Lines(), std::vector<std::string>{"\x1b[32ma\\b: \x1b[0mx\\x1b"});
}

// JSON.

TEST_F(JsonLinesAppenderTest, RecordIsOneObjectWithoutAHeader) {
    EXPECT_EQ(Line(kInfo, "ready"),
              R"({"time":"2023-11-14T22:13:20.123Z","severity":"info","thread":4242,)"
              R"("tag":"core.io","text":"ready"})");
}

TEST_F(JsonLinesAppenderTest, HeaderGivenLaterStandsBeforeTheObject) {
    JsonLinesAppender appender(inner_);
    inner_->SetHeaderFunc(PatternHeader("%p"));

    appender.Append(TaggedRecord(kWarning, "low", {"core"}));

    EXPECT_EQ(inner_->Lines(),
              std::vector<std::string>{
                  R"(<4>{"time":"2023-11-14T22:13:20.123Z","severity":"warning","thread":4242,)"
                  R"("tag":"core","text":"low"})"});
}

TEST_F(JsonLinesAppenderTest, SeverityIsTheLowestLevelsName) {
    struct {
        std::uint32_t severity;
        char const* name;
    } const cases[] = {
        {1, "trace"},  {2, "debug"}, {4, "info"},   {8, "warning"}, {16, "error"},
        {32, "fatal"}, {6, "debug"}, {48, "error"}, {96, "fatal"},  {0xffffffffU, "trace"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.severity);
        EXPECT_EQ(Line(static_cast<Severity>(row.severity), "x"),
                  R"({"time":"2023-11-14T22:13:20.123Z","severity":")" + std::string(row.name) +
                      R"(","thread":4242,"tag":"core.io","text":"x"})");
    }
}

TEST_F(JsonLinesAppenderTest, RecordOfNoLevelIsUnknown) {
    JsonLinesAppender appender(inner_);
    appender.SetSeverity(static_cast<Severity>(64));
    inner_->SetSeverity(static_cast<Severity>(64));

    appender.Append(TaggedRecord(static_cast<Severity>(64), "x"));

    EXPECT_EQ(inner_->Lines(),
              std::vector<std::string>{
                  R"({"time":"2023-11-14T22:13:20.123Z","severity":"unknown","thread":4242,)"
                  R"("tag":"","text":"x"})"});
}

TEST_F(JsonLinesAppenderTest, OddTimesAreShownAllTheSame) {
    struct {
        long long ms;
        std::string shown;
    } const cases[] = {
        {0, "1970-01-01T00:00:00.000Z"},
        {-1, "1969-12-31T23:59:59.999Z"},
        {253402300800000, "10000-01-01T00:00:00.000Z"},
        {LLONG_MIN, "-292275055-05-16T16:47:04.192Z"},
    };
    for (auto const& row : cases) {
        timeMs = row.ms;
        EXPECT_EQ(Line(kInfo, "x"), "{\"time\":\"" + row.shown +
                                        R"(","severity":"info","thread":4242,)"
                                        R"("tag":"core.io","text":"x"})");
    }
}

TEST_F(JsonLinesAppenderTest, TagIsEscapedLikeTheText) {
    EXPECT_EQ(Line(kInfo, "x", {"a\"b", "\n\xff", "\xc3\xa9"}),
              R"({"time":"2023-11-14T22:13:20.123Z","severity":"info","thread":4242,)"
              R"("tag":"a\"b.\n\ufffd.)"
              "\xc3\xa9"
              R"(","text":"x"})");
}

TEST_F(JsonLinesAppenderTest, PlainTextPassesAsItIs) {
    EXPECT_EQ(TextValue("2 of 3: 'caf\xc3\xa9' / %d"), "2 of 3: 'caf\xc3\xa9' / %d");
    for (std::uint32_t const number : kPlainNumbers) {
        SCOPED_TRACE(number);
        EXPECT_EQ(TextValue("a" + Utf8(number) + "b"), "a" + Utf8(number) + "b");
    }
}

TEST_F(JsonLinesAppenderTest, QuotesBackslashesAndLineFeedsAreEscaped) {
    EXPECT_EQ(TextValue("say \"hi\"\n\tC:\\new"), R"(say \"hi\"\n\tC:\\new)");
}

TEST_F(JsonLinesAppenderTest, ControlCharactersAreEscapedByTheirNumber) {
    EXPECT_EQ(TextValue("\x1b[31m\r"), R"(\u001b[31m\u000d)");
    EXPECT_EQ(TextValue(std::string("a\0b", 3)), R"(a\u0000b)");
    EXPECT_EQ(TextValue("\x01\x08\x0c\x1f\x7f"), R"(\u0001\u0008\u000c\u001f\u007f)");
    EXPECT_EQ(TextValue("\xc2\x80\xc2\x9b\xc2\x9f"), R"(\u0080\u009b\u009f)");
}

TEST_F(JsonLinesAppenderTest, EachByteThatIsNoUtf8IsTheReplacementCharacter) {
    for (std::string const& bytes : kNotUtf8) {
        SCOPED_TRACE(InHex(bytes));
        std::string replaced;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            replaced += R"(\ufffd)";
        }
        EXPECT_EQ(TextValue("a" + bytes + "b"), "a" + replaced + "b");
    }
}

TEST_F(JsonLinesAppenderTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    auto const build = [&] { JsonLinesAppender const appender(inner_); };

    EXPECT_GE(FailuresUntilBuilt(build), 5U);  // base, own part, its part, pattern, piece of it
}

TEST_F(JsonLinesAppenderTest, RecordThatNoLoggerPushedStopsTheProcess) {
    ChildResult const child = RunInChild([this] {
        LogRecord record(kInfo);
        record.WriteData("x", 2);
        JsonLinesAppender(inner_).Append(record);
        return 0;
    });

    EXPECT_EQ(child.signal, SIGABRT);
}

/// A text of random characters, and with it what each of them is to come back as: their numbers, as
/// jq prints a list.
std::pair<std::string, std::string> RandomText(std::mt19937& random) {
    std::string text;
    std::string numbers;
    auto const add = [&](std::string const& bytes, std::uint32_t number, std::size_t times) {
        text += bytes;
        for (; times > 0; --times) {
            numbers += (numbers.empty() ? "" : ",") + std::to_string(number);
        }
    };
    auto const addNumber = [&](std::uint32_t number) { add(Utf8(number), number, 1); };
    for (std::size_t length = 1 + random() % 10; length > 0; --length) {
        switch (random() % 5) {
            case 0:
                addNumber(static_cast<std::uint32_t>(random() % 0xa0));
                break;
            case 1:
                addNumber(kPlainNumbers[random() % std::size(kPlainNumbers)]);
                break;
            case 2:
                addNumber(static_cast<std::uint32_t>("\"\\\n/u"[random() % 5]));
                break;
            case 3: {
                auto const number = static_cast<std::uint32_t>(random() % 0x110000);
                addNumber(number >= 0xd800 && number < 0xe000 ? 'x' : number);
                break;
            }
            default:
                std::string const& bytes = kNotUtf8[random() % std::size(kNotUtf8)];
                add(bytes, 0xfffd, bytes.size());
                addNumber('.');  // no byte that would go on where it was cut short
        }
    }
    return {text, "[" + numbers + "]"};
}

TEST_F(JsonLinesAppenderTest, JqReadsBackEveryLine) {
    JsonLinesAppender appender(inner_);
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        auto const [text, numbers] = RandomText(random_);
        auto const [tag, tagNumbers] = RandomText(random_);
        appender.Append(TaggedRecord(kError, text, {tag}));
        expected +=
            R"(["2023-11-14T22:13:20.123Z","error",4242,)" + tagNumbers + "," + numbers + "]\n";
    }
    std::string lines;
    for (std::string const& line : inner_->Lines()) {
        lines += line + "\n";
    }

    ChildResult const jq = RunProgram(
        TARQLOG_JQ, {"-c", "[.time,.severity,.thread,(.tag|explode),(.text|explode)]"}, lines);

    EXPECT_EQ(jq.exitStatus, 0) << jq.errors;
    EXPECT_EQ(jq.errors, "");
    EXPECT_TRUE(jq.output == expected)
        << "of " << lines.size() << " bytes jq makes " << jq.output.substr(0, 2000);
}

}  // namespace
}  // namespace tarqlog
