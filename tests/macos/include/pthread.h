#ifndef MACOS_PTHREAD_H_
#define MACOS_PTHREAD_H_

#include <sched.h>
#include <time.h>

#include "declared/types.h"

typedef unsigned int mach_port_t;
typedef unsigned long pthread_key_t;

#define MACOS_OPAQUE(name, size) \
    typedef struct {             \
        long __sig;              \
        char __opaque[size];     \
    } name
MACOS_OPAQUE(pthread_attr_t, 56);
MACOS_OPAQUE(pthread_cond_t, 40);
MACOS_OPAQUE(pthread_condattr_t, 8);
MACOS_OPAQUE(pthread_mutex_t, 56);
MACOS_OPAQUE(pthread_mutexattr_t, 8);
MACOS_OPAQUE(pthread_once_t, 8);
MACOS_OPAQUE(pthread_rwlock_t, 192);
MACOS_OPAQUE(pthread_rwlockattr_t, 16);

#define PTHREAD_MUTEX_NORMAL 0
#define PTHREAD_MUTEX_ERRORCHECK 1
#define PTHREAD_MUTEX_RECURSIVE 2
#define PTHREAD_MUTEX_DEFAULT PTHREAD_MUTEX_NORMAL
#define PTHREAD_CANCEL_ENABLE 0x01
#define PTHREAD_CANCEL_DISABLE 0x00
// clang-format off
#define PTHREAD_MUTEX_INITIALIZER {0x32AAABA7, {0}}
#define PTHREAD_COND_INITIALIZER {0x3CB0B1BB, {0}}
#define PTHREAD_RWLOCK_INITIALIZER {0x2DA8B3B4, {0}}
#define PTHREAD_ONCE_INIT {0x30B1BCBA, {0}}
// clang-format on

MACOS_C_BEGIN
int pthread_atfork(void (*)(void), void (*)(void), void (*)(void));
int pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int pthread_join(pthread_t, void**);
int pthread_detach(pthread_t);
int pthread_equal(pthread_t, pthread_t);
pthread_t pthread_self(void);
mach_port_t pthread_mach_thread_np(pthread_t);
int pthread_threadid_np(pthread_t, __uint64_t*);
int pthread_setname_np(const char*);
int pthread_getname_np(pthread_t, char*, size_t);
int pthread_setcancelstate(int, int*);
int pthread_once(pthread_once_t*, void (*)(void));
int pthread_key_create(pthread_key_t*, void (*)(void*));
int pthread_setspecific(pthread_key_t, const void*);
void* pthread_getspecific(pthread_key_t);
int pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);
int pthread_mutex_destroy(pthread_mutex_t*);
int pthread_mutex_lock(pthread_mutex_t*);
int pthread_mutex_trylock(pthread_mutex_t*);
int pthread_mutex_unlock(pthread_mutex_t*);
int pthread_mutexattr_init(pthread_mutexattr_t*);
int pthread_mutexattr_destroy(pthread_mutexattr_t*);
int pthread_mutexattr_settype(pthread_mutexattr_t*, int);
int pthread_cond_init(pthread_cond_t*, const pthread_condattr_t*);
int pthread_cond_destroy(pthread_cond_t*);
int pthread_cond_signal(pthread_cond_t*);
int pthread_cond_broadcast(pthread_cond_t*);
int pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const struct timespec*);
int pthread_rwlock_init(pthread_rwlock_t*, const pthread_rwlockattr_t*);
int pthread_rwlock_destroy(pthread_rwlock_t*);
int pthread_rwlock_rdlock(pthread_rwlock_t*);
int pthread_rwlock_tryrdlock(pthread_rwlock_t*);
int pthread_rwlock_wrlock(pthread_rwlock_t*);
int pthread_rwlock_trywrlock(pthread_rwlock_t*);
int pthread_rwlock_unlock(pthread_rwlock_t*);
MACOS_C_END

#endif  // MACOS_PTHREAD_H_
