#ifndef MACOS_POLL_H_
#define MACOS_POLL_H_

#include "declared/types.h"

#define POLLIN 0x0001
#define POLLPRI 0x0002
#define POLLOUT 0x0004
#define POLLERR 0x0008
#define POLLHUP 0x0010
#define POLLNVAL 0x0020

typedef unsigned int nfds_t;

struct pollfd {
    int fd;
    short events;
    short revents;
};

MACOS_C_BEGIN
int poll(struct pollfd*, nfds_t, int);
MACOS_C_END

#endif  // MACOS_POLL_H_
