#include "tarqlog/log.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <limits>
#include <locale>
#include <new>
#include <ostream>
#include <string_view>
#include <system_error>
#include <type_traits>
#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

#include "tarqlog/logstream.h"

#include "write_text.h"

namespace tarqlog {

namespace {

constexpr std::size_t kPrintBytes = 512;   // longer texts are formatted into the record itself
constexpr std::size_t kNumberBytes = 128;  // six digits, or all of the longest integer
constexpr double kNsPerSecond = 1e9;
constexpr long long kEnd = std::numeric_limits<long long>::max();
constexpr std::string_view kFormatError = "format error: ";

// Constant-initialised, so that a statement in another library's static constructor finds it.
std::atomic<long long (*)()> monotonicTimeFunc{GetMonotonicTimeInNs};

/// The time `seconds` after `now`, or the end of time. `seconds` is above 0.
long long After(long long now, double seconds) {
    double const ns = seconds * kNsPerSecond;
    // As a double the end of time is one beyond it.
    return ns < static_cast<double>(kEnd) && static_cast<long long>(ns) <= kEnd - std::max(now, 0LL)
               ? now + static_cast<long long>(ns)
               : kEnd;
}

bool IsGlobalLocaleClassic() {
    return std::locale() == std::locale::classic();
}

/// Writes what a stream with its first flags prints in the classic locale.
template <class Number>
std::to_chars_result ToText(char* begin, char* end, Number value) {
    if constexpr (std::is_floating_point_v<Number>) {
        constexpr int kPrecision = 6;
        return std::to_chars(begin, end, value, std::chars_format::general, kPrecision);
    } else {
        bool const isNegative = value < 0;
        auto const bits = static_cast<unsigned long long>(value);
        if (isNegative) {
            *begin++ = '-';
        }
        return {WriteNumber(begin, isNegative ? 0 - bits : bits), std::errc()};
    }
}

std::to_chars_result ToText(char* begin, char* /*end*/, bool value) {
    *begin = value ? '1' : '0';
    return {begin + 1, std::errc()};
}

[[maybe_unused]] std::to_chars_result ToText(char* begin, char* end, const void* address) {
    constexpr int kBase = 16;
    auto const number = reinterpret_cast<std::uintptr_t>(address);
    if (number != 0) {  // zero has no base to show
        *begin++ = '0';
        *begin++ = 'x';
    }
    return std::to_chars(begin, end, number, kBase);
}

/// Whether ToText() writes what the standard library's streams do. LLVM's prints addresses and NaNs
/// in its own way, and its to_chars() takes a long double for a double.
template <class Value>
#if defined(__GLIBCXX__)
constexpr bool kIsAsAStreamPrintsIt = true;
#else
constexpr bool kIsAsAStreamPrintsIt = std::is_integral_v<Value>;
#endif

using PlainArgument = LogStatement::PlainArgument;

/// Appends more than a record takes at once.
[[gnu::noinline]] void AppendInPieces(LogRecord& record, const char* text, std::size_t size) {
    LogRecordStreamBuf(record).sputn(text, static_cast<std::streamsize>(size));
}

static_assert(LogStatement::kMostPlainDigits >= kMostDigits, "a number needs more room");

bool IsNull(PlainArgument const& argument) {
    return argument.kind == PlainArgument::kNull;
}

/// What an argument of kText says.
std::string_view TextOf(PlainArgument const& argument) {
    return {argument.text, static_cast<std::size_t>(argument.value)};
}

/// Returns the end of what is written.
char* WritePlain(char* place, PlainArgument const& argument) {
    if (argument.kind == PlainArgument::kText) {
        return WriteText(place, TextOf(argument));
    }
    if (argument.kind == PlainArgument::kNegativeNumber) {
        *place++ = '-';
    }
    return WriteNumber(place, argument.value);
}

/// Hands over a format and its arguments in their order.
template <class PutText, class PutArgument>
void ForEachPiece(const char* format, unsigned short const* fields, PlainArgument const* arguments,
                  std::size_t count, PutText putText, PutArgument putArgument) {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < count; ++i) {
        putText(std::string_view(format + begin, fields[i] - begin));
        putArgument(arguments[i]);
        begin = fields[i] + std::strlen("{}");
    }
    putText(std::string_view(format + begin, fields[count] - begin));
}

}  // namespace

