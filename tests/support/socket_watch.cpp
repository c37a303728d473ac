#include "support/socket_watch.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/interpose.h"

namespace tarqlog {

namespace {

constexpr std::size_t kLongPiece = 100;

std::string KindOf(int domain, int type, int protocol) {
    if (domain == AF_INET && type == (SOCK_DGRAM | SOCK_CLOEXEC) && protocol == IPPROTO_UDP) {
        return "";
    }
    return " of domain " + std::to_string(domain) + ", type " + std::to_string(type) +
           " and protocol " + std::to_string(protocol);
}

std::string TextOf(sockaddr const* address, socklen_t size) {
    sockaddr_in ipv4 = {};
    if (size != sizeof ipv4) {
        return "an address of " + std::to_string(size) + " bytes";
    }
    std::memcpy(&ipv4, address, sizeof ipv4);
    static constexpr unsigned char kZeros[sizeof ipv4.sin_zero] = {};
    if (ipv4.sin_family != AF_INET || std::memcmp(ipv4.sin_zero, kZeros, sizeof kZeros) != 0) {
        return "an address of another kind, or with rubbish in it";
    }
    unsigned char bytes[4];
    std::memcpy(bytes, &ipv4.sin_addr, sizeof bytes);
    std::string text;
    for (unsigned char const byte : bytes) {
        text += (text.empty() ? "" : ".") + std::to_string(byte);
    }
    return text + ':' + std::to_string(ntohs(ipv4.sin_port));
}

std::string TextOf(std::vector<iovec> const& pieces) {
    std::string text;
    for (iovec const& piece : pieces) {
        text += text.empty() ? "" : "|";
        text += piece.iov_len > kLongPiece
                    ? std::to_string(piece.iov_len) + " bytes"
                    : std::string(static_cast<char const*>(piece.iov_base), piece.iov_len);
    }
    return text;
}

/// Whether there is nothing but the pieces.
bool IsPlain(msghdr const& message, int flags) {
    return flags == 0 && message.msg_name == nullptr && message.msg_namelen == 0 &&
           message.msg_control == nullptr && message.msg_controllen == 0 && message.msg_flags == 0;
}

}  // namespace

thread_local SocketJournal* SocketJournal::current = nullptr;

ssize_t SocketJournal::Take(std::string const& function, std::string const& details,
                            std::function<ssize_t()> const& call) {
    auto const planned = answers_.find({function, ++counts_[function]});
    bool const isPlanned = planned != answers_.end();
    ssize_t const result = isPlanned ? planned->second.first : call();
    int const error = isPlanned ? planned->second.second : errno;
    hits_ += isPlanned ? 1 : 0;
    calls_.push_back(function + ' ' + details + (result == -1 ? " fails" : ""));
    errno = error;
    return result;
}

std::string SocketJournal::NameOf(int descriptor) const {
    auto const found = numbers_.find(descriptor);
    return found != numbers_.end() ? std::to_string(found->second)
                                   : "descriptor " + std::to_string(descriptor);
}

void SocketJournal::AddSocket(int descriptor) {
    ++sockets_;
    if (descriptor != -1) {
        numbers_[descriptor] = sockets_;
        lastSocket_ = descriptor;
    }
}

}  // namespace tarqlog

using tarqlog::SocketJournal;

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
    static auto* const next = TARQLOG_NEXT(socket);
    SocketJournal* const journal = SocketJournal::current;
    if (journal == nullptr) {
        return next(domain, type, protocol);
    }
    std::string const details = journal->NextSocket() + tarqlog::KindOf(domain, type, protocol);
    auto const result = static_cast<int>(
        journal->Take("socket", details, [&] { return next(domain, type, protocol); }));
    journal->AddSocket(result);
    return result;
}

int connect(int descriptor, sockaddr const* address, socklen_t size) {
    static auto* const next = TARQLOG_NEXT(connect);
    SocketJournal* const journal = SocketJournal::current;
    if (journal == nullptr) {
        return next(descriptor, address, size);
    }
    std::string const details =
        journal->NameOf(descriptor) + " to " + tarqlog::TextOf(address, size);
    return static_cast<int>(
        journal->Take("connect", details, [&] { return next(descriptor, address, size); }));
}

ssize_t sendmsg(int descriptor, msghdr const* message, int flags) {
    static auto* const next = TARQLOG_NEXT(sendmsg);
    SocketJournal* const journal = SocketJournal::current;
    if (journal == nullptr) {
        return next(descriptor, message, flags);
    }
    journal->SetLastPieces({message->msg_iov, message->msg_iov + message->msg_iovlen});
    std::string const details =
        journal->NameOf(descriptor) +
        (tarqlog::IsPlain(*message, flags) ? ": " : " with more than pieces: ") +
        tarqlog::TextOf(journal->LastPieces());
    return journal->Take("sendmsg", details, [&] { return next(descriptor, message, flags); });
}

int setsockopt(int descriptor, int level, int name, void const* value, socklen_t size) noexcept {
    static auto* const next = TARQLOG_NEXT(setsockopt);
    SocketJournal* const journal = SocketJournal::current;
    if (journal == nullptr) {
        return next(descriptor, level, name, value, size);
    }
    std::string const details = journal->NameOf(descriptor) + ' ' + std::to_string(name);
    return static_cast<int>(journal->Take(
        "setsockopt", details, [&] { return next(descriptor, level, name, value, size); }));
}

int close(int descriptor) {
    static auto* const next = TARQLOG_NEXT(close);
    SocketJournal* const journal = SocketJournal::current;
    int const closed = next(descriptor);
    if (journal == nullptr) {
        return closed;
    }
    auto const result = static_cast<int>(
        journal->Take("close", journal->NameOf(descriptor), [&] { return closed; }));
    journal->RemoveSocket(descriptor);
    return result;
}

}  // extern "C"
