#include "tarqlog/format_func.h"

#include <cstdio>
#include <ctime>
#include <vector>

#include <boost/bind/bind.hpp>

#include "tarqlog/logrecord.h"
#include "tarqlog/logsysinfo.h"

#include "severity_index.h"

namespace tarqlog {

namespace {

constexpr int kFieldBytes = 64;

const char* SeverityToString(Severity severity) {
    static const char* const kSeverityNames[kSeverityIndexCount] = {"T", "D", "I", "W",
                                                                    "E", "F", "U"};
    return kSeverityNames[SeverityIndex(severity)];
}

/// Appends what snprintf() made of a field, unless it failed or had to cut the field.
void AppendField(std::string& header, char const (&field)[kFieldBytes], int result) {
    // Volatile, or the compiler would drop the test: it takes for granted that snprintf() never
    // fails and what lengths a format can give.
    int const volatile untrusted = result;
    int const length = untrusted;
    if (length > 0 && length < kFieldBytes) {
        header.append(field, static_cast<std::string::size_type>(length));
    }
}

void AppendTime(std::string& header, long long timeMs) {
    std::tm time = {};  // what GmTime() cannot fill in reads as zero
    LogSysInfo::GmTime(static_cast<long>(timeMs / 1000), &time);
    char field[kFieldBytes];
    int const length = std::snprintf(
        field, sizeof field, "[%04d-%02d-%02d %02d:%02d:%02d.%03d]", time.tm_year + 1900,
        time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec,
        static_cast<int>(timeMs % 1000));  // negative before 1970, and printed so
    AppendField(header, field, length);
}

void AppendThreadId(std::string& header, unsigned long threadId) {
    char field[kFieldBytes];
    int const length = std::snprintf(field, sizeof field, "[t:%lu]", threadId);
    AppendField(header, field, length);
}

void AppendTag(std::string& header, std::vector<std::string> const& parts) {
    header += '(';
    for (std::string const& part : parts) {
        header += part;
        header += '.';
    }
    header.back() = ')';  // the last dot, or the opening bracket of an empty tag: "[t:7]):"
    header += ':';
}

void FormatHeader(std::string& header, LogRecord const& record, bool full) {
    if (full) {
        header += SeverityToString(record.GetSeverity())[0];
        header += ' ';
        AppendTime(header, record.GetTime());
    }
    AppendThreadId(header, record.GetThreadId());
    AppendTag(header, record.GetTag());
}

}  // namespace

FormatHeaderFunc DefaultFormatHeaderFunc(bool fullHeader) {
    using namespace boost::placeholders;
    return boost::bind(&FormatHeader, _1, _2, fullHeader);
}

}  // namespace tarqlog
