#ifndef TARQLOG_TOOLS_LEVEL_WORD_H_
#define TARQLOG_TOOLS_LEVEL_WORD_H_

#include <optional>
#include <string_view>

#include <tarqlog/severity.h>

namespace tarqlog::tool {

/// The level of the first word in `text` that names one: TRACE, DEBUG, INFO, WARN, WARNING, ERROR,
/// FATAL or CRITICAL, in any case. What prose has as well, such as ALERT, ERR or NOTICE, names one
/// in capitals, in brackets, behind "level=" or the like, and before a colon unless a word is in
/// front of it. A word is made of letters, digits and underscores.
/// @param endsLine  whether a word at the end of `text` is at the end of the line, and so whole
std::optional<Severity> FindLevelWord(std::string_view text, bool endsLine);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LEVEL_WORD_H_
