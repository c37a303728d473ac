#include "level_word.h"

#include <algorithm>

namespace tarqlog::tool {

namespace {

using Size = std::string_view::size_type;

struct LevelWord {
    std::string_view word;
    Severity level;
};

constexpr LevelWord kLevelWords[] = {
    {"TRACE", kTrace},     {"DEBUG", kDebug}, {"INFO", kInfo},   {"WARN", kWarning},
    {"WARNING", kWarning}, {"ERROR", kError}, {"FATAL", kFatal}, {"CRITICAL", kFatal},
};

constexpr char kCaseBit = 'a' ^ 'A';

// By hand, since each character of each line comes by here; the functions of the locale take twice
// the time.
bool IsWordCharacter(char character) {
    int const small = character | kCaseBit;
    return (small >= 'a' && small <= 'z') || (character >= '0' && character <= '9') ||
           character == '_';
}

bool IsSameInCapitals(std::string_view word, std::string_view capitals) {
    return std::equal(
        word.begin(), word.end(), capitals.begin(), capitals.end(),
        [](char character, char capital) { return (character & ~kCaseBit) == capital; });
}

std::optional<Severity> ToLevel(std::string_view word) {
    for (LevelWord const& known : kLevelWords) {
        if (IsSameInCapitals(word, known.word)) {
            return known.level;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Severity> FindLevelWord(std::string_view text, bool endsLine) {
    Size begin = 0;
    while (begin < text.size()) {
        Size end = begin;
        while (end < text.size() && IsWordCharacter(text[end])) {
            ++end;
        }
        if (end == text.size() && !endsLine) {
            return std::nullopt;  // the word may go on
        }
        if (std::optional<Severity> const level = ToLevel(text.substr(begin, end - begin))) {
            return level;
        }
        begin = end + 1;
    }
    return std::nullopt;
}

}  // namespace tarqlog::tool
