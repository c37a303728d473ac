#include "tarqlog/logger.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <deque>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/error.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/rwlock_watch.h"
#include "support/sinks.h"

namespace tarqlog {
namespace {

static_assert(!std::is_copy_constructible<Logger>::value, "a logger owns its cache");
static_assert(!std::is_copy_assignable<Logger>::value, "a logger owns its cache");

/// Registers an appender for every tag and returns it.
boost::shared_ptr<NotingAppender> AddNotingSink(Severity severity = kAllSeverities) {
    auto const appender = boost::make_shared<NotingAppender>();
    LogCore::Get()->AddSink(RootRule(severity), SinkOf(appender));
    return appender;
}

void Push(Logger& logger, Severity severity, std::string const& text) {
    LogRecord record(severity);
    record.WriteData(text.data(), static_cast<int>(text.size()));
    logger.PushRecord(record);
}

/// As an application does it.
void Log(Logger& logger, Severity severity, std::string const& text) {
    if (logger.HasSink(severity)) {
        Push(logger, severity, text);
    }
}

/// The header that a logger with this tag puts before its records' texts.
std::string HeaderOf(Logger& logger) {
    LogSysInfo::SetGetThreadIdFunc([] { return 7U; });
    auto const appender = AddNotingSink();
    Log(logger, kInfo, "x");
    return appender->Headers().at(0);
}

TEST(LoggerTest, WithoutSinksNoSeverityHasOne) {
    Logger logger("core.io");

    for (unsigned int bit = 0; bit < 32; ++bit) {
        EXPECT_FALSE(logger.HasSink(static_cast<Severity>(1U << bit)));
    }
    EXPECT_FALSE(logger.HasSink(Severity()));
    EXPECT_EQ(LogCore::Get()->GetConfigGeneration(), 1U);
}

TEST(LoggerTest, AnsweredOnceItTakesNoLockUntilTheConfigurationChanges) {
    Logger logger("core.io");
    long const atFirst = sharedLocks.Calls();
    logger.HasSink(kInfo);
    long const collected = sharedLocks.Calls();
    EXPECT_EQ(collected, atFirst + 1);

    for (int i = 0; i < 100; ++i) {
        logger.HasSink(kInfo);
    }
    EXPECT_EQ(sharedLocks.Calls(), collected);

    LogCore::Get()->RemoveAllSinks();
    logger.HasSink(kInfo);
    EXPECT_EQ(sharedLocks.Calls(), collected + 1);
}

TEST(LoggerTest, ExistingLoggerNoticesANewSink) {
    Logger logger("core.io");
    EXPECT_FALSE(logger.HasSink(kError));

    LogCore::Get()->AddDefaultSink(kError);
    EXPECT_TRUE(logger.HasSink(kError));
    EXPECT_FALSE(logger.HasSink(kInfo));
    EXPECT_TRUE(logger.HasSink(kInfo | kError));

    LogCore::Get()->RemoveAllSinks();
    EXPECT_FALSE(logger.HasSink(kError));
}

TEST(LoggerTest, MasksOfAllSinksCount) {
    AddNotingSink(kDebug);
    AddNotingSink(kError);
    Logger logger("a");

    EXPECT_TRUE(logger.HasSink(kDebug));
    EXPECT_TRUE(logger.HasSink(kError));
    EXPECT_FALSE(logger.HasSink(kInfo));
}

TEST(LoggerTest, RecordReachesTheSinksOfItsTag) {
    auto const everything = AddNotingSink();
    auto const database = boost::make_shared<NotingAppender>();
    LogCore::Get()->AddSink({FilterRule("core.db", kAllSeverities)}, SinkOf(database));
    Logger core("core");
    Logger cache("core.db.cache");

    Log(core, kInfo, "up");
    Log(cache, kInfo, "full");

    EXPECT_EQ(everything->Texts(), (std::vector<std::string>{"up", "full"}));
    EXPECT_EQ(database->Texts(), std::vector<std::string>{"full"});
}

TEST(LoggerTest, TagIsSplitAtDots) {
    Logger logger(".core..io.");
    EXPECT_EQ(HeaderOf(logger), "[t:7](core.io):");
}

TEST(LoggerTest, UnderscoreIsADotOnRequest) {
    Logger logger("net_io", true);
    EXPECT_EQ(HeaderOf(logger), "[t:7](net.io):");
}

TEST(LoggerTest, UnderscoreIsAnUnderscoreOtherwise) {
    Logger logger("net_io", false);
    EXPECT_EQ(HeaderOf(logger), "[t:7](net_io):");
}

TEST(LoggerTest, NullTagIsTheRoot) {
    Logger logger(nullptr, true);
    EXPECT_EQ(HeaderOf(logger), "[t:7]):");
}

TEST(LoggerTest, TagIsCopied) {
    std::string tag("core");
    Logger logger(tag.c_str());
    tag = "gone";
    EXPECT_EQ(HeaderOf(logger), "[t:7](core):");
}

TEST(LoggerTest, PushBeforeTheFirstQuestionDeliversNothing) {
    auto const appender = AddNotingSink();
    Logger logger("a");

    Push(logger, kInfo, "unasked");
    EXPECT_TRUE(appender->Texts().empty());

    Log(logger, kInfo, "asked");
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"asked"});
}

