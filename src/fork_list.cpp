#include "fork_list.h"

#include <pthread.h>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace tarqlog {

namespace {

// Both are there before any static object is made, and are never destroyed. The lock is the
// system's own, since not every std::mutex is as lasting.
pthread_mutex_t listMutex = PTHREAD_MUTEX_INITIALIZER;
ForkHeir* first = nullptr;  // guarded by listMutex

}  // namespace

void ForkHeir::Join() {
    ForkList::Lock();
    next_ = first;
    if (next_ != nullptr) {
        next_->previous_ = this;
    }
    first = this;
    ForkList::Unlock();
}

ForkHeir::~ForkHeir() {
    ForkList::Lock();
    (previous_ != nullptr ? previous_->next_ : first) = next_;
    if (next_ != nullptr) {
        next_->previous_ = previous_;
    }
    ForkList::Unlock();
}

void ForkList::Lock() {
    ::pthread_mutex_lock(&listMutex);
}

void ForkList::Unlock() {
    ::pthread_mutex_unlock(&listMutex);
}

void ForkList::BeginAnew() {
    Disown(&listMutex);
    listMutex = PTHREAD_MUTEX_INITIALIZER;  // the one who locked it had another thread id
    for (ForkHeir* heir = first; heir != nullptr; heir = heir->next_) {
        heir->beginAnew_(heir->owner_);
    }
}

void ForkList::Disown([[maybe_unused]] void* lock) {
#if defined(__SANITIZE_THREAD__)
    ::__tsan_mutex_pre_unlock(lock, 0);
    ::__tsan_mutex_post_unlock(lock, 0);
#endif
}

}  // namespace tarqlog
