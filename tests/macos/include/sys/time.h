#ifndef MACOS_SYS_TIME_H_
#define MACOS_SYS_TIME_H_

#include <time.h>

#include "declared/types.h"

struct timezone {
    int tz_minuteswest;
    int tz_dsttime;
};

MACOS_C_BEGIN
int gettimeofday(struct timeval*, void*);
int utimes(const char*, const struct timeval*);
MACOS_C_END

#endif  // MACOS_SYS_TIME_H_
