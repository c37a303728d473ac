#ifndef TARQLOG_TOOLS_COMMAND_RUN_H_
#define TARQLOG_TOOLS_COMMAND_RUN_H_

#include "options.h"

namespace tarqlog::tool {

/// Runs the command that the operands name and logs what it writes. Returns the exit status.
int RunCommand(Options const& options);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_COMMAND_RUN_H_
