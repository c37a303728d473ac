#ifndef TARQLOG_FORMAT_H_
#define TARQLOG_FORMAT_H_

// Log statements in the style of {fmt}, which the program links as well (in CMake TarqLog::Format
// does it). What tarqlog/log.h says holds for these, too:
//
//     TARQLOG_INFO_F(log, "accepted {} in {} ms", peer, ms);
//     TARQLOG_F(log, severity, "accepted {}", peer);
//     TARQLOG_INFO_F_IF(log, TARQLOG_EVERY_N(100), "accepted {}", peer);
//
// The format is a constant. From C++14 on the compiler checks it against the arguments; named
// arguments need C++20. What is wrong only at run time, such as a width of -1 that is an argument,
// and what a user's formatter throws, is not thrown on: the record's text is then "format error: "
// and the reason. Only std::bad_alloc goes on to the application, as everywhere in logging.
//
// For types of the standard library and of your own, include fmt/ranges.h, fmt/chrono.h or what
// else {fmt} has for them.

#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

#include <fmt/core.h>
#if defined(__clang__) && defined(__GLIBCXX__)
// GCC, which built the system's {fmt}, mangles the one function that core.h only declares in
// another way; with its definition Clang makes its own.
#include <fmt/format.h>
#endif

#include "tarqlog/log.h"

namespace tarqlog {

/// What the macros are made of. Not for use by themselves, and no promise.
namespace log_format {

/// Collects a text on the stack, and what is longer in as few pieces as may be.
class Collector {
public:
    explicit Collector(LogStatement& statement) : statement_(statement), size_(0), isLost_(false) {}

    Collector(Collector const&) = delete;
    Collector& operator=(Collector const&) = delete;

    /// Where `size` bytes have room; they are no more than there can be.
    char* Room(std::size_t size) {
        if (size > sizeof text_ - size_) {
            Flush();
        }
        return text_ + size_;
    }

    /// Takes `size` bytes that were written where there was room.
    void Take(std::size_t size) { size_ += size; }

    void Put(char character) {
        *Room(1) = character;
        Take(1);
    }

    void Put(const char* text, std::size_t size) {
        if (size <= sizeof text_) {
            std::memcpy(Room(size), text, size);
            Take(size);
        } else {
            Flush();
            isLost_ = !statement_.TryAppend(text, size) || isLost_;
        }
    }

    /// Never throws: {fmt} writes what is left from a destructor.
    void Flush() {
        isLost_ = !statement_.TryAppend(text_, size_) || isLost_;
        size_ = 0;
    }

    bool IsLost() const { return isLost_; }

private:
    LogStatement& statement_;
    std::size_t size_;
    bool isLost_;
    char text_[1000];
};

/// Puts characters into a Collector.
class Iterator {
public:
    // NOLINTBEGIN(readability-identifier-naming): the standard's names
    using iterator_category = std::output_iterator_tag;
    using value_type = void;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = void;
    // NOLINTEND(readability-identifier-naming)

    explicit Iterator(Collector& collector) : collector_(&collector) {}

    Iterator& operator=(char character) {
        collector_->Put(character);
        return *this;
    }
    Iterator& operator*() { return *this; }
    Iterator& operator++() { return *this; }
    Iterator operator++(int) { return *this; }

private:
    Collector* collector_;
};

struct Call {
    fmt::string_view format;
    fmt::format_args arguments;
    unsigned short const* fields;  // see Fields
};

inline bool Write(LogStatement& statement, void const* context) {
    Call const& call = *static_cast<Call const*>(context);
    Collector collector(statement);
    fmt::vformat_to(Iterator(collector), call.format, call.arguments);
    collector.Flush();
    return !collector.IsLost();
}

/// Writes an argument as "{}" shows it, if it is of one of the types that most are of.
class PlainWriter {
public:
    explicit PlainWriter(Collector& collector) : collector_(collector) {}

