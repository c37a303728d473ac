#ifndef TARQLOG_TOOLS_LINE_PREFIX_H_
#define TARQLOG_TOOLS_LINE_PREFIX_H_

#include <optional>
#include <string_view>

#include <tarqlog/severity.h>

namespace tarqlog::tool {

/// Takes a leading `<N>` off `text` and returns its level. Leaves alone what does not start so.
std::optional<Severity> TakePriority(std::string_view& text);

/// The dotted word before a colon at the start of `text`, a kernel's time stamp stepped over; empty
/// when there is none.
/// @param endsLine  whether a colon at the end of `text` is at the end of the line
std::string_view FindSubTag(std::string_view text, bool endsLine);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LINE_PREFIX_H_
