#ifndef TARQLOG_TOOLS_LEVELS_H_
#define TARQLOG_TOOLS_LEVELS_H_

#include <string>
#include <string_view>

#include <tarqlog/severity.h>

namespace tarqlog::tool {

inline constexpr std::string_view kLevelLetters = "TDIWEF";  // from the lowest bit up

/// The level that stands for a priority of the system log, which counts modulo 8.
Severity FromPriority(unsigned int priority);

/// Whether ToLevel() knows `text`.
bool IsLevel(std::string const& text);

/// One level by its name in any case, its first letter, or the system log's name or number for it.
/// @throws UsageError
Severity ToLevel(std::string const& text);

/// A set of levels: "all", "none", a level, a level and "+" for all from it up, or capital letters.
/// @throws UsageError
Severity ToLevels(std::string const& text);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LEVELS_H_
