// The whole road of a record under threads that log and threads that configure.

#include <sched.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/console_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"

#include "support/captured_stream.h"
#include "support/rwlock_watch.h"
#include "support/sinks.h"

namespace tarqlog {
namespace {

constexpr int kThreads = 8;

void Log(Logger& logger, Severity severity, std::string const& text) {
    if (logger.HasSink(severity)) {
        LogRecord record(severity);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger.PushRecord(record);
    }
}

/// Says that it is inside, waits, and then logs through another logger.
class LoggingAppender : public StuckAppender {
public:
    explicit LoggingAppender(Logger& logger) : logger_(logger) {}

protected:
    void DoAppend(LogRecord const& record) override {
        StuckAppender::DoAppend(record);
        Log(logger_, kError, "from inside");
    }

private:
    Logger& logger_;
};

TEST(WriterGateOnTheRoadTest, AppenderLogsThroughALoggerThatAnotherThreadRefreshes) {
    LogCore& core = *LogCore::Get();
    Logger outer("outer");
    Logger inner("inner");
    auto const logging = boost::make_shared<LoggingAppender>(boost::ref(inner));
    auto const noting = boost::make_shared<NotingAppender>();
    core.AddSink({FilterRule("outer", kInfo)}, SinkOf(logging));
    core.AddSink({FilterRule("inner", kError)}, SinkOf(noting));

    std::thread deliverer([&] { Log(outer, kInfo, "x"); });
    logging->inside.Wait();
    long const exclusiveBefore = exclusiveLocks.Calls();
    std::thread writer([&] { core.AddSink(RootRule(kFatal), AnySink()); });
    AwaitCalls(exclusiveLocks, exclusiveBefore + 1);  // announced, and waiting for the deliverer
    long const waitsBefore = conditionWaits.Calls();
    std::thread refresher([&] { Log(inner, kError, "refreshed"); });
    AwaitCalls(conditionWaits, waitsBefore + 1);  // stepped aside
    std::thread secondWriter([&] { core.AddSink(RootRule(kFatal), AnySink()); });
    AwaitCalls(conditionWaits, waitsBefore + 2);

    logging->mayLeave.Set();
    deliverer.join();
    writer.join();
    refresher.join();
    secondWriter.join();

    std::vector<std::string> const texts = noting->Texts();
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.front(), "from inside");
    EXPECT_EQ(core.GetConfigGeneration(), 5U);
}

TEST(WriterGateOnTheRoadTest, ThreadThatHoldsTheStreamMutexLogsPastAWaitingWriter) {
    LogCore& core = *LogCore::Get();
    auto const stuck = boost::make_shared<StuckAppender>();
    auto const noting = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(stuck));
    core.AddSink(RootRule(kError), SinkOf(noting));
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kError));
    std::thread deliverer([&] { Log(logger, kInfo, "x"); });
    stuck->inside.Wait();
    long const before = exclusiveLocks.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, before + 1);

    GetGlobalStreamMutex().Lock();
    Log(logger, kError, "held");
    GetGlobalStreamMutex().Unlock();
    EXPECT_EQ(noting->Texts(), std::vector<std::string>{"held"});

    stuck->mayLeave.Set();
    deliverer.join();
    writer.join();
}

TEST(WriterGateOnTheRoadTest, RefreshWaitsForAWaitingWriterAndSeesItsChange) {
    LogCore& core = *LogCore::Get();
    auto const stuck = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(stuck));
    Logger delivering("a");
    Logger refreshed("b");
    std::thread deliverer([&] { Log(delivering, kInfo, "x"); });
    stuck->inside.Wait();
    long const exclusiveBefore = exclusiveLocks.Calls();
    long const waitsBefore = conditionWaits.Calls();
    std::thread writer([&] { core.AddSink(RootRule(kDebug), AnySink()); });
    AwaitCalls(exclusiveLocks, exclusiveBefore + 1);

    std::atomic<bool> answered{false};
    std::thread refresher([&] {
        EXPECT_TRUE(refreshed.HasSink(kDebug));
        answered = true;
    });
    while (conditionWaits.Calls() == waitsBefore && !answered) {
        ::sched_yield();
    }

    stuck->mayLeave.Set();
    deliverer.join();
    writer.join();
    refresher.join();
}

TEST(WriterGateOnTheRoadTest, PushStraightToTheCoreWaitsForAWaitingWriterToo) {
    LogCore core;
    auto const stuck = boost::make_shared<StuckAppender>();
    auto const noting = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(stuck));
    core.AddSink(RootRule(kError), SinkOf(noting));
    std::vector<SinkEntry> sinks;
    unsigned int const generation = core.CollectSinks(sinks, {});
    std::thread deliverer([&] { core.PushRecord(generation, sinks, TaggedRecord(kInfo, "x")); });
    stuck->inside.Wait();
    long const exclusiveBefore = exclusiveLocks.Calls();
    long const waitsBefore = conditionWaits.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, exclusiveBefore + 1);

    std::atomic<bool> pushed{false};
    std::thread pusher([&] {
        core.PushRecord(generation, sinks, TaggedRecord(kError, "stale by then"));
        pushed = true;
    });
    while (conditionWaits.Calls() == waitsBefore && !pushed) {
        ::sched_yield();
    }

    stuck->mayLeave.Set();
    deliverer.join();
    writer.join();
    pusher.join();
    EXPECT_TRUE(noting->Texts().empty());
}

