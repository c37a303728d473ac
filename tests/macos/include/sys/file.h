#ifndef MACOS_SYS_FILE_H_
#define MACOS_SYS_FILE_H_

#include <fcntl.h>

#define LOCK_SH 0x01
#define LOCK_EX 0x02
#define LOCK_NB 0x04
#define LOCK_UN 0x08

MACOS_C_BEGIN
int flock(int, int);
MACOS_C_END

#endif  // MACOS_SYS_FILE_H_
