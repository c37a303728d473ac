#include "line_prefix.h"

#include <cctype>

#include "levels.h"

namespace tarqlog::tool {

namespace {

using Size = std::string_view::size_type;

constexpr Size kMaxSubTagBytes = 256;  // tags are kept, so their size must have an end
constexpr std::string_view kDigits = "0123456789";

bool IsWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_' ||
           character == '-';
}

/// The size of "[   12.345678] " at the start of `text`, or 0.
Size TimeStampSize(std::string_view text) {
    if (text.empty() || text[0] != '[') {
        return 0;
    }
    Size const seconds = text.find_first_not_of(' ', 1);
    Size const point = text.find_first_not_of(kDigits, seconds);
    if (point == std::string_view::npos || point == seconds || text[point] != '.') {
        return 0;
    }
    Size const end = text.find_first_not_of(kDigits, point + 1);
    if (end == std::string_view::npos || end == point + 1 || text.substr(end, 2) != "] ") {
        return 0;
    }
    return end + 2;
}

/// The size of `word[.word...]` at the start of `text`, or 0.
Size DottedWordSize(std::string_view text) {
    Size size = 0;
    for (Size begin = 0;; begin = size + 1) {
        size = begin;
        while (size < text.size() && IsWordCharacter(text[size])) {
            ++size;
        }
        if (size == begin) {
            return 0;  // an empty part
        }
        if (size == text.size() || text[size] != '.') {
            return size;
        }
    }
}

}  // namespace

std::optional<Severity> TakePriority(std::string_view& text) {
    if (text.empty() || text[0] != '<') {
        return std::nullopt;
    }
    Size const end = text.find_first_not_of(kDigits, 1);
    if (end == std::string_view::npos || end == 1 || text[end] != '>') {
        return std::nullopt;
    }
    unsigned int priority = 0;  // of many digits it overflows, which leaves it right modulo 8
    for (char const digit : text.substr(1, end - 1)) {
        priority = priority * 10 + static_cast<unsigned int>(digit - '0');
    }
    text.remove_prefix(end + 1);
    return FromPriority(priority);
}

std::string_view FindSubTag(std::string_view text, bool endsLine) {
    text.remove_prefix(TimeStampSize(text));
    Size const size = DottedWordSize(text.substr(0, kMaxSubTagBytes + 1));
    if (size == 0 || size > kMaxSubTagBytes || size == text.size() || text[size] != ':') {
        return {};
    }
    std::string_view const rest = text.substr(size + 1);
    bool const isTag = rest.empty() ? endsLine : rest[0] == ' ' || rest[0] == '\t';
    return isTag ? text.substr(0, size) : std::string_view();  // a time, an address
}

}  // namespace tarqlog::tool