TEST(LoggerTest, PushAfterAChangeDeliversNothingUntilTheNextQuestion) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    auto const added = AddNotingSink();

    Push(logger, kInfo, "stale");
    Push(logger, kInfo, "still stale");
    EXPECT_TRUE(appender->Texts().empty());

    Log(logger, kInfo, "fresh");
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"fresh"});
    EXPECT_EQ(added->Texts(), std::vector<std::string>{"fresh"});
}

TEST(LoggerTest, PushGivesTheRecordItsTagAndOneNulEvenWhenNobodyTakesIt) {
    Logger logger("core.io");
    LogRecord record(kInfo);
    record.WriteData("x\0", 2);

    logger.PushRecord(record);

    EXPECT_EQ(record.GetData(), (std::vector<char>{'x', '\0', '\0'}));
    EXPECT_EQ(record.GetTag(), (std::vector<std::string>{"core", "io"}));
}

TEST(LoggerTest, RecordPushedAgainGetsASecondNulAndTheNewLoggersTag) {
    Logger one("one");
    Logger other("other");
    LogRecord record(kInfo);
    record.WriteData("x", 1);

    one.PushRecord(record);
    other.PushRecord(record);

    EXPECT_EQ(record.GetData(), (std::vector<char>{'x', '\0', '\0'}));
    EXPECT_EQ(record.GetTag(), std::vector<std::string>{"other"});
}

TEST(LoggerTest, EmptyTextReachesNoDestination) {
    auto const appender = AddNotingSink();
    Logger logger("a");

    Log(logger, kInfo, "");

    EXPECT_TRUE(appender->Texts().empty());
}

TEST(LoggerTest, ThrowingAppenderLeavesTheLoggerUsable) {
    struct ThrowingAppender : AppenderBase {
        ThrowingAppender() : AppenderBase(false) {}
        void DoAppend(LogRecord const&) override { throw std::runtime_error("disk on fire"); }
    };
    LogCore::Get()->AddSink(RootRule(kInfo), SinkOf(boost::make_shared<ThrowingAppender>()));
    Logger logger("a");
    EXPECT_THROW(Log(logger, kInfo, "x"), std::runtime_error);

    LogCore::Get()->RemoveAllSinks();
    auto const appender = AddNotingSink();
    std::thread([&] { Log(logger, kInfo, "again"); }).join();  // refreshes exclusively

    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"again"});
}

TEST(LoggerTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    std::string const tag(1000, 'x');
    auto const build = [&] { Logger const logger(tag.c_str()); };

    EXPECT_GE(FailuresUntilBuilt(build), 4U);  // own part, both locks, tag
}

