#include "support/udp_port.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarqlog {

namespace {

constexpr int kPatienceMs = 60000;

int Demand(int result, char const* what) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

sockaddr_in Loopback(unsigned short port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int MakeSocket() {
    return Demand(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
}

void Bind(int descriptor, unsigned short port) {
    sockaddr_in const address = Loopback(port);
    Demand(::bind(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address), "bind");
}

void AllowSharing(int descriptor) {
    int const yes = 1;
    Demand(::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes), "setsockopt");
}

unsigned short PortOf(int descriptor) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    Demand(::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

}  // namespace

// The keeper is connected, to the discard port: what others send to its port is not for it. The
// port may be shared once it is taken, and only by who asks for this very one.
UdpPort::UdpPort() : keeper_(MakeSocket()) {
    Bind(keeper_, 0);
    number_ = PortOf(keeper_);
    AllowSharing(keeper_);
    sockaddr_in const discard = Loopback(9);
    Demand(::connect(keeper_, reinterpret_cast<sockaddr const*>(&discard), sizeof discard),
           "connect");
}

UdpPort::~UdpPort() {
    StopListening();
    ::close(keeper_);
}

void UdpPort::Listen() {
    StopListening();
    listener_ = MakeSocket();
    AllowSharing(listener_);
    Bind(listener_, number_);
}

void UdpPort::StopListening() {
    if (listener_ != -1) {
        ::close(listener_);
        listener_ = -1;
    }
}

bool UdpPort::Has(int timeMs) const {
    pollfd wanted = {listener_, POLLIN, 0};
    return Demand(::poll(&wanted, 1, timeMs), "poll") == 1;
}

std::string UdpPort::Receive() const {
    if (!Has(kPatienceMs)) {
        throw std::system_error(ETIMEDOUT, std::generic_category(), "no datagram has come");
    }
    std::string datagram(65536, '\0');
    ssize_t const size = ::recv(listener_, &datagram[0], datagram.size(), 0);
    datagram.resize(static_cast<std::string::size_type>(Demand(static_cast<int>(size), "recv")));
    return datagram;
}

}  // namespace tarqlog
