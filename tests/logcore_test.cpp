#include "tarqlog/logcore.h"

#include <sched.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/error.h"
#include "tarqlog/logger.h"
#include "tarqlog/logsink.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/captured_stream.h"
#include "support/records.h"
#include "support/rwlock_watch.h"
#include "support/sinks.h"

namespace tarqlog {
namespace {

/// What a logger with the tag `parts` would do.
void Push(LogCore& core, LogRecord const& record, std::vector<std::string> const& parts = {}) {
    std::vector<SinkEntry> sinks;
    unsigned int const generation = core.CollectSinks(sinks, parts);
    core.PushRecord(generation, sinks, record);
}

class ThrowingAppender : public AppenderBase {
public:
    ThrowingAppender() : AppenderBase(false) {}

protected:
    void DoAppend(LogRecord const&) override { throw std::runtime_error("disk on fire"); }
};

/// Writes its letter into a text when it is destroyed.
class DyingAppender : public NotingAppender {
public:
    DyingAppender(char letter, std::string& died) : letter_(letter), died_(died) {}
    ~DyingAppender() override { died_ += letter_; }

private:
    char const letter_;
    std::string& died_;
};

TEST(LogCoreTest, FreshCoreHasGenerationOneAndReachesNobody) {
    LogCore core;
    std::vector<SinkEntry> sinks = {SinkEntry(5, kError)};

    EXPECT_EQ(core.CollectSinks(sinks, {"a"}), 1U);

    EXPECT_EQ(core.GetConfigGeneration(), 1U);
    EXPECT_TRUE(sinks.empty());
}

TEST(LogCoreTest, EachAcceptedChangeAdvancesTheGenerationByOne) {
    LogCore core;

    core.AddSink(RootRule(kInfo), AnySink());
    EXPECT_EQ(core.GetConfigGeneration(), 2U);
    core.AddDefaultSink(kInfo);
    EXPECT_EQ(core.GetConfigGeneration(), 3U);
    core.RemoveAllSinks();
    EXPECT_EQ(core.GetConfigGeneration(), 4U);
    core.RemoveAllSinks();
    EXPECT_EQ(core.GetConfigGeneration(), 5U);
}

TEST(LogCoreTest, IneligibleSinksChangeNothingAndTakeNoLock) {
    LogCore core;
    long const before = exclusiveLocks.Calls();

    core.AddSink({}, AnySink());
    core.AddSink(RootRule(kInfo), nullptr);
    core.AddSink(RootRule(kInfo), boost::make_shared<LogSink>());

    EXPECT_EQ(exclusiveLocks.Calls(), before);
    EXPECT_EQ(core.GetConfigGeneration(), 1U);
    std::vector<SinkEntry> sinks;
    core.CollectSinks(sinks, {});
    EXPECT_TRUE(sinks.empty());
    core.AddSink(RootRule(kInfo), AnySink());
    EXPECT_EQ(exclusiveLocks.Calls(), before + 1) << "the count does not count";
}

TEST(LogCoreTest, ThirtyThirdSinkIsIgnored) {
    LogCore core;
    auto const last = boost::make_shared<NotingAppender>();
    auto const tooMany = boost::make_shared<NotingAppender>();
    for (int i = 0; i < 31; ++i) {
        core.AddSink(RootRule(kInfo), AnySink());
    }
    core.AddSink(RootRule(kInfo), SinkOf(last));

    core.AddSink(RootRule(kInfo), SinkOf(tooMany));

    EXPECT_EQ(core.GetConfigGeneration(), 33U);
    std::vector<SinkEntry> sinks;
    core.CollectSinks(sinks, {});
    ASSERT_EQ(sinks.size(), 32U);
    EXPECT_EQ(sinks.back(), SinkEntry(31, kInfo));
    Push(core, TaggedRecord(kInfo, "full"));
    EXPECT_EQ(last->Texts(), std::vector<std::string>{"full"});
    EXPECT_TRUE(tooMany->Texts().empty());
}

TEST(LogCoreTest, ThirtyThirdSinkLeavesTheLockFree) {
    LogCore core;
    for (int i = 0; i < 33; ++i) {
        core.AddSink(RootRule(kInfo), AnySink());
    }

    std::thread([&] { core.RemoveAllSinks(); }).join();

    EXPECT_EQ(core.GetConfigGeneration(), 34U);
}

TEST(LogCoreTest, RecordReachesTheSinksWhoseMaskSharesABitWithItsSeverity) {
    LogCore core;
    auto const all = boost::make_shared<NotingAppender>();
    auto const errors = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kAllSeverities), SinkOf(all));
    core.AddSink(RootRule(kError | kFatal), SinkOf(errors));

