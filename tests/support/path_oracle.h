#ifndef TARQLOG_TESTS_SUPPORT_PATH_ORACLE_H_
#define TARQLOG_TESTS_SUPPORT_PATH_ORACLE_H_

#include <string>
#include <vector>

namespace tarqlog {

// What the path functions answer, in other words and sharing no code with the library.

/// What a path is made of between separators, without the empty parts.
inline std::vector<std::string> Components(std::string const& path) {
    std::vector<std::string> components(1);
    for (char c : path) {
        if (c != '/') {
            components.back() += c;
        } else if (!components.back().empty()) {
            components.emplace_back();
        }
    }
    if (components.back().empty()) {
        components.pop_back();
    }
    return components;
}

inline std::string WithoutTrailing(std::string path) {
    while (!path.empty() && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

inline std::string::size_type ExpectedFilename(std::string const& path) {
    std::string::size_type start = path.size();
    while (start > 0 && path[start - 1] != '/') {
        --start;
    }
    return start == path.size() ? std::string::npos : start;
}

inline std::string::size_type ExpectedExtension(std::string const& path) {
    std::string const name =
        path.empty() || path.back() == '/' ? std::string() : Components(path).back();
    std::string::size_type expected = std::string::npos;
    for (std::string::size_type i = 1; i < name.size(); ++i) {
        expected = name[i] == '.' ? path.size() - name.size() + i : expected;
    }
    return expected;
}

inline std::string ExpectedBasename(std::string const& path) {
    std::vector<std::string> const components = Components(path);
    return !components.empty() ? components.back() : path.empty() ? "" : "/";
}

inline std::string ExpectedJoin(std::string const& a, std::string const& b) {
    if (a.empty() || b.empty()) {
        return a + b;
    }
    bool const ends = WithoutTrailing(a) != a;
    return b[0] == '/' ? WithoutTrailing(a) + b : a + (ends ? "" : "/") + b;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_PATH_ORACLE_H_
