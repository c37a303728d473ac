#ifndef TARQLOG_TOOLS_DESTINATION_H_
#define TARQLOG_TOOLS_DESTINATION_H_

#include <cstdio>
#include <set>
#include <string>

#include <boost/shared_ptr.hpp>

#include <tarqlog/appender_base.h>
#include <tarqlog/logfilter.h>

namespace tarqlog::tool {

/// Where records go, and which of them.
struct Destination {
    boost::shared_ptr<AppenderBase> appender;
    std::FILE* stream;  // the standard stream that the appender writes to, if it does
    std::set<FilterRule> rules;
};

/// Makes what `text`, "NAME[,key=value...]", asks for, without rules.
/// @throws UsageError
Destination MakeDestination(std::string const& text);

/// The names that MakeDestination() knows: "stdout or stderr".
std::string DestinationNames();

/// Adds the sink of `destination` to the process-wide core.
void Register(Destination const& destination);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DESTINATION_H_
