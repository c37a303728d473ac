#ifndef TARQLOG_TOOLS_STOP_SIGNAL_H_
#define TARQLOG_TOOLS_STOP_SIGNAL_H_

namespace tarqlog::tool {

/// From now on the first SIGINT, SIGTERM or SIGHUP is a request to stop, and a second one kills. A
/// SIGHUP that is ignored, as under nohup, stays so.
/// @param hangUpReopens  each SIGHUP is a request to reopen the files instead, also under nohup
void CatchSignals(bool hangUpReopens);

bool StopRequested();

/// What WaitForInput() has waited for.
enum class Waited {
    kInput,   // there is input, or it has ended
    kStop,    // a stop is requested, and there is nothing to read
    kReopen,  // a reopening is requested
    kQuiet,   // nothing has come for a second
};

/// Waits for `descriptor` and for signals.
/// @param untilQuiet  for a second at most
Waited WaitForInput(int descriptor, bool untilQuiet);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_STOP_SIGNAL_H_
