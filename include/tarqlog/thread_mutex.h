#ifndef TARQLOG_THREAD_MUTEX_H_
#define TARQLOG_THREAD_MUTEX_H_

#include <memory>

#include "tarqlog/export.h"
#include "tarqlog/thread_annotations.h"

namespace tarqlog {
namespace threads {

/// A recursive mutex: the thread that holds it may take it again and releases it as often. What the
/// system refuses is ignored, but by TryLock(). A thread that logs while it holds one does not make
/// way for a change of the configuration. In the child of a fork it is free, unless the thread that
/// forked held a lock of the library.
class TARQLOG_API TARQLOG_CAPABILITY("mutex") ThreadMutex {
public:
    ThreadMutex();

    /// No thread may hold the mutex any more.
    ~ThreadMutex();

    ThreadMutex(ThreadMutex const&) = delete;
    ThreadMutex& operator=(ThreadMutex const&) = delete;

    /// Waits until no other thread holds the mutex.
    void Lock() TARQLOG_ACQUIRE();

    /// To be called as often as the mutex was taken, by the thread that took it.
    void Unlock() TARQLOG_RELEASE();

    /// Takes the mutex if it is free or this thread's already, and tells whether it did.
    bool TryLock() TARQLOG_TRY_ACQUIRE(true);

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace threads
}  // namespace tarqlog

#endif  // TARQLOG_THREAD_MUTEX_H_
