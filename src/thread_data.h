#ifndef TARQLOG_SRC_THREAD_DATA_H_
#define TARQLOG_SRC_THREAD_DATA_H_

#include <cstddef>  // __GLIBC__

/// Stands behind `thread_local`. Where a library's thread-local data is reached through a function
/// of the loader, a record would pay for it ten times. glibc keeps room for the few dozen bytes
/// that we take beside a program's own, also when the program loads us later.
#if defined(__GLIBC__)
#define TARQLOG_STATIC_TLS __attribute__((tls_model("initial-exec")))
#else
#define TARQLOG_STATIC_TLS
#endif

#endif  // TARQLOG_SRC_THREAD_DATA_H_
