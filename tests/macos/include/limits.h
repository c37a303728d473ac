#ifndef MACOS_LIMITS_H_
#define MACOS_LIMITS_H_

#include_next <limits.h>

#define PATH_MAX 1024
#define NAME_MAX 255
#define IOV_MAX 1024
#define SSIZE_MAX __LONG_MAX__

#endif  // MACOS_LIMITS_H_
