#include "tarqlog/logsink.h"

#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <boost/function.hpp>
#include <boost/make_shared.hpp>

#include "tarqlog/appender_base.h"

#include "support/allocations.h"
#include "support/event.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/rwlock_watch.h"

namespace tarqlog {
namespace {

/// Writes its letter into `reached` for each record.
class LetterAppender : public AppenderBase {
public:
    LetterAppender(char letter, std::string& reached)
        : AppenderBase(false), letter_(letter), reached_(reached) {}

protected:
    void DoAppend(LogRecord const&) override { reached_ += letter_; }

private:
    char const letter_;
    std::string& reached_;
};

/// Calls a function for each record and builds no header.
class CallingAppender : public AppenderBase {
public:
    explicit CallingAppender(boost::function<void(LogRecord const&)> const& call)
        : AppenderBase([](std::string&, LogRecord const&) {}), call_(call) {}

protected:
    void DoAppend(LogRecord const& record) override { call_(record); }

private:
    boost::function<void(LogRecord const&)> const call_;
};

/// Writes its letter into `gone` when it is destroyed.
class MortalAppender : public AppenderBase {
public:
    MortalAppender(char letter, std::string& gone)
        : AppenderBase(false), letter_(letter), gone_(gone) {}
    ~MortalAppender() override { gone_ += letter_; }

protected:
    void DoAppend(LogRecord const&) override {}

private:
    char const letter_;
    std::string& gone_;
};

TEST(LogSinkTest, NewSinkHoldsNoAppender) {
    LogSink const sink;

    EXPECT_EQ(sink.Count(), 0);
}

TEST(LogSinkTest, CountIsTheNumberOfAppendersAdded) {
    LogSink sink;

    for (int count = 1; count <= 10; ++count) {
        sink.AddAppender(boost::make_shared<NotingAppender>());
        EXPECT_EQ(sink.Count(), count);
    }
}

TEST(LogSinkTest, NullIsIgnored) {
    LogSink sink;

    sink.AddAppender(boost::shared_ptr<AppenderBase>());

    EXPECT_EQ(sink.Count(), 0);
}

TEST(LogSinkTest, NullBetweenAppendersIsIgnored) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    sink.AddAppender(boost::shared_ptr<AppenderBase>());
    sink.AddAppender(boost::make_shared<LetterAppender>('b', boost::ref(reached)));

    sink.Consume(TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(sink.Count(), 2);
    EXPECT_EQ(reached, "ab");
}

TEST(LogSinkTest, AppendersAreGivenAsTheyWereAdded) {
    boost::shared_ptr<AppenderBase> const first = boost::make_shared<NotingAppender>();
    boost::shared_ptr<AppenderBase> const second = boost::make_shared<NotingAppender>();
    LogSink sink;
    EXPECT_TRUE(sink.GetAppenders().empty());
    sink.AddAppender(first);
    sink.AddAppender(boost::shared_ptr<AppenderBase>());
    sink.AddAppender(second);
    sink.AddAppender(first);

    LogSink const& asked = sink;
    EXPECT_EQ(asked.GetAppenders(),
              (std::vector<boost::shared_ptr<AppenderBase>>{first, second, first}));
}

TEST(LogSinkTest, LookingAtTheAppendersCopiesNothing) {
    boost::shared_ptr<AppenderBase> const appender = boost::make_shared<NotingAppender>();
    LogSink sink;
    sink.AddAppender(appender);
    unsigned long const before = AllocationCount();

    std::vector<boost::shared_ptr<AppenderBase>> const& appenders = sink.GetAppenders();

    EXPECT_EQ(AllocationCount() - before, 0u);
    EXPECT_EQ(appenders.size(), 1u);
    EXPECT_EQ(appender.use_count(), 2);
}

TEST(LogSinkTest, RecordOfASinkWithoutAppendersGoesNowhere) {
    LogSink sink;

    sink.Consume(TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(sink.Count(), 0);
}

TEST(LogSinkTest, RecordReachesAppendersInTheOrderTheyWereAdded) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    sink.AddAppender(boost::make_shared<LetterAppender>('b', boost::ref(reached)));
    sink.AddAppender(boost::make_shared<LetterAppender>('c', boost::ref(reached)));

    TaggedRecord const record(kInfo, "ready");
    sink.Consume(record);

    EXPECT_EQ(reached, "abc");
}

TEST(LogSinkTest, EachRecordReachesAllAppendersBeforeTheNext) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    sink.AddAppender(boost::make_shared<LetterAppender>('b', boost::ref(reached)));

    sink.Consume(TaggedRecord(kInfo, "first"));
    sink.Consume(TaggedRecord(kInfo, "second"));

    EXPECT_EQ(reached, "abab");
}

TEST(LogSinkTest, AppenderAddedTwiceReceivesEachRecordTwice) {
    boost::shared_ptr<NotingAppender> const appender = boost::make_shared<NotingAppender>();
    LogSink sink;
    sink.AddAppender(appender);
    sink.AddAppender(appender);

    sink.Consume(TaggedRecord(kInfo, "first"));
    sink.Consume(TaggedRecord(kInfo, "second"));

    EXPECT_EQ(sink.Count(), 2);
    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"first", "first", "second", "second"}));
}

