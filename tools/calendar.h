#ifndef TARQLOG_TOOLS_CALENDAR_H_
#define TARQLOG_TOOLS_CALENDAR_H_

#include <cstddef>
#include <optional>
#include <string>

namespace tarqlog::tool {

/// Of the last year that a time in milliseconds reaches, 292278994.
constexpr std::size_t kMaxYearDigits = 9;

/// A second in UTC, as people write it.
struct CalendarTime {
    long long year = 0;
    long long month = 0;  // from 1, as the day
    long long day = 0;
    long long hour = 0;
    long long minute = 0;
    long long second = 0;
};

/// The seconds from 1970-01-01 00:00:00 to `time`; none when no calendar has it. The year has at
/// most kMaxYearDigits digits. Not by timegm(), whose result has 32 bits in places.
std::optional<long long> ToSeconds(CalendarTime const& time);

/// What `text` says in milliseconds since 1970: "2026-11-21", "2026-11-21 16:49[:11[.406]]", also
/// with a T for the blank and a Z at the end, or how long before `nowMs`: "90s", "10m", "2h", "3d".
/// None when it says something else.
std::optional<long long> ToTimeMs(std::string const& text, long long nowMs);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_CALENDAR_H_
