#ifndef MACOS_SYS_WAIT_H_
#define MACOS_SYS_WAIT_H_

#include <signal.h>

#define WNOHANG 1
#define WIFEXITED(status) (((status)&0177) == 0)
#define WEXITSTATUS(status) (((status) >> 8) & 0xff)
#define WIFSIGNALED(status) (((status)&0177) != 0177 && ((status)&0177) != 0)
#define WTERMSIG(status) ((status)&0177)

MACOS_C_BEGIN
pid_t wait(int*);
pid_t waitpid(pid_t, int*, int);
MACOS_C_END

#endif  // MACOS_SYS_WAIT_H_
