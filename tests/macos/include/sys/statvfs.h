#ifndef MACOS_SYS_STATVFS_H_
#define MACOS_SYS_STATVFS_H_

#include "declared/types.h"

typedef unsigned int fsblkcnt_t;
typedef unsigned int fsfilcnt_t;

struct statvfs {
    unsigned long f_bsize;
    unsigned long f_frsize;
    fsblkcnt_t f_blocks;
    fsblkcnt_t f_bfree;
    fsblkcnt_t f_bavail;
    fsfilcnt_t f_files;
    fsfilcnt_t f_ffree;
    fsfilcnt_t f_favail;
    unsigned long f_fsid;
    unsigned long f_flag;
    unsigned long f_namemax;
};

MACOS_C_BEGIN
int statvfs(const char*, struct statvfs*);
MACOS_C_END

#endif  // MACOS_SYS_STATVFS_H_
