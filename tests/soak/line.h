#ifndef TARQLOG_TESTS_SOAK_LINE_H_
#define TARQLOG_TESTS_SOAK_LINE_H_

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "tarqlog/severity.h"

namespace tarqlog::soak {

/// Who logs. The first eight are alike.
constexpr int kPlainWriter = 8;     // short lines that may all wait in a buffer
constexpr int kChildren = 9;        // of forks, one after another; their lines are plain as well
constexpr int kUnluckyWriter = 10;  // one appender throws, and memory runs out
constexpr int kWriters = 11;

/// The first part of the writer's tag, by which it is routed.
inline std::string KindOf(int writer) {
    return writer < kPlainWriter    ? "soak"
           : writer == kPlainWriter ? "plain"
           : writer == kChildren    ? "child"
                                    : "unlucky";
}

inline std::string TagOf(int writer) {
    return KindOf(writer) + '.' + std::to_string(writer);
}

/// Every line is the `number`-th of its writer; all else in it follows from these two.
struct Line {
    int writer;
    int number;
};

inline bool IsPlain(Line line) {
    return line.writer == kPlainWriter || line.writer == kChildren;
}

/// Most lines may wait in a buffer, and so may, in most rounds, the last one.
inline char LetterOf(Line line) {
    static constexpr std::string_view kLetters = "TDIDIITDIDTIWDIIDEIFTDI";
    return IsPlain(line) ? 'I' : kLetters[static_cast<std::size_t>(line.number) % kLetters.size()];
}

inline Severity SeverityOf(Line line) {
    static constexpr std::string_view kBits = "TDIWEF";
    return static_cast<Severity>(1U << kBits.find(LetterOf(line)));
}

/// The number and as many letters of the writer's own; now and then more than a buffer holds.
inline std::string TextOf(Line line) {
    bool const isLong = line.number % 400 == 199 && !IsPlain(line);
    int const length = isLong ? 5000 : line.number % 97;
    return std::to_string(line.number) + ' ' +
           std::string(static_cast<std::size_t>(length), static_cast<char>('a' + line.writer));
}

/// Nothing, unless `text` is one of the writers' lines to the last byte (time, thread id and the
/// tag's first part aside). The system log's lines have neither level nor time.
inline std::optional<Line> ParseLine(std::string const& text) {
    char letter = 0;
    int textStart = 0;
    Line line = {};
    bool isWhole =
        std::sscanf(text.c_str(), "%c [%*4d-%*2d-%*2d %*2d:%*2d:%*2d.%*3d][t:%*d](%*[a-z].%d):%n%d",
                    &letter, &line.writer, &textStart, &line.number) == 3 &&
        letter == LetterOf(line);
    isWhole = isWhole || std::sscanf(text.c_str(), "[t:%*d](%*[a-z].%d):%n%d", &line.writer,
                                     &textStart, &line.number) == 2;
    bool const isOurs =
        isWhole && line.writer >= 0 && line.writer < kWriters && line.number >= 0 &&
        text.compare(static_cast<std::size_t>(textStart), std::string::npos, TextOf(line)) == 0;
    return isOurs ? std::optional<Line>(line) : std::nullopt;
}

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_LINE_H_
