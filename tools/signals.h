#ifndef TARQLOG_TOOLS_SIGNALS_H_
#define TARQLOG_TOOLS_SIGNALS_H_

#include <poll.h>
#include <signal.h>
#include <sys/types.h>

#include <optional>

namespace tarqlog::tool {

/// From now on a reader that has gone is a failed write.
void IgnoreBrokenPipes();

/// From now on the first SIGINT, SIGTERM or SIGHUP is a request to stop, and a second one kills. A
/// SIGHUP that is ignored, as under nohup, stays so.
/// @param hangUpReopens  each SIGHUP is a request to reopen the files instead, also under nohup
void CatchSignals(bool hangUpReopens);

bool StopRequested();

/// Forks, as fork() does. The child has the signals as the tool was started with. The parent sends
/// on to it what it gets from now on and is ended by none of that; it must not reap the child, or
/// the signals could reach a stranger of the same number. What is ignored stays so, and what a key
/// or a window sends is not sent on: the terminal has sent it to both already.
/// @param hangUpReopens  each SIGHUP is a request to reopen the files as well, also under nohup
pid_t ForkAndForward(bool hangUpReopens);

/// How the child has ended, or nothing while it runs. Leaves it unreaped. For signal handlers, too.
std::optional<siginfo_t> EndOf(pid_t child);

/// What WaitForInput() has waited for.
enum class Waited {
    kInput,   // there is input, or it has ended
    kStop,    // a stop is requested, and there is nothing to read
    kReopen,  // a reopening is requested
    kQuiet,   // nothing has come for a second
    kChild,   // a child has ended
};

/// Waits for one of the `inputs`, as poll() does, and for signals.
/// @param untilQuiet  for a second at most
Waited WaitForInput(pollfd* inputs, nfds_t count, bool untilQuiet);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_SIGNALS_H_
