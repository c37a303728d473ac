#include "tarqlog/logrecord.h"

#include <algorithm>
#include <cstddef>
#include <functional>

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
    auto const bytes = static_cast<std::size_t>(size);
    if (bytes > data_.capacity() - data_.size()) {
        data = MakeRoom(data, bytes);
    }
    data_.insert(data_.end(), data, data + bytes);
}

/// Returns where `data` is then, which may lie in the text that moves.
[[gnu::noinline]] const char* LogRecord::MakeRoom(const char* data, std::size_t size) {
    bool const isOwn =
        std::less_equal<>()(data_.data(), data) && std::less<>()(data, data_.data() + data_.size());
    std::ptrdiff_t const begin = isOwn ? data - data_.data() : 0;
    // One more, or the logger's NUL would make a text that just fits grow again.
    data_.reserve(std::max(data_.size() + size + 1, 2 * data_.capacity()));
    return isOwn ? data_.data() + begin : data;
}

void LogRecord::Resize(unsigned long size) {
    data_.resize(size);
}

}  // namespace tarqlog