TEST(WriterGateOnTheRoadTest, NoThreadBeginsADeliveryThatKnowsOfTheWaitingWriter) {
    // Each thread notes whether it knew of the announcement when it pushed; at most the one push
    // that was past the gate by then may still be delivered.
    static std::atomic<bool> announced{false};
    static thread_local bool knew = false;
    static std::atomic<int> deliveredKnowing{0};
    struct CountingAppender : AppenderBase {
        CountingAppender() : AppenderBase(false) {}
        void DoAppend(LogRecord const&) override { deliveredKnowing += knew ? 1 : 0; }
    };
    LogCore& core = *LogCore::Get();
    auto const stuck = boost::make_shared<StuckAppender>();
    core.AddSink(RootRule(kFatal), SinkOf(stuck));
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<CountingAppender>()));
    Logger logger("a");
    std::thread deliverer([&] { Log(logger, kFatal, "x"); });
    stuck->inside.Wait();

    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            while (!knew) {
                knew = announced;
                Log(logger, kInfo, "x");
            }
        });
    }
    long const exclusiveBefore = exclusiveLocks.Calls();
    long const waitsBefore = conditionWaits.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, exclusiveBefore + 1);
    announced = true;
    // Each thread steps aside, once and for all, or else it delivers and is found out.
    while (conditionWaits.Calls() - waitsBefore < kThreads && deliveredKnowing == 0) {
        ::sched_yield();
    }

    stuck->mayLeave.Set();
    deliverer.join();
    writer.join();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(deliveredKnowing, 0);
}

TEST(WriterGateOnTheRoadTest, ChangesComeThroughWhileEightThreadsLogWithoutPause) {
    struct DiscardingAppender : AppenderBase {
        DiscardingAppender() : AppenderBase(true) {}
        void DoAppend(LogRecord const&) override {}
    };
    LogCore& core = *LogCore::Get();
    auto const sink = SinkOf(boost::make_shared<DiscardingAppender>());
    core.AddSink(RootRule(kInfo), sink);
    Logger logger("a");
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                Log(logger, kInfo, "x");
            }
        });
    }

    for (int i = 0; i < 200; ++i) {  // without the gate this takes for ever
        core.RemoveAllSinks();
        core.AddSink(RootRule(kInfo), sink);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(core.GetConfigGeneration(), 402U);
}

/// A console appender that counts what each thread has had delivered.
class CountingConsole : public ConsoleAppender {
public:
    CountingConsole() : ConsoleAppender(kStdout) {}

    static thread_local int deliveredHere;
    static std::atomic<long> delivered;

protected:
    void DoAppend(LogRecord const& record) override {
        ConsoleAppender::DoAppend(record);
        ++deliveredHere;
        ++delivered;
    }
};

thread_local int CountingConsole::deliveredHere = 0;
std::atomic<long> CountingConsole::delivered{0};

/// A text that carries thread, number and checksum, and whether a line still ends with one.
std::string StormText(int thread, int number) {
    std::string const body = std::to_string(thread) + ' ' + std::to_string(number);
    return body + ' ' + std::to_string(std::hash<std::string>()(body));
}

struct Storm {
    std::atomic<bool> stop{false};
    std::atomic<int> satisfied{0};  // threads that have had 1,000 records delivered
    std::atomic<long> stale{0};     // pushed and not delivered
    std::array<int, kThreads> delivered{};
};

void LogInStorm(Storm& storm, int thread) {
    Logger logger("storm");
    for (int number = 0; !storm.stop; ++number) {
        if (!logger.HasSink(kInfo)) {
            ::sched_yield();
            continue;
        }
        int const before = CountingConsole::deliveredHere;
        std::string const text = StormText(thread, number);
        LogRecord record(kInfo);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger.PushRecord(record);
        storm.stale += CountingConsole::deliveredHere == before ? 1 : 0;
        if (before < 1000 && CountingConsole::deliveredHere >= 1000) {
            ++storm.satisfied;
        }
    }
    storm.delivered[static_cast<std::size_t>(thread)] = CountingConsole::deliveredHere;
}

/// Removes and adds the sink until every condition of the storm is met, each change after at least
/// one delivery under the configuration before; returns the number of changes.
int ReconfigureInStorm(Storm const& storm) {
    auto const sink = SinkOf(boost::make_shared<CountingConsole>());
    int changes = 0;
    while (changes < 1000 || storm.satisfied < kThreads || storm.stale == 0) {
        LogCore::Get()->AddSink({FilterRule("storm", kAllSeverities)}, sink);
        long const before = CountingConsole::delivered;
        while (CountingConsole::delivered == before) {
            ::sched_yield();
        }
        LogCore::Get()->RemoveAllSinks();
        changes += 2;
    }
    return changes;
}

TEST(StormTest, EveryDeliveredLineIsWholeAndInOrderWhileSinksComeAndGo) {
    Storm storm;
    CapturedStream const output(stdout);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&storm, i] { LogInStorm(storm, i); });
    }
    int const changes = ReconfigureInStorm(storm);
    storm.stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::array<int, kThreads> lines{};
    std::array<int, kThreads> last;
    last.fill(-1);
    std::istringstream text(output.Text());
    for (std::string line; std::getline(text, line);) {
        std::string const body = line.substr(line.find("):") + 2);
        int thread = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(body.c_str(), "%d %d", &thread, &number), 2) << line;
        ASSERT_EQ(body, StormText(thread, number)) << line;
        auto const index = static_cast<std::size_t>(thread);
        ASSERT_GT(number, last.at(index)) << "out of order or twice: " << line;
        last[index] = number;
        ++lines[index];
    }
    EXPECT_EQ(lines, storm.delivered);
    EXPECT_GE(*std::min_element(lines.begin(), lines.end()), 1000);
    EXPECT_GE(changes, 1000);
    EXPECT_GT(storm.stale, 0);
}

}  // namespace
}  // namespace tarqlog