TEST(LogSinkTest, AppenderMayBelongToSeveralSinks) {
    boost::shared_ptr<NotingAppender> const appender = boost::make_shared<NotingAppender>();
    LogSink one;
    LogSink other;
    one.AddAppender(appender);
    other.AddAppender(appender);

    one.Consume(TaggedRecord(kInfo, "of one"));
    other.Consume(TaggedRecord(kInfo, "of the other"));

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"of one", "of the other"}));
}

TEST(LogSinkTest, AppendersReceiveTheVeryRecord) {
    std::vector<LogRecord const*> received;
    auto const note = [&](LogRecord const& record) { received.push_back(&record); };
    LogSink sink;
    sink.AddAppender(boost::make_shared<CallingAppender>(note));
    sink.AddAppender(boost::make_shared<CallingAppender>(note));

    TaggedRecord const record(kInfo, "ready");
    sink.Consume(record);

    LogRecord const* const sent = &static_cast<LogRecord const&>(record);
    EXPECT_EQ(received, (std::vector<LogRecord const*>{sent, sent}));
}

TEST(LogSinkTest, SinkFiltersNoSeverity) {
    for (Severity const severity : {kTrace, kDebug, kInfo, kWarning, kError, kFatal}) {
        SCOPED_TRACE(severity);
        boost::shared_ptr<NotingAppender> const appender = boost::make_shared<NotingAppender>();
        LogSink sink;
        sink.AddAppender(appender);

        sink.Consume(TaggedRecord(severity, "ready"));

        EXPECT_EQ(appender->Texts(), std::vector<std::string>{"ready"});
    }
}

TEST(LogSinkTest, AppenderThatWritesNothingStopsNoOther) {
    boost::shared_ptr<NotingAppender> const deaf = boost::make_shared<NotingAppender>();
    boost::shared_ptr<NotingAppender> const listening = boost::make_shared<NotingAppender>();
    deaf->SetSeverity(kFatal);
    LogSink sink;
    sink.AddAppender(deaf);
    sink.AddAppender(listening);

    sink.Consume(TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(deaf->Texts(), std::vector<std::string>());
    EXPECT_EQ(listening->Texts(), std::vector<std::string>{"ready"});
}

TEST(LogSinkTest, AppendersAfterOneThatThrowsMissTheRecord) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    sink.AddAppender(boost::make_shared<CallingAppender>(
        [](LogRecord const&) { throw std::runtime_error("disk on fire"); }));
    sink.AddAppender(boost::make_shared<LetterAppender>('c', boost::ref(reached)));

    try {
        sink.Consume(TaggedRecord(kInfo, "ready"));
        ADD_FAILURE() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "disk on fire");
    }
    EXPECT_EQ(reached, "a");
}

TEST(LogSinkTest, WhatIsThrownNeedsToBeNoException) {
    LogSink sink;
    sink.AddAppender(boost::make_shared<CallingAppender>([](LogRecord const&) { throw 7; }));

    EXPECT_THROW(sink.Consume(TaggedRecord(kInfo, "ready")), int);
}