    Push(core, TaggedRecord(kInfo, "fine"));
    Push(core, TaggedRecord(kError, "broken"));
    Push(core, TaggedRecord(kDebug | kFatal, "both"));
    Push(core, TaggedRecord(Severity(), "none"));

    EXPECT_EQ(all->Texts(), (std::vector<std::string>{"fine", "broken", "both"}));
    EXPECT_EQ(errors->Texts(), (std::vector<std::string>{"broken", "both"}));
}

TEST(LogCoreTest, OnlySinksOfTheCallersListAreReached) {
    LogCore core;
    auto const first = boost::make_shared<NotingAppender>();
    auto const second = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(first));
    core.AddSink(RootRule(kInfo), SinkOf(second));

    core.PushRecord(core.GetConfigGeneration(), {SinkEntry(1, kInfo)}, TaggedRecord(kInfo, "x"));

    EXPECT_TRUE(first->Texts().empty());
    EXPECT_EQ(second->Texts(), std::vector<std::string>{"x"});
}

TEST(LogCoreTest, StaleGenerationDeliversNothing) {
    LogCore core;
    auto const appender = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    std::vector<SinkEntry> const sinks = {SinkEntry(0, kInfo)};

    for (unsigned int const generation : {0U, 1U, 3U, 4294967295U}) {
        core.PushRecord(generation, sinks, TaggedRecord(kInfo, "stale"));
    }
    EXPECT_TRUE(appender->Texts().empty());

    core.PushRecord(2, sinks, TaggedRecord(kInfo, "current"));
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"current"});
}

TEST(LogCoreTest, RulesOfASinkDecideByTheLongestTag) {
    LogCore core;
    core.AddSink({FilterRule(kAllSeverities), FilterRule("core.db", kError)}, AnySink());
    core.AddSink({FilterRule("core", Severity())}, AnySink());
    std::vector<SinkEntry> sinks;

    core.CollectSinks(sinks, {"core"});
    EXPECT_EQ(sinks, std::vector<SinkEntry>{SinkEntry(0, kAllSeverities)});
    core.CollectSinks(sinks, {"core", "db", "cache"});
    EXPECT_EQ(sinks, std::vector<SinkEntry>{SinkEntry(0, kError)});
}

TEST(LogCoreTest, SinkAddedTwiceReceivesRecordsTwice) {
    LogCore core;
    auto const appender = boost::make_shared<NotingAppender>();
    auto const sink = SinkOf(appender);
    core.AddSink(RootRule(kInfo), sink);
    core.AddSink(RootRule(kInfo), sink);

    Push(core, TaggedRecord(kInfo, "twice"));

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"twice", "twice"}));
}

TEST(LogCoreTest, RemovedSinksAreReleasedInOrderAndIndexesStartAgain) {
    std::string died;
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<DyingAppender>('a', boost::ref(died))));
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<DyingAppender>('b', boost::ref(died))));
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<DyingAppender>('c', boost::ref(died))));

    core.RemoveAllSinks();
    EXPECT_EQ(died, "abc");

    core.AddSink({FilterRule("x", kError)}, AnySink());
    std::vector<SinkEntry> sinks;
    core.CollectSinks(sinks, {"x"});
    EXPECT_EQ(sinks, std::vector<SinkEntry>{SinkEntry(0, kError)});
}

TEST(LogCoreTest, SinkHeldElsewhereSurvivesItsRemoval) {
    LogCore core;
    auto const sink = AnySink();
    core.AddSink(RootRule(kInfo), sink);
    EXPECT_EQ(sink.use_count(), 2);

    core.RemoveAllSinks();

    EXPECT_EQ(sink.use_count(), 1);
    EXPECT_EQ(sink->Count(), 1);
}

TEST(LogCoreTest, DestroyedCoreReleasesItsSinksInOrderWithoutALock) {
    std::string died;
    auto core = std::make_unique<LogCore>();
    for (char const letter : {'a', 'b'}) {
        core->AddSink(RootRule(kInfo),
                      SinkOf(boost::make_shared<DyingAppender>(letter, boost::ref(died))));
    }
    long const before = exclusiveLocks.Calls() + sharedLocks.Calls();

    core.reset();

    EXPECT_EQ(died, "ab");
    EXPECT_EQ(exclusiveLocks.Calls() + sharedLocks.Calls(), before);
}

