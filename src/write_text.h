#ifndef TARQLOG_SRC_WRITE_TEXT_H_
#define TARQLOG_SRC_WRITE_TEXT_H_

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

}  // namespace tarqlog

#endif  // TARQLOG_SRC_WRITE_TEXT_H_
