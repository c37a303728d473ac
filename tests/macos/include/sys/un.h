#ifndef MACOS_SYS_UN_H_
#define MACOS_SYS_UN_H_

#include <sys/socket.h>

struct sockaddr_un {
    __uint8_t sun_len;
    sa_family_t sun_family;
    char sun_path[104];
};

#endif  // MACOS_SYS_UN_H_
