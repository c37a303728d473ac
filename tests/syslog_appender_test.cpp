#include "tarqlog/syslog_appender.h"

#include <syslog.h>

#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/rwlock_watch.h"
#include "support/syslog_watch.h"

extern "C" void __syslog_chk(int priority, int flag, char const* format, ...);

namespace tarqlog {
namespace {

static_assert(std::is_convertible<SyslogAppender*, AppenderBase*>::value, "for any sink");
static_assert(!std::is_copy_constructible<SyslogAppender>::value, "never copied");
static_assert(sizeof(SyslogAppender) == sizeof(AppenderBase), "all its state is the block's");

class SyslogAppenderTest : public testing::Test {
protected:
    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TaggedRecord const record_{kInfo, "ready", {"core"}};
};

TEST_F(SyslogAppenderTest, CallsAreCountedAndReachNoLog) {
    SyslogJournal const journal;

    ::syslog(LOG_USER | LOG_DEBUG, "%s%s", "harm", "less");
    ::__syslog_chk(LOG_USER | LOG_DEBUG, 1, "%d", 42);
    ::openlog(nullptr, 0, LOG_USER);
    ::closelog();

    EXPECT_EQ(logMessages.Calls(), 2);
    EXPECT_EQ(logOpenings.Calls(), 1);
    EXPECT_EQ(logClosings.Calls(), 1);
    ASSERT_EQ(journal.messages.size(), 2U);
    EXPECT_EQ(journal.messages[0].text, "harmless");
    EXPECT_EQ(journal.messages[1].text, "42");
    EXPECT_EQ(journal.openings.size(), 1U);
}

// Opening the log.

TEST_F(SyslogAppenderTest, ConstructorOpensTheLogUnderTheIdentity) {
    SyslogJournal const journal;

    SyslogAppender const appender("app");

    ASSERT_EQ(journal.openings.size(), 1U);
    EXPECT_EQ(journal.openings[0].letters, "app");
    EXPECT_EQ(journal.openings[0].options, LOG_PID);
    EXPECT_EQ(journal.openings[0].facility, LOG_USER);
    EXPECT_EQ(logMessages.Calls(), 0);
}

TEST_F(SyslogAppenderTest, WithoutAnIdentityTheSystemChooses) {
    for (bool const isEmpty : {false, true}) {
        ChildResult const result = RunInChild([&] {
            SyslogJournal const journal;
            if (isEmpty) {
                SyslogAppender const appender("");
            } else {
                SyslogAppender const appender;
            }
            return journal.openings.size() == 1 && journal.openings[0].identity == nullptr ? 0 : 1;
        });
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST_F(SyslogAppenderTest, TwoAppendersWriteUnderTheFirstIdentity) {
    SyslogJournal const journal;
    SyslogAppender first("a");
    SyslogAppender second("b");

    first.Append(record_);
    second.Append(record_);

    ASSERT_EQ(journal.openings.size(), 1U);
    EXPECT_STREQ(journal.openings[0].identity, "a");
    EXPECT_EQ(journal.messages.size(), 2U);
}

TEST_F(SyslogAppenderTest, LogStaysOpenWhenTheAppendersAreGone) {
    { SyslogAppender const appender("a"); }
    { SyslogAppender const appender("b"); }

    EXPECT_EQ(logClosings.Calls(), 0);
    EXPECT_EQ(logOpenings.Calls(), 1);
}

TEST_F(SyslogAppenderTest, AppendersMadeAtOnceOpenTheLogOnce) {
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([number] { SyslogAppender const appender(std::to_string(number)); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(logOpenings.Calls(), 1);
}

TEST_F(SyslogAppenderTest, ConstructionWithoutMemoryThrowsAndLeavesTheLogToTheNextOne) {
    std::string const ident(100, 'x');
    unsigned long failures = 0;
    for (bool built = false; !built;) {
        try {
            AllocationLimit const limit(failures);
            SyslogAppender const appender(ident);
            built = true;
        } catch (std::bad_alloc const&) {
            ++failures;
            ASSERT_EQ(logOpenings.Calls(), 0);
        }
    }

    EXPECT_GE(failures, 1U);
    EXPECT_EQ(logOpenings.Calls(), 1);
}

// What is logged.

TEST_F(SyslogAppenderTest, MessageIsShortHeaderAndText) {
    SyslogAppender appender("app");
    SyslogJournal const journal;

    appender.Append(TaggedRecord(kInfo, "text of the record", {"core", "io"}));
    appender.Append(TaggedRecord(kError, "x"));

    ASSERT_EQ(journal.messages.size(), 2U);
    EXPECT_EQ(journal.messages[0].text, "[t:4242](core.io):text of the record");
    EXPECT_EQ(journal.messages[1].text, "[t:4242]):x");
}

TEST_F(SyslogAppenderTest, PriorityIsThatOfTheLowestLevel) {
    struct {
        unsigned int severity;
        int priority;
    } const cases[] = {
        {kTrace, 7},
        {kDebug, 7},
        {kInfo, 6},
        {kWarning, 4},
        {kError, 3},
        {kFatal, 0},
        {kTrace | kFatal, 7},
        {kDebug | kInfo, 7},
        {kInfo | kError, 6},
        {kError | kWarning, 4},
        {kError | kFatal, 3},
        {kFatal | 64, 0},
        {kTrace | 0xffffffc0, 7},
        {63, 7},
        {0, 0},
        {64, 0},
        {0x80000000, 0},
        {0xffffffc0, 0},
    };
    struct Opened : SyslogAppender {
        using SyslogAppender::DoAppend;  // Append() would refuse what has none of the six
    };
    Opened appender;
    for (auto const& row : cases) {
        SCOPED_TRACE(row.severity);
        SyslogJournal const journal;
        appender.DoAppend(TaggedRecord(static_cast<Severity>(row.severity), "text"));
        ASSERT_EQ(journal.messages.size(), 1U);
        EXPECT_EQ(journal.messages[0].priority, row.priority);
    }
}

TEST_F(SyslogAppenderTest, UnknownLevelIsLoggedWhereTheMaskHasIt) {
    SyslogAppender appender("app");
    appender.SetSeverity(static_cast<Severity>(64));
    SyslogJournal const journal;

    appender.Append(TaggedRecord(static_cast<Severity>(64), "text"));

    ASSERT_EQ(journal.messages.size(), 1U);
    EXPECT_EQ(journal.messages[0].priority, LOG_EMERG);
}

TEST_F(SyslogAppenderTest, PercentSignsAreLettersLikeAnyOther) {
    SyslogAppender appender("app");
    SyslogJournal const journal;

    appender.Append(TaggedRecord(kInfo, "100 %s %n %m %%", {"%s", "%n"}));

    ASSERT_EQ(journal.messages.size(), 1U);
    EXPECT_EQ(journal.messages[0].format, "%s%s");
    EXPECT_EQ(journal.messages[0].text, "[t:4242](%s.%n):100 %s %n %m %%");
}

TEST_F(SyslogAppenderTest, TextIsLoggedAsItIsUpToItsFirstNul) {
    struct {
        std::string text;
        std::string logged;
    } const cases[] = {
        {"two\nlines\n", "two\nlines\n"},
        {std::string("before\0after", 12), "before"},
        {std::string("\0after", 6), ""},
        {" \xc3\xa9\xff\t", " \xc3\xa9\xff\t"},
        {std::string(3000, 'x'), std::string(3000, 'x')},
    };
    SyslogAppender appender("app");
    for (auto const& row : cases) {
        SCOPED_TRACE(row.logged.substr(0, 20));
        SyslogJournal const journal;
        appender.Append(TaggedRecord(kInfo, row.text, {"core"}));
        ASSERT_EQ(journal.messages.size(), 1U);
        EXPECT_EQ(journal.messages[0].text, "[t:4242](core):" + row.logged);
    }
}

TEST_F(SyslogAppenderTest, HeaderAndTextAreHandedOverWhereTheyLie) {
    SyslogAppender appender("app");
    LogRecord const& record = record_;
    SyslogJournal const journal;

    appender.Append(record);

    ASSERT_EQ(journal.messages.size(), 1U);
    EXPECT_EQ(journal.messages[0].first, appender.Header().c_str());
    EXPECT_EQ(journal.messages[0].second, record.GetData().data());
}

TEST_F(SyslogAppenderTest, RecordWithoutTextOrOutsideTheMaskIsNotLogged) {
    SyslogAppender appender("app");
    appender.SetSeverity(kError);

    appender.Append(TaggedRecord(kError, ""));
    appender.Append(record_);
    EXPECT_EQ(logMessages.Calls(), 0);

    appender.Append(TaggedRecord(kError, "text"));
    EXPECT_EQ(logMessages.Calls(), 1);
}

TEST_F(SyslogAppenderTest, RecordIsOneCallUnderTheAppendersOwnMutexAlone) {
    SyslogAppender appender("app");
    long const locks = mutexLocks.Calls();
    for (int number = 1; number <= 3; ++number) {
        appender.Append(record_);

        EXPECT_EQ(logMessages.Calls(), number);
        EXPECT_EQ(mutexLocks.Calls(), locks + number);
    }
}

TEST_F(SyslogAppenderTest, RecordCostsNoAllocationOnceTheHeaderHasGrown) {
    SyslogAppender appender("app");
    TaggedRecord const record(kInfo, std::string(2000, 'x'), {"a tag of some length"});
    unsigned long const before = AllocationCount();
    appender.Append(record);
    ASSERT_GT(AllocationCount(), before);  // the header grows

    unsigned long const grown = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        appender.Append(record);
    }

    EXPECT_EQ(AllocationCount(), grown);
    EXPECT_EQ(logMessages.Calls(), 101);
}

}  // namespace
}  // namespace tarqlog
