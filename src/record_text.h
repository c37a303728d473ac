#ifndef TARQLOG_SRC_RECORD_TEXT_H_
#define TARQLOG_SRC_RECORD_TEXT_H_

#include <string_view>
#include <vector>

#include "tarqlog/logrecord.h"

namespace tarqlog {

/// Whether the text is there at all and ends with the NUL that a logger appends.
inline bool HasText(LogRecord const& record) {
    std::vector<char> const& data = record.GetData();
    return data.size() >= 2 && data.back() == '\0';
}

/// The text without its NUL, for a record that HasText().
inline std::string_view RecordText(LogRecord const& record) {
    return std::string_view(record.GetData().data(), record.GetData().size() - 1);
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_RECORD_TEXT_H_
