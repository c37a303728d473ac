#ifndef TARQLOG_TESTS_SUPPORT_UDP_PORT_H_
#define TARQLOG_TESTS_SUPPORT_UDP_PORT_H_

#include <string>

namespace tarqlog {

/// A UDP port of 127.0.0.1 that no other process gets, whether or not somebody listens on it.
/// Throws what the system refuses.
class UdpPort {
public:
    /// Nobody listens.
    UdpPort();
    ~UdpPort();

    UdpPort(UdpPort const&) = delete;
    UdpPort& operator=(UdpPort const&) = delete;

    unsigned short Number() const { return number_; }

    void Listen();

    /// The socket that listens, or -1.
    int Listener() const { return listener_; }

    /// Drops what has arrived and was not received.
    void StopListening();

    /// Whether a datagram arrives within so many milliseconds, or has arrived.
    bool Has(int timeMs) const;

    /// The next datagram; throws when none comes for a long time.
    std::string Receive() const;

private:
    int const keeper_;  // holds the port, and receives nothing
    unsigned short number_ = 0;
    int listener_ = -1;
};

/// A UdpPort on which the test listens.
class ListeningPort : public UdpPort {
public:
    ListeningPort() { Listen(); }
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_UDP_PORT_H_