TEST(LoggerTest, ExhaustedMemoryInARefreshPassesAndTheNextQuestionIsAnswered) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    {
        AllocationLimit const limit(0);
        EXPECT_THROW(logger.HasSink(kInfo), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1U);
    }

    std::thread([&] { Log(logger, kInfo, "x"); }).join();

    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"x"});
}

TEST(LoggerTest, ExhaustedMemoryInAPushLosesTheRecordAlone) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    LogRecord record(kInfo);
    while (record.GetData().size() < record.GetData().capacity()) {
        record.WriteData("x", 1);
    }
    {
        AllocationLimit const limit(0);
        EXPECT_THROW(logger.PushRecord(record), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1U);
    }
    EXPECT_TRUE(appender->Texts().empty());

    LogCore::Get()->RemoveAllSinks();  // no lock was kept
    EXPECT_FALSE(logger.HasSink(kInfo));
}

TEST(LoggerTest, QuestionForSeveralLevelsIsForAnyOfThemAlsoAfterAChange) {
    Logger logger("a");
    EXPECT_FALSE(logger.HasSink(kInfo | kWarning));
    AddNotingSink(kInfo);
    EXPECT_TRUE(logger.HasSink(kInfo | kWarning));
    EXPECT_TRUE(logger.HasSink(kInfo | kWarning));
    EXPECT_FALSE(logger.HasSink(kDebug | kWarning));
}

TEST(LoggerTest, RefusedLockPassesAndTheNextQuestionIsAnswered) {
    AddNotingSink();
    Logger logger("a");
    exclusiveLocks.StrikeAt(1);
    EXPECT_THROW(logger.HasSink(kInfo), log_utils::Error);
    sharedLocks.StrikeAt(1);
    EXPECT_THROW(logger.HasSink(kInfo), log_utils::Error);
    EXPECT_EQ(exclusiveLocks.Hits() + sharedLocks.Hits(), 2);

    std::thread([&] { EXPECT_TRUE(logger.HasSink(kInfo)); }).join();
}

TEST(LoggerTest, BesideManyOthersConstructionAllocatesNoMoreAndTakesNoMoreLocks) {
    auto const costs = [] {
        unsigned long const allocations = AllocationCount();
        long const locks = mutexLocks.Calls();
        Logger const logger("a.b");
        return std::make_pair(AllocationCount() - allocations, mutexLocks.Calls() - locks);
    };
    auto const alone = costs();
    ASSERT_GT(alone.first, 0U) << "the count does not count";
    ASSERT_GT(alone.second, 0) << "the count does not count";

    std::deque<Logger> others;
    for (int i = 0; i < 100000; ++i) {
        others.emplace_back("a.b");
    }

    EXPECT_EQ(costs(), alone);
}

TEST(LoggerTest, QuestionOnAnUnchangedConfigurationTakesNoLockAndAllocatesNothing) {
    AddNotingSink();
    Logger logger("a");
    unsigned long const allocationsBefore = AllocationCount();
    long const locksBefore = sharedLocks.Calls() + exclusiveLocks.Calls() + mutexLocks.Calls();
    ASSERT_TRUE(logger.HasSink(kInfo));
    unsigned long const allocations = AllocationCount();
    long const locks = sharedLocks.Calls() + exclusiveLocks.Calls() + mutexLocks.Calls();
    ASSERT_GT(allocations, allocationsBefore) << "the count does not count";
    ASSERT_GT(locks, locksBefore) << "the count does not count";

    for (int i = 0; i < 1000; ++i) {
        logger.HasSink(i % 2 == 0 ? kInfo : kTrace);
    }

    EXPECT_EQ(AllocationCount(), allocations);
    EXPECT_EQ(sharedLocks.Calls() + exclusiveLocks.Calls() + mutexLocks.Calls(), locks);
}

