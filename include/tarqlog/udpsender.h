#ifndef TARQLOG_UDPSENDER_H_
#define TARQLOG_UDPSENDER_H_

#include "tarqlog/export.h"
#include "tarqlog/noncopyable.h"

namespace tarqlog {

/// A UDP socket that is connected to one IPv4 address, and its owner. Has no lock: one thread at a
/// time.
class TARQLOG_API UdpSender : private log_utils::Noncopyable {
public:
    /// Without a socket.
    UdpSender() noexcept = default;

    /// Closes like Close().
    ~UdpSender();

    /// Does nothing without a socket. Its failure is not told.
    void Close();

    /// Closes the socket that is there, if any, and connects a new one, which does not survive an
    /// exec. Nothing is sent, so a destination that does not listen is no failure. False when
    /// `host` is null, empty or 0.0.0.0, `port` is 0 or the system refuses; there is no socket
    /// then.
    /// @param host  an address such as "192.0.2.1", in any form that inet_addr() reads. Names are
    ///              not looked up: one counts as 255.255.255.255, for the system to refuse.
    bool Create(char const* host, unsigned short port);

    /// Whether there is a socket, which tells nothing of the other end.
    bool IsOpen() const noexcept { return socket_ != -1; }

    /// Sends `count` pieces as one datagram, in one system call and without joining them; an empty
    /// datagram when they are all empty. False, with nothing sent, when there is no socket, `count`
    /// is above 4 or the system refuses: a datagram above 65507 bytes, say, or after the receiver's
    /// machine has told that nobody listened to an earlier one. True does not mean that anyone
    /// received it.
    ///
    /// No option of the socket is changed. While its send buffer is full the call waits.
    /// @param sizes  in bytes; a piece of size 0 is left out, and may be null
    bool Send(char const** parts, unsigned long* sizes, unsigned short count);

private:
    int socket_ = -1;  // -1: none; any other number is one
};

}  // namespace tarqlog

#endif  // TARQLOG_UDPSENDER_H_
