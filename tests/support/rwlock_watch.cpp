#include "support/rwlock_watch.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>
#include <utility>

namespace tarqlog {

Fault exclusiveLocks;
Fault sharedLocks;
Fault mutexLocks;
Fault conditionWaits;
thread_local Barrier* beforeNextLock = nullptr;

namespace {

void WaitAtBarrier() {
    if (Barrier* const barrier = std::exchange(beforeNextLock, nullptr)) {
        barrier->reached.Set();
        barrier->mayPass.Wait();
    }
}

}  // namespace

void AwaitCalls(Fault const& fault, long calls) {
    while (fault.Calls() < calls) {
        ::sched_yield();
    }
}

}  // namespace tarqlog

// The next definitions are looked up once each: these calls are on every thread's road.

extern "C" int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_rwlock_wrlock);
    tarqlog::WaitAtBarrier();
    return tarqlog::exclusiveLocks.Strikes() ? EDEADLK : next(lock);
}

extern "C" int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_rwlock_rdlock);
    return tarqlog::sharedLocks.Strikes() ? EDEADLK : next(lock);
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_lock);
    tarqlog::WaitAtBarrier();
    return tarqlog::mutexLocks.Strikes() ? EDEADLK : next(mutex);
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_cond_wait);
    tarqlog::conditionWaits.Strikes();
    return next(condition, mutex);
}
