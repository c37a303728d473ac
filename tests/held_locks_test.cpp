#include "held_locks.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "tarqlog/error.h"
#include "tarqlog/thread_mutex.h"
#include "tarqlog/thread_shared_mutex.h"

#include "support/interpose.h"

#if defined(__clang__)
// Locks are taken here more than once, and refused.
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

// The library keeps its count to itself, so the sources of the lock classes are part of this
// program and keep this program's.

namespace {

tarqlog::Fault mutexLocks;
tarqlog::Fault mutexUnlocks;

}  // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_lock);
    return mutexLocks.Strikes() ? EAGAIN : next(mutex);
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_unlock);
    return mutexUnlocks.Strikes() ? EPERM : next(mutex);
}

namespace tarqlog {
namespace threads {
namespace {

TEST(HeldLocksTest, ThreadBeginsWithoutLocks) {
    unsigned int count = 1;
    std::thread([&] { count = HeldLocks(); }).join();

    EXPECT_EQ(count, 0U);
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, CountStaysWithItsThread) {
    unsigned int countOfOther = 1;
    ++HeldLocks();
    ++HeldLocks();
    std::thread([&] {
        countOfOther = HeldLocks();
        ++HeldLocks();
    }).join();

    EXPECT_EQ(countOfOther, 0U);
    EXPECT_EQ(HeldLocks(), 2U);
    HeldLocks() = 0;
}

TEST(HeldLocksTest, MutexCountsAsOftenAsItIsHeld) {
    ThreadMutex mutex;

    mutex.Lock();
    EXPECT_EQ(HeldLocks(), 1U);
    mutex.Lock();
    EXPECT_EQ(HeldLocks(), 2U);
    EXPECT_TRUE(mutex.TryLock());
    EXPECT_EQ(HeldLocks(), 3U);

    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 2U);
    mutex.Unlock();
    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, SharedMutexCountsInEitherMode) {
    SharedMutex mutex;

    mutex.Lock();
    EXPECT_EQ(HeldLocks(), 1U);
    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 0U);

    mutex.LockShared();
    mutex.LockShared();
    EXPECT_EQ(HeldLocks(), 2U);
    mutex.UnlockShared();
    EXPECT_EQ(HeldLocks(), 1U);
    mutex.UnlockShared();
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, LocksOfAllKindsAreCountedTogether) {
    ThreadMutex mutex;
    SharedMutex sharedMutex;
    SharedMutex exclusiveMutex;

    mutex.Lock();
    sharedMutex.LockShared();
    exclusiveMutex.Lock();
    EXPECT_EQ(HeldLocks(), 3U);

    exclusiveMutex.Unlock();
    sharedMutex.UnlockShared();
    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, MutexThatAnotherThreadHoldsIsNotCounted) {
    ThreadMutex mutex;
    mutex.Lock();
    unsigned int countOfOther = 1;
    std::thread([&] {
        EXPECT_FALSE(mutex.TryLock());
        countOfOther = HeldLocks();
    }).join();

    EXPECT_EQ(countOfOther, 0U);
    mutex.Unlock();
}

TEST(HeldLocksTest, RefusedMutexIsNotCounted) {
    ThreadMutex mutex;
    mutexLocks.StrikeAt(1);

    mutex.Lock();

    EXPECT_EQ(mutexLocks.Hits(), 1);
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, MutexThatIsNotGivenBackStaysCounted) {
    ThreadMutex mutex;
    mutex.Lock();
    mutexUnlocks.StrikeAt(1);

    mutex.Unlock();
    EXPECT_EQ(mutexUnlocks.Hits(), 1);
    EXPECT_EQ(HeldLocks(), 1U);

    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 0U);
}

TEST(HeldLocksTest, RefusedSharedMutexIsNotCounted) {
    SharedMutex mutex;
    mutex.Lock();

    EXPECT_THROW(mutex.Lock(), log_utils::Error);
    EXPECT_THROW(mutex.LockShared(), log_utils::Error);

    EXPECT_EQ(HeldLocks(), 1U);
    mutex.Unlock();
    EXPECT_EQ(HeldLocks(), 0U);
}

}  // namespace
}  // namespace threads
}  // namespace tarqlog
