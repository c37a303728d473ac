#include "tarqlog/logrecord.h"

#include <csignal>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/logger.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"

namespace tarqlog {
namespace {

static_assert(!std::is_polymorphic<LogRecord>::value, "a record has no virtual functions");

std::string hookCalls;  // of the two below, in their order
long long timeMs = 0;
unsigned int threadId = 0;

long long NotedTime() {
    hookCalls += "time ";
    return timeMs;
}

unsigned int NotedThreadId() {
    hookCalls += "thread ";
    return threadId;
}

void Write(LogRecord& record, std::string const& text) {
    record.WriteData(text.data(), static_cast<int>(text.size()));
}

/// The text as the writers left it, without a NUL at its end.
std::string RawText(LogRecord const& record) {
    return std::string(record.GetData().begin(), record.GetData().end());
}

TEST(LogRecordTest, NewRecordHasItsSeverityNoTextAndNoTag) {
    LogRecord const record(kWarning);

    EXPECT_EQ(record.GetSeverity(), kWarning);
    EXPECT_TRUE(record.GetData().empty());
    EXPECT_FALSE(LogRecordPeer::HasTag(record));
}

TEST(LogRecordTest, AnySetOfBitsIsKeptAsTheSeverity) {
    for (unsigned int bits : {0U, 24U, 63U, 64U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(bits);
        EXPECT_EQ(LogRecord(static_cast<Severity>(bits)).GetSeverity(),
                  static_cast<Severity>(bits));
    }
}

TEST(LogRecordTest, ShortTextCostsOneAllocation) {
    unsigned long const before = AllocationCount();
    LogRecord record(kInfo);
    EXPECT_EQ(AllocationCount() - before, 1UL);
    EXPECT_EQ(LastAllocationSize(), 32U);
    EXPECT_GE(record.GetData().capacity(), 32U);

    record.WriteData("0123456789abcdef", 16);
    record.WriteData("0123456789abcdef", 16);

    EXPECT_EQ(AllocationCount() - before, 1UL);
}

TEST(LogRecordTest, TimeAndThreadIdAreThoseOfTheHooks) {
    InstalledHooks const hooks(NotedTime, NotedThreadId);
    timeMs = 1700000000123;
    threadId = 77;

    LogRecord const record(kInfo);

    EXPECT_EQ(record.GetTime(), 1700000000123);
    EXPECT_EQ(record.GetThreadId(), 77UL);
}

TEST(LogRecordTest, TimeBefore1970StaysNegative) {
    InstalledHooks const hooks(NotedTime, NotedThreadId);
    timeMs = -1;

    EXPECT_EQ(LogRecord(kInfo).GetTime(), -1);
}

TEST(LogRecordTest, ThreadIdIsWidenedWithZeros) {
    InstalledHooks const hooks(NotedTime, NotedThreadId);
    threadId = 0xFFFFFFFFU;

    EXPECT_EQ(LogRecord(kInfo).GetThreadId(), 4294967295UL);
}

TEST(LogRecordTest, ConstructionAsksForTheTimeThenForTheThreadIdAndNothingAsksAgain) {
    InstalledHooks const hooks(NotedTime, NotedThreadId);
    hookCalls.clear();

    LogRecord record(kInfo);
    EXPECT_EQ(hookCalls, "time thread ");

    Write(record, "text");
    record.Resize(2);
    LogRecord const copy(record);
    record = copy;
    EXPECT_EQ(hookCalls, "time thread ");
}

TEST(LogRecordTest, RecordKeepsTheIdOfTheThreadThatBuiltIt) {
    std::vector<LogRecord> built;
    unsigned int builder = 0;
    std::thread([&] {
        builder = GetThisThreadId();
        built.emplace_back(kInfo);
    }).join();

    EXPECT_EQ(built.front().GetThreadId(), builder);
    EXPECT_NE(built.front().GetThreadId(), GetThisThreadId());
}

TEST(LogRecordTest, WritesFollowEachOtherWithoutSeparatorOrTerminator) {
    LogRecord record(kInfo);

    Write(record, "abc");
    Write(record, "de");

    EXPECT_EQ(RawText(record), "abcde");
}

TEST(LogRecordTest, WrittenBytesAreNotInterpreted) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    LogRecord record(kInfo);

    Write(record, bytes);

    EXPECT_EQ(RawText(record), bytes);

    record.Resize(1);  // there is room behind it
    Write(record, bytes);

    EXPECT_EQ(RawText(record), bytes.substr(0, 1) + bytes);
}

TEST(LogRecordTest, WritingNothingChangesNothing) {
    LogRecord record(kInfo);
    Write(record, "abc");

    record.WriteData("xyz", 0);
    record.WriteData(nullptr, 0);

    EXPECT_EQ(RawText(record), "abc");
}

TEST(LogRecordTest, LongTextGrowsBeyondTheReservation) {
    LogRecord record(kInfo);

    Write(record, std::string(31, 'a'));
    Write(record, std::string(100000, 'b'));

    EXPECT_EQ(RawText(record), std::string(31, 'a') + std::string(100000, 'b'));
}

TEST(LogRecordTest, TextWrittenAtOnceCostsTwoAllocationsWithTheLoggersNul) {
    Logger logger("a");
    for (std::size_t length = 33; length < 300; ++length) {
        SCOPED_TRACE(length);
        std::string const text(length, 'x');
        unsigned long const before = AllocationCount();
        LogRecord record(kInfo);
        Write(record, text);
        logger.PushRecord(record);
        EXPECT_EQ(AllocationCount() - before, 2UL);
        EXPECT_EQ(RawText(record), text + '\0');
    }
}

TEST(LogRecordTest, TextWrittenBitByBitGrowsGeometrically) {
    LogRecord record(kInfo);
    unsigned long const before = AllocationCount();
    for (int i = 0; i < 100000; ++i) {
        record.WriteData("x", 1);
    }
    EXPECT_EQ(RawText(record), std::string(100000, 'x'));
    EXPECT_LT(AllocationCount() - before, 20UL);
}

TEST(LogRecordTest, TextMayBeWrittenOnceMore) {
    LogRecord record(kInfo);
    std::string expected = "0123456789abcdefghijk";
    Write(record, expected);
    for (int i = 0; i < 4; ++i) {
        record.WriteData(record.GetData().data(), static_cast<int>(record.GetData().size()));
        expected += expected;
        EXPECT_EQ(RawText(record), expected);
    }
}

TEST(LogRecordTest, AnyPartOfTheTextMayBeWrittenOnceMore) {
    std::string const text = "0123456789abcdefghijk";
    for (std::size_t begin = 0; begin < text.size(); ++begin) {
        LogRecord record(kInfo);
        Write(record, text);
        std::string const part = text.substr(begin);

        record.WriteData(record.GetData().data() + begin, static_cast<int>(part.size()));
        EXPECT_EQ(RawText(record), text + part);
    }
}

TEST(LogRecordTest, ResizeCutsTheTextOrFillsItWithZeroBytes) {
    struct {
        unsigned long size;
        std::string text;
    } const cases[] = {
        {0, ""},
        {4, "0123"},
        {9, "012345678"},
        {10, "0123456789"},
        {11, std::string("0123456789\0", 11)},
        {12, std::string("0123456789\0\0", 12)},
        {40, "0123456789" + std::string(30, '\0')},
    };
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.size);
        LogRecord record(kInfo);
        Write(record, "0123456789");