TEST(LogSinkTest, RecordAfterTheOneThatThrewReachesAllAppenders) {
    std::string reached;
    bool isBroken = true;
    LogSink sink;
    sink.AddAppender(boost::make_shared<CallingAppender>([&](LogRecord const&) {
        if (isBroken) {
            throw std::runtime_error("disk on fire");
        }
    }));
    sink.AddAppender(boost::make_shared<LetterAppender>('b', boost::ref(reached)));
    EXPECT_THROW(sink.Consume(TaggedRecord(kInfo, "lost")), std::runtime_error);

    isBroken = false;
    sink.Consume(TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(reached, "b");
}

TEST(LogSinkTest, ConsumeAllocatesNothing) {
    bool isAllocating = true;
    auto const call = [&](LogRecord const&) {
        if (isAllocating) {
            ::operator delete(::operator new(1));  // unlike a new-expression never optimised away
        }
    };
    LogSink sink;
    sink.AddAppender(boost::make_shared<CallingAppender>(call));
    sink.AddAppender(boost::make_shared<CallingAppender>(call));
    TaggedRecord const record(kInfo, "ready");
    unsigned long before = AllocationCount();
    sink.Consume(record);
    ASSERT_EQ(AllocationCount() - before, 2u);

    isAllocating = false;
    before = AllocationCount();
    sink.Consume(record);

    EXPECT_EQ(AllocationCount() - before, 0u);
}

TEST(LogSinkTest, ConsumeCopiesNoPointer) {
    boost::shared_ptr<AppenderBase> appender;
    std::vector<long> counts;
    appender = boost::make_shared<CallingAppender>(
        [&](LogRecord const&) { counts.push_back(appender.use_count()); });
    LogSink sink;
    sink.AddAppender(appender);
    boost::shared_ptr<AppenderBase> third = appender;

    sink.Consume(TaggedRecord(kInfo, "held by the test twice and by the sink"));
    third.reset();
    sink.Consume(TaggedRecord(kInfo, "held by the test once and by the sink"));

    EXPECT_EQ(counts, (std::vector<long>{3, 2}));
}

TEST(LogSinkTest, ConsumeTakesNoLockButTheAppendersOwn) {
    auto const ignore = [](LogRecord const&) {};
    boost::shared_ptr<AppenderBase> const appender = boost::make_shared<CallingAppender>(ignore);
    LogSink sink;
    sink.AddAppender(appender);
    sink.AddAppender(boost::make_shared<CallingAppender>(ignore));
    TaggedRecord const record(kInfo, "ready");
    long const mutexesBefore = mutexLocks.Calls();
    long const readersBefore = sharedLocks.Calls();
    long const writersBefore = exclusiveLocks.Calls();
    appender->Append(record);
    ASSERT_EQ(mutexLocks.Calls() - mutexesBefore, 1);

    sink.Consume(record);

    EXPECT_EQ(mutexLocks.Calls() - mutexesBefore, 3);
    EXPECT_EQ(sharedLocks.Calls() - readersBefore, 0);
    EXPECT_EQ(exclusiveLocks.Calls() - writersBefore, 0);
}

TEST(LogSinkTest, SinkKeepsItsAppendersAlive) {
    std::string gone;
    boost::shared_ptr<AppenderBase> appender =
        boost::make_shared<MortalAppender>('a', boost::ref(gone));
    {
        LogSink sink;
        sink.AddAppender(appender);
        appender.reset();
        EXPECT_EQ(gone, "");
        sink.Consume(TaggedRecord(kInfo, "ready"));
    }

    EXPECT_EQ(gone, "a");
}

TEST(LogSinkTest, AppenderThatOthersHoldOutlivesTheSink) {
    boost::shared_ptr<NotingAppender> const appender = boost::make_shared<NotingAppender>();
    {
        LogSink sink;
        sink.AddAppender(appender);
        EXPECT_EQ(appender.use_count(), 2);
        sink.Consume(TaggedRecord(kInfo, "ready"));
    }

    EXPECT_EQ(appender.use_count(), 1);
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"ready"});
}

TEST(LogSinkTest, AppendersAreReleasedInTheOrderTheyWereAdded) {
    std::string gone;
    {
        LogSink sink;
        for (char const letter : {'a', 'b', 'c', 'd'}) {
            sink.AddAppender(boost::make_shared<MortalAppender>(letter, boost::ref(gone)));
        }
    }

    EXPECT_EQ(gone, "abcd");
}

TEST(LogSinkTest, AppenderThatFindsNoRoomLeavesTheSinkAsItWas) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    boost::shared_ptr<AppenderBase> const appender =
        boost::make_shared<LetterAppender>('b', boost::ref(reached));
    unsigned long refused = 0;
    {
        AllocationLimit const limit(0);
        try {
            sink.AddAppender(appender);
        } catch (std::bad_alloc const&) {
            refused = limit.Refused();
        }
    }
    sink.Consume(TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(refused, 1u);
    EXPECT_EQ(sink.Count(), 1);
    EXPECT_EQ(appender.use_count(), 1);
    EXPECT_EQ(reached, "a");
}

TEST(LogSinkTest, SinkCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<LogSink>::value);
    EXPECT_FALSE(std::is_copy_assignable<LogSink>::value);
}

TEST(LogSinkTest, RecordsOfManyThreadsReachEveryAppender) {
    boost::shared_ptr<NotingAppender> const first = boost::make_shared<NotingAppender>();
    boost::shared_ptr<NotingAppender> const second = boost::make_shared<NotingAppender>();
    LogSink sink;
    sink.AddAppender(first);
    sink.AddAppender(second);

    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int record = 0; record < 250; ++record) {
                sink.Consume(TaggedRecord(kInfo, "ready"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(first->Texts(), std::vector<std::string>(1000, "ready"));
    EXPECT_EQ(second->Texts(), std::vector<std::string>(1000, "ready"));
}

TEST(LogSinkTest, RecordPassesAnotherThatIsStillOnItsWay) {
    Event isSlowInside;
    Event isQuickInside;
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<CallingAppender>([&](LogRecord const& record) {
        if (TextOf(record) == "quick") {
            reached += "quick ";
            isQuickInside.Set();
        }
    }));
    sink.AddAppender(boost::make_shared<CallingAppender>([&](LogRecord const& record) {
        if (TextOf(record) == "slow") {
            isSlowInside.Set();
            isQuickInside.Wait();
            reached += "slow";
        }
    }));

    std::thread slow([&] { sink.Consume(TaggedRecord(kInfo, "slow")); });
    isSlowInside.Wait();
    sink.Consume(TaggedRecord(kInfo, "quick"));
    slow.join();

    EXPECT_EQ(reached, "quick slow");
}

}  // namespace
}  // namespace tarqlog
