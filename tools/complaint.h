#ifndef TARQLOG_TOOLS_COMPLAINT_H_
#define TARQLOG_TOOLS_COMPLAINT_H_

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace tarqlog::tool {

/// What is wrong with the command line; the message names the argument.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `text` on one line, whatever is quoted in it: with '?' for each control character.
inline std::string OneLine(std::string const& text) {
    std::string line;
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        auto const byte = static_cast<unsigned char>(text[i]);
        auto const next = static_cast<unsigned char>(text.c_str()[i + 1]);
        bool const isOfTwoBytes = byte == 0xc2 && next >= 0x80 && next < 0xa0;  // to U+009F
        bool const isControl = byte < ' ' || byte == 0x7f || isOfTwoBytes;
        line += isControl ? '?' : text[i];
        i += isOfTwoBytes ? 1 : 0;
    }
    return line;
}

/// Makes room for a complaint where there is something else on the terminal's line; may be empty.
inline std::function<void()> beforeComplaint;

/// Prints "tarqlog: `text`" on standard error, on one line.
inline void Complain(std::string const& text) {
    if (beforeComplaint) {
        beforeComplaint();
    }
    std::fprintf(stderr, "tarqlog: %s\n", OneLine(text).c_str());
}

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_COMPLAINT_H_
