#ifndef TARQLOG_TOOLS_STOP_SIGNAL_H_
#define TARQLOG_TOOLS_STOP_SIGNAL_H_

namespace tarqlog::tool {

/// From now on the first SIGINT, SIGTERM or SIGHUP is a request to stop, and a second one kills. A
/// SIGHUP that is ignored, as under nohup, stays so.
void CatchStopSignals();

bool StopRequested();

/// Waits until `descriptor` has input or has ended, or a stop is requested. False when there is
/// nothing to read.
bool WaitForInput(int descriptor);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_STOP_SIGNAL_H_
