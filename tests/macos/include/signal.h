#ifndef MACOS_SIGNAL_H_
#define MACOS_SIGNAL_H_

#include "declared/types.h"

#define SIGHUP 1
#define SIGINT 2
#define SIGQUIT 3
#define SIGILL 4
#define SIGTRAP 5
#define SIGABRT 6
#define SIGFPE 8
#define SIGKILL 9
#define SIGBUS 10
#define SIGSEGV 11
#define SIGPIPE 13
#define SIGALRM 14
#define SIGTERM 15
#define SIGSTOP 17
#define SIGCHLD 20
#define SIG_DFL ((void (*)(int))0)
#define SIG_IGN ((void (*)(int))1)
#define SIG_ERR ((void (*)(int)) - 1)
#define SIG_BLOCK 1
#define SIG_UNBLOCK 2
#define SIG_SETMASK 3
#define SA_ONSTACK 0x0001
#define SA_RESTART 0x0002
#define SA_RESETHAND 0x0004
#define SA_NODEFER 0x0010
#define SA_SIGINFO 0x0040
#define SIGSTKSZ 131072

typedef int sig_atomic_t;
typedef struct __siginfo siginfo_t;

struct sigaction {
    union {
        void (*__sa_handler)(int);
        void (*__sa_sigaction)(int, siginfo_t*, void*);
    } __sigaction_u;
    sigset_t sa_mask;
    int sa_flags;
};
#define sa_handler __sigaction_u.__sa_handler
#define sa_sigaction __sigaction_u.__sa_sigaction

typedef struct {
    void* ss_sp;
    size_t ss_size;
    int ss_flags;
} stack_t;

MACOS_C_BEGIN
int sigaltstack(const stack_t*, stack_t*);
void (*signal(int, void (*)(int)))(int);
int raise(int);
int kill(pid_t, int);
int sigaction(int, const struct sigaction*, struct sigaction*);
int sigemptyset(sigset_t*);
int sigfillset(sigset_t*);
int sigaddset(sigset_t*, int);
int sigprocmask(int, const sigset_t*, sigset_t*);
int pthread_sigmask(int, const sigset_t*, sigset_t*);
MACOS_C_END

#endif  // MACOS_SIGNAL_H_
