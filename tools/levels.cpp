#include "levels.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>

#include "complaint.h"

namespace tarqlog::tool {

namespace {

struct LevelName {
    char const* name;
    Severity level;
};

constexpr LevelName kLevelNames[] = {
    {"trace", kTrace},     {"t", kTrace},     {"debug", kDebug}, {"d", kDebug},
    {"info", kInfo},       {"i", kInfo},      {"notice", kInfo}, {"warn", kWarning},
    {"warning", kWarning}, {"w", kWarning},   {"error", kError}, {"err", kError},
    {"e", kError},         {"fatal", kFatal}, {"f", kFatal},     {"crit", kFatal},
    {"alert", kFatal},     {"emerg", kFatal}, {"panic", kFatal},
};

constexpr Severity kPriorities[] = {kFatal, kFatal, kFatal, kError, kWarning, kInfo, kInfo, kDebug};

std::string ToLower(std::string text) {
    for (char& character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

std::optional<Severity> FindLevel(std::string const& text) {
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '7') {
        return FromPriority(static_cast<unsigned int>(text[0] - '0'));
    }
    std::string const name = ToLower(text);
    auto const known = std::find_if(std::begin(kLevelNames), std::end(kLevelNames),
                                    [&](LevelName const& level) { return level.name == name; });
    return known != std::end(kLevelNames) ? std::make_optional(known->level) : std::nullopt;
}

UsageError UnknownLevels(std::string const& text) {
    return UsageError("levels '" + text +
                      "' are unknown, known are all, none, a level, a level and + for all from it "
                      "up, or letters as in WEF");
}

/// The levels of letters as in "WEF"; none when one of them stands for no level.
Severity FromLetters(std::string const& text) {
    Severity levels = Severity();
    for (char const letter : text) {
        std::string_view::size_type const bit = kLevelLetters.find(letter);
        if (bit == std::string_view::npos) {
            return Severity();
        }
        levels |= static_cast<Severity>(1U << bit);
    }
    return levels;
}

}  // namespace

Severity FromPriority(unsigned int priority) {
    return kPriorities[priority % 8];
}

bool IsLevel(std::string const& text) {
    return FindLevel(text).has_value();
}

Severity ToLevel(std::string const& text) {
    std::optional<Severity> const level = FindLevel(text);
    if (!level) {
        throw UsageError("level '" + text +
                         "' is unknown, known are trace, debug, info, warning, error, fatal, T to "
                         "F, emerg to debug and 0 to 7");
    }
    return *level;
}

Severity ToLevels(std::string const& text) {
    std::string const name = ToLower(text);
    if (name == "all" || name == "none") {
        return name == "all" ? kAllSeverities : Severity();
    }
    if (!text.empty() && text.back() == '+') {
        std::optional<Severity> const lowest = FindLevel(text.substr(0, text.size() - 1));
        if (!lowest) {
            throw UnknownLevels(text);
        }
        return kAllSeverities & ~static_cast<Severity>(*lowest - 1U);
    }
    Severity const levels = FindLevel(text).value_or(FromLetters(text));
    if (levels == 0) {
        throw UnknownLevels(text);
    }
    return levels;
}

}  // namespace tarqlog::tool
