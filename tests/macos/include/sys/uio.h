#ifndef MACOS_SYS_UIO_H_
#define MACOS_SYS_UIO_H_

#include "declared/types.h"

struct iovec {
    void* iov_base;
    size_t iov_len;
};

MACOS_C_BEGIN
ssize_t readv(int, const struct iovec*, int);
ssize_t writev(int, const struct iovec*, int);
MACOS_C_END

#endif  // MACOS_SYS_UIO_H_
