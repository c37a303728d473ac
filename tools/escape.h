#ifndef TARQLOG_TOOLS_ESCAPE_H_
#define TARQLOG_TOOLS_ESCAPE_H_

#include <string>
#include <string_view>

namespace tarqlog::tool {

/// What EscapingAppender makes of a text, for what is no record's text: headers pass it as they
/// are, but a tag from the command line or a file may hold anything.
std::string Escaped(std::string_view text);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_ESCAPE_H_
