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

/// Prints "tarqlog: `text`" on standard error: one line, whatever is quoted in `text`.
inline void Complain(std::string text) {
    for (char& character : text) {
        bool const isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        character = isControl ? '?' : character;
    }
    std::fprintf(stderr, "tarqlog: %s\n", text.c_str());
}

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_COMPLAINT_H_
