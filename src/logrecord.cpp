#include "tarqlog/logrecord.h"

#include <algorithm>
#include <cstddef>

#include "tarqlog/logsysinfo.h"

namespace tarqlog {

namespace {

constexpr std::vector<char>::size_type kReservedBytes = 32;  // a short message allocates once

}  // namespace

LogRecord::LogRecord(Severity severity)
    : severity_(severity),
      time_(LogSysInfo::getTimeFunc_()),
      threadId_(LogSysInfo::getThreadIdFunc_()),
      tag_(nullptr) {
    data_.reserve(kReservedBytes);
}

LogRecord::~LogRecord() = default;

LogRecord::LogRecord(LogRecord const& other) = default;

LogRecord& LogRecord::operator=(LogRecord const& other) = default;

void LogRecord::WriteData(const char* data, int size) {
    std::size_t const whole = data_.size() + static_cast<std::size_t>(size);
    bool const fits = whole <= data_.capacity();
    // One more, or the logger's NUL would make a text that just fits grow again.
    std::size_t const larger = std::max(whole + 1, 2 * data_.capacity());
    if (data_.empty()) {  // as most texts come in one piece; this is the short way for it
        if (!fits) {
            data_.reserve(larger);
        }
        data_.assign(data, data + size);
    } else if (fits) {
        data_.insert(data_.end(), data, data + size);
    } else {
        std::vector<char> grown;
        grown.reserve(larger);
        grown.insert(grown.end(), data_.begin(), data_.end());
        grown.insert(grown.end(), data, data + size);  // which may lie in the old text
        data_.swap(grown);
    }
}

void LogRecord::Resize(unsigned long size) {
    data_.resize(size);
}

}  // namespace tarqlog
