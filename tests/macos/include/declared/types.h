#ifndef MACOS_DECLARED_TYPES_H_
#define MACOS_DECLARED_TYPES_H_

// The types that several headers declare, as wide and as signed as the system has them on both of
// its processors.

#include <stddef.h>

#define MACOS_C_BEGIN extern "C" {
#define MACOS_C_END }

typedef unsigned char __uint8_t;
typedef unsigned short __uint16_t;
typedef unsigned int __uint32_t;
typedef unsigned long long __uint64_t;
typedef long long __int64_t;
typedef int __darwin_ct_rune_t;

typedef long ssize_t;
typedef long long off_t;
typedef long time_t;
typedef unsigned long clock_t;
typedef int suseconds_t;
typedef unsigned int useconds_t;
typedef int pid_t;
typedef int dev_t;
typedef __uint64_t ino_t;
typedef __uint16_t mode_t;
typedef __uint16_t nlink_t;
typedef unsigned int uid_t;
typedef unsigned int gid_t;
typedef int blksize_t;
typedef __int64_t blkcnt_t;
typedef unsigned int sigset_t;
typedef __uint32_t socklen_t;
typedef int wint_t;

typedef union {
    char bytes[128];
    long long aligned;
} mbstate_t;

struct timespec {
    time_t tv_sec;
    long tv_nsec;
};

struct timeval {
    time_t tv_sec;
    suseconds_t tv_usec;
};

typedef struct _opaque_pthread_t* pthread_t;
typedef struct _xlocale* locale_t;

#endif  // MACOS_DECLARED_TYPES_H_
