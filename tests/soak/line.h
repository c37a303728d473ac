#ifndef TARQLOG_TESTS_SOAK_LINE_H_
#define TARQLOG_TESTS_SOAK_LINE_H_

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "tarqlog/severity.h"

namespace tarqlog::soak {

constexpr int kWriters = 8;

/// Every line is the `number`-th of its thread; all else in it follows from these two.
struct Line {
    int writer;
    int number;
};

/// Most lines may wait in a buffer, and so may, in most rounds, the last one.
inline char LetterOf(Line line) {
    static constexpr std::string_view kLetters = "TDIDIITDIDTIWDIIDEIFTDI";
    return kLetters[static_cast<std::size_t>(line.number) % kLetters.size()];
}

inline Severity SeverityOf(Line line) {
    static constexpr std::string_view kBits = "TDIWEF";
    return static_cast<Severity>(1U << kBits.find(LetterOf(line)));
}

/// The number and as many letters of the thread's own; now and then more than a buffer holds.
inline std::string TextOf(Line line) {
    int const length = line.number % 400 == 199 ? 5000 : line.number % 97;
    return std::to_string(line.number) + ' ' +
           std::string(static_cast<std::size_t>(length), static_cast<char>('a' + line.writer));
}

/// Nothing, unless `text` is one of the writers' lines to the last byte (time and thread id aside).
inline std::optional<Line> ParseLine(std::string const& text) {
    char letter = 0;
    int textStart = 0;
    Line line = {};
    int const found =
        std::sscanf(text.c_str(), "%c [%*4d-%*2d-%*2d %*2d:%*2d:%*2d.%*3d][t:%*d](soak.%d):%n%d",
                    &letter, &line.writer, &textStart, &line.number);
    bool const isOurs = found == 3 && line.writer >= 0 && line.writer < kWriters &&
                        line.number >= 0 && letter == LetterOf(line) &&
                        text.substr(static_cast<std::size_t>(textStart)) == TextOf(line);
    return isOurs ? std::optional<Line>(line) : std::nullopt;
}

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_LINE_H_