        record.Resize(expected.size);

        EXPECT_EQ(RawText(record), expected.text);
    }
}

TEST(LogRecordTest, EmptiedTextKeepsItsRoom) {
    LogRecord record(kInfo);
    Write(record, std::string(1000, 'a'));

    record.Resize(0);

    EXPECT_GE(record.GetData().capacity(), 1000U);
}

TEST(LogRecordTest, TextCutAndGrownAgainShowsZeroBytes) {
    LogRecord record(kInfo);
    Write(record, "secret");

    record.Resize(1);
    record.Resize(4);

    EXPECT_EQ(RawText(record), std::string("s\0\0\0", 4));
}

TEST(LogRecordTest, WriteWithoutMemoryThrowsAndKeepsTheText) {
    LogRecord record(kInfo);
    Write(record, "abc");
    std::string const more(100, 'x');

    {
        AllocationLimit const none(0);
        EXPECT_THROW(Write(record, more), std::bad_alloc);
        EXPECT_EQ(none.Refused(), 1UL);
    }

    EXPECT_EQ(RawText(record), "abc");
    Write(record, "def");
    EXPECT_EQ(RawText(record), "abcdef");
}

TEST(LogRecordTest, ResizeWithoutMemoryThrowsAndKeepsTheText) {
    LogRecord record(kInfo);
    Write(record, "abc");

    {
        AllocationLimit const none(0);
        EXPECT_THROW(record.Resize(100), std::bad_alloc);
        EXPECT_EQ(none.Refused(), 1UL);
    }

    EXPECT_EQ(RawText(record), "abc");
}

