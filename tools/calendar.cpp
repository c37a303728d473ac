#include "calendar.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "number.h"

namespace tarqlog::tool {

namespace {

constexpr long long kMinuteMs = 60000;

bool IsLeap(long long year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

long long DaysOf(long long year, long long month) {
    if (month == 2) {
        return IsLeap(year) ? 29 : 28;
    }
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

/// The days from 1970-01-01. Years begin in March here, so that a leap day is the last of its year.
long long ToDays(long long year, long long month, long long day) {
    long long const marchYear = month > 2 ? year : year - 1;
    long long const era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
    long long const yearOfEra = marchYear - era * 400;
    long long const dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    long long const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

/// The milliseconds of a unit of time; 0 for none.
long long MillisecondsOf(char unit) {
    switch (unit) {
        case 's':
            return 1000;
        case 'm':
            return kMinuteMs;
        case 'h':
            return 60 * kMinuteMs;
        case 'd':
            return kMinuteMs * 60 * 24;
        default:
            return 0;
    }
}

std::optional<long long> ToTimeAgo(std::string const& text, long long nowMs) {
    long long const unit = text.empty() ? 0 : MillisecondsOf(text.back());
    if (unit == 0) {
        return std::nullopt;
    }
    auto const count = ToNumber(text.substr(0, text.size() - 1));
    constexpr auto kMost = std::numeric_limits<long long>::max();
    if (!count || *count > static_cast<unsigned long long>(kMost / unit)) {
        return std::nullopt;
    }
    long long const agoMs = static_cast<long long>(*count) * unit;
    return agoMs <= kMost - std::max(0LL, -nowMs) ? std::make_optional(nowMs - agoMs)
                                                  : std::nullopt;
}

/// Whether `text` begins as `form` does, with a digit for each '0' and either of "T " for a 'T'.
bool IsOfForm(std::string_view text, std::string_view form) {
    return std::equal(text.begin(), text.end(), form.begin(),
                      form.begin() + static_cast<long>(text.size()),
                      [](char character, char wanted) {
                          return wanted == '0'   ? character >= '0' && character <= '9'
                                 : wanted == 'T' ? character == 'T' || character == ' '
                                                 : character == wanted;
                      });
}

/// The number at `position`; 0 where the text has ended.
long long NumberAt(std::string const& text, std::size_t position, std::size_t size) {
    return position < text.size() ? std::stoll(text.substr(position, size)) : 0;
}

}  // namespace

std::optional<long long> ToSeconds(CalendarTime const& time) {
    bool const isTime = time.month >= 1 && time.month <= 12 && time.day >= 1 &&
                        time.day <= DaysOf(time.year, time.month) && time.hour >= 0 &&
                        time.hour < 24 && time.minute >= 0 && time.minute < 60 &&
                        time.second >= 0 && time.second < 60;
    if (!isTime) {
        return std::nullopt;
    }
    long long const days = ToDays(time.year, time.month, time.day);
    return ((days * 24 + time.hour) * 60 + time.minute) * 60 + time.second;
}

std::optional<long long> ToTimeMs(std::string const& text, long long nowMs) {
    static constexpr std::string_view kForm = "0000-00-00T00:00:00.000";
    std::string time = text;
    if (time.size() > 1 && time.back() == 'Z') {
        time.pop_back();
    }
    std::size_t const size = time.size();
    bool const isWhole = size == 10 || size == 16 || size == 19 || size == kForm.size();
    if (!isWhole || !IsOfForm(time, kForm)) {
        return ToTimeAgo(text, nowMs);
    }
    CalendarTime fields;
    fields.year = NumberAt(time, 0, 4);
    fields.month = NumberAt(time, 5, 2);
    fields.day = NumberAt(time, 8, 2);
    fields.hour = NumberAt(time, 11, 2);
    fields.minute = NumberAt(time, 14, 2);
    fields.second = NumberAt(time, 17, 2);
    std::optional<long long> const seconds = ToSeconds(fields);
    return seconds ? std::make_optional(*seconds * 1000 + NumberAt(time, 20, 3)) : std::nullopt;
}

}  // namespace tarqlog::tool
