#ifndef TARQLOG_TOOLS_INPUT_NAME_H_
#define TARQLOG_TOOLS_INPUT_NAME_H_

#include <string>

namespace tarqlog::tool {

/// Whether `name`, an operand, stands for standard input.
inline bool IsStandardInput(std::string const& name) {
    return name == "-";
}

/// What a complaint calls the input of that `name`, which may be empty.
inline std::string InputName(std::string const& name) {
    return IsStandardInput(name) ? "standard input" : name.empty() ? "''" : name;
}

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_INPUT_NAME_H_