/// A record in which nothing has its first value.
struct FilledRecord {
    FilledRecord() : hooks(NotedTime, NotedThreadId) {
        timeMs = 123456;
        threadId = 9;
        original = std::make_unique<LogRecord>(kError);
        Write(*original, "text");
        LogRecordPeer::SetTag(*original, &parts);
        timeMs = 0;
        threadId = 0;
    }

    std::vector<std::string> const parts{"a", "b"};
    InstalledHooks const hooks;
    std::unique_ptr<LogRecord> original;
};

void ExpectEverythingOf(FilledRecord const& filled, LogRecord const& copy) {
    EXPECT_EQ(copy.GetSeverity(), kError);
    EXPECT_EQ(copy.GetTime(), 123456);
    EXPECT_EQ(copy.GetThreadId(), 9UL);
    EXPECT_EQ(RawText(copy), "text");
    EXPECT_EQ(&copy.GetTag(), &filled.parts);
}

TEST(LogRecordTest, CopyKeepsEverything) {
    FilledRecord const filled;

    LogRecord const copy(*filled.original);

    ExpectEverythingOf(filled, copy);
}

TEST(LogRecordTest, AssignmentTakesOverEverything) {
    FilledRecord const filled;
    LogRecord copy(kTrace);
    Write(copy, "another");

    LogRecord& result = copy = *filled.original;

    ExpectEverythingOf(filled, copy);
    EXPECT_EQ(&result, &copy);
}

TEST(LogRecordTest, CopyAndOriginalDoNotShareTheirText) {
    LogRecord original(kInfo);
    Write(original, "text");
    LogRecord copy(original);

    Write(original, " of one");
    Write(copy, " of two");

    EXPECT_EQ(RawText(original), "text of one");
    EXPECT_EQ(RawText(copy), "text of two");
}

TEST(LogRecordTest, TagIsThePushingLoggersOwn) {
    std::vector<std::string> const parts{"core", "db"};
    LogRecord record(kInfo);

    LogRecordPeer::SetTag(record, &parts);

    EXPECT_EQ(&record.GetTag(), &parts);
}

testing::Matcher<std::string const&> const isTagAssertion = testing::MatchesRegex(
    "include/tarqlog/logrecord\\.h:[1-9][0-9]*: GetTag: Assertion 'tag_' failed\\.\n");

TEST(LogRecordTest, AskingForTheTagBeforeTheRecordIsPushedStopsTheProcess) {
    ChildResult const result = RunInChild([] {
        LogRecord const record(kInfo);
        return static_cast<int>(record.GetTag().size());
    });

    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_TRUE(isTagAssertion.Matches(result.errors)) << result.errors;
}

TEST(LogRecordTest, MissingTagStopsTheProcessOfAUserWithoutDebuggingAndWithAnotherIncludePath) {
    ChildResult const result = RunProgram(TARQLOG_UNPUSHED_RECORD_PATH);

    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_TRUE(isTagAssertion.Matches(result.errors)) << result.errors;
}

}  // namespace
}  // namespace tarqlog
