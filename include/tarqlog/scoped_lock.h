#ifndef TARQLOG_SCOPED_LOCK_H_
#define TARQLOG_SCOPED_LOCK_H_

#include "tarqlog/thread_annotations.h"

namespace tarqlog {
namespace threads {

/// Holds a ThreadMutex, or a SharedMutex exclusively, for the length of a scope. Throws what Lock()
/// throws.
template <class Mutex>
class TARQLOG_SCOPED_CAPABILITY ScopedLock {
public:
    /// Waits for `mutex`, which must outlive the scope.
    explicit ScopedLock(Mutex& mutex) TARQLOG_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~ScopedLock() TARQLOG_RELEASE() { mutex_.Unlock(); }

    ScopedLock(ScopedLock const&) = delete;
    ScopedLock& operator=(ScopedLock const&) = delete;

private:
    Mutex& mutex_;
};

/// Holds a SharedMutex in shared mode for the length of a scope. Throws what LockShared() throws.
template <class Mutex>
class TARQLOG_SCOPED_CAPABILITY ScopedSharedLock {
public:
    /// Waits for `mutex`, which must outlive the scope.
    explicit ScopedSharedLock(Mutex& mutex) TARQLOG_ACQUIRE_SHARED(mutex) : mutex_(mutex) {
        mutex_.LockShared();
    }
    ~ScopedSharedLock() TARQLOG_RELEASE_GENERIC() { mutex_.UnlockShared(); }

    ScopedSharedLock(ScopedSharedLock const&) = delete;
    ScopedSharedLock& operator=(ScopedSharedLock const&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace threads
}  // namespace tarqlog

#endif  // TARQLOG_SCOPED_LOCK_H_
