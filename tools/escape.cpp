#include "escape.h"

#include <tarqlog/logrecord.h>
#include <tarqlog/severity.h>
#include <tarqlog/wrappers.h>

namespace tarqlog::tool {

namespace {

/// Gives away the rule.
class Escaper : public EscapingAppender {
public:
    Escaper() : EscapingAppender(nullptr) {}

    using EscapingAppender::Rewrite;
};

}  // namespace

std::string Escaped(std::string_view text) {
    static Escaper escaper;
    LogRecord record((Severity()));
    record.WriteData(text.data(), static_cast<int>(text.size()));
    record.WriteData("", 1);  // the NUL that a logger appends
    std::string escaped;
    escaper.Rewrite(record, escaped);
    return escaped;
}

}  // namespace tarqlog::tool
