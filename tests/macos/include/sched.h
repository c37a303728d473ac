#ifndef MACOS_SCHED_H_
#define MACOS_SCHED_H_

#include "declared/types.h"

struct sched_param {
    int sched_priority;
    char __opaque[4];
};

MACOS_C_BEGIN
int sched_yield(void);
MACOS_C_END

#endif  // MACOS_SCHED_H_
