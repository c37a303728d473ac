#ifndef TARQLOG_TESTS_SUPPORT_RWLOCK_WATCH_H_
#define TARQLOG_TESTS_SUPPORT_RWLOCK_WATCH_H_

#include "support/event.h"
#include "support/interpose.h"

namespace tarqlog {

// The calls of the reader/writer lock and of condition variables, for programs that list
// support/rwlock_watch.cpp among their sources. A struck lock call answers EDEADLK.

extern Fault exclusiveLocks;  // pthread_rwlock_wrlock
extern Fault sharedLocks;     // pthread_rwlock_rdlock
extern Fault mutexLocks;      // pthread_mutex_lock
extern Fault conditionWaits;  // pthread_cond_wait

/// Holds a thread back where it is about to lock.
struct Barrier {
    Event reached;
    Event mayPass;
};

/// Where this thread's next exclusive lock or mutex waits, unless it is null; then it is.
extern thread_local Barrier* beforeNextLock;

/// Waits until `fault` has counted `calls` calls.
void AwaitCalls(Fault const& fault, long calls);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_RWLOCK_WATCH_H_