    bool operator()(int value) const { return (*this)(static_cast<long long>(value)); }
    bool operator()(unsigned int value) const { return Digits(value); }
    bool operator()(long long value) const {
        auto const bits = static_cast<unsigned long long>(value);
        if (value < 0) {
            collector_.Put('-');
        }
        return Digits(value < 0 ? 0 - bits : bits);
    }
    bool operator()(unsigned long long value) const { return Digits(value); }
    bool operator()(char value) const {
        collector_.Put(value);
        return true;
    }
    bool operator()(fmt::string_view text) const {
        collector_.Put(text.data(), text.size());
        return true;
    }
    bool operator()(const char* text) const {
        return text != nullptr && (*this)(fmt::string_view(text));
    }
    template <class Other>
    bool operator()(Other const&) const {
        return false;
    }

private:
    bool Digits(unsigned long long value) const {
        char* const text = collector_.Room(20);
        collector_.Take(static_cast<std::size_t>(LogStatement::WriteDigits(text, value) - text));
        return true;
    }

    Collector& collector_;
};

/// The same for a format whose fields are known: {fmt} would look for them each time.
inline bool WriteFields(LogStatement& statement, void const* context) {
    Call const& call = *static_cast<Call const*>(context);
    Collector collector(statement);
    std::size_t begin = 0;
    for (int i = 0;; ++i) {
        std::size_t const end = call.fields[i];
        collector.Put(call.format.data() + begin, end - begin);
        if (end == call.format.size()) {
            break;
        }
        fmt::format_args::format_arg const argument = call.arguments.get(i);
        if (!fmt::visit_format_arg(PlainWriter(collector), argument)) {
            fmt::vformat_to(Iterator(collector), "{}", fmt::format_args(&argument, 1));
        }
        begin = end + 2;
    }
    collector.Flush();
    return !collector.IsLost();
}

inline void Print(LogStatement& statement, fmt::string_view format, fmt::format_args arguments,
                  unsigned short const* fields = nullptr) {
    Call const call = {format, arguments, fields};
    statement.Guard(fields != nullptr ? WriteFields : Write, &call);
}

#if __cplusplus >= 201402L

template <std::size_t Size>
constexpr fmt::string_view View(const char (&text)[Size]) {
    return fmt::string_view(text, Size - 1);
}
constexpr fmt::string_view View(fmt::string_view text) {
    return text;
}

/// Where the fields of a format begin that is text and one "{}" for each of `Count` arguments; then
/// where the format ends.
template <std::size_t Count>
struct Fields {
    bool areAll;  // of the format; false if it is of another kind
    unsigned short at[Count + 1];
};

template <std::size_t Count>
constexpr Fields<Count> FieldsOf(fmt::string_view format) {
    Fields<Count> fields = {};
    std::size_t found = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        const char* const text = format.data() + i;
        if (*text == '{' && i + 1 < format.size() && text[1] == '}' && found < Count) {
            fields.at[found++] = static_cast<unsigned short>(i++);
        } else if (*text == '{' || *text == '}') {
            return fields;
        }
    }
    fields.at[found] = static_cast<unsigned short>(format.size());
    fields.areAll = found == Count && fields.at[found] == format.size();
    return fields;
}

#if FMT_VERSION < 100000 && !defined(FMT_HAS_CONSTEVAL)

/// Does not compile when the format does not fit. What {fmt} itself does here is a function that
/// GCC keeps, with the text, where optimisation is off and nothing calls it.
template <class Checked, class... Arguments>
constexpr bool Fits() {
    using Checker = fmt::detail::format_string_checker<char, fmt::detail::error_handler,
                                                       fmt::remove_cvref_t<Arguments>...>;
    fmt::string_view const format = Checked();
    return (fmt::detail::parse_format_string<true>(format, Checker(format, {})), true);
}

#else

template <class Checked, class... Arguments>
constexpr bool Fits() {
    return (static_cast<void>(fmt::format_string<Arguments...>(Checked())), true);
}

#endif

/// Takes all arguments of the macro behind `checked`, which stands for the first of them.
template <class Checked, class Format, class... Arguments>
inline void Check(LogStatement& statement, Checked checked, Format const&,
                  Arguments&&... arguments) {
    static_assert(Fits<Checked, Arguments...>(), "the format does not fit the arguments");
    static constexpr Fields<sizeof...(Arguments)> fields =
        FieldsOf<sizeof...(Arguments)>(Checked());
    Print(statement, checked, fmt::make_format_args(arguments...),
          fields.areAll ? fields.at : nullptr);
}

#else

/// Takes all arguments of the macro behind `format`, which is the first of them.
template <class Format, class... Arguments>
inline void Check(LogStatement& statement, fmt::string_view format, Format const&,
                  Arguments&&... arguments) {
    Print(statement, format, fmt::make_format_args(arguments...));
}

#endif

}  // namespace log_format
}  // namespace tarqlog

