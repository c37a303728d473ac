#include "datagrams.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <boost/make_shared.hpp>

#include <tarqlog/udpsender.h>

namespace tarqlog::tool {

namespace {

constexpr std::size_t kMaxDatagram = 65507;  // bytes: what IPv4 and UDP leave of 64 KiB
constexpr std::string_view kCutMark = " [cut]";
constexpr std::string_view kCutObject = " [cut]\"}";  // the text is the last of its members

/// The first IPv4 address of `host`, in dots.
std::string ToAddress(std::string const& host) {
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    int const error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found);
    if (error != 0) {
        throw std::runtime_error(
            "cannot find an IPv4 address of " + host + ": " +
            (error == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(error)));
    }
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> const owner(found, &::freeaddrinfo);
    sockaddr_in address = {};
    std::memcpy(&address, found->ai_addr, sizeof address);
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
}

/// How much of `text` its first `size` bytes hold without a torn UTF-8 character.
std::size_t WholeCharacters(char const* text, std::size_t size) {
    std::size_t end = size;
    while (end > 0 && size - end < 3 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return end;
}

/// The same without a torn escape of EscapingAppender or JSON.
std::size_t WholeEscapes(char const* text, std::size_t size) {
    std::size_t end = 0;
    while (end < size) {
        std::size_t length = 1;
        if (text[end] == '\\') {
            char const kind = text[end + 1];
            length = kind == 'u' ? 6 : kind == 'x' ? 4 : 2;  // \u001b, \x1b, \n
        }
        if (length > size - end) {
            return end;
        }
        end += length;
    }
    return end;
}

}  // namespace

void DatagramAppender::DoAppend(LogRecord const& record) {
    std::size_t const size = record.GetData().size() - 1;         // without the NUL
    std::size_t const room = kMaxDatagram - Header().size() - 1;  // and without the line feed
    if (size <= room) {
        UdpAppender::DoAppend(record);
        return;
    }
    char const* const text = record.GetData().data();
    std::string_view const mark = form_ == TextForm::kJson ? kCutObject : kCutMark;
    std::size_t kept = WholeCharacters(text, room - mark.size());
    if (form_ != TextForm::kPlain) {
        kept = WholeEscapes(text, kept);
    }
    LogRecord cut(record.GetSeverity());
    cut.WriteData(text, static_cast<int>(kept));
    cut.WriteData(mark.data(), static_cast<int>(mark.size()));
    cut.WriteData("", 1);
    UdpAppender::DoAppend(cut);
    ++cutCount_;
}

boost::shared_ptr<DatagramAppender> OpenDatagrams(std::string const& host, unsigned short port) {
    std::string const address = ToAddress(host);
    errno = EADDRNOTAVAIL;  // 0.0.0.0 is refused without a system call
    if (UdpSender trial; !trial.Create(address.c_str(), port)) {
        int const error = errno;
        throw std::runtime_error("cannot send to " + host + ": " + std::strerror(error));
    }
    return boost::make_shared<DatagramAppender>(address, port);
}

}  // namespace tarqlog::tool
