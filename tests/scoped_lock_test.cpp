#include "tarqlog/scoped_lock.h"

#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "tarqlog/thread_mutex.h"
#include "tarqlog/thread_shared_mutex.h"

namespace tarqlog {
namespace threads {
namespace {

/// Notes what is done to it, and refuses to be taken when told so.
class TARQLOG_CAPABILITY("mutex") NotingMutex {
public:
    void Lock() TARQLOG_ACQUIRE() { Note("Lock "); }
    void Unlock() TARQLOG_RELEASE() { Note("Unlock "); }
    void LockShared() TARQLOG_ACQUIRE_SHARED() { Note("LockShared "); }
    void UnlockShared() TARQLOG_RELEASE_SHARED() { Note("UnlockShared "); }

    std::string notes;
    bool refuses = false;

private:
    void Note(char const* call) {
        notes += call;
        if (refuses) {
            throw std::runtime_error("refused");
        }
    }
};

TEST(ScopedLockTest, MutexIsHeldForTheLengthOfTheScope) {
    NotingMutex mutex;
    {
        ScopedLock<NotingMutex> const lock(mutex);
        mutex.notes += "inside ";
    }
    mutex.notes += "outside";

    EXPECT_EQ(mutex.notes, "Lock inside Unlock outside");
}

TEST(ScopedLockTest, SharedMutexIsHeldForTheLengthOfTheScope) {
    NotingMutex mutex;
    {
        ScopedSharedLock<NotingMutex> const lock(mutex);
        mutex.notes += "inside ";
    }
    mutex.notes += "outside";

    EXPECT_EQ(mutex.notes, "LockShared inside UnlockShared outside");
}

TEST(ScopedLockTest, ExceptionThatLeavesTheScopeReleasesTheMutex) {
    NotingMutex mutex;

    EXPECT_THROW(
        {
            ScopedLock<NotingMutex> const lock(mutex);
            throw std::logic_error("inside");
        },
        std::logic_error);

    EXPECT_EQ(mutex.notes, "Lock Unlock ");
}

TEST(ScopedLockTest, ExceptionThatLeavesTheScopeReleasesTheSharedMutex) {
    NotingMutex mutex;

    EXPECT_THROW(
        {
            ScopedSharedLock<NotingMutex> const lock(mutex);
            throw std::logic_error("inside");
        },
        std::logic_error);

    EXPECT_EQ(mutex.notes, "LockShared UnlockShared ");
}

TEST(ScopedLockTest, RefusedLockPassesThroughAndIsNotReleased) {
    NotingMutex mutex;
    mutex.refuses = true;

    EXPECT_THROW(ScopedLock<NotingMutex>{mutex}, std::runtime_error);
    EXPECT_THROW(ScopedSharedLock<NotingMutex>{mutex}, std::runtime_error);

    EXPECT_EQ(mutex.notes, "Lock LockShared ");
}

TEST(ScopedLockTest, LocksOfTheLibraryAreTakenAndGivenBack) {
    ThreadMutex mutex;
    SharedMutex sharedMutex;
    {
        ScopedLock<ThreadMutex> const lock(mutex);
        ScopedLock<SharedMutex> const exclusive(sharedMutex);
        EXPECT_NE(::pthread_rwlock_tryrdlock(sharedMutex.NativeHandle()), 0);
    }
    {
        ScopedSharedLock<SharedMutex> const shared(sharedMutex);
        EXPECT_NE(::pthread_rwlock_trywrlock(sharedMutex.NativeHandle()), 0);
    }
    EXPECT_EQ(::pthread_rwlock_trywrlock(sharedMutex.NativeHandle()), 0);
    ::pthread_rwlock_unlock(sharedMutex.NativeHandle());
}

TEST(ScopedLockTest, ScopesCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<ScopedLock<ThreadMutex>>::value);
    EXPECT_FALSE(std::is_copy_assignable<ScopedLock<ThreadMutex>>::value);
    EXPECT_FALSE(std::is_copy_constructible<ScopedSharedLock<SharedMutex>>::value);
    EXPECT_FALSE(std::is_copy_assignable<ScopedSharedLock<SharedMutex>>::value);
}

TEST(ScopedLockTest, MutexIsNotTakenForAScopeByAccident) {
    EXPECT_FALSE((std::is_convertible<ThreadMutex&, ScopedLock<ThreadMutex>>::value));
    EXPECT_FALSE((std::is_convertible<SharedMutex&, ScopedSharedLock<SharedMutex>>::value));
}

}  // namespace
}  // namespace threads
}  // namespace tarqlog
