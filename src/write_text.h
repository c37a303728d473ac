#ifndef TARQLOG_SRC_WRITE_TEXT_H_
#define TARQLOG_SRC_WRITE_TEXT_H_

#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace tarqlog {

/// The first and the last `Bytes` of a text, which overlap and leave nothing out when it has no
/// more than twice as many.
template <std::size_t Bytes>
inline void WriteEnds(char* place, std::string_view text) {
    char first[Bytes];
    char last[Bytes];
    std::memcpy(first, text.data(), Bytes);
    std::memcpy(last, text.data() + text.size() - Bytes, Bytes);
    std::memcpy(place, first, Bytes);
    std::memcpy(place + text.size() - Bytes, last, Bytes);
}

/// Returns the end of what is written. The pieces of a line are short, most of them, and a call of
/// memcpy() would cost more than they do.
inline char* WriteText(char* place, std::string_view text) {
    if (text.size() > 16) {
        std::memcpy(place, text.data(), text.size());
    } else if (text.size() >= 8) {
        WriteEnds<8>(place, text);
    } else if (text.size() >= 4) {
        WriteEnds<4>(place, text);
    } else if (!text.empty()) {
        place[0] = text.front();
        place[text.size() / 2] = text[text.size() / 2];
        place[text.size() - 1] = text.back();
    }
    return place + text.size();
}

constexpr std::size_t kMostDigits = 20;  // of any number

/// The digits of all numbers below 100, two each.
struct Pairs {
    constexpr Pairs() : digits() {
        for (std::size_t i = 0; i < 100; ++i) {
            digits[2 * i] = static_cast<char>('0' + i / 10);
            digits[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }

    char digits[200];
};

/// Two digits of a number below 100. All these return the end of what is written.
inline char* WritePair(char* place, unsigned int number) {
    static constexpr Pairs kPairs;
    std::memcpy(place, kPairs.digits + 2 * static_cast<std::size_t>(number), 2);
    return place + 2;
}

/// The digits of a number below 100.
inline char* WriteBelow100(char* place, unsigned int number) {
    if (number >= 10) {
        return WritePair(place, number);
    }
    *place = static_cast<char>('0' + number);
    return place + 1;
}

/// The digits of a number below 10,000.
inline char* WriteBelow10000(char* place, unsigned int number) {
    if (number >= 100) {
        return WritePair(WriteBelow100(place, number / 100), number % 100);
    }
    return WriteBelow100(place, number);
}

/// Writes a number in decimal, where there is room for kMostDigits. Most numbers in messages are
/// small, and std::to_chars() spends as much on counting their digits as on writing them.
inline char* WriteNumber(char* place, unsigned long long number) {
    if (number < 10000) {
        return WriteBelow10000(place, static_cast<unsigned int>(number));
    }
    if (number < 100000000) {
        auto const small = static_cast<unsigned int>(number);
        place = WriteBelow10000(place, small / 10000);
        return WritePair(WritePair(place, small / 100 % 100), small % 100);
    }
    return std::to_chars(place, place + kMostDigits, number).ptr;
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_WRITE_TEXT_H_
