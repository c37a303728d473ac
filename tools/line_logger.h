#ifndef TARQLOG_TOOLS_LINE_LOGGER_H_
#define TARQLOG_TOOLS_LINE_LOGGER_H_

#include <array>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <tarqlog/logger.h>
#include <tarqlog/severity.h>

#include "line_buffer.h"
#include "options.h"

namespace tarqlog::tool {

/// What became of the lines: lines + split = delivered + filtered + empty.
struct Counts {
    unsigned long long lines = 0;
    std::array<unsigned long long, 6> delivered = {};  // kTrace to kFatal
    unsigned long long filtered = 0;                   // no destination takes it
    unsigned long long empty = 0;                      // nothing is left to log
    unsigned long long split = 0;                      // records beyond the first of their line
    unsigned long long parentTag = 0;                  // lines whose tag was one too many
};

Counts operator+(Counts const& left, Counts const& right);

/// Logs lines, each with its level and tag, through one Logger a tag.
class LineLogger {
public:
    /// The destinations are registered and nobody else's are; `options` outlives this object.
    /// @param level  of lines that carry none
    LineLogger(Options const& options, Severity level);

    void Log(Piece const& piece);

    Counts const& GetCounts() const { return counts_; }

private:
    /// A logger and the levels that at least one destination takes from it.
    struct Channel {
        explicit Channel(std::string const& tag);

        Logger logger;
        Severity const taken;
    };

    void StartLine(std::string_view& text, bool endsLine);
    Channel& FindChannel(std::string_view subTag);
    void Push(std::string_view text);

    Options const& options_;
    Severity const ownLevel_;
    Channel ownChannel_;
    std::map<std::string, Channel, std::less<>> channels_;  // by sub-tag
    Channel* channel_ = &ownChannel_;                       // of the line in hand, as is level_
    Severity level_ = kInfo;
    Counts counts_;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LINE_LOGGER_H_
