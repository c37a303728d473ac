#ifndef MACOS_STDIO_H_
#define MACOS_STDIO_H_

#include <stdarg.h>

#include "declared/types.h"

typedef struct __sFILE FILE;
typedef off_t fpos_t;

#define EOF (-1)
#define BUFSIZ 1024
#define FILENAME_MAX 1024
#define FOPEN_MAX 20
#define TMP_MAX 308915776
#define L_tmpnam 1024
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#define _IOFBF 0
#define _IOLBF 1
#define _IONBF 2
#define stdin __stdinp
#define stdout __stdoutp
#define stderr __stderrp

MACOS_C_BEGIN
extern FILE* __stdinp;
extern FILE* __stdoutp;
extern FILE* __stderrp;
int fclose(FILE*);
int fflush(FILE*);
void setbuf(FILE*, char*);
int setvbuf(FILE*, char*, int, size_t);
int fprintf(FILE*, const char*, ...) __attribute__((format(printf, 2, 3)));
int printf(const char*, ...) __attribute__((format(printf, 1, 2)));
int sprintf(char*, const char*, ...) __attribute__((format(printf, 2, 3)));
int snprintf(char*, size_t, const char*, ...) __attribute__((format(printf, 3, 4)));
int vfprintf(FILE*, const char*, va_list) __attribute__((format(printf, 2, 0)));
int vprintf(const char*, va_list) __attribute__((format(printf, 1, 0)));
int vsprintf(char*, const char*, va_list) __attribute__((format(printf, 2, 0)));
int vsnprintf(char*, size_t, const char*, va_list) __attribute__((format(printf, 3, 0)));
int vasprintf(char**, const char*, va_list) __attribute__((format(printf, 2, 0)));
int fscanf(FILE*, const char*, ...);
int scanf(const char*, ...);
int sscanf(const char*, const char*, ...);
int vfscanf(FILE*, const char*, va_list);
int vscanf(const char*, va_list);
int vsscanf(const char*, const char*, va_list);
int fgetc(FILE*);
char* fgets(char*, int, FILE*);
int fputc(int, FILE*);
int fputs(const char*, FILE*);
int getc(FILE*);
int getchar(void);
char* gets(char*);
int putc(int, FILE*);
int putchar(int);
int puts(const char*);
int ungetc(int, FILE*);
size_t fread(void*, size_t, size_t, FILE*);
size_t fwrite(const void*, size_t, size_t, FILE*);
int fgetpos(FILE*, fpos_t*);
int fsetpos(FILE*, const fpos_t*);
int fseek(FILE*, long, int);
int fseeko(FILE*, off_t, int);
long ftell(FILE*);
off_t ftello(FILE*);
void rewind(FILE*);
void clearerr(FILE*);
int feof(FILE*);
int ferror(FILE*);
void perror(const char*);
int fileno(FILE*);
FILE* fopen(const char*, const char*);
FILE* fdopen(int, const char*);
FILE* freopen(const char*, const char*, FILE*);
void flockfile(FILE*);
void funlockfile(FILE*);
int remove(const char*);
int rename(const char*, const char*);
FILE* tmpfile(void);
char* tmpnam(char*);
MACOS_C_END

#endif  // MACOS_STDIO_H_
