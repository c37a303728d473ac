#include "level_word.h"

#include <algorithm>

namespace tarqlog::tool {

namespace {

using Size = std::string_view::size_type;

struct LevelWord {
    std::string_view word;
    Severity level;
    bool needsMark;  // since prose has it as well
};

constexpr LevelWord kLevelWords[] = {
    {"INFO", kInfo, false},      {"WARN", kWarning, false},    {"ERROR", kError, false},
    {"DEBUG", kDebug, false},    {"WARNING", kWarning, false}, {"TRACE", kTrace, false},
    {"FATAL", kFatal, false},    {"CRITICAL", kFatal, false},  {"VERBOSE", kTrace, true},
    {"TRC", kTrace, true},       {"DBG", kDebug, true},        {"INF", kInfo, true},
    {"NOTE", kInfo, true},       {"NOTICE", kInfo, true},      {"WRN", kWarning, true},
    {"ERR", kError, true},       {"SEVERE", kError, true},     {"CRIT", kFatal, true},
    {"ALERT", kFatal, true},     {"EMERG", kFatal, true},      {"PANIC", kFatal, true},
    {"EMERGENCY", kFatal, true}, {"FTL", kFatal, true},
};
constexpr Size kShortest = 3;
constexpr Size kLongest = 9;

/// What names a level in "level=err" and in "severity": "err".
constexpr std::string_view kKeys[] = {"LEVEL", "LVL", "SEVERITY", "PRIORITY"};

constexpr char kCaseBit = 'a' ^ 'A';

bool IsLetter(char character) {
    int const small = character | kCaseBit;
    return small >= 'a' && small <= 'z';
}

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

// By hand, since each character of each line comes by here; the functions of the locale take twice
// the time.
bool IsWordCharacter(char character) {
    return IsLetter(character) || IsDigit(character) || character == '_';
}

bool IsSameInCapitals(std::string_view word, std::string_view capitals) {
    return std::equal(
        word.begin(), word.end(), capitals.begin(), capitals.end(),
        [](char character, char capital) { return (character & ~kCaseBit) == capital; });
}

LevelWord const* FindWord(std::string_view word) {
    if (word.size() < kShortest || word.size() > kLongest) {
        return nullptr;
    }
    auto const* const known =
        std::find_if(std::begin(kLevelWords), std::end(kLevelWords),
                     [&](LevelWord const& level) { return IsSameInCapitals(word, level.word); });
    return known != std::end(kLevelWords) ? known : nullptr;
}

bool IsOneOf(char character, std::string_view characters) {
    return characters.find(character) != std::string_view::npos;
}

std::string_view WithoutEnd(std::string_view text, std::string_view characters) {
    return text.substr(0, text.find_last_not_of(characters) + 1);
}

std::string_view LastWord(std::string_view text) {
    Size begin = text.size();
    while (begin > 0 && IsWordCharacter(text[begin - 1])) {
        --begin;
    }
    return text.substr(begin);
}

/// Whether `before` ends with a key, an equals sign or a colon, and perhaps quotation marks.
bool EndsWithKey(std::string_view before) {
    std::string_view const key = WithoutEnd(WithoutEnd(before, "\" "), "=:");
    bool const hasSign = key.size() < WithoutEnd(before, "\" ").size();
    std::string_view const word = LastWord(WithoutEnd(key, "\""));
    return hasSign && std::any_of(std::begin(kKeys), std::end(kKeys), [&](std::string_view known) {
               return word.size() >= known.size() &&
                      IsSameInCapitals(word.substr(word.size() - known.size()), known);
           });
}

/// Whether what stands before a word, if anything, is neither prose nor the word's own beginning,
/// as in a path: a time, a bracket, a colon.
bool IsNoProse(std::string_view before) {
    if (!before.empty() && IsOneOf(before.back(), "/.-")) {
        return false;
    }
    std::string_view const text = WithoutEnd(before, " \t");
    std::string_view const last = LastWord(text);
    return text.empty() || (last.empty() ? !IsOneOf(text.back(), ".,") : IsDigit(last.front()));
}

/// Whether `word` in its line stands there as levels do: in capitals, in brackets, as the value of
/// a key, or before a colon and not behind a word.
bool IsMarked(std::string_view before, std::string_view word, std::string_view after) {
    bool const isInCapitals = std::none_of(
        word.begin(), word.end(), [](char character) { return (character & kCaseBit) != 0; });
    char const previous = before.empty() ? ' ' : before.back();
    char const next = after.empty() ? ' ' : after.front();
    bool const isInBrackets = IsOneOf(previous, "[<(|:") && IsOneOf(next, "]>)|");
    return isInCapitals || isInBrackets || EndsWithKey(before) ||
           (next == ':' && IsNoProse(before));
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
        std::string_view const word = text.substr(begin, end - begin);
        LevelWord const* const known = FindWord(word);
        bool const isLevel =
            known != nullptr &&
            (!known->needsMark || IsMarked(text.substr(0, begin), word, text.substr(end)));
        if (isLevel) {
            return known->level;
        }
        begin = end + 1;
    }
    return std::nullopt;
}

}  // namespace tarqlog::tool
