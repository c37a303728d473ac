#ifndef TARQLOG_TOOLS_TERMINAL_H_
#define TARQLOG_TOOLS_TERMINAL_H_

namespace tarqlog::tool {

/// Whether `descriptor` is open on a terminal.
bool IsTerminal(int descriptor);

/// Whether what goes to `descriptor` is to be coloured: it is a terminal, and NO_COLOR is unset or
/// empty.
bool WantsColour(int descriptor);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_TERMINAL_H_
