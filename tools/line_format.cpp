#include "line_format.h"

#include <limits>
#include <optional>

#include "calendar.h"
#include "levels.h"

namespace tarqlog::tool {

namespace {

using Size = std::string_view::size_type;

constexpr char kNoLevelLetter = 'U';  // its bit is the one above those of the levels

/// Reads a text from its start. Once something else stands there than was asked for, every answer
/// is false; whether that is because the text has ended, IsCut() tells.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool IsCut() const { return position_ == text_.size(); }
    Size Position() const { return position_; }
    bool IsAt(char character) const {
        return position_ < text_.size() && text_[position_] == character;
    }

    bool Take(char character) {
        bool const isThere = IsAt(character);
        position_ += isThere ? 1 : 0;
        return isThere;
    }

    bool Take(std::string_view characters) {
        for (char const character : characters) {
            if (!Take(character)) {
                return false;
            }
        }
        return true;
    }

    /// As many digits as there are, without leading zeros beyond the `least` that there must be.
    bool TakeNumber(Size least, Size most, long long& number) {
        Size const begin = position_;
        number = 0;
        while (position_ < text_.size() && position_ - begin < most && IsDigit(text_[position_])) {
            number = number * 10 + (text_[position_++] - '0');
        }
        Size const size = position_ - begin;
        return size >= least && (size == least || text_[begin] != '0') && !IsCut();
    }

    bool TakePair(long long& number) { return TakeNumber(2, 2, number); }

    /// What printf() writes for "%0`width`d".
    bool TakeSigned(Size width, Size most, long long& number) {
        bool const isNegative = Take('-');
        if (!TakeNumber(isNegative ? width - 1 : width, most, number)) {
            return false;
        }
        number = isNegative ? -number : number;
        return !isNegative || number != 0;
    }

private:
    static bool IsDigit(char character) { return character >= '0' && character <= '9'; }

    std::string_view const text_;
    Size position_ = 0;
};

/// Seconds and milliseconds are counted towards 1970, so that both are negative before it.
bool Join(std::optional<long long> seconds, long long milliseconds, long long& timeMs) {
    bool const isTime =
        seconds && (*seconds <= 0 || milliseconds >= 0) && (*seconds >= 0 || milliseconds <= 0);
    return isTime && !__builtin_mul_overflow(*seconds, 1000LL, &timeMs) &&
           !__builtin_add_overflow(timeMs, milliseconds, &timeMs);
}

bool TakeTime(Scanner& scanner, long long& timeMs) {
    CalendarTime time;
    long long milliseconds = 0;
    return scanner.Take('[') && scanner.TakeSigned(4, kMaxYearDigits, time.year) &&
           scanner.Take('-') && scanner.TakePair(time.month) && scanner.Take('-') &&
           scanner.TakePair(time.day) && scanner.Take(' ') && scanner.TakePair(time.hour) &&
           scanner.Take(':') && scanner.TakePair(time.minute) && scanner.Take(':') &&
           scanner.TakePair(time.second) && scanner.Take('.') &&
           scanner.TakeSigned(3, 3, milliseconds) && scanner.Take(']') &&
           Join(ToSeconds(time), milliseconds, timeMs);
}

/// The fields before the tag, which have a form of their own.
HeaderFound FindFields(std::string_view text, LineHeader& header) {
    if (text.empty()) {
        return HeaderFound::kCut;
    }
    Size const bit = text[0] == kNoLevelLetter ? kLevelLetters.size() : kLevelLetters.find(text[0]);
    if (bit == std::string_view::npos) {
        return HeaderFound::kNo;
    }
    constexpr Size kMostIdDigits = std::numeric_limits<unsigned int>::digits10 + 1;
    Scanner scanner(text.substr(1));
    long long threadId = 0;
    bool const isThere = scanner.Take(' ') && TakeTime(scanner, header.timeMs) &&
                         scanner.Take("[t:") && scanner.TakeNumber(1, kMostIdDigits, threadId) &&
                         threadId <= std::numeric_limits<unsigned int>::max() &&
                         scanner.Take(']') && (scanner.IsAt('(') || scanner.IsAt(')'));
    if (!isThere) {
        return scanner.IsCut() ? HeaderFound::kCut : HeaderFound::kNo;
    }
    header.severity = static_cast<Severity>(1U << bit);
    header.threadId = static_cast<unsigned int>(threadId);
    header.size = 1 + scanner.Position();
    return HeaderFound::kYes;
}

/// Whether the character at `position` can be part of the tag that begins at `begin`.
bool MayBeInTag(std::string_view text, Size begin, Size position) {
    switch (text[position]) {
        case '\0':
            return false;
        case '.':
            return position > begin && text[position - 1] != '.';
        case '\n': {
            LineHeader next;
            return FindFields(text.substr(position + 1), next) != HeaderFound::kYes;
        }
        default:
            return true;
    }
}

}  // namespace

HeaderFound FindHeader(std::string_view text, LineHeader& header) {
    HeaderFound const fields = FindFields(text, header);
    if (fields != HeaderFound::kYes) {
        return fields;
    }
    text = text.substr(0, kMaxHeader);
    HeaderFound const withoutEnd = text.size() < kMaxHeader ? HeaderFound::kCut : HeaderFound::kNo;
    // Without a part, the opening bracket itself is the closing one.
    bool const isEmpty = text[header.size] == ')';
    Size const begin = header.size + (isEmpty ? 0 : 1);
    for (Size i = begin; i + 1 < text.size(); ++i) {
        bool const isEnd = text[i] == ')' && text[i + 1] == ':';
        if (isEnd && (isEmpty || (i > begin && text[i - 1] != '.'))) {
            header.tag = text.substr(begin, i - begin);
            header.size = i + 2;
            return HeaderFound::kYes;
        }
        if (isEnd || isEmpty || !MayBeInTag(text, begin, i)) {
            return HeaderFound::kNo;
        }
    }
    return withoutEnd;
}

}  // namespace tarqlog::tool
