#include "tarqlog/udpsender.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace tarqlog {

namespace {

constexpr unsigned short kMaxParts = 4;

/// A UDP socket that does not survive an exec, or -1.
int MakeSocket() {
#if defined(SOCK_CLOEXEC)
    // In one step, so that another thread's fork and exec never come between.
    return ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
#else
    int const descriptor = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (descriptor != -1) {
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return descriptor;
#endif
}

}  // namespace

UdpSender::~UdpSender() {
    Close();
}

void UdpSender::Close() {
    if (socket_ != -1) {
        ::close(socket_);
        socket_ = -1;
    }
}

bool UdpSender::Create(char const* host, unsigned short port) {
    Close();
    if (host == nullptr || port == 0 || *host == '\0') {
        return false;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ::inet_addr(host);
    if (address.sin_addr.s_addr == INADDR_ANY) {
        return false;  // 0.0.0.0 alone; whether INADDR_NONE is of any use is for connect() to say
    }
    socket_ = MakeSocket();
    if (socket_ == -1) {
        return false;
    }
    if (::connect(socket_, reinterpret_cast<sockaddr const*>(&address), sizeof address) == -1) {
        Close();
    }
    return IsOpen();
}

bool UdpSender::Send(char const** parts, unsigned long* sizes, unsigned short count) {
    if (!IsOpen() || count > kMaxParts) {
        return false;
    }
    iovec pieces[kMaxParts];
    msghdr message = {};
    message.msg_iov = pieces;
    for (unsigned short i = 0; i < count; ++i) {
        if (sizes[i] != 0) {
            pieces[message.msg_iovlen++] = {const_cast<char*>(parts[i]), sizes[i]};
        }
    }
    return ::sendmsg(socket_, &message, 0) != -1;
}

}  // namespace tarqlog
