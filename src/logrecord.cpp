#include "tarqlog/logrecord.h"

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
    data_.insert(data_.end(), data, data + size);
}

void LogRecord::Resize(unsigned long size) {
    data_.resize(size);
}

}  // namespace tarqlog
