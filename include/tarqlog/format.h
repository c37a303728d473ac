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
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#if __cplusplus >= 201703L
#include <string_view>
#endif

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
    explicit Collector(LogStatement& statement) : isLost_(false), statement_(statement), size_(0) {}

    Collector(Collector const&) = delete;
    Collector& operator=(Collector const&) = delete;

    void Put(char character) {
        if (size_ == sizeof text_) {
            Flush();
        }
        text_[size_++] = character;
    }

    /// Never throws: {fmt} writes what is left from a destructor.
    void Flush() {
        isLost_ = !statement_.TryAppend(text_, size_) || isLost_;
        size_ = 0;
    }

    bool IsLost() const { return isLost_; }

private:
    char text_[1000];
    bool isLost_;  // next to the text: an overrun would be noticed
    LogStatement& statement_;
    std::size_t size_;
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
};

inline bool Write(LogStatement& statement, void const* context) {
    Call const& call = *static_cast<Call const*>(context);
    Collector collector(statement);
    fmt::vformat_to(Iterator(collector), call.format, call.arguments);
    collector.Flush();
    return !collector.IsLost();
}

inline void Print(LogStatement& statement, fmt::string_view format, fmt::format_args arguments) {
    Call const call = {format, arguments};
    statement.Guard(Write, &call);
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
    if (format.size() > std::numeric_limits<unsigned short>::max()) {
        return fields;
    }
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
    fields.areAll = found == Count;
    return fields;
}

/// What an argument is passed on as that "{}" shows as digits or as it is, which most arguments
/// are; few types, so that statements share their code. void if {fmt} has more to do.
template <class Type>
struct PlainOf {
    static constexpr bool kIsInteger =
        std::is_integral<Type>::value && !std::is_same<Type, bool>::value &&
        !log_traits::IsWide<Type>::value && sizeof(Type) <= sizeof(long long);
    static constexpr bool kIsString =
#if __cplusplus >= 201703L
        std::is_same<Type, std::string_view>::value ||
#endif
        std::is_same<Type, std::string>::value || std::is_same<Type, fmt::string_view>::value;
    static constexpr bool kIsCString =
        std::is_same<Type, const char*>::value || std::is_same<Type, char*>::value;

    using Integer = std::conditional_t<std::is_signed<Type>::value, long long, unsigned long long>;
    using String = std::conditional_t<kIsString, fmt::string_view,
                                      std::conditional_t<kIsCString, const char*, void>>;
    using Result = std::conditional_t<std::is_same<Type, char>::value, char,
                                      std::conditional_t<kIsInteger, Integer, String>>;
};
template <class Argument>
using Plain = typename PlainOf<std::decay_t<Argument>>::Result;

template <class... Arguments>
constexpr bool ArePlain() {
    bool const are[] = {true, !std::is_void<Plain<Arguments>>::value...};
    for (bool const isPlain : are) {
        if (!isPlain) {
            return false;
        }
    }
    return true;
}

using PlainArgument = LogStatement::PlainArgument;

/// What stands for an argument; adds to `most` how many bytes it may become.
inline PlainArgument ToPlain(char const& value, std::size_t& most) {
    most += 1;
    return {&value, 1, PlainArgument::kText};
}

inline PlainArgument ToPlain(unsigned long long value, std::size_t& most) {
    most += LogStatement::kMostPlainDigits;
    return {nullptr, value, PlainArgument::kNumber};
}

inline PlainArgument ToPlain(long long value, std::size_t& most) {
    most += LogStatement::kMostPlainDigits;
    auto const bits = static_cast<unsigned long long>(value);
    return value < 0 ? PlainArgument{nullptr, 0 - bits, PlainArgument::kNegativeNumber}
                     : PlainArgument{nullptr, bits, PlainArgument::kNumber};
}

inline PlainArgument ToPlain(fmt::string_view value, std::size_t& most) {
    most += value.size();
    return {value.data(), value.size(), PlainArgument::kText};
}

inline PlainArgument ToPlain(const char* value, std::size_t& most) {
    if (value != nullptr) {
        return ToPlain(fmt::string_view(value, std::strlen(value)), most);
    }
    most += LogStatement::kMostPlainBytes;
    return {nullptr, 0, PlainArgument::kNull};
}

inline bool WriteNull(LogStatement& statement, void const*) {
    const char* const null = nullptr;
    Print(statement, "{}", fmt::make_format_args(null));
    return true;
}

/// Writes a format whose fields are known and whose arguments are plain: {fmt} would look for the
/// fields each time, and ask each argument what it is.
template <class... Values>
__attribute__((noinline)) void PrintPlain(LogStatement& statement, fmt::string_view format,
                                          unsigned short const* fields, Values... values) {
    std::size_t most = 0;
    PlainArgument const arguments[] = {PlainArgument(), ToPlain(values, most)...};
    if (!statement.PrintPlain(format.data(), fields, arguments + 1, sizeof...(Values), most)) {
        statement.Guard(WriteNull, nullptr);
    }
}

template <class Checked, class... Arguments>
inline void PrintChecked(std::true_type, LogStatement& statement, Checked format,
                         Arguments&... arguments) {
    static constexpr Fields<sizeof...(Arguments)> kFields =
        FieldsOf<sizeof...(Arguments)>(Checked());
    PrintPlain<Plain<Arguments>...>(statement, format, kFields.at, arguments...);
}

template <class Checked, class... Arguments>
inline void PrintChecked(std::false_type, LogStatement& statement, Checked format,
                         Arguments&... arguments) {
    Print(statement, format, fmt::make_format_args(arguments...));
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

template <class Checked, class... Arguments>
inline void RequireFit() {
    static_assert(Fits<Checked, Arguments...>(), "the format does not fit the arguments");
}

#else

template <class Checked, class... Arguments>
inline void RequireFit() {
    fmt::format_string<Arguments...> const fitting = Checked();
    static_cast<void>(fitting);
}

#endif

/// Takes all arguments of the macro behind `checked`, which stands for the first of them.
template <class Checked, class Format, class... Arguments>
inline void Check(LogStatement& statement, Checked checked, Format const&,
                  Arguments&&... arguments) {
    RequireFit<Checked, Arguments...>();
    constexpr bool kIsPlain =
        ArePlain<Arguments...>() && FieldsOf<sizeof...(Arguments)>(Checked()).areAll;
    PrintChecked(std::integral_constant<bool, kIsPlain>(), statement, checked, arguments...);
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

/// @cond machinery

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

/// @endcond

/// Statements in the style of {fmt}: `TARQLOG_INFO_F(log, format, ...);`
#define TARQLOG_F(log, severity, ...) TARQLOG_FORMAT(log, severity, true, __VA_ARGS__)
#define TARQLOG_TRACE_F(log, ...) TARQLOG_F(log, ::tarqlog::kTrace, __VA_ARGS__)
#define TARQLOG_DEBUG_F(log, ...) TARQLOG_F(log, ::tarqlog::kDebug, __VA_ARGS__)
#define TARQLOG_INFO_F(log, ...) TARQLOG_F(log, ::tarqlog::kInfo, __VA_ARGS__)
#define TARQLOG_WARNING_F(log, ...) TARQLOG_F(log, ::tarqlog::kWarning, __VA_ARGS__)
#define TARQLOG_ERROR_F(log, ...) TARQLOG_F(log, ::tarqlog::kError, __VA_ARGS__)
#define TARQLOG_FATAL_F(log, ...) TARQLOG_F(log, ::tarqlog::kFatal, __VA_ARGS__)

/// The same under a condition: `TARQLOG_INFO_F_IF(log, condition, format, ...);`
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
