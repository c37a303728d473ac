#ifndef TARQLOG_TESTS_SUPPORT_RECORDS_H_
#define TARQLOG_TESTS_SUPPORT_RECORDS_H_

#include <string>
#include <vector>

#include "tarqlog/logrecord.h"

namespace tarqlog {

/// Does to a record what a logger does when it is pushed.
class LogRecordPeer {
public:
    static void SetTag(LogRecord& record, std::vector<std::string> const* parts) {
        record.tag_ = parts;
    }
    static bool HasTag(LogRecord const& record) { return record.tag_ != nullptr; }
};

/// A record as appenders see it: with text, closing NUL and tag.
class TaggedRecord {
public:
    TaggedRecord(Severity severity, std::string const& text, std::vector<std::string> parts = {})
        : parts_(std::move(parts)), record_(severity) {
        record_.WriteData(text.data(), static_cast<int>(text.size()));
        record_.WriteData("", 1);
        LogRecordPeer::SetTag(record_, &parts_);
    }

    TaggedRecord(TaggedRecord const&) = delete;
    TaggedRecord& operator=(TaggedRecord const&) = delete;

    operator LogRecord const&() const { return record_; }

private:
    std::vector<std::string> const parts_;
    LogRecord record_;
};

/// The record's text without the NUL at its end.
inline std::string TextOf(LogRecord const& record) {
    return std::string(record.GetData().begin(), record.GetData().end() - 1);
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_RECORDS_H_
