#ifndef TARQLOG_LOG_H_
#define TARQLOG_LOG_H_

// Log statements. Each asks the logger once whether any sink wants the record; if none does,
// nothing to the right of it is evaluated and no record is built:
//
//     TARQLOG_INFO(log) << "accepted " << peer << " in " << ms << " ms";
//     TARQLOG_INFO_P(log, "accepted %s in %d ms", peer, ms);
//     TARQLOG_INFO_F(log, "accepted {} in {} ms", peer, ms);  // tarqlog/format.h
//
// TRACE, DEBUG, INFO, WARNING, ERROR and FATAL are the six severities; TARQLOG(log, severity),
// TARQLOG_P(log, severity, ...) and TARQLOG_F(log, severity, ...) take any, also at run time. `log`
// is a tarqlog::Logger&. Logger and severity are evaluated once, before all else.
//
// Each style has one form with a condition, which comes after the logger and the severity and is
// evaluated only when a sink wants the record:
//
//     TARQLOG_INFO_IF(log, peers > 100) << peers << " peers";
//     TARQLOG_INFO_P_IF(log, peers > 100 && TARQLOG_EVERY_N(100), "%d peers", peers);
//
// A statement is a single one: it stands in an `if` or `else` without braces, in lambdas and
// templates, twice on a line and within another statement, which gives two whole lines. Its record
// is pushed when everything to the right is done. An exception on the right pushes nothing and goes
// on; so does one of an appender, and std::bad_alloc. It may end on another thread than it began on
// (a fiber, a coroutine), whose id the record then does not have. It uses no thread-local data, so
// it may stand in the destructors of such.
//
// Defined before the first include:
// - TARQLOG_LOCATION begins each text with the file and the line, "file.cpp:42 ".
// - TARQLOG_MIN_SEVERITY, a number or an enumerator (8, kWarning), removes the statements of lower
//   severities. They must compile, but nothing of them is left in the object file, optimised or
//   not, and nothing of them is evaluated. A severity known only at run time is compared at run
//   time.
//
// Stack: beside the record's own road to its sinks a statement takes, on x86-64, no more than 3 KiB
// for integers and strings and 12 KiB for floating point, unless it is printed in more than a few
// hundred digits; what user types take comes on top. Heap: the record's own text, and nothing else.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#if __cplusplus >= 201703L
#include <string_view>
#endif

#include "tarqlog/export.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/severity.h"

namespace tarqlog {

/// How often a statement speaks. The conditions TARQLOG_EVERY_N(n) and so on have one each; make
/// one of your own, static, to share it among statements or to tell how many were left out:
///
///     static tarqlog::LogLimit full;
///     TARQLOG_WARNING_IF(log, full.EveryT(1)) << "queue full, unsaid: " << full.TakeSkipped();
///
/// Safe from any thread and exact there: of a million calls of EveryN(100) on eight threads ten
/// thousand are true. Needs no construction at run time. Use one kind of condition on one object.
class LogLimit {
public:
    constexpr LogLimit() : calls_(0), skipped_(0), due_(std::numeric_limits<long long>::min()) {}

    LogLimit(LogLimit const&) = delete;
    LogLimit& operator=(LogLimit const&) = delete;

    /// True at the first call and each `n`th after it; never when `n` is 0 or less.
    template <class Integer>
    bool EveryN(Integer n) {
        return Note(n > 0 && NextCall() % static_cast<unsigned long long>(n) == 0);
    }

    /// True at the first `n` calls; never when `n` is 0 or less.
    template <class Integer>
    bool FirstN(Integer n) {
        return Note(n > 0 && NextCall() < static_cast<unsigned long long>(n));
    }

    /// True at the first call, and when `seconds` have passed since it was last true; always when
    /// `seconds` is not above 0. The clock is GetMonotonicTimeInNs() or what stands in for it.
    bool EveryT(double seconds) { return Note(IsDue(seconds)); }

    /// True at the first call alone.
    bool Once() { return FirstN(1); }

    /// How many calls were false since TakeSkipped() was last called.
    unsigned long long Skipped() const { return skipped_.load(std::memory_order_relaxed); }

    /// The same, and counts from 0 again. Nothing is counted twice or lost: calls that were true,
    /// all that this has returned and Skipped() add up to the calls.
    unsigned long long TakeSkipped() { return skipped_.exchange(0, std::memory_order_relaxed); }

private:
    unsigned long long NextCall() { return calls_.fetch_add(1, std::memory_order_relaxed); }

