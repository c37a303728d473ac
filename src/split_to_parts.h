#ifndef TARQLOG_SRC_SPLIT_TO_PARTS_H_
#define TARQLOG_SRC_SPLIT_TO_PARTS_H_

#include <string>

namespace tarqlog {

/// Appends the maximal runs of characters other than '.' to `parts`, which is not cleared. Rules
/// and loggers both split their tags here, so that they agree on what a tag is.
template <class Container>
void SplitToParts(std::string const& text, Container& parts) {
    std::string::size_type begin = text.find_first_not_of('.');
    while (begin != std::string::npos) {
        std::string::size_type const end = text.find('.', begin);
        parts.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of('.', end);
    }
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_SPLIT_TO_PARTS_H_
