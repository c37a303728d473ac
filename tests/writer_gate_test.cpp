#include "writer_gate.h"

#include <pthread.h>

#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "support/event.h"
#include "support/rwlock_watch.h"

namespace tarqlog {
namespace {

/// What a held lock of the library is to the gate.
class HeldLock {
public:
    HeldLock() { ++threads::HeldLocks(); }
    ~HeldLock() { --threads::HeldLocks(); }

    HeldLock(HeldLock const&) = delete;
    HeldLock& operator=(HeldLock const&) = delete;
};

TEST(WriterGateTest, NobodyWaitsWithoutAWriter) {
    WriterGate gate;
    gate.StepAside();
    { WriterGate::Passage const passage(gate); }
    gate.StepAside();
    EXPECT_EQ(conditionWaits.Calls(), 0);
}

TEST(WriterGateTest, NobodyTakesALockWithoutAWriter) {
    WriterGate gate;
    long const before = mutexLocks.Calls();
    gate.StepAside();
    EXPECT_EQ(mutexLocks.Calls(), before);
    { WriterGate::Passage const passage(gate); }
    EXPECT_GT(mutexLocks.Calls(), before) << "the count does not count";
}

TEST(WriterGateTest, ReaderWaitsUntilTheWriterIsDone) {
    WriterGate gate;
    bool done = false;  // ordered by the gate, as the thread sanitizer confirms
    auto passage = std::make_unique<WriterGate::Passage>(gate);
    std::thread reader([&] {
        gate.StepAside();
        EXPECT_TRUE(done);
    });
    AwaitCalls(conditionWaits, 1);

    done = true;
    passage.reset();
    reader.join();
}

TEST(WriterGateTest, ReaderThatHoldsALockPasses) {
    WriterGate gate;
    WriterGate::Passage const passage(gate);

    std::thread([&] {
        HeldLock const held;
        gate.StepAside();
    }).join();

    EXPECT_EQ(conditionWaits.Calls(), 0);
}

TEST(WriterGateTest, ReaderDoesNotWaitForWritersThatCameLater) {
    WriterGate gate;
    auto first = std::make_unique<WriterGate::Passage>(gate);
    std::thread reader([&] { gate.StepAside(); });
    AwaitCalls(conditionWaits, 1);
    Event mayFinish;
    std::thread later([&] {
        WriterGate::Passage const second(gate);
        mayFinish.Wait();
    });
    AwaitCalls(conditionWaits, 2);

    first.reset();
    reader.join();  // while the second writer has its turn

    mayFinish.Set();
    later.join();
}

TEST(WriterGateTest, ReaderWaitsForAllWritersThatCameBefore) {
    WriterGate gate;
    auto first = std::make_unique<WriterGate::Passage>(gate);
    Event secondHasItsTurn;
    Event mayFinish;
    bool secondDone = false;
    std::thread writer([&] {
        WriterGate::Passage const second(gate);
        secondHasItsTurn.Set();
        mayFinish.Wait();
        secondDone = true;
    });
    AwaitCalls(conditionWaits, 1);
    std::thread reader([&] {
        gate.StepAside();
        EXPECT_TRUE(secondDone);
    });
    AwaitCalls(conditionWaits, 2);

    first.reset();
    secondHasItsTurn.Wait();
    AwaitCalls(conditionWaits, 3);  // the reader, woken by the first, waits on
    mayFinish.Set();
    writer.join();
    reader.join();
}

TEST(WriterGateTest, WritersPassOneAfterTheOther) {
    WriterGate gate;
    int inside = 0;  // unguarded on purpose: the gate alone keeps the writers apart
    auto const write = [&] {
        for (int i = 0; i < 200; ++i) {
            WriterGate::Passage const passage(gate);
            EXPECT_EQ(++inside, 1);
            --inside;
        }
    };
    std::thread one(write);
    std::thread other(write);
    one.join();
    other.join();
    gate.StepAside();
}

TEST(WriterGateTest, WriterThatHoldsALockDoesNotWaitForItsTurn) {
    WriterGate gate;
    WriterGate::Passage const first(gate);

    std::thread([&] {
        HeldLock const held;
        WriterGate::Passage const second(gate);
    }).join();

    EXPECT_EQ(conditionWaits.Calls(), 0);
}

#if !defined(_LIBCPP_VERSION)  // LLVM's unwinder crashes on any thread that the C library cancels

TEST(WriterGateTest, WriterCancelledInItsWaitHoldsNobodyUp) {
    WriterGate gate;
    auto first = std::make_unique<WriterGate::Passage>(gate);
    pthread_t cancelled;
    ::pthread_create(
        &cancelled, nullptr,
        [](void* argument) -> void* {
            WriterGate::Passage const second(*static_cast<WriterGate*>(argument));
            return nullptr;
        },
        &gate);
    AwaitCalls(conditionWaits, 1);
    ::pthread_cancel(cancelled);
    void* result = nullptr;
    ::pthread_join(cancelled, &result);
    ASSERT_EQ(result, PTHREAD_CANCELED);

    first.reset();
    { WriterGate::Passage const next(gate); }
    gate.StepAside();
}

#endif

}  // namespace
}  // namespace tarqlog
