#include "tarqlog/thread_shared_mutex.h"

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "tarqlog/error.h"

#include "support/child.h"
#include "support/event.h"
#include "support/interpose.h"

#if defined(__clang__)
// Locks are taken, refused and given back here in every way, the odd ones too.
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

namespace {

tarqlog::Fault inits;
tarqlog::Fault destructions;
tarqlog::Fault exclusiveLocks;
tarqlog::Fault sharedLocks;
tarqlog::Fault unlocks;

int refusal = 0;  // what a struck call answers, instead of doing its work
pthread_rwlock_t const* lastLock = nullptr;  // of the last call that made a lock
void const* attributesOfLastInit = nullptr;
tarqlog::Event* exclusiveLockMustWait = nullptr;  // set when a lock that others hold is asked for

}  // namespace

extern "C" {

int pthread_rwlock_init(pthread_rwlock_t* lock, pthread_rwlockattr_t const* attributes) noexcept {
    static auto* const next = TARQLOG_NEXT(pthread_rwlock_init);
    lastLock = lock;
    attributesOfLastInit = attributes;
    return inits.Strikes() ? refusal : next(lock, attributes);
}

int pthread_rwlock_destroy(pthread_rwlock_t* lock) noexcept {
    static auto* const next = TARQLOG_NEXT(pthread_rwlock_destroy);
    int const result = next(lock);
    return destructions.Strikes() ? refusal : result;
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = TARQLOG_NEXT(pthread_rwlock_wrlock);
    if (exclusiveLocks.Strikes()) {
        return refusal;
    }
    if (exclusiveLockMustWait != nullptr && ::pthread_rwlock_trywrlock(lock) == EBUSY) {
        exclusiveLockMustWait->Set();
    }
    return next(lock);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = TARQLOG_NEXT(pthread_rwlock_rdlock);
    return sharedLocks.Strikes() ? refusal : next(lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = TARQLOG_NEXT(pthread_rwlock_unlock);
    return unlocks.Strikes() ? refusal : next(lock);
}

}  // extern "C"

namespace tarqlog {
namespace threads {
namespace {

/// How the lock looks to a thread that does not hold it: "free", "shared" or "exclusive".
std::string StateOf(SharedMutex& mutex) {
    std::string state = "exclusive";
    std::thread([&] {
        if (::pthread_rwlock_trywrlock(mutex.NativeHandle()) == 0) {
            ::pthread_rwlock_unlock(mutex.NativeHandle());
            state = "free";
        } else if (::pthread_rwlock_tryrdlock(mutex.NativeHandle()) == 0) {
            ::pthread_rwlock_unlock(mutex.NativeHandle());
            state = "shared";
        }
    }).join();
    return state;
}

TEST(SharedMutexTest, LockCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<SharedMutex>::value);
    EXPECT_FALSE(std::is_copy_assignable<SharedMutex>::value);
    EXPECT_FALSE(std::is_move_constructible<SharedMutex>::value);
    EXPECT_FALSE(std::is_polymorphic<SharedMutex>::value);
}

TEST(SharedMutexTest, LockKeepsEverybodyElseOutUntilUnlock) {
    SharedMutex mutex;
    EXPECT_EQ(StateOf(mutex), "free");

    mutex.Lock();
    EXPECT_EQ(StateOf(mutex), "exclusive");

    mutex.Unlock();
    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, LockSharedLetsOtherSharersIn) {
    SharedMutex mutex;

    mutex.LockShared();
    EXPECT_EQ(StateOf(mutex), "shared");

    mutex.UnlockShared();
    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, SeveralThreadsHoldTheLockTogetherInSharedMode) {
    SharedMutex mutex;
    Event firstHolds;
    Event secondHolds;
    std::thread first([&] {
        mutex.LockShared();
        firstHolds.Set();
        secondHolds.Wait();  // in vain for ever, if the second had to wait for the first
        mutex.UnlockShared();
    });
    std::thread second([&] {
        firstHolds.Wait();
        mutex.LockShared();
        secondHolds.Set();
        mutex.UnlockShared();
    });
    first.join();
    second.join();

    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, LockWaitsUntilEverySharerIsDone) {
    SharedMutex mutex;
    Event mustWait;
    exclusiveLockMustWait = &mustWait;
    std::string ended;
    mutex.LockShared();
    mutex.LockShared();
    std::thread writer([&] {
        mutex.Lock();
        ended += "writer ";
        mutex.Unlock();
    });
    mustWait.Wait();

    mutex.UnlockShared();
    EXPECT_EQ(StateOf(mutex), "shared");
    ended += "readers ";
    mutex.UnlockShared();
    writer.join();
    exclusiveLockMustWait = nullptr;

    EXPECT_EQ(ended, "readers writer ");
}

TEST(SharedMutexTest, NativeHandleIsTheLockItself) {
    SharedMutex mutex;
    EXPECT_EQ(mutex.NativeHandle(), lastLock);

    ASSERT_EQ(::pthread_rwlock_wrlock(mutex.NativeHandle()), 0);
    EXPECT_EQ(StateOf(mutex), "exclusive");
    ::pthread_rwlock_unlock(mutex.NativeHandle());
}

TEST(SharedMutexTest, LockIsMadeWithTheDefaultAttributes) {
    attributesOfLastInit = &refusal;

    SharedMutex const mutex;

    EXPECT_EQ(attributesOfLastInit, nullptr);
}

TEST(SharedMutexTest, RefusedConstructionThrowsAndDestroysNothing) {
    long const destructionsBefore = destructions.Calls();
    refusal = ENOMEM;
    errno = 2;
    inits.StrikeAt(1);

    try {
        SharedMutex const mutex;
        FAIL() << "constructed";
    } catch (log_utils::Error const& error) {
        EXPECT_STREQ(error.what(), "pthread_rwlock_init ret:12");
        EXPECT_EQ(error.GetErrno(), 2);
    }
    EXPECT_EQ(inits.Hits(), 1);
    EXPECT_EQ(destructions.Calls() - destructionsBefore, 0);
}

TEST(SharedMutexTest, DestructorDestroysTheNativeLockOnceAndIgnoresARefusal) {
    refusal = EBUSY;
    for (bool refused : {false, true}) {
        SCOPED_TRACE(refused);
        long const before = destructions.Calls();
        if (refused) {
            destructions.StrikeAt(1);
        }
        { SharedMutex const mutex; }

        EXPECT_EQ(destructions.Calls() - before, 1);
        EXPECT_EQ(destructions.Hits(), refused ? 1 : 0);
    }
}

TEST(SharedMutexTest, RefusedLockThrowsAndIsNotHeld) {
    SharedMutex mutex;
    refusal = EDEADLK;
    errno = 2;
    exclusiveLocks.StrikeAt(1);

    try {
        mutex.Lock();
        FAIL() << "locked";
    } catch (log_utils::Error const& error) {
        EXPECT_STREQ(error.what(), "pthread_rwlock_wrlock ret:35");
        EXPECT_EQ(error.GetErrno(), 2);
    }
    EXPECT_EQ(exclusiveLocks.Hits(), 1);
    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, RefusedSharedLockThrowsAndIsNotHeld) {
    SharedMutex mutex;
    refusal = EAGAIN;
    errno = 0;
    sharedLocks.StrikeAt(1);

    try {
        mutex.LockShared();
        FAIL() << "locked";
    } catch (log_utils::Error const& error) {
        EXPECT_STREQ(error.what(), "pthread_rwlock_rdlock ret:11");
        EXPECT_EQ(error.GetErrno(), 0);
    }
    EXPECT_EQ(sharedLocks.Hits(), 1);
    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, NegativeRefusalIsOneToo) {
    SharedMutex mutex;
    refusal = -1;
    exclusiveLocks.StrikeAt(1);

    try {
        mutex.Lock();
        FAIL() << "locked";
    } catch (log_utils::Error const& error) {
        EXPECT_STREQ(error.what(), "pthread_rwlock_wrlock ret:-1");
    }
}

TEST(SharedMutexTest, ExclusiveHolderIsRefusedEitherModeAndStaysTheHolder) {
    SharedMutex mutex;
    mutex.Lock();

    EXPECT_THROW(mutex.Lock(), log_utils::Error);
    EXPECT_THROW(mutex.LockShared(), log_utils::Error);

    EXPECT_EQ(StateOf(mutex), "exclusive");
    mutex.Unlock();
    EXPECT_EQ(StateOf(mutex), "free");
}

TEST(SharedMutexTest, RefusedUnlockAbortsWithoutAWord) {
    for (bool shared : {false, true}) {
        SCOPED_TRACE(shared);
        ChildResult const result = RunInChild([&] {
            SharedMutex mutex;
            shared ? mutex.LockShared() : mutex.Lock();
            refusal = EPERM;
            unlocks.StrikeAt(1);
            shared ? mutex.UnlockShared() : mutex.Unlock();
            return 0;
        });

        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "");
    }
}

}  // namespace
}  // namespace threads
}  // namespace tarqlog
