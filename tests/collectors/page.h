#ifndef TARQLOG_TESTS_COLLECTORS_PAGE_H_
#define TARQLOG_TESTS_COLLECTORS_PAGE_H_

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/temporary_directory.h"

namespace tarqlog {

/// The fenced blocks of a page, by the comment above each; throws when one has none of its own.
inline std::map<std::string, std::string> Blocks(std::string const& path) {
    std::istringstream page(ReadWholeFile(path));
    std::map<std::string, std::string> blocks;
    std::string above;
    for (std::string line; std::getline(page, line); above = line) {
        if (line.compare(0, 3, "```") != 0) {
            continue;
        }
        bool const isTitle = above.size() > 9 && above.compare(0, 5, "<!-- ") == 0 &&
                             above.compare(above.size() - 4, 4, " -->") == 0;
        std::string block;
        while (std::getline(page, line) && line != "```") {
            block += line + "\n";
        }
        if (!isTitle || !blocks.emplace(above.substr(5, above.size() - 9), block).second) {
            throw std::runtime_error("this block has no comment of its own above it:\n" + block);
        }
    }
    return blocks;
}

/// The block below `title`; throws when there is none.
inline std::string Block(std::string const& path, std::string const& title) {
    std::map<std::string, std::string> const blocks = Blocks(path);
    auto const found = blocks.find(title);
    if (found == blocks.end()) {
        throw std::runtime_error(path + " has no block below <!-- " + title + " -->");
    }
    return found->second;
}

inline std::string Replaced(std::string text, std::string const& what, std::string const& with) {
    std::string::size_type position = 0;
    while ((position = text.find(what, position)) != std::string::npos) {
        text.replace(position, what.size(), with);
        position += with.size();
    }
    return text;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_PAGE_H_
