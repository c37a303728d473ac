#ifndef TARQLOG_UDP_APPENDER_H_
#define TARQLOG_UDP_APPENDER_H_

#include <memory>
#include <string>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"

namespace tarqlog {

/// Sends each record as one UDP datagram to an IPv4 address: full header, text, line feed, and
/// nothing around them. The first record makes the socket.
///
/// Nothing is reported, and nobody learns whether a datagram arrived. A record that cannot be sent
/// is lost and the socket closed; the next record makes a new one. When nobody listens on a machine
/// that can be reached, the system refuses about every second record; lines are lost from the
/// moment the listener stops, and the first after its return may be. A record of more than 65507
/// bytes with its header and line feed is never sent. While the socket's send buffer is full,
/// Append() waits. The child of a fork makes a socket of its own.
class TARQLOG_API UdpAppender : public AppenderBase {
public:
    /// Checks nothing: with what UdpSender::Create() refuses, every record is lost.
    /// @param host  an address such as "192.0.2.1", no name; not null
    UdpAppender(std::string const& host, unsigned short port);
    UdpAppender(char const* host, unsigned short port);

    /// Closes the socket.
    ~UdpAppender() override;

protected:
    void DoAppend(LogRecord const& record) override;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_UDP_APPENDER_H_
