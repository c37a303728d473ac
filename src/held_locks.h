#ifndef TARQLOG_SRC_HELD_LOCKS_H_
#define TARQLOG_SRC_HELD_LOCKS_H_

#include "thread_data.h"

namespace tarqlog::threads {

/// How many locks of the library the calling thread holds, each counted as often as it is held. The
/// lock classes keep it; whoever is about to wait for other threads' locks to be released asks it.
inline unsigned int& HeldLocks() {
    static thread_local unsigned int count TARQLOG_STATIC_TLS = 0;
    return count;
}

}  // namespace tarqlog::threads

#endif  // TARQLOG_SRC_HELD_LOCKS_H_
