#ifndef TARQLOG_TOOLS_TERMINAL_H_
#define TARQLOG_TOOLS_TERMINAL_H_

#include <string>

namespace tarqlog::tool {

/// Whether `descriptor` is open on a terminal.
bool IsTerminal(int descriptor);

/// Whether the file of this name is a terminal, as /dev/tty is.
bool IsTerminal(std::string const& path);

/// Whether terminals are to be coloured: NO_COLOR is unset or empty.
bool WantsColour();

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_TERMINAL_H_
