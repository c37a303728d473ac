#include "lines.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

#include "request.h"

namespace tarqlog::bench {

namespace {

/// Takes `shape` off the front of `line`: '9' stands for a digit, '+' for more of them.
bool TakeShape(std::string_view& line, std::string_view shape) {
    auto const isDigit = [&] { return !line.empty() && std::isdigit(line.front()) != 0; };
    for (char const expected : shape) {
        if (expected == '+') {
            while (isDigit()) {
                line.remove_prefix(1);
            }
            continue;
        }
        if (expected == '9' ? !isDigit() : line.empty() || line.front() != expected) {
            return false;
        }
        line.remove_prefix(1);
    }
    return true;
}

bool TakeText(std::string_view& line, std::string_view text) {
    bool const isThere = line.substr(0, text.size()) == text;
    if (isThere) {
        line.remove_prefix(text.size());
    }
    return isThere;
}

/// The text of a whole line; empty when the header is another.
std::string_view TextIn(std::string_view line, std::string const& tag) {
    bool const isHeader = TakeShape(line, "I [9999-99-99 99:99:99.999][t:9+](") &&
                          TakeText(line, tag) && TakeText(line, "):");
    return isHeader ? line : std::string_view();
}

std::string Quote(std::string const& what, std::string_view line, long number) {
    return what + " in line " + std::to_string(number + 1) + ": " +
           std::string(line.substr(0, 200));
}

/// Which record comes next, of each thread.
class Due {
public:
    explicit Due(Expected const& expected) : expected_(expected) {
        for (int i = 0; i < expected.threads; ++i) {
            next_.push_back(i * expected.records / expected.threads);
        }
    }

    bool Take(std::string_view text) {
        for (std::size_t i = 0; i < next_.size(); ++i) {
            if (next_[i] < End(i) && text == TextOf(next_[i], expected_.size)) {
                ++next_[i];
                return true;
            }
        }
        return false;
    }

    /// Of files that roll, the first line may be any.
    void BeginAt(std::string_view text) {
        while (next_[0] < End(0) && text != TextOf(next_[0], expected_.size)) {
            ++next_[0];
        }
    }

    bool IsDone() const {
        bool isDone = true;
        for (std::size_t i = 0; i < next_.size(); ++i) {
            isDone = isDone && next_[i] == End(i);
        }
        return isDone;
    }

private:
    long End(std::size_t thread) const {
        return (static_cast<long>(thread) + 1) * expected_.records / expected_.threads;
    }

    Expected const& expected_;
    std::vector<long> next_;
};

}  // namespace

std::string FirstComplaint(std::string const& text, Expected const& expected) {
    Due due(expected);
    std::string_view rest = text;
    for (long number = 0; !rest.empty(); ++number) {
        std::size_t const end = rest.find('\n');
        if (end == std::string_view::npos) {
            return Quote("no line feed", rest, number);
        }
        std::string_view const line = rest.substr(0, end);
        rest.remove_prefix(end + 1);
        std::string_view const said = TextIn(line, expected.tag);
        if (said.empty()) {
            return Quote("another header", line, number);
        }
        if (expected.isRolling && number == 0) {
            due.BeginAt(said);
        }
        if (!due.Take(said)) {
            return Quote("another text than is due", line, number);
        }
    }
    return due.IsDone() ? "" : "records are missing at the end";
}

}  // namespace tarqlog::bench
