#ifndef TARQLOG_TESTS_SUPPORT_TEXT_ORACLE_H_
#define TARQLOG_TESTS_SUPPORT_TEXT_ORACLE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarqlog {

// UTF-8 and escapes once more, in other words and sharing no code with the library.

inline std::string Utf8(std::uint32_t number) {
    auto const tail = [number](int shift) {
        return static_cast<char>(0x80 | ((number >> shift) & 0x3f));
    };
    if (number < 0x80) {
        return {static_cast<char>(number)};
    }
    if (number < 0x800) {
        return {static_cast<char>(0xc0 | (number >> 6)), tail(0)};
    }
    if (number < 0x10000) {
        return {static_cast<char>(0xe0 | (number >> 12)), tail(6), tail(0)};
    }
    return {static_cast<char>(0xf0 | (number >> 18)), tail(12), tail(6), tail(0)};
}

/// Undoes the escapes; "?" stands for what is none.
inline std::string Unescaped(std::string const& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        char const kind = ++i < text.size() ? text[i] : '?';
        if (kind == 'x' && i + 2 < text.size()) {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += kind == 'n' ? '\n' : kind == '\\' ? '\\' : '?';
        }
    }
    return bytes;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_TEXT_ORACLE_H_
