#include "number.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace tarqlog::tool {

namespace {

/// How far a unit shifts; 0 for none.
unsigned int ShiftOf(char unit) {
    switch (unit) {
        case 'k':
        case 'K':
            return 10;
        case 'm':
        case 'M':
            return 20;
        case 'g':
        case 'G':
            return 30;
        default:
            return 0;
    }
}

}  // namespace

std::optional<unsigned long long> ToNumber(std::string const& text) {
    unsigned long long number = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number);
    return rest == end && error == std::errc() ? std::make_optional(number) : std::nullopt;
}

std::optional<unsigned long long> ToBytes(std::string const& text) {
    unsigned int const shift = text.empty() ? 0 : ShiftOf(text.back());
    std::optional<unsigned long long> const number =
        ToNumber(shift == 0 ? text : text.substr(0, text.size() - 1));
    bool const fits =
        number && *number > 0 && *number <= std::numeric_limits<unsigned long long>::max() >> shift;
    return fits ? std::make_optional(*number << shift) : std::nullopt;
}

}  // namespace tarqlog::tool
