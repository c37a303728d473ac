#ifndef TARQLOG_TOOLS_OPTIONS_H_
#define TARQLOG_TOOLS_OPTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

#include <tarqlog/severity.h>

#include "destination.h"

namespace tarqlog::tool {

/// What the operands are. Those of a command begin behind "--".
enum class Operands { kFiles, kTags, kCommand };

/// What the command line asks for.
struct Options {
    std::string answer;  // to --help or --version; when there is one, nothing else is asked for
    std::string tag = "stdin";
    Severity level = kInfo;  // of lines that carry none
    bool prioPrefix = false;
    bool detect = false;
    bool subTags = false;
    bool dryRun = false;
    bool stats = false;
    bool escape = false;  // which the destinations know
    bool progress = false;
    std::size_t maxLine = 1 << 20;  // bytes
    std::vector<Destination> destinations;
    std::vector<std::string> operands;  // FILEs or TAGs, or COMMAND and its ARGs
};

/// @throws UsageError
Options ParseOptions(int argc, char const* const* argv, Operands operands);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_OPTIONS_H_
