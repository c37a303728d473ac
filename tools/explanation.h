#ifndef TARQLOG_TOOLS_EXPLANATION_H_
#define TARQLOG_TOOLS_EXPLANATION_H_

#include <string>
#include <vector>

#include <tarqlog/explain.h>
#include <tarqlog/severity.h>

#include "destination.h"

namespace tarqlog::tool {

/// A line for each destination, numbered from 1, and one for each of its rules.
std::string List(std::vector<Destination> const& destinations);

/// The levels that a registered destination, which is a sink with one appender, takes: those that
/// get through its rule and its mask.
Severity TakenLevels(SinkExplanation const& destination);

/// A line for each of the registered `destinations`: what it takes from a logger of `tag` and
/// through which rule, or why nothing.
std::string Explain(std::string const& tag, std::vector<Destination> const& destinations);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_EXPLANATION_H_
