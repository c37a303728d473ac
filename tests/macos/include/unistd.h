#ifndef MACOS_UNISTD_H_
#define MACOS_UNISTD_H_

#include "declared/types.h"

#define STDIN_FILENO 0
#define STDOUT_FILENO 1
#define STDERR_FILENO 2
#define F_OK 0
#define X_OK 1
#define W_OK 2
#define R_OK 4
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#define _SC_PAGESIZE 29
#define _SC_NPROCESSORS_ONLN 58
#define _POSIX_VERSION 200112L
#define _POSIX_THREADS 200112L

MACOS_C_BEGIN
int access(const char*, int);
int chdir(const char*);
int close(int);
int dup(int);
int dup2(int, int);
int execvp(const char*, char* const*);
void _exit(int) __attribute__((noreturn));
pid_t fork(void);
int fsync(int);
int ftruncate(int, off_t);
char* getcwd(char*, size_t);
int gethostname(char*, size_t);
pid_t getpgrp(void);
pid_t getpid(void);
pid_t getppid(void);
uid_t getuid(void);
uid_t geteuid(void);
int isatty(int);
int link(const char*, const char*);
off_t lseek(int, off_t, int);
int pipe(int[2]);
ssize_t pread(int, void*, size_t, off_t);
ssize_t read(int, void*, size_t);
ssize_t readlink(const char*, char*, size_t);
int rmdir(const char*);
unsigned int sleep(unsigned int);
int symlink(const char*, const char*);
long sysconf(int);
pid_t tcgetpgrp(int);
int unlink(const char*);
int usleep(useconds_t);
ssize_t write(int, const void*, size_t);
MACOS_C_END

#endif  // MACOS_UNISTD_H_