    bool Note(bool isTrue) {
        if (!isTrue) {
            skipped_.fetch_add(1, std::memory_order_relaxed);
        }
        return isTrue;
    }

    TARQLOG_API bool IsDue(double seconds);

    std::atomic<unsigned long long> calls_;
    std::atomic<unsigned long long> skipped_;
    std::atomic<long long> due_;  // in ns of the clock; the least there is, until the first call
};

/// A clock that nobody sets, in nanoseconds since some moment.
TARQLOG_API long long GetMonotonicTimeInNs();

/// Installs `func` as the clock of LogLimit::EveryT(), in nanoseconds, and returns the one before;
/// null changes nothing. At first GetMonotonicTimeInNs(). Safe from any thread.
TARQLOG_API long long (*SetGetMonotonicTimeFunc(long long (*func)()))();

/// What the macros are made of, also those of format.h: a record on its way to a logger. Not for
/// use by itself, and its members are not a promise.
class LogStatement {
public:
    /// Asks `logger`, which must outlive the statement, whether a sink wants the record.
    LogStatement(Logger& logger, Severity severity)
        : logger_(logger.HasSink(severity) ? &logger : nullptr),
          severity_(severity),
          hasRecord_(false) {}
    ~LogStatement() {
        if (hasRecord_) {
            Drop();
        }
    }

    LogStatement(LogStatement const&) = delete;
    LogStatement& operator=(LogStatement const&) = delete;

    bool IsWanted() const { return logger_ != nullptr; }

    /// Builds the record. Always true.
    bool Begin() {
        Build();
        return true;
    }

    /// The same, and begins the text with the last part of the path `file`, and the line.
    bool Begin(const char* file, int line) {
        Build();
        AppendLocation(file, line);
        return true;
    }

