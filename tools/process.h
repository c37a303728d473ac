#ifndef TARQLOG_TOOLS_PROCESS_H_
#define TARQLOG_TOOLS_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "descriptor.h"

namespace tarqlog::tool {

/// A command that runs beside the tool, with the tool's standard input and with pipes to the tool
/// for its standard output and standard error.
class Process {
public:
    /// Starts the command `words`, which is looked for as execvp() does, and forwards signals to it
    /// from now on. Returns 0, or the `errno` of what failed.
    /// @param hangUpReopens  as for ForkAndForward()
    int Start(std::vector<std::string> const& words, bool hangUpReopens);

    /// The ends that the tool reads.
    int Output() const { return output_.Number(); }
    int Errors() const { return errors_.Number(); }

    /// Whether the command is over; does not wait.
    bool HasEnded();

    /// The status that it ended with; 128 more than the signal, when one ended it.
    int Status() const { return status_; }

private:
    pid_t pid_ = -1;
    int status_ = 0;
    Descriptor output_;
    Descriptor errors_;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_PROCESS_H_
