#ifndef TARQLOG_TOOLS_DESTINATION_H_
#define TARQLOG_TOOLS_DESTINATION_H_

#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <tarqlog/appender_base.h>
#include <tarqlog/file_appender.h>
#include <tarqlog/logfilter.h>
#include <tarqlog/severity.h>

#include "text_form.h"

namespace tarqlog::tool {

class DatagramAppender;

/// A destination that is open. Of the pointers below its appender at most one is not null.
struct Outlet {
    std::string name;                          // what asked for it
    boost::shared_ptr<AppenderBase> appender;  // the one that writes, whoever has joined the sink
    std::FILE* stream = nullptr;               // the standard stream that it writes to
    FileAppender* file = nullptr;              // itself, where it writes to a file
    DatagramAppender* datagrams = nullptr;     // itself, where it sends datagrams
    bool isTerminal = false;                   // whether it writes to one
};

/// Where records go, and which of them. Opens nothing by itself.
struct Destination {
    std::string text;                  // what it was made from
    Severity levels = kAllSeverities;  // what its own mask lets through
    std::set<FilterRule> rules;        // the root rule is always among them
    TextForm form = TextForm::kPlain;  // on a terminal that is kEscaped
    bool isFile = false;
    std::optional<std::string> identity;  // only of the system log, and empty for the tool's name
    std::function<Outlet()> open;         // throws std::runtime_error when that fails
};

/// Makes what `text`, "NAME[:OPERAND][,key=value...]", asks for, without rules.
/// @throws UsageError
Destination MakeDestination(std::string const& text);

/// The names that MakeDestination() knows: "stdout, ... or syslog[:IDENT]".
std::string DestinationNames();

/// Opens the `destinations` and adds a sink for each to the process-wide core, which has none yet.
std::vector<Outlet> OpenAndRegister(std::vector<Destination> const& destinations);

/// Adds sinks that route like those of `destinations`, which stay closed.
void RegisterClosed(std::vector<Destination> const& destinations);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DESTINATION_H_