TEST(LogCoreTest, CoreOfOnesOwnIsApartFromTheProcessWideOne) {
    LogCore core;
    core.AddSink(RootRule(kInfo), AnySink());

    EXPECT_NE(&core, LogCore::Get());
    EXPECT_EQ(LogCore::Get(), LogCore::Get());
    EXPECT_EQ(LogCore::Get()->GetConfigGeneration(), 1U);
}

TEST(LogCoreTest, DefaultSinkWritesEveryLoggersRecordsToStandardError) {
    LogSysInfo::SetGetTimeFunc([] { return 1700000000123LL; });
    LogSysInfo::SetGetThreadIdFunc([] { return 4242U; });
    LogCore::Get()->AddDefaultSink(kWarning | kError);
    Logger logger("core.io");
    EXPECT_FALSE(logger.HasSink(kInfo));
    EXPECT_TRUE(logger.HasSink(kError));

    CapturedStream const errors(stderr);
    LogRecord record(kError);
    record.WriteData("lost", 4);
    logger.PushRecord(record);

    EXPECT_EQ(errors.Text(), "E [2023-11-14 22:13:20.123][t:4242](core.io):lost\n");
}

TEST(LogCoreTest, TwoDefaultSinksWriteEveryRecordTwice) {
    LogSysInfo::SetGetTimeFunc([] { return 0LL; });
    LogSysInfo::SetGetThreadIdFunc([] { return 7U; });
    LogCore core;
    core.AddDefaultSink(kInfo);
    core.AddDefaultSink(kInfo);

    CapturedStream const errors(stderr);
    Push(core, TaggedRecord(kInfo, "x"));

    EXPECT_EQ(errors.Text(),
              "I [1970-01-01 00:00:00.000][t:7]):x\n"
              "I [1970-01-01 00:00:00.000][t:7]):x\n");
}

TEST(LogCoreTest, ThrowingAppenderLeavesTheLockFreeAndItsExceptionPasses) {
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<ThrowingAppender>()));
    auto const appender = boost::make_shared<NotingAppender>();

    EXPECT_THROW(Push(core, TaggedRecord(kInfo, "x")), std::runtime_error);

    std::thread([&] {
        core.RemoveAllSinks();
        core.AddSink(RootRule(kInfo), SinkOf(appender));
        Push(core, TaggedRecord(kInfo, "again"));
    }).join();
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"again"});
}

TEST(LogCoreTest, RefusedExclusiveLockThrowsAndTheNextChangeComesThrough) {
    LogCore core;
    exclusiveLocks.StrikeAt(1);
    EXPECT_THROW(core.AddSink(RootRule(kInfo), AnySink()), log_utils::Error);
    exclusiveLocks.StrikeAt(1);
    EXPECT_THROW(core.RemoveAllSinks(), log_utils::Error);
    EXPECT_EQ(exclusiveLocks.Hits(), 2);

    std::thread([&] { core.AddSink(RootRule(kInfo), AnySink()); }).join();

    EXPECT_EQ(core.GetConfigGeneration(), 2U);
}

TEST(LogCoreTest, RefusedSharedLockThrowsAndTheNextRecordComesThrough) {
    LogCore core;
    auto const appender = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    std::vector<SinkEntry> sinks;
    sharedLocks.StrikeAt(1);
    EXPECT_THROW(core.CollectSinks(sinks, {}), log_utils::Error);
    unsigned int const generation = core.CollectSinks(sinks, {});
    sharedLocks.StrikeAt(1);
    EXPECT_THROW(core.PushRecord(generation, sinks, TaggedRecord(kInfo, "x")), log_utils::Error);
    EXPECT_EQ(sharedLocks.Hits(), 2);

    core.PushRecord(generation, sinks, TaggedRecord(kInfo, "y"));

    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"y"});
}

TEST(LogCoreTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    auto const build = [] { LogCore const core; };

    EXPECT_GE(FailuresUntilBuilt(build), 3U);  // own part, lock, root of the rules
}

TEST(LogCoreTest, ExhaustedMemoryPassesOutOfEveryChangeWithTheLockFree) {
    std::set<FilterRule> const rules = {FilterRule(kInfo), FilterRule("a.b", kError)};
    auto const sink = AnySink();
    unsigned long allowed = 0;
    for (bool done = false; !done; ++allowed) {
        SCOPED_TRACE(allowed);
        LogCore core;
        try {
            AllocationLimit const limit(allowed);
            core.AddSink(rules, sink);
            core.RemoveAllSinks();
            done = limit.Refused() == 0;
        } catch (std::bad_alloc const&) {
        }
        std::thread([&] { core.AddSink(rules, sink); }).join();
    }
    EXPECT_GT(allowed, 4U);
}

