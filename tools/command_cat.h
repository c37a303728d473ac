#ifndef TARQLOG_TOOLS_COMMAND_CAT_H_
#define TARQLOG_TOOLS_COMMAND_CAT_H_

#include "options.h"

namespace tarqlog::tool {

/// Reads the logs that the operands name and prints their records. Returns the exit status.
int PrintLogs(Options const& options);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_COMMAND_CAT_H_
