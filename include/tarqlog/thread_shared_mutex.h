#ifndef TARQLOG_THREAD_SHARED_MUTEX_H_
#define TARQLOG_THREAD_SHARED_MUTEX_H_

#include <pthread.h>

#include <memory>

#include "tarqlog/export.h"
#include "tarqlog/thread_annotations.h"

namespace tarqlog {
namespace threads {

/// A reader/writer lock with the system's default attributes. Not recursive: a thread that holds it
/// exclusively must not take it again in either mode, and one that holds it shared must not take it
/// exclusively. A refused unlock aborts the process. A thread that logs while it holds one does not
/// make way for a change of the configuration. In the child of a fork it is free, unless the thread
/// that forked held a lock of the library.
class TARQLOG_API TARQLOG_CAPABILITY("shared mutex") SharedMutex {
public:
    /// @throws log_utils::Error when the system refuses
    SharedMutex();

    /// No thread may hold the lock any more.
    ~SharedMutex();

    SharedMutex(SharedMutex const&) = delete;
    SharedMutex& operator=(SharedMutex const&) = delete;

    /// Waits until no other thread holds the lock.
    /// @throws log_utils::Error when the system refuses; the lock is then not held
    void Lock() TARQLOG_ACQUIRE();

    /// Ends what Lock() began, on the same thread.
    void Unlock() TARQLOG_RELEASE();

    /// Waits until no other thread holds the lock exclusively.
    /// @throws log_utils::Error when the system refuses; the lock is then not held
    void LockShared() TARQLOG_ACQUIRE_SHARED();

    /// Ends what LockShared() began, on the same thread.
    void UnlockShared() TARQLOG_RELEASE_SHARED();

    /// The native lock, which stays this object's own.
    pthread_rwlock_t* NativeHandle();

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace threads
}  // namespace tarqlog

#endif  // TARQLOG_THREAD_SHARED_MUTEX_H_
