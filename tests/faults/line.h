#ifndef TARQLOG_TESTS_FAULTS_LINE_H_
#define TARQLOG_TESTS_FAULTS_LINE_H_

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace tarqlog::faults {

/// Every line is the `number`-th of its thread; all else in it follows from these two.
struct Line {
    int thread;
    int number;
};

enum class Level { kInfo, kWarning, kError };

/// Most lines may wait in a buffer; each fiftieth may not, unless all are to be plain.
inline Level LevelOf(Line line, bool isPlain = false) {
    return line.number % 50 == 49 && !isPlain ? Level::kWarning : Level::kInfo;
}

/// FNV-1a.
inline std::uint32_t ChecksumOf(std::string_view text) {
    std::uint32_t sum = 2166136261U;
    for (char const c : text) {
        sum = (sum ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return sum;
}

/// "#thread number length payload checksum$"; now and then more than a buffer holds, unless all are
/// to be plain.
inline std::string TextOf(Line line, bool isPlain = false) {
    int const length =
        line.number % 400 == 199 && !isPlain ? 5000 : (line.number * 7 + line.thread) % 97;
    std::string text = "#" + std::to_string(line.thread) + ' ' + std::to_string(line.number) + ' ' +
                       std::to_string(length) + ' ';
    text.append(static_cast<std::size_t>(length), static_cast<char>('a' + line.thread % 26));
    char sum[16];
    std::snprintf(sum, sizeof sum, " %08x$", ChecksumOf(text));
    return text + sum;
}

struct ParsedLine {
    Line line;
    std::size_t size;
};

/// The whole text that `bytes` begin with, if they do; more may follow it.
inline std::optional<ParsedLine> ParseText(std::string_view bytes) {
    int field[3] = {};  // thread, number, length
    std::size_t at = 0;
    for (int& value : field) {
        char const* const begin = bytes.data() + at + 1;
        char const* const end = bytes.data() + bytes.size();
        if (at >= bytes.size() || bytes[at] != (at == 0 ? '#' : ' ')) {
            return std::nullopt;
        }
        auto const [stop, failure] = std::from_chars(begin, end, value);
        if (failure != std::errc() || value < 0) {
            return std::nullopt;
        }
        at = static_cast<std::size_t>(stop - bytes.data());
    }
    std::size_t const summed = at + 1 + static_cast<std::size_t>(field[2]);
    constexpr std::size_t kTail = 10;  // the blank, the sum, the dollar
    if (summed + kTail > bytes.size()) {
        return std::nullopt;
    }
    char sum[16];
    std::snprintf(sum, sizeof sum, " %08x$", ChecksumOf(bytes.substr(0, summed)));
    if (bytes.substr(summed, kTail) != sum) {
        return std::nullopt;
    }
    return ParsedLine{{field[0], field[1]}, summed + kTail};
}

/// Whether `text` is a header like `pattern`, in which 9 stands for some digits, hexadecimal ones
/// too, and signs, A for some letters, a blank for some blanks, and anything else for itself. An
/// empty pattern stands for any header.
inline bool IsHeader(std::string_view text, std::string_view pattern) {
    constexpr std::string_view kDigits = "0123456789abcdefx+-";
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    if (pattern.empty()) {
        return true;
    }
    for (char const expected : pattern) {
        std::string_view const taken = expected == '9'   ? kDigits
                                       : expected == 'A' ? kLetters
                                                         : std::string_view(&expected, 1);
        bool const isRun = expected == '9' || expected == 'A' || expected == ' ';
        std::size_t const run = std::min(text.find_first_not_of(taken), text.size());
        std::size_t const size = isRun ? run : std::min<std::size_t>(run, 1);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return text.empty();
}

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_LINE_H_
