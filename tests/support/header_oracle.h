#ifndef TARQLOG_TESTS_SUPPORT_HEADER_ORACLE_H_
#define TARQLOG_TESTS_SUPPORT_HEADER_ORACLE_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace tarqlog {

// The record header once more, in other words and sharing no code with the library.

/// The letter of the lowest level in `severity`.
inline char ExpectedLetter(std::uint32_t severity) {
    for (std::uint32_t level = 1; level <= 32; level *= 2) {
        switch (severity & level) {
            case 1:
                return 'T';
            case 2:
                return 'D';
            case 4:
                return 'I';
            case 8:
                return 'W';
            case 16:
                return 'E';
            case 32:
                return 'F';
            default:
                break;
        }
    }
    return 'U';
}

/// The time in UTC. Seconds and milliseconds are both cut towards zero: before 1970 the
/// milliseconds have a sign.
inline std::string ExpectedTime(long long timeMs) {
    long long const seconds = timeMs / 1000;
    long long const milliseconds = timeMs - seconds * 1000;
    std::time_t const clock = static_cast<long>(seconds);  // which may have 32 bits
    std::tm fields;
    std::memset(&fields, 0, sizeof fields);
    ::gmtime_r(&clock, &fields);
    char text[200];
    std::snprintf(text, sizeof text, "[%04lld-%02d-%02d %02d:%02d:%02d.%03lld]",
                  fields.tm_year + 1900LL, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour,
                  fields.tm_min, fields.tm_sec, milliseconds);
    return text;
}

/// What stands before the record's text. `full` adds severity and time.
inline std::string ExpectedHeader(bool full, std::uint32_t severity, long long timeMs,
                                  unsigned long threadId, std::vector<std::string> const& parts) {
    std::string header;
    if (full) {
        header = ExpectedLetter(severity) + std::string(" ") + ExpectedTime(timeMs);
    }
    header += "[t:" + std::to_string(threadId) + "]";
    if (parts.empty()) {
        return header + "):";
    }
    char before = '(';
    for (std::string const& part : parts) {
        header += before + part;
        before = '.';
    }
    return header + "):";
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_HEADER_ORACLE_H_
