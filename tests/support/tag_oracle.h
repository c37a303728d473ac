#ifndef TARQLOG_TESTS_SUPPORT_TAG_ORACLE_H_
#define TARQLOG_TESTS_SUPPORT_TAG_ORACLE_H_

#include <string>
#include <vector>

namespace tarqlog {

/// The parts of a tag, one character at a time.
inline std::vector<std::string> SplitByCharacter(std::string const& tag) {
    std::vector<std::string> parts;
    bool isInPart = false;
    for (char const character : tag) {
        if (character == '.') {
            isInPart = false;
        } else if (isInPart) {
            parts.back().push_back(character);
        } else {
            parts.push_back(std::string(1, character));
            isInPart = true;
        }
    }
    return parts;
}

inline std::string Join(std::vector<std::string> const& parts, std::string const& separator) {
    std::string text;
    for (std::vector<std::string>::size_type i = 0; i < parts.size(); ++i) {
        text += (i == 0 ? "" : separator) + parts[i];
    }
    return text;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_TAG_ORACLE_H_