TEST(LogCoreTest, ChangeWaitsForTheDeliveryInProgress) {
    LogCore core;
    auto const appender = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    std::thread pusher([&] { Push(core, TaggedRecord(kInfo, "x")); });
    appender->inside.Wait();

    long const before = exclusiveLocks.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, before + 1);
    EXPECT_EQ(core.GetConfigGeneration(), 2U);
    EXPECT_EQ(appender.use_count(), 2);

    appender->mayLeave.Set();
    pusher.join();
    writer.join();
    EXPECT_EQ(core.GetConfigGeneration(), 3U);
}

TEST(LogCoreTest, RecordsOfDifferentThreadsAreDeliveredAtTheSameTime) {
    LogCore core;
    auto const one = boost::make_shared<StuckAppender>();
    auto const other = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(one));
    core.AddSink(RootRule(kError), SinkOf(other));

    std::thread info([&] { Push(core, TaggedRecord(kInfo, "x")); });
    std::thread error([&] { Push(core, TaggedRecord(kError, "y")); });
    one->inside.Wait();
    other->inside.Wait();  // while the first is still in there

    one->mayLeave.Set();
    other->mayLeave.Set();
    info.join();
    error.join();
}

TEST(LogCoreTest, GenerationIsReadWhileAChangeHoldsTheLock) {
    struct AskingAppender : NotingAppender {
        explicit AskingAppender(LogCore& core) : askedCore(core) {}
        ~AskingAppender() override {  // under the exclusive lock
            std::thread([this] { EXPECT_EQ(askedCore.GetConfigGeneration(), 2U); }).join();
        }
        LogCore& askedCore;
    };
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<AskingAppender>(boost::ref(core))));

    core.RemoveAllSinks();

    EXPECT_EQ(core.GetConfigGeneration(), 3U);
}

/// The rules of each sink, as "TAG=MASK" in their order.
std::vector<std::string> RulesOf(LogCore const& core) {
    std::vector<std::string> texts;
    for (SinkRegistration const& registration : core.GetSinks()) {
        texts.emplace_back();
        for (FilterRule const& rule : registration.rules) {
            for (std::string const& part : rule.GetTag()) {
                texts.back() += part + ".";
            }
            texts.back() += "=" + std::to_string(rule.GetSeverity()) + " ";
        }
    }
    return texts;
}

TEST(LogCoreTest, FreshCoreHasNoSinks) {
    EXPECT_TRUE(LogCore().GetSinks().empty());
}

TEST(LogCoreTest, RegistrationsAreGivenAsTheyWereMade) {
    LogCore core;
    auto const first = AnySink();
    auto const second = AnySink();
    core.AddSink({FilterRule("a..b", kError), FilterRule(kInfo)}, first);
    core.AddSink({FilterRule("c", Severity())}, second);
    core.AddSink({FilterRule("d", kFatal)}, first);

    std::vector<SinkRegistration> const sinks = core.GetSinks();

    EXPECT_EQ(RulesOf(core), (std::vector<std::string>{"=4 a.b.=16 ", "c.=0 ", "d.=32 "}));
    ASSERT_EQ(sinks.size(), 3U);
    EXPECT_EQ(sinks[0].sink, first);
    EXPECT_EQ(sinks[1].sink, second);
    EXPECT_EQ(sinks[2].sink, first);
}

TEST(LogCoreTest, CallersRulesAreItsOwnAgain) {
    LogCore core;
    std::set<FilterRule> rules = {FilterRule("a", kInfo)};
    core.AddSink(rules, AnySink());

    rules.insert(FilterRule("b", kInfo));

    EXPECT_EQ(RulesOf(core), std::vector<std::string>{"a.=4 "});
}

TEST(LogCoreTest, DefaultSinkHasTheRootRule) {
    LogCore core;

    core.AddDefaultSink(kWarning);

    EXPECT_EQ(RulesOf(core), std::vector<std::string>{"=8 "});
}

