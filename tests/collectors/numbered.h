#ifndef TARQLOG_TESTS_COLLECTORS_NUMBERED_H_
#define TARQLOG_TESTS_COLLECTORS_NUMBERED_H_

#include <string>
#include <vector>

#include "tarqlog/logger.h"

#include "collectors/daemon.h"
#include "support/installed_hooks.h"

namespace tarqlog {

// Records whose lines can be told by heart: each sender numbers its own.

/// The configuration with which rsyslog writes each datagram to `file`, as it came and at once, one
/// line for each. It asks nobody for the names of senders, and tells the machine's system log
/// nothing.
/// @param receiveBuffer  in KiB; the kernel takes twice as much memory for what waits there
/// @param before         what stands before the datagram in its line, a template of rsyslog's
std::string WritesDatagrams(Endpoint const& from, std::string const& file, int receiveBuffer,
                            std::string const& before = "");

/// Prints which daemon it is, an rsyslog that runs, and the process that it runs in.
void Introduce(Daemon const& daemon);

/// Room for 200 numbered records. More would need a privilege, on a machine as it comes.
constexpr int kRoomForWindow = 200;
constexpr long kWindow = 200;

/// Of all lengths up to 300 bytes, at times above what a packet holds, and with what a format or a
/// parser might take for its own.
std::string NumberedText(int number);

/// The line that becomes of it. Senders are numbered from 1.
std::string NumberedLine(int sender, int number);

/// Logs to a collector, by one logger, one sink and one UdpAppender, for which there is nothing
/// else in the process as long as this lives. The clock stands still, and a sender is a thread id.
class Sending {
public:
    explicit Sending(Endpoint const& collector);
    ~Sending();

    Sending(Sending const&) = delete;
    Sending& operator=(Sending const&) = delete;

    /// Safe from any thread; a sender's records are to come from one.
    void Send(int sender, std::string const& text);

private:
    InstalledHooks const hooks_;
    Logger logger_;
};

/// What a file should hold: the lines of each sender, from the first number to the last.
struct ExpectedLines {
    int senders;
    int first;
    int last;
};

/// What first is not as expected of the lines, each of which begins with one of `before`, that of
/// its sender; empty when every record is there once, whole, in its sender's order, and nothing
/// else.
std::string FaultOf(std::string const& lines, ExpectedLines const& expected,
                    std::vector<std::string> const& before = {});

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_NUMBERED_H_
