#ifndef TARQLOG_TESTS_SUPPORT_IS_FREE_H_
#define TARQLOG_TESTS_SUPPORT_IS_FREE_H_

#include <thread>

#include "tarqlog/thread_mutex.h"

namespace tarqlog {

/// Whether another thread could take the mutex now.
inline bool IsFree(threads::ThreadMutex& mutex) {
    bool free = false;
    std::thread([&] {
        if (mutex.TryLock()) {
            free = true;
            mutex.Unlock();
        }
    }).join();
    return free;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_IS_FREE_H_
