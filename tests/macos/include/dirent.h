#ifndef MACOS_DIRENT_H_
#define MACOS_DIRENT_H_

#include "declared/types.h"

typedef struct _dirdesc DIR;

struct dirent {
    ino_t d_ino;
    __uint64_t d_seekoff;
    __uint16_t d_reclen;
    __uint16_t d_namlen;
    __uint8_t d_type;
    char d_name[1024];
};

MACOS_C_BEGIN
DIR* opendir(const char*);
struct dirent* readdir(DIR*);
int closedir(DIR*);
MACOS_C_END

#endif  // MACOS_DIRENT_H_
