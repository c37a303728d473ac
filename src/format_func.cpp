#include "tarqlog/format_func.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include <boost/bind/bind.hpp>

#include "tarqlog/logrecord.h"
#include "tarqlog/logsysinfo.h"

#include "severity_index.h"
#include "thread_data.h"
#include "write_text.h"

namespace tarqlog {

namespace {

constexpr int kFieldBytes = 64;
constexpr int kTimeBytes = 25;          // "[2023-11-14 22:13:20.123]", as nearly all are
constexpr int kMillisecondsAt = 21;     // in it
constexpr int kLongestIdBytes = 24;     // "[t:18446744073709551615]"
constexpr std::size_t kTagBytes = 128;  // of one that is put together with the other fields

/// The fields as this thread has last formatted them: most records share the second, and nearly all
/// the thread id, with the one before.
struct Remembered {
    long long second;  // when it began, in milliseconds
    unsigned long threadId;
    char time[kTimeBytes];  // of some millisecond
    char id[kLongestIdBytes];
    bool hasTime;
    unsigned char idBytes;  // 0 when none is remembered
};
thread_local Remembered remembered TARQLOG_STATIC_TLS = {};

const char* SeverityToString(Severity severity) {
    static const char* const kSeverityNames[kSeverityIndexCount] = {"T", "D", "I", "W",
                                                                    "E", "F", "U"};
    return kSeverityNames[SeverityIndex(severity)];
}

/// The length of the field that snprintf() made; 0, and so no field, when it failed or had to cut.
int FieldLength(int result) {
    // Volatile, or the compiler would drop the test: it takes for granted that snprintf() never
    // fails and what lengths a format can give.
    int const volatile untrusted = result;
    int const length = untrusted;
    return length > 0 && length < kFieldBytes ? length : 0;
}

int FormatTime(char* field, std::tm const& time, int milliseconds) {
    return FieldLength(std::snprintf(field, kFieldBytes, "[%04d-%02d-%02d %02d:%02d:%02d.%03d]",
                                     time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
                                     time.tm_hour, time.tm_min, time.tm_sec, milliseconds));
}

/// Writes the field to `field`, where there is room for kFieldBytes. Returns its length.
int WriteTime(char* field, long long timeMs) {
    Remembered& last = remembered;
    auto const past =
        static_cast<unsigned long long>(timeMs) - static_cast<unsigned long long>(last.second);
    if (past < 1000 && last.hasTime) {
        std::memcpy(field, last.time, kTimeBytes);
        auto const milliseconds = static_cast<unsigned int>(past);
        field[kMillisecondsAt] = static_cast<char>('0' + milliseconds / 100);
        WritePair(field + kMillisecondsAt + 1, milliseconds % 100);
        return kTimeBytes;
    }
    int const milliseconds = static_cast<int>(timeMs % 1000);  // negative before 1970, printed so
    std::tm time = {};  // what GmTime() cannot fill in reads as zero
    bool const isKnown = LogSysInfo::GmTime(static_cast<long>(timeMs / 1000), &time);
    int const length = FormatTime(field, time, milliseconds);
    if (isKnown && length == kTimeBytes && timeMs >= 0) {
        std::memcpy(last.time, field, kTimeBytes);
        last.second = timeMs - milliseconds;
        last.hasTime = true;
    }
    return length;
}

/// Likewise.
int WriteThreadId(char* field, unsigned long threadId) {
    Remembered& last = remembered;
    if (last.idBytes > 0 && threadId == last.threadId) {
        std::memcpy(field, last.id, kLongestIdBytes);
        return last.idBytes;
    }
    int const length = FieldLength(std::snprintf(field, kFieldBytes, "[t:%lu]", threadId));
    if (length <= kLongestIdBytes) {
        std::memcpy(last.id, field, kLongestIdBytes);
        last.threadId = threadId;
        last.idBytes = static_cast<unsigned char>(length);
    }
    return length;
}

/// How many bytes WriteTag() writes.
std::string::size_type TagBytes(std::vector<std::string> const& parts) {
    std::string::size_type bytes = std::strlen("(:") + parts.size();
    for (std::string const& part : parts) {
        bytes += part.size();
    }
    return bytes;
}

void WriteTag(char* tag, std::vector<std::string> const& parts) {
    *tag++ = '(';
    for (std::string const& part : parts) {
        tag = WriteText(tag, part);
        *tag++ = '.';
    }
    tag[-1] = ')';  // the last dot, or the opening bracket of an empty tag: "[t:7]):"
    *tag = ':';
}

void FormatHeader(std::string& header, LogRecord const& record, bool full) {
    char line[2 + 2 * kFieldBytes + kTagBytes];
    char* end = line;
    if (full) {
        *end++ = SeverityToString(record.GetSeverity())[0];
        *end++ = ' ';
        end += WriteTime(end, record.GetTime());
    }
    end += WriteThreadId(end, record.GetThreadId());
    std::vector<std::string> const& parts = record.GetTag();
    auto const fieldBytes = static_cast<std::string::size_type>(end - line);
    std::string::size_type const tagBytes = TagBytes(parts);
    bool const isLong = tagBytes > kTagBytes;
    char* tag = end;
    if (isLong) {
        std::string::size_type const begin = header.size();
        header.resize(begin + fieldBytes + tagBytes);
        tag = std::copy(line, end, &header[begin]);
    }
    WriteTag(tag, parts);
    if (!isLong) {
        header.append(line, fieldBytes + tagBytes);
    }
}

}  // namespace

FormatHeaderFunc DefaultFormatHeaderFunc(bool fullHeader) {
    using namespace boost::placeholders;
    return boost::bind(&FormatHeader, _1, _2, fullHeader);
}

}  // namespace tarqlog
