#ifndef TARQLOG_TOOLS_DESTINATION_H_
#define TARQLOG_TOOLS_DESTINATION_H_

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <tarqlog/appender_base.h>
#include <tarqlog/logfilter.h>
#include <tarqlog/severity.h>

namespace tarqlog::tool {

/// Where records go, and which of them.
struct Destination {
    std::string text;  // what it was made from
    boost::shared_ptr<AppenderBase> appender;
    std::FILE* stream;           // the standard stream that the appender writes to, if it does
    std::set<FilterRule> rules;  // the root rule is always among them
};

/// Makes what `text`, "NAME[,key=value...]", asks for, without rules.
/// @throws UsageError
Destination MakeDestination(std::string const& text);

/// The names that MakeDestination() knows: "stdout or stderr".
std::string DestinationNames();

/// Adds a sink for each of `destinations` to the process-wide core, which has none yet.
void Register(std::vector<Destination> const& destinations);

/// The levels that each of the registered `destinations` takes from a logger of `tag`: those that
/// get through its rules and the mask of its appender.
std::vector<Severity> TakenLevels(std::string const& tag,
                                  std::vector<Destination> const& destinations);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DESTINATION_H_