    /// Appends the printf-style result, however long it is; what cannot be formatted is told as
    /// "format error: " and `format`. Null appends nothing.
    TARQLOG_API void Print(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Lets `write` append, and replaces what it has appended by "format error: " and the reason
    /// when it throws anything but std::bad_alloc.
    /// @throws std::bad_alloc when `write` does, or returns false
    TARQLOG_API void Guard(bool (*write)(LogStatement& statement, void const* context),
                           void const* context);

    /// False when memory ran out; the text stays as it was then.
    TARQLOG_API bool TryAppend(const char* text, std::size_t size) noexcept;

    TARQLOG_API void Append(const char* text, std::size_t size);

    /// What "{}" shows as digits or as it is.
    struct PlainArgument {
        enum Kind { kText, kNumber, kNegativeNumber, kNull };

        const char* text;          // of kText
        unsigned long long value;  // its size, or the number without its sign
        Kind kind;
    };

    static constexpr std::size_t kMostPlainDigits = 20;   // of an argument, with the sign
    static constexpr std::size_t kMostPlainBytes = 1000;  // that are put together at once

    /// Appends a format whose fields are one "{}" for each argument, the first at `fields[0]`;
    /// behind the last of them is the format's end. The arguments become `most` bytes, or fewer.
    /// False, and nothing is appended, when one is kNull, of which `most` has kMostPlainBytes.
    TARQLOG_API bool PrintPlain(const char* format, unsigned short const* fields,
                                PlainArgument const* arguments, std::size_t count,
                                std::size_t most);

    /// Pushes the record and destroys it; the statement wants no other.
    void Push() {
        Deliver();
        Forget();
    }

protected:
    LogRecord& Record() { return record_; }

    TARQLOG_API void Deliver();

    /// Says what Deliver() has done, where the compiler sees it.
    void Forget() {
        logger_ = nullptr;
        hasRecord_ = false;
    }

private:
    TARQLOG_API void Build();
    TARQLOG_API void Drop();
    TARQLOG_API void AppendLocation(const char* file, int line);
    TARQLOG_HIDDEN void AppendFormatError(const char* reason);

    Logger* logger_;
    Severity severity_;
    bool hasRecord_;
    union {
        LogRecord record_;  // while hasRecord_; NOLINT(readability-identifier-naming)
    };
};

/// What a statement may ask of a type, so that it goes the short way only where a stream would
/// print the same.
namespace log_traits {

template <class Type>
struct IsWide : std::integral_constant<bool, std::is_same<Type, wchar_t>::value ||
#if defined(__cpp_char8_t)
                                                 std::is_same<Type, char8_t>::value ||
#endif
                                                 std::is_same<Type, char16_t>::value ||
                                                 std::is_same<Type, char32_t>::value> {
};

template <class Type>
struct IsNarrow : std::integral_constant<bool, std::is_same<Type, char>::value ||
                                                   std::is_same<Type, signed char>::value ||
                                                   std::is_same<Type, unsigned char>::value> {};

template <class Type>
auto TestStreamable(int)
    -> decltype(std::declval<std::ostream&>() << std::declval<Type>(), std::true_type());
template <class Type>
std::false_type TestStreamable(...);

/// Whether a stream takes the type at all.
template <class Type>
struct IsStreamable : decltype(TestStreamable<Type>(0)) {};

template <class Type>
auto TestPlain(int)
    -> decltype(operator<<(std::declval<std::ostream&>(), std::declval<Type>()), std::false_type());
template <class Type>
std::true_type TestPlain(...);

/// Whether the type has no operator beside those that are members of std::ostream.
template <class Type>
struct IsPlain : decltype(TestPlain<Type>(0)) {};

/// Whether a stream prints pointers to the type as addresses.
template <class Type>
struct IsPlainAddress
    : std::conditional<std::is_volatile<Type>::value || std::is_function<Type>::value ||
                           IsWide<typename std::remove_cv<Type>::type>::value,
                       std::false_type, IsPlain<Type*>>::type {};

/// Whether a stream prints the enumeration as the number that it becomes by itself.
template <class Type>
struct IsPlainEnum
    : std::conditional<std::is_enum<Type>::value && std::is_convertible<Type, long long>::value,
                       IsPlain<Type>, std::false_type>::type {};

/// Whether only the operator of a type of its own can print the enumeration.
template <class Type>
struct IsOtherEnum : std::conditional<std::is_enum<Type>::value && !IsPlainEnum<Type>::value,
                                      IsStreamable<Type>, std::false_type>::type {};

/// The number that such an enumeration becomes among the operators of a stream.
bool ToNumber(bool);
char ToNumber(char);
signed char ToNumber(signed char);
unsigned char ToNumber(unsigned char);
short ToNumber(short);
unsigned short ToNumber(unsigned short);
int ToNumber(int);
unsigned int ToNumber(unsigned int);
long ToNumber(long);
unsigned long ToNumber(unsigned long);
long long ToNumber(long long);
unsigned long long ToNumber(unsigned long long);

/// Whether the operator for everything else is the one to take the type: neither a string, of which
/// that operator would be the better match, nor an enumeration, which has its own.
template <class Type, class Decayed = typename std::decay<Type>::type>
struct TakesStream
    : std::conditional<std::is_same<Decayed, std::string>::value || std::is_enum<Decayed>::value ||
                           (std::is_arithmetic<Decayed>::value && !IsWide<Decayed>::value),
                       std::false_type, IsStreamable<Type>>::type {};

}  // namespace log_traits

/// A LogStatement with stream operators, which append to the record what a std::ostream with the
/// flags that it begins with would print.
///
/// Numbers, characters, strings and addresses are written without one; null for a C string writes
/// nothing and fails nothing. The first manipulator, value of any other type, or number under a
/// global locale other than the classic one makes a real stream, which belongs to this statement
/// alone and takes all that follows. As with any stream, failure, lack of memory among it, is its
/// state, and a failed stream swallows what follows. What a user's operator throws goes on.
class LogStreamStatement : public LogStatement {
public:
    LogStreamStatement(Logger& logger, Severity severity)
        : LogStatement(logger, severity), stream_(nullptr), size_(0), isClassic_(false) {}
    ~LogStreamStatement() {
        if (stream_ != nullptr) {
            DropStream();
        }
    }

    LogStreamStatement(LogStreamStatement const&) = delete;
    LogStreamStatement& operator=(LogStreamStatement const&) = delete;

    /// The statement, to be written to.
    LogStreamStatement& Line() { return *this; }

    void Push() {
        DeliverLine();
        Forget();
        stream_ = nullptr;
    }

    /// The real stream, made at the first call. The conversion lets in operators that only the
    /// place of the statement knows, as one of a user's for a type of the standard library.
    TARQLOG_API std::ostream& Stream();
    // NOLINTNEXTLINE(google-explicit-constructor): as a std::ostream& it is asked for
    operator std::ostream&() { return Stream(); }

