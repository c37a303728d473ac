#include "tarqlog/thread_mutex.h"

#include <pthread.h>

#include <cerrno>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "support/interpose.h"

#if defined(__clang__)
// A mutex taken twice, or given back by a thread that has not got it, is what these tests are
// about.
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

namespace {

// A struck call does its work and says that it failed; a struck lock does not even do its work.
tarqlog::Fault attributeInits;
tarqlog::Fault attributeTypes;
tarqlog::Fault attributeDestructions;
tarqlog::Fault inits;
tarqlog::Fault destructions;
tarqlog::Fault locks;
tarqlog::Fault tryLocks;
tarqlog::Fault unlocks;

int typeOfLastAttribute = -1;

}  // namespace

extern "C" {

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    int const result = TARQLOG_NEXT(pthread_mutexattr_init)(attributes);
    return attributeInits.Strikes() ? ENOMEM : result;
}

int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
    typeOfLastAttribute = type;
    int const result = TARQLOG_NEXT(pthread_mutexattr_settype)(attributes, type);
    return attributeTypes.Strikes() ? EINVAL : result;
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) noexcept {
    int const result = TARQLOG_NEXT(pthread_mutexattr_destroy)(attributes);
    return attributeDestructions.Strikes() ? EINVAL : result;
}

int pthread_mutex_init(pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) noexcept {
    int const result = TARQLOG_NEXT(pthread_mutex_init)(mutex, attributes);
    return inits.Strikes() ? EAGAIN : result;
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    int const result = TARQLOG_NEXT(pthread_mutex_destroy)(mutex);
    return destructions.Strikes() ? EBUSY : result;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_lock);
    return locks.Strikes() ? EAGAIN : next(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_trylock);
    return tryLocks.Strikes() ? EAGAIN : next(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_unlock);
    return unlocks.Strikes() ? EPERM : next(mutex);
}

}  // extern "C"

namespace tarqlog {
namespace threads {
namespace {

/// Whether another thread could have the mutex now.
bool IsFreeForOthers(ThreadMutex& mutex) {
    bool taken = false;
    std::thread([&] {
        taken = mutex.TryLock();
        if (taken) {
            mutex.Unlock();
        }
    }).join();
    return taken;
}

TEST(ThreadMutexTest, MutexCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<ThreadMutex>::value);
    EXPECT_FALSE(std::is_copy_assignable<ThreadMutex>::value);
    EXPECT_FALSE(std::is_move_constructible<ThreadMutex>::value);
    EXPECT_FALSE(std::is_polymorphic<ThreadMutex>::value);
}

TEST(ThreadMutexTest, LockKeepsOtherThreadsOutUntilUnlock) {
    ThreadMutex mutex;
    EXPECT_TRUE(IsFreeForOthers(mutex));

    mutex.Lock();
    EXPECT_FALSE(IsFreeForOthers(mutex));

    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(ThreadMutexTest, MutexLockedTwiceIsReleasedAfterTwoUnlocks) {
    ThreadMutex mutex;

    mutex.Lock();
    mutex.Lock();
    EXPECT_FALSE(IsFreeForOthers(mutex));

    mutex.Unlock();
    EXPECT_FALSE(IsFreeForOthers(mutex));

    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(ThreadMutexTest, TryLockTakesAFreeMutexAndHoldsIt) {
    ThreadMutex mutex;

    EXPECT_TRUE(mutex.TryLock());
    EXPECT_FALSE(IsFreeForOthers(mutex));

    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(ThreadMutexTest, TryLockTakesAMutexOfThisThreadOnceMore) {
    ThreadMutex mutex;
    mutex.Lock();

    EXPECT_TRUE(mutex.TryLock());

    mutex.Unlock();
    EXPECT_FALSE(IsFreeForOthers(mutex));
    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(ThreadMutexTest, LockWaitsForTheHolder) {
    ThreadMutex mutex;
    mutex.Lock();
    bool released = false;
    bool wasReleased = false;
    long const before = locks.Calls();
    std::thread waiting([&] {
        mutex.Lock();
        wasReleased = released;
        mutex.Unlock();
    });
    while (locks.Calls() == before) {
        std::this_thread::yield();
    }

    released = true;
    mutex.Unlock();
    waiting.join();

    EXPECT_TRUE(wasReleased);
}

TEST(ThreadMutexTest, ConstructorMakesARecursiveMutexAndDropsTheAttributes) {
    long const destructionsBefore = attributeDestructions.Calls();
    typeOfLastAttribute = -1;

    ThreadMutex const mutex;

    EXPECT_EQ(typeOfLastAttribute, PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(attributeDestructions.Calls() - destructionsBefore, 1);
}

TEST(ThreadMutexTest, DestructorDestroysTheNativeMutexOnce) {
    long before = 0;
    {
        ThreadMutex const mutex;
        before = destructions.Calls();
    }

    EXPECT_EQ(destructions.Calls() - before, 1);
}

TEST(ThreadMutexTest, WhatTheSystemSaysToConstructionAndDestructionIsIgnored) {
    for (Fault* fault :
         {&attributeInits, &attributeTypes, &attributeDestructions, &inits, &destructions}) {
        long const hitsBefore = fault->Hits();
        fault->StrikeAt(1);
        EXPECT_NO_THROW({
            ThreadMutex mutex;
            mutex.Lock();
            mutex.Lock();
            mutex.Unlock();
            mutex.Unlock();
        });
        EXPECT_EQ(fault->Hits() - hitsBefore, 1);
    }
}

TEST(ThreadMutexTest, RefusedLockIsIgnored) {
    ThreadMutex mutex;
    long const hitsBefore = locks.Hits();
    locks.StrikeAt(1);

    EXPECT_NO_THROW(mutex.Lock());

    EXPECT_EQ(locks.Hits() - hitsBefore, 1);
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(ThreadMutexTest, RefusedTryLockIsFalse) {
    ThreadMutex mutex;
    tryLocks.StrikeAt(1);

    EXPECT_FALSE(mutex.TryLock());
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
}

TEST(ThreadMutexTest, RefusedUnlockIsIgnored) {
    ThreadMutex mutex;
    mutex.Lock();
    long const hitsBefore = unlocks.Hits();
    unlocks.StrikeAt(1);

    EXPECT_NO_THROW(mutex.Unlock());

    EXPECT_EQ(unlocks.Hits() - hitsBefore, 1);
    EXPECT_FALSE(IsFreeForOthers(mutex));
    mutex.Unlock();
}

// ThreadSanitizer stops at such an unlock before the system refuses it.
#if !defined(TARQLOG_TEST_TSAN)
TEST(ThreadMutexTest, UnlockByAThreadThatDoesNotHoldTheMutexChangesNothing) {
    ThreadMutex mutex;
    std::thread([&] { mutex.Unlock(); }).join();
    EXPECT_TRUE(IsFreeForOthers(mutex));

    mutex.Lock();
    std::thread([&] { mutex.Unlock(); }).join();
    EXPECT_FALSE(IsFreeForOthers(mutex));
    mutex.Unlock();
}
#endif

}  // namespace
}  // namespace threads
}  // namespace tarqlog
