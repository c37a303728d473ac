#ifndef MACOS_ARPA_INET_H_
#define MACOS_ARPA_INET_H_

#include <netinet/in.h>

MACOS_C_BEGIN
in_addr_t inet_addr(const char*);
const char* inet_ntop(int, const void*, char*, socklen_t);
int inet_pton(int, const char*, void*);
MACOS_C_END

#endif  // MACOS_ARPA_INET_H_