    TARQLOG_API LogStreamStatement& operator<<(bool value);
    TARQLOG_API LogStreamStatement& operator<<(short value);
    TARQLOG_API LogStreamStatement& operator<<(unsigned short value);
    TARQLOG_API LogStreamStatement& operator<<(int value);
    TARQLOG_API LogStreamStatement& operator<<(unsigned int value);
    TARQLOG_API LogStreamStatement& operator<<(long value);
    TARQLOG_API LogStreamStatement& operator<<(unsigned long value);
    TARQLOG_API LogStreamStatement& operator<<(long long value);
    TARQLOG_API LogStreamStatement& operator<<(unsigned long long value);
    TARQLOG_API LogStreamStatement& operator<<(double value);
    TARQLOG_API LogStreamStatement& operator<<(long double value);
    LogStreamStatement& operator<<(float value) { return *this << static_cast<double>(value); }

    TARQLOG_API LogStreamStatement& operator<<(char value);
    LogStreamStatement& operator<<(signed char value) { return *this << static_cast<char>(value); }
    LogStreamStatement& operator<<(unsigned char value) {
        return *this << static_cast<char>(value);
    }

    LogStreamStatement& operator<<(const char* text) {
        if (text == nullptr) {
            return *this;
        }
        // Of a literal the compiler knows the length.
        return __builtin_constant_p(__builtin_strlen(text)) ? Text(text, __builtin_strlen(text))
                                                            : CString(text);
    }
    LogStreamStatement& operator<<(std::string const& text) {
        return Text(text.data(), text.size());
    }
#if __cplusplus >= 201703L
    LogStreamStatement& operator<<(std::string_view text) {
        return Text(text.data(), text.size());
    }
#endif
    LogStreamStatement& operator<<(std::nullptr_t) {
        return *this << "nullptr";
    }

    TARQLOG_API LogStreamStatement& operator<<(const void* address);
    template <class Type>
    LogStreamStatement& operator<<(Type* pointer) {
        using Target = typename std::remove_const<Type>::type;
        return Pointer(pointer, log_traits::IsNarrow<Target>(), log_traits::IsPlainAddress<Type>());
    }

    template <class Enum,
              typename std::enable_if<log_traits::IsPlainEnum<Enum>::value, int>::type = 0>
    LogStreamStatement& operator<<(Enum value) {
        return *this << static_cast<decltype(log_traits::ToNumber(value))>(value);
    }
    template <class Enum,
              typename std::enable_if<log_traits::IsOtherEnum<Enum>::value, long>::type = 0>
    LogStreamStatement& operator<<(Enum value) {
        Stream() << value;
        return *this;
    }

    /// Where a stream refuses wide characters, they do not become numbers either.
    template <class Wide, typename std::enable_if<log_traits::IsWide<Wide>::value &&
                                                      !log_traits::IsStreamable<Wide>::value,
                                                  int>::type = 0>
    LogStreamStatement& operator<<(Wide value) = delete;

    TARQLOG_API LogStreamStatement& operator<<(std::ostream& (*manipulator)(std::ostream&));
    TARQLOG_API LogStreamStatement& operator<<(std::ios& (*manipulator)(std::ios&));
    TARQLOG_API LogStreamStatement& operator<<(std::ios_base& (*manipulator)(std::ios_base&));

    template <class Type,
              typename std::enable_if<log_traits::TakesStream<Type>::value, int>::type = 0>
    LogStreamStatement& operator<<(Type&& value) {
        Stream() << std::forward<Type>(value);
        return *this;
    }

private:
    struct RealStream;

    TARQLOG_API void DropStream();
    TARQLOG_API void DeliverLine();
    TARQLOG_API LogStreamStatement& Text(const char* text, std::size_t size);
    TARQLOG_API LogStreamStatement& CString(const char* text);
    TARQLOG_HIDDEN LogStreamStatement& TextWithoutRoom(const char* text, std::size_t size);
    template <class Number>
    TARQLOG_HIDDEN LogStreamStatement& Insert(Number value);
    template <class Number>
    TARQLOG_HIDDEN LogStreamStatement& InsertFirst(Number value);

