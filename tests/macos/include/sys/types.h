#ifndef MACOS_SYS_TYPES_H_
#define MACOS_SYS_TYPES_H_

#include "declared/types.h"

#endif  // MACOS_SYS_TYPES_H_
