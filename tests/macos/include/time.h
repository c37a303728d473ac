#ifndef MACOS_TIME_H_
#define MACOS_TIME_H_

#include "declared/types.h"

#define CLOCKS_PER_SEC ((clock_t)1000000)

typedef enum {
    CLOCK_REALTIME = 0,
    CLOCK_MONOTONIC = 6,
    CLOCK_MONOTONIC_RAW = 4,
    CLOCK_PROCESS_CPUTIME_ID = 12,
    CLOCK_THREAD_CPUTIME_ID = 16
} clockid_t;
// A program may ask whether there is one.
#define CLOCK_REALTIME CLOCK_REALTIME
#define CLOCK_MONOTONIC CLOCK_MONOTONIC

struct tm {
    int tm_sec;
    int tm_min;
    int tm_hour;
    int tm_mday;
    int tm_mon;
    int tm_year;
    int tm_wday;
    int tm_yday;
    int tm_isdst;
    long tm_gmtoff;
    char* tm_zone;
};

MACOS_C_BEGIN
clock_t clock(void);
double difftime(time_t, time_t);
time_t mktime(struct tm*);
time_t time(time_t*);
char* asctime(const struct tm*);
char* ctime(const time_t*);
struct tm* gmtime(const time_t*);
struct tm* localtime(const time_t*);
struct tm* gmtime_r(const time_t*, struct tm*);
struct tm* localtime_r(const time_t*, struct tm*);
size_t strftime(char*, size_t, const char*, const struct tm*);
void tzset(void);
int clock_gettime(clockid_t, struct timespec*);
int nanosleep(const struct timespec*, struct timespec*);
MACOS_C_END

#endif  // MACOS_TIME_H_