    template <class Type, class IsAddress>
    LogStreamStatement& Pointer(Type* text, std::true_type, IsAddress) {
        return *this << reinterpret_cast<const char*>(text);
    }
    template <class Type>
    LogStreamStatement& Pointer(Type* pointer, std::false_type, std::true_type) {
        return *this << static_cast<const void*>(pointer);
    }
    template <class Type>
    LogStreamStatement& Pointer(Type* pointer, std::false_type, std::false_type) {
        Stream() << pointer;
        return *this;
    }

    TARQLOG_HIDDEN void Flush();

    // A buffer and a std::ostream fit; their header is left to those who need it.
    static constexpr std::size_t kStreamBytes = 48 * sizeof(void*);

    RealStream* stream_;  // in place_, null until it is needed
    std::size_t size_;    // of the text in place_ until then, which the record does not have yet
    bool isClassic_;      // known to be the global locale
    alignas(long long) char place_[kStreamBytes];
};

/// The LogLimit of the place where the lambda of type `Place` stands.
template <class Place>
inline LogLimit& LogLimitOf(Place) {  // inline, so that GCC leaves it out where nothing calls it
    static LogLimit limit;
    return limit;
}

}  // namespace tarqlog

/// Conditions for the statements that take one, or for any `if`: true each `n`th time, from the
/// first on; the first `n` times; when that many seconds have passed, 0.5 say; the first time. Each
/// place counts by itself, in a template once for each instantiation, and over all threads. They
/// are plain bool expressions: `peers > 9 && TARQLOG_EVERY_N(2)` counts only the times with more
/// than 9 peers. See tarqlog::LogLimit for 0, and for how to count what was skipped.
#define TARQLOG_EVERY_N(n) (::tarqlog::LogLimitOf([] {}).EveryN(n))
#define TARQLOG_FIRST_N(n) (::tarqlog::LogLimitOf([] {}).FirstN(n))
#define TARQLOG_EVERY_T(seconds) (::tarqlog::LogLimitOf([] {}).EveryT(seconds))
#define TARQLOG_ONCE (::tarqlog::LogLimitOf([] {}).Once())

/// @cond machinery

// Each statement is one loop that runs at most once: its variable is the statement, and what is
// written to the right of the macro, or passed to it, is its body. The push comes after the body,
// not in a destructor, so that it may throw, and so that no exception in flight plays a part.
//
// The variable has a new name each time, for those who compile nested ones with -Wshadow. Nothing
// here pastes the name of a severity, which is a macro of somebody else's only too often.
#define TARQLOG_STATEMENT(type, name, log, severity, condition)                                \
    TARQLOG_UNLESS_REMOVED(severity)                                                           \
    for (::tarqlog::type name(log, TARQLOG_KEPT_SEVERITY(severity));                           \
         (name).IsWanted() && static_cast<bool>(condition) && (name).Begin(TARQLOG_BEGINNING); \
         (name).Push())
#define TARQLOG_NAME TARQLOG_NAME_OF(__COUNTER__)
#define TARQLOG_NAME_OF(number) TARQLOG_NAME_JOINED(number)
#define TARQLOG_NAME_JOINED(number) tarqlogStatement##number

#if defined(TARQLOG_LOCATION)
#if defined(__FILE_NAME__)
#define TARQLOG_BEGINNING __FILE_NAME__, __LINE__  // no path of the build in the program
#else
#define TARQLOG_BEGINNING __FILE__, __LINE__
#endif
#else
#define TARQLOG_BEGINNING
#endif

#if defined(TARQLOG_MIN_SEVERITY)

namespace tarqlog {

enum : std::uint32_t { kMinSeverity = TARQLOG_MIN_SEVERITY };

/// `severity`, or none, which no sink takes, when it is below `Minimum`.
template <std::uint32_t Minimum>
constexpr Severity KeptSeverity(Severity severity) {
    return static_cast<std::uint32_t>(severity) < Minimum ? Severity() : severity;
}

}  // namespace tarqlog

// Neither compiler makes code of the branch of a constant `if` that is not taken. The `else` is
// there for the user's own, the `switch` against the warning of just that.
#define TARQLOG_UNLESS_REMOVED(severity)                                        \
    switch (0)                                                                  \
    case 0:                                                                     \
    default:                                                                    \
        if (__builtin_constant_p(severity) &&                                   \
            static_cast<::std::uint32_t>(severity) < ::tarqlog::kMinSeverity) { \
        } else
#define TARQLOG_KEPT_SEVERITY(severity) ::tarqlog::KeptSeverity<::tarqlog::kMinSeverity>(severity)

#else
#define TARQLOG_UNLESS_REMOVED(severity)
#define TARQLOG_KEPT_SEVERITY(severity) severity
#endif

#define TARQLOG_STREAM(log, severity, condition) \
    TARQLOG_STREAM_NAMED(TARQLOG_NAME, log, severity, condition)
#define TARQLOG_STREAM_NAMED(name, log, severity, condition) \
    TARQLOG_STATEMENT(LogStreamStatement, name, log, severity, condition)(name).Line()
#define TARQLOG_PRINT(log, severity, condition, ...) \
    TARQLOG_PRINT_NAMED(TARQLOG_NAME, log, severity, condition, __VA_ARGS__)
#define TARQLOG_PRINT_NAMED(name, log, severity, condition, ...) \
    TARQLOG_STATEMENT(LogStatement, name, log, severity, condition)(name).Print(__VA_ARGS__)

/// @endcond

/// Statements that are streams: `TARQLOG_INFO(log) << ...;`
#define TARQLOG(log, severity) TARQLOG_STREAM(log, severity, true)
#define TARQLOG_TRACE(log) TARQLOG(log, ::tarqlog::kTrace)
#define TARQLOG_DEBUG(log) TARQLOG(log, ::tarqlog::kDebug)
#define TARQLOG_INFO(log) TARQLOG(log, ::tarqlog::kInfo)
#define TARQLOG_WARNING(log) TARQLOG(log, ::tarqlog::kWarning)
#define TARQLOG_ERROR(log) TARQLOG(log, ::tarqlog::kError)
#define TARQLOG_FATAL(log) TARQLOG(log, ::tarqlog::kFatal)

/// Streams under a condition: `TARQLOG_INFO_IF(log, condition) << ...;`
#define TARQLOG_IF(log, severity, condition) TARQLOG_STREAM(log, severity, condition)
#define TARQLOG_TRACE_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kTrace, condition)
#define TARQLOG_DEBUG_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kDebug, condition)
#define TARQLOG_INFO_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kInfo, condition)
#define TARQLOG_WARNING_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kWarning, condition)
#define TARQLOG_ERROR_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kError, condition)
#define TARQLOG_FATAL_IF(log, condition) TARQLOG_IF(log, ::tarqlog::kFatal, condition)

/// `TARQLOG_INFO_P(log, format, ...);` The compiler checks format and arguments as printf()'s.
#define TARQLOG_P(log, severity, ...) TARQLOG_PRINT(log, severity, true, __VA_ARGS__)
#define TARQLOG_TRACE_P(log, ...) TARQLOG_P(log, ::tarqlog::kTrace, __VA_ARGS__)
#define TARQLOG_DEBUG_P(log, ...) TARQLOG_P(log, ::tarqlog::kDebug, __VA_ARGS__)
#define TARQLOG_INFO_P(log, ...) TARQLOG_P(log, ::tarqlog::kInfo, __VA_ARGS__)
#define TARQLOG_WARNING_P(log, ...) TARQLOG_P(log, ::tarqlog::kWarning, __VA_ARGS__)
#define TARQLOG_ERROR_P(log, ...) TARQLOG_P(log, ::tarqlog::kError, __VA_ARGS__)
#define TARQLOG_FATAL_P(log, ...) TARQLOG_P(log, ::tarqlog::kFatal, __VA_ARGS__)

/// The same under a condition: `TARQLOG_INFO_P_IF(log, condition, format, ...);`
#define TARQLOG_P_IF(log, severity, condition, ...) \
    TARQLOG_PRINT(log, severity, condition, __VA_ARGS__)
#define TARQLOG_TRACE_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kTrace, condition, __VA_ARGS__)
#define TARQLOG_DEBUG_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kDebug, condition, __VA_ARGS__)
#define TARQLOG_INFO_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kInfo, condition, __VA_ARGS__)
#define TARQLOG_WARNING_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kWarning, condition, __VA_ARGS__)
#define TARQLOG_ERROR_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kError, condition, __VA_ARGS__)
#define TARQLOG_FATAL_P_IF(log, condition, ...) \
    TARQLOG_P_IF(log, ::tarqlog::kFatal, condition, __VA_ARGS__)

#endif  // TARQLOG_LOG_H_