TEST(LogCoreTest, IgnoredSinksAreNotAmongTheRegistrations) {
    LogCore core;
    core.AddSink({}, AnySink());
    core.AddSink(RootRule(kInfo), boost::make_shared<LogSink>());
    for (int i = 0; i < 33; ++i) {
        core.AddSink({FilterRule(std::to_string(i), kInfo)}, AnySink());
    }

    std::vector<std::string> const rules = RulesOf(core);

    ASSERT_EQ(rules.size(), 32U);
    EXPECT_EQ(rules.front(), "0.=4 ");
    EXPECT_EQ(rules.back(), "31.=4 ");
}

TEST(LogCoreTest, RulesGoWithTheRemovedSinks) {
    LogCore core;
    core.AddSink({FilterRule("a", kInfo)}, AnySink());
    core.AddSink({FilterRule("b", kInfo)}, AnySink());

    core.RemoveAllSinks();
    EXPECT_TRUE(core.GetSinks().empty());

    core.AddSink({FilterRule("c", kError)}, AnySink());
    EXPECT_EQ(RulesOf(core), std::vector<std::string>{"c.=16 "});
}

TEST(LogCoreTest, AppenderMayChangeAnotherCore) {
    struct ChangingAppender : AppenderBase {
        ChangingAppender() : AppenderBase(false) {}
        void DoAppend(LogRecord const&) override { other.AddSink(RootRule(kInfo), AnySink()); }
        LogCore other;
    };
    auto const appender = boost::make_shared<ChangingAppender>();
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkOf(appender));

    Push(core, TaggedRecord(kInfo, "x"));

    EXPECT_EQ(RulesOf(appender->other), std::vector<std::string>{"=4 "});
}

TEST(LogCoreTest, RegistrationKeepsItsSinkAliveBeyondTheRemoval) {
    std::string died;
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<DyingAppender>('a', boost::ref(died))));
    std::vector<SinkRegistration> sinks = core.GetSinks();

    core.RemoveAllSinks();
    EXPECT_EQ(died, "");

    sinks.clear();
    EXPECT_EQ(died, "a");
}

TEST(LogCoreTest, RegistrationsAreReadBesideADelivery) {
    LogCore core;
    auto const appender = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    std::thread pusher([&] { Push(core, TaggedRecord(kInfo, "x")); });
    appender->inside.Wait();

    EXPECT_EQ(core.GetSinks().size(), 1U);

    appender->mayLeave.Set();
    pusher.join();
}

TEST(LogCoreTest, ReaderOfRegistrationsStepsAsideForAWaitingChangeAndSeesIt) {
    LogCore core;
    auto const stuck = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(stuck));
    std::thread pusher([&] { Push(core, TaggedRecord(kInfo, "x")); });
    stuck->inside.Wait();
    long const exclusiveBefore = exclusiveLocks.Calls();
    long const waitsBefore = conditionWaits.Calls();
    std::thread writer([&] { core.AddSink(RootRule(kError), AnySink()); });
    AwaitCalls(exclusiveLocks, exclusiveBefore + 1);

    std::atomic<std::size_t> count{0};
    std::thread reader([&] { count = core.GetSinks().size(); });
    while (conditionWaits.Calls() == waitsBefore && count == 0) {
        ::sched_yield();
    }

    stuck->mayLeave.Set();
    pusher.join();
    writer.join();
    reader.join();
    EXPECT_EQ(count, 2U);
}

TEST(LogCoreTest, ThreadThatHoldsAnAppendersMutexReadsRegistrationsPastAWaitingChange) {
    LogCore core;
    auto const stuck = boost::make_shared<StuckAppender>();
    auto const held = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(stuck));
    core.AddSink(RootRule(kError), SinkOf(held));
    std::thread pusher([&] { Push(core, TaggedRecord(kInfo, "x")); });
    stuck->inside.Wait();
    long const before = exclusiveLocks.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, before + 1);

    held->Mutex().Lock();
    EXPECT_EQ(core.GetSinks().size(), 2U);
    held->Mutex().Unlock();

    stuck->mayLeave.Set();
    pusher.join();
    writer.join();
}

TEST(LogCoreTest, RefusedSharedLockPassesOutOfReadingAndTheNextReadingComesThrough) {
    LogCore core;
    core.AddSink(RootRule(kInfo), AnySink());
    sharedLocks.StrikeAt(1);

    EXPECT_THROW(core.GetSinks(), log_utils::Error);
    EXPECT_EQ(sharedLocks.Hits(), 1);

    EXPECT_EQ(core.GetSinks().size(), 1U);
}

