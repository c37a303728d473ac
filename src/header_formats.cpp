#include "tarqlog/header_formats.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

#include "tarqlog/error.h"
#include "tarqlog/logrecord.h"

#include "severity_index.h"
#include "syslog_severity.h"

namespace tarqlog {

namespace {

struct Level {
    char letter;
    char const* word;
    char const* colour;
};

constexpr char const* kColourEnd = "\x1b[0m";

Level const& LevelOf(LogRecord const& record) {
    static constexpr Level kLevels[kSeverityIndexCount] = {
        {'T', "trace", "\x1b[90m"},   {'D', "debug", "\x1b[36m"}, {'I', "info", "\x1b[32m"},
        {'W', "warning", "\x1b[33m"}, {'E', "error", "\x1b[31m"}, {'F', "fatal", "\x1b[1;31m"},
        {'U', "unknown", "\x1b[35m"},
    };
    return kLevels[SeverityIndex(record.GetSeverity())];
}

void AppendNumber(std::string& header, unsigned long number, std::size_t width = 1) {
    char digits[20];
    char const* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    auto const length = static_cast<std::size_t>(end - digits);
    header.append(length < width ? width - length : 0, '0');
    header.append(digits, length);
}

/// The same with a minus sign where there is one, which `width` counts.
void AppendSigned(std::string& header, int number, std::size_t width = 1) {
    if (number < 0) {
        header += '-';
        AppendNumber(header, static_cast<unsigned long>(-static_cast<long>(number)), width - 1);
    } else {
        AppendNumber(header, static_cast<unsigned long>(number), width);
    }
}

/// "<4>".
void AppendPriority(std::string& header, Severity severity) {
    header += '<';
    AppendNumber(header, static_cast<unsigned long>(SeverityToSyslogSeverity(severity)));
    header += '>';
}

/// "+05:45"; the seconds that some zones had long ago are cut.
void AppendOffset(std::string& header, long seconds) {
    header += seconds < 0 ? '-' : '+';
    auto const minutes = static_cast<unsigned long>(std::labs(seconds) / 60);
    AppendNumber(header, minutes / 60, 2);
    header += ':';
    AppendNumber(header, minutes % 60, 2);
}

void AppendTag(std::string& header, LogRecord const& record) {
    char const* separator = "";
    for (std::string const& part : record.GetTag()) {
        header += separator;
        header += part;
        separator = ".";
    }
}

/// A record's time broken down.
struct Moment {
    std::tm fields = {};
    int milliseconds = 0;
};

Moment BreakDown(long long timeMs, PatternHeader::Zone zone) {
    Moment moment;
    moment.milliseconds = static_cast<int>(timeMs % 1000);
    auto seconds = static_cast<std::time_t>(timeMs / 1000);
    if (moment.milliseconds < 0) {  // before 1970: count forward from the second before
        moment.milliseconds += 1000;
        --seconds;
    }
    // Not by LogSysInfo: the seconds there are a long, which has 32 bits in places.
    if (zone == PatternHeader::kLocalTime) {
        ::localtime_r(&seconds, &moment.fields);
    } else {
        ::gmtime_r(&seconds, &moment.fields);
    }
    return moment;
}

void AppendTimeField(std::string& header, char flag, Moment const& moment) {
    std::tm const& fields = moment.fields;
    switch (flag) {
        case 'Y':
            AppendSigned(header, fields.tm_year + 1900, 4);
            break;
        case 'm':
            AppendSigned(header, fields.tm_mon + 1, 2);
            break;
        case 'd':
            AppendSigned(header, fields.tm_mday, 2);
            break;
        case 'H':
            AppendSigned(header, fields.tm_hour, 2);
            break;
        case 'M':
            AppendSigned(header, fields.tm_min, 2);
            break;
        case 'S':
            AppendSigned(header, fields.tm_sec, 2);
            break;
        case 'e':
            AppendSigned(header, moment.milliseconds, 3);
            break;
        default:
            AppendOffset(header, fields.tm_gmtoff);
    }
}

std::string ProgramName() {
#if defined(__linux__)
    return program_invocation_short_name;
#else
    return ::getprogname();
#endif
}

std::string HostName() {
    char name[256] = {};
    return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

constexpr std::string_view kTimeFlags = "YmdHMSez";
constexpr std::string_view kRecordFlags = "LlptnP+";
constexpr std::string_view kFixedFlags = "Nh%";  // what they stand for is known at once

bool Holds(std::string_view flags, char flag) {
    return flags.find(flag) != std::string_view::npos;
}

class Pattern {
public:
    Pattern(std::string const& pattern, PatternHeader::Zone zone);

    void Format(std::string& header, LogRecord const& record) const;

private:
    /// Text that stands as it is, and the flag behind it.
    struct Piece {
        std::string text;
        char flag;
    };

    void AddFlag(char flag);
    void AppendRecordField(std::string& header, char flag, LogRecord const& record) const;

    PatternHeader::Zone zone_;
    FormatHeaderFunc defaultHeader_ = DefaultFormatHeaderFunc(true);
    bool showsTime_ = false;
    std::vector<Piece> pieces_;
    std::string text_;  // behind the last flag
};

/// A message would end at a NUL.
std::string Shown(char flag) {
    return std::string(flag == '\0' ? "\\0" : std::string_view(&flag, 1));
}

Pattern::Pattern(std::string const& pattern, PatternHeader::Zone zone) : zone_(zone) {
    for (std::string::size_type i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            text_ += pattern[i];
            continue;
        }
        std::string const place =
            " at position " + std::to_string(i + 1) + ", write %% for a percent sign: " + pattern;
        if (++i == pattern.size()) {
            throw log_utils::Error("header pattern ends with a lone %" + place);
        }
        if (!Holds(kFixedFlags, pattern[i]) && !Holds(kTimeFlags, pattern[i]) &&
            !Holds(kRecordFlags, pattern[i])) {
            throw log_utils::Error("header pattern has the unknown flag %" + Shown(pattern[i]) +
                                   place);
        }
        AddFlag(pattern[i]);
    }
}

void Pattern::AddFlag(char flag) {
    switch (flag) {
        case '%':
            text_ += '%';
            break;
        case 'N':
            text_ += ProgramName();
            break;
        case 'h':
            text_ += HostName();
            break;
        default:
            showsTime_ = showsTime_ || Holds(kTimeFlags, flag);
            pieces_.push_back({text_, flag});
            text_.clear();
    }
}

void Pattern::Format(std::string& header, LogRecord const& record) const {
    Moment const moment = showsTime_ ? BreakDown(record.GetTime(), zone_) : Moment();
    for (Piece const& piece : pieces_) {
        header += piece.text;
        if (Holds(kTimeFlags, piece.flag)) {
            AppendTimeField(header, piece.flag, moment);
        } else {
            AppendRecordField(header, piece.flag, record);
        }
    }
    header += text_;
}

void Pattern::AppendRecordField(std::string& header, char flag, LogRecord const& record) const {
    switch (flag) {
        case 'L':
            header += LevelOf(record).letter;
            break;
        case 'l':
            header += LevelOf(record).word;
            break;
        case 'p':
            AppendPriority(header, record.GetSeverity());
            break;
        case 't':
            AppendNumber(header, record.GetThreadId());
            break;
        case 'n':
            AppendTag(header, record);
            break;
        case 'P':
            AppendSigned(header, ::getpid());
            break;
        default:
            defaultHeader_(header, record);
    }
}

}  // namespace

PatternHeader::PatternHeader(std::string const& pattern, Zone zone)
    : function_([compiled = std::make_shared<Pattern const>(pattern, zone)](
                    std::string& header, LogRecord const& record) {
          compiled->Format(header, record);
      }) {}

void PatternHeader::operator()(std::string& header, LogRecord const& record) const {
    function_(header, record);
}

ColourHeader::ColourHeader(FormatHeaderFunc const& formatHeader, bool on)
    : function_(formatHeader) {
    if (!on) {
        return;
    }
    function_ = [formatHeader](std::string& header, LogRecord const& record) {
        std::string::size_type const begin = header.size();
        header += LevelOf(record).colour;
        std::string::size_type const coloured = header.size();
        formatHeader(header, record);
        if (header.size() == coloured) {
            header.resize(begin);
        } else {
            header += kColourEnd;
        }
    };
}

void ColourHeader::operator()(std::string& header, LogRecord const& record) const {
    function_(header, record);
}

}  // namespace tarqlog