bool LogLimit::IsDue(double seconds) {
    if (!(seconds > 0)) {
        return true;
    }
    long long const now = monotonicTimeFunc.load(std::memory_order_relaxed)();
    long long const next = After(now, seconds);
    long long due = due_.load(std::memory_order_relaxed);
    while (now >= due) {
        if (due_.compare_exchange_weak(due, next, std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;  // not yet, or another thread was here first
}

long long GetMonotonicTimeInNs() {
    std::chrono::nanoseconds const time = std::chrono::steady_clock::now().time_since_epoch();
    return time.count();
}

long long (*SetGetMonotonicTimeFunc(long long (*func)()))() {
    return func != nullptr ? monotonicTimeFunc.exchange(func) : monotonicTimeFunc.load();
}

void LogStatement::Build() {
    new (&record_) LogRecord(severity_);
    hasRecord_ = true;
}

void LogStatement::Drop() {
    record_.~LogRecord();
    hasRecord_ = false;
}

void LogStatement::Deliver() {
    logger_->PushRecord(record_);
    Drop();
}

void LogStatement::Append(const char* text, std::size_t size) {
    if (size > INT_MAX) {
        AppendInPieces(record_, text, size);
    } else {
        record_.WriteData(text, static_cast<int>(size));
    }
}

bool LogStatement::PrintPlain(const char* format, unsigned short const* fields,
                              PlainArgument const* arguments, std::size_t count, std::size_t most) {
    if (fields[count] + most <= kMostPlainBytes) {
        char text[kMostPlainBytes];
        char* end = text;
        ForEachPiece(
            format, fields, arguments, count,
            [&](std::string_view piece) { end = WriteText(end, piece); },
            [&](PlainArgument const& argument) { end = WritePlain(end, argument); });
        Append(text, static_cast<std::size_t>(end - text));
        return true;
    }
    if (std::any_of(arguments, arguments + count, IsNull)) {
        return false;
    }
    ForEachPiece(
        format, fields, arguments, count,
        [&](std::string_view piece) { Append(piece.data(), piece.size()); },
        [&](PlainArgument const& argument) {
            if (argument.kind == PlainArgument::kText) {
                Append(argument.text, TextOf(argument).size());
            } else {
                char number[kMostPlainDigits];
                Append(number, static_cast<std::size_t>(WritePlain(number, argument) - number));
            }
        });
    return true;
}

void LogStatement::AppendLocation(const char* file, int line) {
    const char* const slash = std::strrchr(file, '/');
    const char* const name = slash != nullptr ? slash + 1 : file;
    Append(name, std::strlen(name));
    char text[kNumberBytes] = ":";
    char* const end = std::to_chars(text + 1, std::end(text) - 1, line).ptr;
    *end = ' ';
    Append(text, static_cast<std::size_t>(end + 1 - text));
}

void LogStatement::AppendFormatError(const char* reason) {
    Append(kFormatError.data(), kFormatError.size());
    Append(reason, std::strlen(reason));
}

void LogStatement::Print(const char* format, ...) {
    if (format == nullptr) {
        return;
    }
    char text[kPrintBytes];
    std::va_list arguments;
    va_start(arguments, format);
    int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::size_t const size = static_cast<std::size_t>(std::max(length, 0));
    if (size < sizeof text) {
        Append(text, size);
    } else {
        std::size_t const begin = record_.GetData().size();
        record_.Resize(begin + size + 1);  // with the NUL
        char* const place = const_cast<char*>(record_.GetData().data()) + begin;
        va_start(arguments, format);
        length = std::vsnprintf(place, size + 1, format, arguments);
        va_end(arguments);
        // Another thread may have changed what the arguments point to.
        record_.Resize(begin + std::min(size, static_cast<std::size_t>(std::max(length, 0))));
    }
    if (length < 0) {
        AppendFormatError(format);
    }
}

bool LogStatement::TryAppend(const char* text, std::size_t size) noexcept {
    try {
        Append(text, size);
    } catch (...) {
        return false;
    }
    return true;
}

void LogStatement::Guard(bool (*write)(LogStatement& statement, void const* context),
                         void const* context) {
    std::size_t const begin = record_.GetData().size();
    try {
        if (!write(*this, context)) {
            throw std::bad_alloc();
        }
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& exception) {
        record_.Resize(begin);
        AppendFormatError(exception.what());
#if defined(__GLIBCXX__)
    } catch (abi::__forced_unwind const&) {  // the thread is being cancelled
        throw;
#endif
    } catch (...) {
        record_.Resize(begin);
        AppendFormatError("unknown");
    }
}

struct LogStreamStatement::RealStream {
    explicit RealStream(LogRecord& record) : buffer(record), stream(&buffer) {}

    LogRecordStreamBuf buffer;
    LogStream stream;
};

void LogStreamStatement::Flush() {
    Append(place_, size_);
    size_ = 0;
}

std::ostream& LogStreamStatement::Stream() {
    static_assert(sizeof(RealStream) <= kStreamBytes, "the stream needs a larger place");
    static_assert(alignof(RealStream) <= alignof(long long), "the stream needs another place");
    if (stream_ == nullptr) {
        Flush();
        stream_ = new (place_) RealStream(Record());
        size_ = kStreamBytes;  // no room for text
    }
    return stream_->stream;
}

void LogStreamStatement::DropStream() {
    stream_->~RealStream();
    stream_ = nullptr;
}

void LogStreamStatement::DeliverLine() {
    if (stream_ != nullptr) {
        DropStream();
    } else {
        Flush();
    }
    Deliver();
}

template <class Number>
LogStreamStatement& LogStreamStatement::Insert(Number value) {
    if constexpr (!kIsAsAStreamPrintsIt<Number>) {
        Stream() << value;
        return *this;
    } else {  // a library may lack what it is not asked for
        if (kNumberBytes <= kStreamBytes - size_ && isClassic_) {
            char* const text = place_ + size_;
            size_ += static_cast<std::size_t>(ToText(text, text + kNumberBytes, value).ptr - text);
            return *this;
        }
        return InsertFirst(value);
    }
}

/// Inserts a number for which there is no room yet, or which may need the stream. Like a stream the
/// statement keeps to the locale that it has found. Out of the way of the others.
template <class Number>
[[gnu::noinline]] LogStreamStatement& LogStreamStatement::InsertFirst(Number value) {
    if (stream_ == nullptr && (isClassic_ || IsGlobalLocaleClassic())) {
        isClassic_ = true;
        if (kNumberBytes > kStreamBytes - size_) {
            Flush();
        }
        return Insert(value);
    }
    Stream() << value;
    return *this;
}

LogStreamStatement& LogStreamStatement::operator<<(bool value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(short value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(unsigned short value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(int value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(unsigned int value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(long value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(unsigned long value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(long long value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(unsigned long long value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(double value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(long double value) {
    return Insert(value);
}

LogStreamStatement& LogStreamStatement::operator<<(const void* address) {
    return Insert(address);
}

LogStreamStatement& LogStreamStatement::operator<<(char value) {
    return Text(&value, 1);
}

LogStreamStatement& LogStreamStatement::CString(const char* text) {
    return Text(text, std::strlen(text));
}

LogStreamStatement& LogStreamStatement::Text(const char* text, std::size_t size) {
    if (size < kStreamBytes - size_) {
        WriteText(place_ + size_, {text, size});
        size_ += size;
        return *this;
    }
    return TextWithoutRoom(text, size);
}

[[gnu::noinline]] LogStreamStatement& LogStreamStatement::TextWithoutRoom(const char* text,
                                                                          std::size_t size) {
    if (stream_ != nullptr) {
        stream_->stream << std::string_view(text, size);
    } else {
        Flush();
        Append(text, size);
    }
    return *this;
}

LogStreamStatement& LogStreamStatement::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    Stream() << manipulator;
    return *this;
}

LogStreamStatement& LogStreamStatement::operator<<(std::ios& (*manipulator)(std::ios&)) {
    Stream() << manipulator;
    return *this;
}

LogStreamStatement& LogStreamStatement::operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
    Stream() << manipulator;
    return *this;
}

}  // namespace tarqlog
