#ifndef TARQLOG_TESTS_COLLECTORS_DAEMON_H_
#define TARQLOG_TESTS_COLLECTORS_DAEMON_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/child.h"

namespace tarqlog {

/// The daemons that collect records. They run from the folder that scripts/collectors filled and
/// that the environment variable TARQLOG_COLLECTORS names.
enum class Collector { kRsyslog, kSyslogNg };

/// Runs a program from that folder, "logrotate" for one, to its end.
ChildResult RunUnpacked(std::string const& program, std::vector<std::string> const& arguments);

/// The line with which a daemon tells its version.
std::string VersionLine(Collector collector);

/// Has a daemon read a configuration and do nothing with it: exit status 0 when there is nothing to
/// complain about, as far as the daemon looks.
ChildResult CheckConfiguration(Collector collector, std::string const& configuration);

/// A daemon of the test's own: it reads no configuration but the one given, keeps all of its files
/// in the directory given, and is gone at the end of the scope.
///
/// It also ends with the thread that started it.
class Daemon {
public:
    /// Starts nothing yet. Other daemons may have used `directory` before; two at a time may not.
    Daemon(Collector collector, std::string const& directory, std::string const& configuration);
    ~Daemon();

    Daemon(Daemon const&) = delete;
    Daemon& operator=(Daemon const&) = delete;

    /// Returns when its inputs are open. Throws, with what the daemon said, if they will not be.
    void Start();

    /// Ends it as a service manager does: it writes out what it holds. Throws when it does not end
    /// well.
    void Stop();

    /// Ends it at once, with all its children. Does nothing when it does not run.
    void Kill();

    /// 0 when it does not run.
    pid_t Pid() const { return pid_; }

    /// What it has said of itself since it was first started.
    std::string Messages() const;

private:
    std::vector<std::string> Command() const;
    void Fork(std::vector<std::string> const& command);
    bool HasEnded();

    Collector const collector_;
    std::string const directory_;
    pid_t pid_ = 0;
};

/// Where a daemon may listen: an address that no other process uses, from 127.0.0.0/8.
struct Endpoint {
    std::string address;
    unsigned short port;
};

/// A UDP port that is free on an address of this process's own.
Endpoint FreeUdpEndpoint();

/// Sends one datagram, or throws.
void SendDatagram(Endpoint const& to, std::string const& datagram);

/// Returns as soon as `condition` holds, looking again and again; throws after half a minute that
/// `what` did not happen.
void WaitUntil(std::string const& what, std::function<bool()> const& condition);

/// The content of a file as soon as it has that many lines; throws when it does not get them.
std::string WaitForLines(std::string const& path, std::size_t lines);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_DAEMON_H_
