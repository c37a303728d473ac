#ifndef MACOS_DLFCN_H_
#define MACOS_DLFCN_H_

#include "declared/types.h"

#define RTLD_LAZY 0x1
#define RTLD_NOW 0x2
#define RTLD_LOCAL 0x4
#define RTLD_GLOBAL 0x8

MACOS_C_BEGIN
void* dlopen(const char*, int);
int dlclose(void*);
void* dlsym(void*, const char*);
char* dlerror(void);
MACOS_C_END

#endif  // MACOS_DLFCN_H_
