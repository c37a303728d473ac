#include "tarqlog/thread_shared_mutex.h"

#include <cstdlib>
#include <sstream>

#include "tarqlog/error.h"

#include "fork_list.h"
#include "held_locks.h"

namespace tarqlog::threads {

namespace {

/// The result goes into the text alone: these calls do not set `errno`.
[[noreturn]] void Throw(const char* call, int result) {
    std::ostringstream message;
    message << call << " ret:" << result;
    throw log_utils::Error(message.str());
}

inline void ThrowUnlessZero(const char* call, int result) {
    if (result != 0) {
        Throw(call, result);
    }
}

void UnlockOrAbort(pthread_rwlock_t* rwlock) {
    if (::pthread_rwlock_unlock(rwlock) != 0) {
        std::abort();
    }
    --HeldLocks();
}

}  // namespace

struct SharedMutex::Private {
    Private() { ThrowUnlessZero("pthread_rwlock_init", ::pthread_rwlock_init(&rwlock, nullptr)); }
    ~Private() { ::pthread_rwlock_destroy(&rwlock); }

    Private(Private const&) = delete;
    Private& operator=(Private const&) = delete;

    void BeginAnew() { ::pthread_rwlock_init(&rwlock, nullptr); }

    pthread_rwlock_t rwlock;
    ForkHeir heir{*this};
};

SharedMutex::SharedMutex() : impl_(new Private) {}

SharedMutex::~SharedMutex() = default;

void SharedMutex::Lock() {
    ThrowUnlessZero("pthread_rwlock_wrlock", ::pthread_rwlock_wrlock(&impl_->rwlock));
    ++HeldLocks();
}

void SharedMutex::Unlock() {
    UnlockOrAbort(&impl_->rwlock);
}

void SharedMutex::LockShared() {
    ThrowUnlessZero("pthread_rwlock_rdlock", ::pthread_rwlock_rdlock(&impl_->rwlock));
    ++HeldLocks();
}

void SharedMutex::UnlockShared() {
    UnlockOrAbort(&impl_->rwlock);
}

pthread_rwlock_t* SharedMutex::NativeHandle() {
    return &impl_->rwlock;
}

}  // namespace tarqlog::threads
