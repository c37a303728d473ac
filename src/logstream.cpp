#include "tarqlog/logstream.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>

#include "tarqlog/logrecord.h"

namespace tarqlog {

namespace {

constexpr int kFormatBytes = 256;  // with the NUL that vsnprintf() writes
constexpr unsigned long kMaxDataBytes = 256;

/// The buffer as the one that fills a record, null if it is another one.
LogRecordStreamBuf* ToRecordBuffer(std::streambuf* buffer) {
    if (buffer == nullptr) {
        return nullptr;
    }
    // A class compiled without type information has a null pointer before its virtual functions,
    // and dynamic_cast would follow it.
    void const* const* const table = *reinterpret_cast<void const* const* const*>(buffer);
    return table[-1] != nullptr ? dynamic_cast<LogRecordStreamBuf*>(buffer) : nullptr;
}

}  // namespace

LogRecordStreamBuf::LogRecordStreamBuf(LogRecord& record) : record_(&record) {}

LogRecordStreamBuf::~LogRecordStreamBuf() = default;

LogRecordStreamBuf::int_type LogRecordStreamBuf::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        char const byte = traits_type::to_char_type(character);
        record_->WriteData(&byte, 1);
    }
    return traits_type::not_eof(character);
}

std::streamsize LogRecordStreamBuf::xsputn(const char* text, std::streamsize size) {
    std::streamsize left = size;
    for (; left > INT_MAX; left -= INT_MAX, text += INT_MAX) {
        record_->WriteData(text, INT_MAX);
    }
    if (left > 0) {
        record_->WriteData(text, static_cast<int>(left));
    }
    return size;
}

LogStream::LogStream(std::streambuf* buffer) : std::ostream(buffer) {}

LogStream::~LogStream() {
    try {
        flush();
    } catch (...) {  // the exceptions that the user asked the stream for cannot leave a destructor
    }
}

void LogStream::WriteLogString(const char* text) {
    if (text != nullptr) {
        *this << text;
    }
}

void LogStream::WriteParamLogString(const char* format, ...) {
    LogRecordStreamBuf* const buffer = ToRecordBuffer(rdbuf());
    if (format == nullptr || buffer == nullptr) {
        return;
    }
    LogRecord& record = *buffer->record_;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        record.Resize(kFormatBytes);
        int const length = std::vsnprintf(record.data_.data(), kFormatBytes, format, arguments);
        record.Resize(static_cast<unsigned long>(std::clamp(length, 0, kFormatBytes - 1)));
    } catch (...) {  // no memory: the record keeps the text that it had
    }
    va_end(arguments);
}

void LogStream::WriteLogData(const void* data, unsigned long size) {
    if (data != nullptr) {
        write(static_cast<const char*>(data),
              static_cast<std::streamsize>(std::min(size, kMaxDataBytes)));
    }
}

}  // namespace tarqlog
