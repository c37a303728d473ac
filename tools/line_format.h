#ifndef TARQLOG_TOOLS_LINE_FORMAT_H_
#define TARQLOG_TOOLS_LINE_FORMAT_H_

#include <cstddef>
#include <string_view>

#include <tarqlog/severity.h>

namespace tarqlog::tool {

/// The severity that stands for the letter U. Of those without a level it is one that masks can
/// name.
constexpr Severity kUnknownSeverity = static_cast<Severity>(64);

/// No header is longer; a tag of more bytes than about this makes none.
constexpr std::size_t kMaxHeader = 65536;

/// What the library's default header says, "I [2023-11-14 22:13:20.123][t:4242](core.io):".
struct LineHeader {
    Severity severity = kUnknownSeverity;
    long long timeMs = 0;  // since 1970-01-01 00:00:00 UTC
    unsigned int threadId = 0;
    std::string_view tag;  // its parts joined by dots
    std::size_t size = 0;  // of the header in bytes
};

/// Whether a text begins with a header.
enum class HeaderFound {
    kYes,
    kNo,
    kCut,  // the text ends before one can tell
};

/// Looks for a header at the start of `text` and fills `header` when it is there. Only what the
/// library can have written is one: a day of the calendar, no leading zeros, no empty parts in the
/// tag. The tag ends at the first "):". Line feeds in it are taken for its own, unless a line of
/// it begins as a header does.
HeaderFound FindHeader(std::string_view text, LineHeader& header);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LINE_FORMAT_H_
