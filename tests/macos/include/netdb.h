#ifndef MACOS_NETDB_H_
#define MACOS_NETDB_H_

#include <sys/socket.h>

#define EAI_AGAIN 2
#define EAI_NONAME 8
#define EAI_SYSTEM 11

struct addrinfo {
    int ai_flags;
    int ai_family;
    int ai_socktype;
    int ai_protocol;
    socklen_t ai_addrlen;
    char* ai_canonname;
    struct sockaddr* ai_addr;
    struct addrinfo* ai_next;
};

MACOS_C_BEGIN
int getaddrinfo(const char*, const char*, const struct addrinfo*, struct addrinfo**);
void freeaddrinfo(struct addrinfo*);
const char* gai_strerror(int);
MACOS_C_END

#endif  // MACOS_NETDB_H_