/// Kills the process at this thread's next system call, unless that ends the process. False when
/// the system refuses; `errno` is prctl()'s.
bool ForbidSystemCalls() {
    std::array<sock_filter, 4> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
    }};
    sock_fprog const program = {filter.size(), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(LoggerTest, QuestionOnAnUnchangedConfigurationMakesNoSystemCall) {
    AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));

    ChildResult const calling = RunInChild([] {
        if (!ForbidSystemCalls()) {
            return errno;
        }
        ::syscall(SYS_getppid);
        return 0;
    });
    if (calling.exitStatus == EINVAL) {
        GTEST_SKIP() << "system calls cannot be forbidden here: the filter is refused with EINVAL";
    }
    EXPECT_EQ(calling.signal, SIGSYS) << "a system call was not noticed";

    ChildResult const asking = RunInChild([&] {
        ForbidSystemCalls();
        bool every = true;
        for (int i = 0; i < 1000; ++i) {
            every = every && logger.HasSink(kInfo);
        }
        ::syscall(SYS_exit_group, every ? 0 : 1);
        return 2;
    });
    EXPECT_EQ(asking.exitStatus, 0);
}

TEST(LoggerTest, QuestionIsAnsweredWhileAnotherThreadIsStuckInAnAppender) {
    auto const appender = boost::make_shared<StuckAppender>();
    LogCore::Get()->AddSink(RootRule(kInfo), SinkOf(appender));
    Logger logger("a");
    std::thread stuck([&] { Log(logger, kInfo, "x"); });
    appender->inside.Wait();

    EXPECT_TRUE(logger.HasSink(kInfo));
    EXPECT_FALSE(logger.HasSink(kError));

    appender->mayLeave.Set();
    stuck.join();
}

TEST(LoggerTest, WhoIsLateToARefreshDoesNotWaitForWhatIsBeingPushed) {
    auto const appender = boost::make_shared<StuckAppender>();
    LogCore::Get()->AddSink(RootRule(kInfo), SinkOf(appender));
    Logger logger("a");
    Barrier barrier;
    std::future<bool> late = std::async(std::launch::async, [&] {
        beforeNextLock = &barrier;
        return logger.HasSink(kInfo);
    });
    barrier.reached.Wait();  // it has seen that there was no refresh yet

    std::thread stuck([&] { Log(logger, kInfo, "x"); });
    appender->inside.Wait();
    barrier.mayPass.Set();

    constexpr std::chrono::seconds kPatience{20};
    EXPECT_EQ(late.wait_for(kPatience), std::future_status::ready);
    appender->mayLeave.Set();
    EXPECT_TRUE(late.get());
    stuck.join();
}

TEST(LoggerTest, ThreadsOfOneLoggerAreInItsSinksAtTheSameTime) {
    auto const one = boost::make_shared<StuckAppender>();
    auto const other = boost::make_shared<StuckAppender>();
    LogCore::Get()->AddSink(RootRule(kInfo), SinkOf(one));
    LogCore::Get()->AddSink(RootRule(kError), SinkOf(other));
    Logger logger("a");

    std::thread info([&] { Log(logger, kInfo, "x"); });
    one->inside.Wait();
    std::thread error([&] { Log(logger, kError, "y"); });
    other->inside.Wait();

    one->mayLeave.Set();
    other->mayLeave.Set();
    info.join();
    error.join();
}

TEST(LoggerTest, SeverityThatEveryConfigurationTakesIsNeverSeenWithoutASink) {
    AddNotingSink(kInfo);
    Logger logger("a");
    std::atomic<bool> stop{false};
    std::atomic<int> missing{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                missing += logger.HasSink(kInfo) ? 0 : 1;
            }
        });
    }

    for (int i = 0; i < 31; ++i) {
        AddNotingSink(kInfo);
        logger.HasSink(kInfo);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(missing, 0);
}

}  // namespace
}  // namespace tarqlog
