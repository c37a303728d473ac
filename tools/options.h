#ifndef TARQLOG_TOOLS_OPTIONS_H_
#define TARQLOG_TOOLS_OPTIONS_H_

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <tarqlog/logfilter.h>
#include <tarqlog/severity.h>

#include "destination.h"

namespace tarqlog::tool {

/// What the operands are. Those of a command begin behind "--".
enum class Operands { kFiles, kTags, kCommand, kLogs };

/// Which records of logs are read, and how they are shown.
struct Selection {
    std::set<FilterRule> rules;        // the root rule is always among them
    std::optional<long long> sinceMs;  // the first time that counts,
    std::optional<long long> untilMs;  // and the first that does not any more
    bool json = false;
    bool raw = false;  // of these three at most one
    bool escape = false;
    bool follow = false;
};

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
    Selection selection;                // of logs alone, which have none of the above
    std::vector<std::string> operands;  // FILEs or TAGs, or COMMAND and its ARGs
};

/// @param command  the name of the command that has these operands; empty without one
/// @throws UsageError
Options ParseOptions(int argc, char const* const* argv, Operands operands,
                     std::string const& command);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_OPTIONS_H_
