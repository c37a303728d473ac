#ifndef TARQLOG_TOOLS_COMPLAINT_H_
#define TARQLOG_TOOLS_COMPLAINT_H_

#include <cstdio>
#include <stdexcept>
#include <string>

namespace tarqlog::tool {

/// What is wrong with the command line; the message names the argument.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `text` on one line, whatever is quoted in it: with '?' for each control character.
inline std::string OneLine(std::string text) {
    for (char& character : text) {
        bool const isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        character = isControl ? '?' : character;
    }
    return text;
}

/// Prints "tarqlog: `text`" on standard error, on one line.
inline void Complain(std::string const& text) {
    std::fprintf(stderr, "tarqlog: %s\n", OneLine(text).c_str());
}

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_COMPLAINT_H_