// {fmt} checks a format that is a type of this kind. Its own macro for that is in a header that
// costs twice as much to include.
#if __cplusplus >= 201402L
#define TARQLOG_CHECKED(format)                                                     \
    [] {                                                                            \
        struct TARQLOG_HIDDEN TarqlogFormat : ::fmt::detail::compile_string {       \
            using char_type __attribute__((unused)) = char;                         \
            constexpr operator ::fmt::string_view() const __attribute__((unused)) { \
                return ::tarqlog::log_format::View(format);                         \
            }                                                                       \
        };                                                                          \
        return TarqlogFormat();                                                     \
    }()
#else
#define TARQLOG_CHECKED(format) ::fmt::string_view(format)
#endif
#define TARQLOG_FIRST(...) TARQLOG_FIRST_OF(__VA_ARGS__, )
#define TARQLOG_FIRST_OF(first, ...) first

#define TARQLOG_FORMAT(log, severity, condition, ...) \
    TARQLOG_FORMAT_NAMED(TARQLOG_NAME, log, severity, condition, __VA_ARGS__)
#define TARQLOG_FORMAT_NAMED(name, log, severity, condition, ...)   \
    TARQLOG_STATEMENT(LogStatement, name, log, severity, condition) \
    ::tarqlog::log_format::Check(name, TARQLOG_CHECKED(TARQLOG_FIRST(__VA_ARGS__)), __VA_ARGS__)

/// `TARQLOG_INFO_F(log, format, ...);`
#define TARQLOG_F(log, severity, ...) TARQLOG_FORMAT(log, severity, true, __VA_ARGS__)
#define TARQLOG_TRACE_F(log, ...) TARQLOG_F(log, ::tarqlog::kTrace, __VA_ARGS__)
#define TARQLOG_DEBUG_F(log, ...) TARQLOG_F(log, ::tarqlog::kDebug, __VA_ARGS__)
#define TARQLOG_INFO_F(log, ...) TARQLOG_F(log, ::tarqlog::kInfo, __VA_ARGS__)
#define TARQLOG_WARNING_F(log, ...) TARQLOG_F(log, ::tarqlog::kWarning, __VA_ARGS__)
#define TARQLOG_ERROR_F(log, ...) TARQLOG_F(log, ::tarqlog::kError, __VA_ARGS__)
#define TARQLOG_FATAL_F(log, ...) TARQLOG_F(log, ::tarqlog::kFatal, __VA_ARGS__)

/// `TARQLOG_INFO_F_IF(log, condition, format, ...);`
#define TARQLOG_F_IF(log, severity, condition, ...) \
    TARQLOG_FORMAT(log, severity, condition, __VA_ARGS__)
#define TARQLOG_TRACE_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kTrace, condition, __VA_ARGS__)
#define TARQLOG_DEBUG_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kDebug, condition, __VA_ARGS__)
#define TARQLOG_INFO_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kInfo, condition, __VA_ARGS__)
#define TARQLOG_WARNING_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kWarning, condition, __VA_ARGS__)
#define TARQLOG_ERROR_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kError, condition, __VA_ARGS__)
#define TARQLOG_FATAL_F_IF(log, condition, ...) \
    TARQLOG_F_IF(log, ::tarqlog::kFatal, condition, __VA_ARGS__)

#endif  // TARQLOG_FORMAT_H_
