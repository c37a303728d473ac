#include "tarqlog/thread_mutex.h"

#include <pthread.h>

#include "fork_list.h"
#include "held_locks.h"

namespace tarqlog::threads {

// What the system answers to the attribute calls and to locking is ignored; the count of held locks
// alone asks whether it agreed.
struct ThreadMutex::Private {
    Private() { BeginAnew(); }
    ~Private() { ::pthread_mutex_destroy(&mutex); }

    Private(Private const&) = delete;
    Private& operator=(Private const&) = delete;

    void BeginAnew() {
        pthread_mutexattr_t attributes;
        ::pthread_mutexattr_init(&attributes);
        ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        ::pthread_mutex_init(&mutex, &attributes);
        ::pthread_mutexattr_destroy(&attributes);
    }

    pthread_mutex_t mutex;
    ForkHeir heir{*this};
};

ThreadMutex::ThreadMutex() : impl_(new Private) {}

ThreadMutex::~ThreadMutex() = default;

void ThreadMutex::Lock() {
    if (::pthread_mutex_lock(&impl_->mutex) == 0) {
        ++HeldLocks();
    }
}

void ThreadMutex::Unlock() {
    if (::pthread_mutex_unlock(&impl_->mutex) == 0) {
        --HeldLocks();
    }
}

bool ThreadMutex::TryLock() {
    bool const taken = ::pthread_mutex_trylock(&impl_->mutex) == 0;
    if (taken) {
        ++HeldLocks();
    }
    return taken;
}

}  // namespace tarqlog::threads