TEST(LogCoreTest, ExhaustedMemoryPassesOutOfReadingWithTheLockFree) {
    LogCore core;
    core.AddSink({FilterRule("a.b", kInfo), FilterRule("c", kInfo)}, AnySink());
    unsigned long allowed = 0;
    for (bool done = false; !done; ++allowed) {
        SCOPED_TRACE(allowed);
        try {
            AllocationLimit const limit(allowed);
            EXPECT_EQ(core.GetSinks().size(), 1U);
            done = limit.Refused() == 0;
        } catch (std::bad_alloc const&) {
        }
    }
    EXPECT_GT(allowed, 4U);
    std::thread([&] { core.RemoveAllSinks(); }).join();
}

TEST(LogCoreTest, RulesAfterExhaustedMemoryAreThoseInForce) {
    std::set<FilterRule> const rules = {FilterRule("a", kInfo), FilterRule("b", kInfo)};
    auto const sink = AnySink();
    unsigned long allowed = 0;
    for (bool done = false; !done; ++allowed) {
        SCOPED_TRACE(allowed);
        LogCore core;
        try {
            AllocationLimit const limit(allowed);
            core.AddSink(rules, sink);
            done = limit.Refused() == 0;
        } catch (std::bad_alloc const&) {
        }
        bool const isRegistered = core.GetSinks().size() == 1;
        core.AddSink({FilterRule("c", kInfo)}, sink);

        std::string inForce;
        std::vector<SinkEntry> sinks;
        for (std::string const tag : {"a", "b"}) {
            core.CollectSinks(sinks, {tag});
            inForce += sinks.empty() ? "" : tag + ".=4 ";
        }
        std::vector<std::string> const expected = {inForce, "c.=4 "};
        EXPECT_EQ(RulesOf(core), isRegistered ? expected : std::vector<std::string>{"c.=4 "});
    }
    EXPECT_GT(allowed, 8U);
}

TEST(LogCoreTest, DeliveryTakesOneSharedLockAndAllocatesNothingWhateverTheRules) {
    struct SilentAppender : AppenderBase {
        SilentAppender() : AppenderBase([](std::string&, LogRecord const&) {}) {}
        void DoAppend(LogRecord const&) override { ++calls; }
        int calls = 0;
    };
    LogCore core;
    auto const appender = boost::make_shared<SilentAppender>();
    core.AddSink({FilterRule(kInfo), FilterRule("a", kInfo), FilterRule("b", kInfo)},
                 SinkOf(appender));
    std::vector<SinkEntry> sinks;
    unsigned int const generation = core.CollectSinks(sinks, {"a"});
    TaggedRecord const record(kInfo, "x");
    unsigned long const allocationsBefore = AllocationCount();
    long const sharedBefore = sharedLocks.Calls();
    long const mutexesBefore = mutexLocks.Calls();

    core.PushRecord(generation, sinks, record);

    EXPECT_EQ(appender->calls, 1);
    EXPECT_EQ(AllocationCount() - allocationsBefore, 0U);
    EXPECT_EQ(sharedLocks.Calls() - sharedBefore, 1);
    EXPECT_EQ(mutexLocks.Calls() - mutexesBefore, 1) << "the appender's own";
    core.GetSinks();
    EXPECT_GT(AllocationCount(), allocationsBefore) << "the count does not count";
}

TEST(LogCoreTest, DestroyedGuardForbidsLoggingAndRemovesAllSinks) {
    std::string died;
    LogCore::Get()->AddSink(RootRule(kInfo),
                            SinkOf(boost::make_shared<DyingAppender>('a', boost::ref(died))));
    {
        LogForbiddenGuard const guard;
        EXPECT_FALSE(IsLoggingForbidden());
        EXPECT_EQ(died, "");
    }
    EXPECT_TRUE(IsLoggingForbidden());
    EXPECT_EQ(died, "a");
    EXPECT_EQ(LogCore::Get()->GetConfigGeneration(), 3U);
}

TEST(LogCoreTest, EachGuardRemovesTheSinksAgainAndNothingResetsTheFlag) {
    { LogForbiddenGuard const guard; }
    LogCore::Get()->AddSink(RootRule(kInfo), AnySink());
    EXPECT_TRUE(IsLoggingForbidden());
    Logger logger("a");
    EXPECT_TRUE(logger.HasSink(kInfo)) << "the core itself does not ask the flag";

    { LogForbiddenGuard const guard; }

    EXPECT_TRUE(IsLoggingForbidden());
    EXPECT_FALSE(logger.HasSink(kInfo));
}

}  // namespace
}  // namespace tarqlog
