// Whatever the values, formats and conditions: a statement that a sink wants makes one record whose
// text is what a std::ostringstream, printf() or {fmt} makes of the same, or tells the format's
// error; one that none wants evaluates nothing. The writers of a LogStream do what they promise
// between the operators of a std::ostringstream, and a LogLimit is true as often as counted.

#define TARQLOG_LOCATION

#include "tarqlog/log.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <boost/make_shared.hpp>

#include "tarqlog/format.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logstream.h"

#include "fuzz/property.h"
#include "support/records.h"
#include "support/sinks.h"

namespace tarqlog {
namespace {

constexpr Severity kWanted = kInfo | kError;
constexpr std::size_t kLongestText = 60;

long long now = 0;

enum Colour : int { kRed = 1, kGreen = 2 };

/// Formatting it throws.
struct Faulty {
    int kind;
};

}  // namespace
}  // namespace tarqlog

// NOLINTBEGIN(readability-identifier-naming): the names that {fmt} asks for
template <>
struct fmt::formatter<tarqlog::Faulty> {
    constexpr auto parse(format_parse_context& context) { return context.begin(); }

    template <class Context>
    auto format(tarqlog::Faulty const& faulty, Context& context) const -> decltype(context.out()) {
        switch (faulty.kind) {
            case 0:
                throw std::runtime_error("faulty");
            case 1:
                throw faulty.kind;
            case 2:
                throw std::bad_alloc();
            default:
                return fmt::format_to(context.out(), "faultless");
        }
    }
};

// NOLINTEND(readability-identifier-naming)

namespace tarqlog {
namespace {

/// Keeps the last text.
class LastText : public AppenderBase {
public:
    LastText() : AppenderBase(false) {}

    std::string text;
    int count = 0;

protected:
    void DoAppend(LogRecord const& record) override {
        text = TextOf(record);
        ++count;
    }
};

/// Something to insert into a stream.
struct Value {
    int kind;
    std::uint64_t bits;
    long double number;
    std::string text;
};

constexpr int kKinds = 31;

template <class Stream>
void InsertNumber(Stream& stream, Value const& value) {
    switch (value.kind) {
        case 0:
            stream << (value.bits % 2 == 1);
            break;
        case 1:
            stream << static_cast<short>(value.bits);
            break;
        case 2:
            stream << static_cast<unsigned short>(value.bits);
            break;
        case 3:
            stream << static_cast<int>(value.bits);
            break;
        case 4:
            stream << static_cast<unsigned int>(value.bits);
            break;
        case 5:
            stream << static_cast<long>(value.bits);
            break;
        case 6:
            stream << static_cast<unsigned long>(value.bits);
            break;
        case 7:
            stream << static_cast<long long>(value.bits);
            break;
        case 8:
            stream << static_cast<unsigned long long>(value.bits);
            break;
        case 9:
            stream << static_cast<float>(value.bits);
            break;
        case 10:
            stream << static_cast<double>(value.number);
            break;
        default:
            stream << value.number;
    }
}

void const* AddressOf(std::uint64_t bits) {
    void const* address = nullptr;
    static_assert(sizeof address == sizeof bits, "any address");
    std::memcpy(&address, &bits, sizeof address);
    return address;
}

template <class Stream>
void InsertText(Stream& stream, Value const& value) {
    switch (value.kind) {
        case 12:
            stream << static_cast<char>(value.bits);
            break;
        case 13:
            stream << static_cast<signed char>(value.bits);
            break;
        case 14:
            stream << static_cast<unsigned char>(value.bits);
            break;
        case 15:
            stream << value.text.c_str();
            break;
        case 16:
            stream << value.text;
            break;
        case 17:
            stream << std::string_view(value.text);
            break;
        case 18:
            stream << nullptr;
            break;
        case 19:
            stream << AddressOf(value.bits);
            break;
        case 20:
            stream << static_cast<Colour>(value.bits % 4);
            break;
        default:
            stream << "literal";
    }
}

template <class Stream>
void InsertManipulator(Stream& stream, Value const& value) {
    switch (value.kind) {
        case 22:
            stream << std::hex;
            break;
        case 23:
            stream << std::boolalpha;
            break;
        case 24:
            stream << std::showbase;
            break;
        case 25:
            stream << std::setw(static_cast<int>(value.bits % 400));
            break;
        case 26:
            stream << std::setfill('*');
            break;
        case 27:
            stream << std::setprecision(static_cast<int>(value.bits % 30));
            break;
        case 28:
            stream << std::fixed;
            break;
        case 29:
            stream << std::flush;
            break;
        default:
            stream << std::endl;
    }
}

template <class Stream>
void Insert(Stream& stream, Value const& value) {
    if (value.kind < 12) {
        InsertNumber(stream, value);
    } else if (value.kind < 22) {
        InsertText(stream, value);
    } else {
        InsertManipulator(stream, value);
    }
}

typedef std::vector<Value> Values;

template <class Stream>
Stream& InsertAll(Stream& stream, Values const& values) {
    for (Value const& value : values) {
        Insert(stream, value);
    }
    return stream;
}

LogStreamStatement& operator<<(LogStreamStatement& line, Values const& values) {
    return InsertAll(line << static_cast<char const*>(nullptr), values);
}

std::string TextOf(Values const& values) {
    std::ostringstream stream;
    InsertAll(stream, values);
    return stream.str();
}

/// What printf() makes of it, or what a statement tells instead.
template <class... Arguments>
std::string Printed(char const* format, Arguments... arguments) {
    int const length = std::snprintf(nullptr, 0, format, arguments...);
    if (length < 0) {
        return std::string("format error: ") + format;
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), format, arguments...);
    text.pop_back();
    return text;
}

template <class... Arguments>
std::string Formatted(fmt::string_view format, Arguments const&... arguments) {
    try {
        return fmt::vformat(format, fmt::make_format_args(arguments...));
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        return std::string("format error: ") + error.what();
    } catch (...) {
        return "format error: unknown";
    }
}

/// Statements of one input.
class Statements {
public:
    explicit Statements(FuzzedDataProvider& provider) : provider_(provider) {
        LogCore::Get()->AddSink(RootRule(kWanted), SinkOf(appender_));
    }
    ~Statements() { LogCore::Get()->RemoveAllSinks(); }

    Statements(Statements const&) = delete;
    Statements& operator=(Statements const&) = delete;

    void Next() {
        severity_ = static_cast<Severity>(provider_.ConsumeIntegralInRange(0, 127));
        mayLog_ = provider_.ConsumeIntegralInRange(0, 7) != 0;
        switch (provider_.ConsumeIntegralInRange(0, 2)) {
            case 0:
                Stream();
                break;
            case 1:
                Print();
                break;
            default:
                Format();
        }
    }

private:
    /// `value`, which is evaluated.
    template <class Type>
    Type const& Noted(Type const& value) {
        ++evaluations_;
        return value;
    }

    void RequireText(std::string const& expected) {
        bool const isWanted = (severity_ & kWanted) != 0 && mayLog_;
        RequireEqual(appender_->count, isWanted ? 1 : 0, "a wanted statement is one record");
        RequireEqual(evaluations_, isWanted ? 1 : 0, "an unwanted one evaluates nothing");
        appender_->count = evaluations_ = 0;
        if (isWanted) {
            std::string const& text = appender_->text;
            std::size_t const end = text.find(' ');
            RequireEqual<std::string>(text.substr(0, 8), "log.cpp:", "a text begins with its file");
            Require(end != std::string::npos && text.find_first_not_of("0123456789", 8) == end,
                    "and with its line");
            RequireEqual(text.substr(end + 1), expected, "the text of a statement");
        }
    }

    std::string TakeText() {
        std::string const text = provider_.ConsumeRandomLengthString(kLongestText);
        int const times = provider_.ConsumeBool() ? provider_.ConsumeIntegralInRange(1, 40) : 1;
        std::string longer;
        for (int i = 0; i < times; ++i) {
            longer += text;
        }
        return longer;
    }

    Value TakeValue() {
        Value value = {};
        value.kind = provider_.ConsumeIntegralInRange(0, kKinds - 1);
        value.bits =
            provider_.ConsumeIntegral<std::uint64_t>() >> provider_.ConsumeIntegralInRange(0, 63);
        value.number = provider_.ConsumeFloatingPoint<double>();
        if (value.kind >= 15 && value.kind <= 17) {
            value.text = TakeText();
        }
        return value;
    }

    void Stream() {
        Values values;
        do {
            values.push_back(TakeValue());
        } while (provider_.ConsumeBool());
        TARQLOG_IF(log_, severity_, mayLog_) << Noted(values);
        RequireText(TextOf(values));
    }

    void Print() {
        std::string const text = TakeText();
        int const width = provider_.ConsumeIntegralInRange(-100, 1100);
        auto const number = provider_.ConsumeIntegral<long long>();
        char const* const none = nullptr;
        switch (provider_.ConsumeIntegralInRange(0, 4)) {
            case 0:
                TARQLOG_P_IF(log_, severity_, mayLog_, "%s", Noted(text).c_str());
                RequireText(Printed("%s", text.c_str()));
                break;
            case 1:
                TARQLOG_P_IF(log_, severity_, mayLog_, "%*lld|%s", width, Noted(number),
                             text.c_str());
                RequireText(Printed("%*lld|%s", width, number, text.c_str()));
                break;
            case 2:
                TARQLOG_P_IF(log_, severity_, mayLog_, "%.*f", width, Noted(1.5));
                RequireText(Printed("%.*f", width, 1.5));
                break;
            case 3:
                TARQLOG_P_IF(log_, severity_, mayLog_, "%d%lc", width, Noted(std::wint_t(0x20ac)));
                RequireText(Printed("%d%lc", width, std::wint_t(0x20ac)));
                break;
            default:
                TARQLOG_P_IF(log_, severity_, mayLog_, none, Noted(width));
                RequireText("");
        }
    }

    void Format() {
        std::string const text = TakeText();
        auto const number = provider_.ConsumeIntegral<long long>();
        auto const count = provider_.ConsumeIntegral<unsigned long long>();
        int const width = provider_.ConsumeIntegralInRange(-10, 1100);
        bool const isNull = provider_.ConsumeBool();
        char const* const pointer = isNull ? nullptr : text.c_str();
        switch (provider_.ConsumeIntegralInRange(0, 3)) {
            case 0:
                TARQLOG_F_IF(log_, severity_, mayLog_, "{}, {} and {}{}", Noted(text), number,
                             count, '.');
                RequireText(Formatted("{}, {} and {}{}", text, number, count, '.'));
                break;
            case 1:
                TARQLOG_F_IF(log_, severity_, mayLog_, "{}{}", Noted(pointer), text);
                // {fmt} stops at the null, whatever came before it.
                RequireText(isNull ? Formatted("{}", pointer) : Formatted("{}{}", pointer, text));
                break;
            case 2:
                TARQLOG_F_IF(log_, severity_, mayLog_, "a{:>{}}", Noted(number), width);
                RequireText(Formatted("a{:>{}}", number, width));
                break;
            default:
                FormatFaulty(Faulty{static_cast<int>(count % 4)});
        }
    }

    void FormatFaulty(Faulty const& faulty) {
        try {
            TARQLOG_F_IF(log_, severity_, mayLog_, "a{}", Noted(faulty));
            RequireText(faulty.kind == 2 ? "" : Formatted("a{}", faulty));
        } catch (std::bad_alloc const&) {
            RequireEqual(faulty.kind, 2, "lack of memory alone goes on");
            RequireEqual(appender_->count, 0, "such a statement is no record");
            evaluations_ = 0;
        }
    }

    FuzzedDataProvider& provider_;
    boost::shared_ptr<LastText> const appender_ = boost::make_shared<LastText>();
    Logger log_{"log"};
    Severity severity_ = kInfo;
    bool mayLog_ = true;
    int evaluations_ = 0;
};

/// Calls of a LogStream's writers, with a std::ostringstream beside it.
void CheckWriters(FuzzedDataProvider& provider) {
    LogRecord record(kInfo);
    LogRecordStreamBuf buffer(record);
    LogStream stream(&buffer);
    std::ostringstream expected(std::string(), std::ios::ate);
    do {
        std::string const text = provider.ConsumeRandomLengthString(400);
        int const width = provider.ConsumeIntegralInRange(0, 300);
        bool const isNull = provider.ConsumeIntegralInRange(0, 7) == 0;
        char const* const pointer = isNull ? nullptr : text.c_str();
        switch (provider.ConsumeIntegralInRange(0, 4)) {
            case 0:
                stream.WriteLogString(pointer);
                if (!isNull) {
                    expected << pointer;
                }
                break;
            case 1:
                stream.WriteParamLogString(isNull ? nullptr : "%*d%s", width, 7, text.c_str());
                if (!isNull) {
                    expected.str(Printed("%*d%s", width, 7, text.c_str()).substr(0, 255));
                }
                break;
            case 2:
                stream.WriteLogData(isNull ? nullptr : text.data(), text.size());
                expected.write(text.data(), isNull ? 0
                                                   : static_cast<std::streamsize>(
                                                         std::min<std::size_t>(text.size(), 256)));
                break;
            case 3:
                stream << std::setw(width) << std::hex << width << text;
                expected << std::setw(width) << std::hex << width << text;
                break;
            default:
                stream << text[0] << 1.5 << std::setw(width);
                expected << text[0] << 1.5 << std::setw(width);
        }
        std::string const actual(record.GetData().begin(), record.GetData().end());
        RequireEqual(actual, expected.str(), "the text of a LogStream");
    } while (provider.remaining_bytes() > 0 && provider.ConsumeBool());
}

/// What a LogLimit has been asked, counted by hand.
struct Counted {
    LogLimit limit;
    unsigned long long calls = 0;
    unsigned long long skipped = 0;
    long double due = -1e30L;

    void RequireAnswer(bool actual, bool expected) {
        skipped += expected ? 0 : 1;
        RequireEqual(actual, expected, "a limit's answer");
        RequireEqual(limit.Skipped(), skipped, "what a limit has skipped");
    }
};

void CheckLimits(FuzzedDataProvider& provider) {
    constexpr long long kEnd = std::numeric_limits<long long>::max();
    Counted every;
    Counted first;
    Counted timed;
    now = 0;
    auto const n = provider.ConsumeIntegralInRange<long long>(-1, 20);
    double const seconds = provider.ConsumeBool() ? provider.ConsumeFloatingPointInRange(-1.0, 5.0)
                                                  : provider.ConsumeFloatingPoint<double>();
    do {
        every.RequireAnswer(every.limit.EveryN(n),
                            n > 0 && every.calls++ % static_cast<unsigned long long>(n) == 0);
        first.RequireAnswer(first.limit.FirstN(n),
                            n > 0 && first.calls++ < static_cast<unsigned long long>(n));
        bool const isDue = !(seconds > 0) || static_cast<long double>(now) >= timed.due;
        timed.RequireAnswer(timed.limit.EveryT(seconds), isDue);
        if (isDue) {
            timed.due =
                static_cast<long double>(now) + std::floor(static_cast<long double>(seconds * 1e9));
            timed.due = std::min(timed.due, static_cast<long double>(kEnd));
        }
        if (provider.ConsumeIntegralInRange(0, 7) == 0) {
            RequireEqual(every.limit.TakeSkipped(), every.skipped,
                         "what is taken is what was skipped");
            every.skipped = 0;
        }
        now = provider.ConsumeIntegralInRange(
            now, provider.ConsumeBool() ? kEnd : std::min(now, kEnd - 10000000000) + 10000000000);
    } while (provider.remaining_bytes() > 0 && provider.ConsumeBool());
    long long const before = GetMonotonicTimeInNs();
    Require(GetMonotonicTimeInNs() >= before, "the clock goes forward");
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static auto* const clock = tarqlog::SetGetMonotonicTimeFunc([] { return tarqlog::now; });
    static_cast<void>(clock);
    FuzzedDataProvider provider(data, size);
    switch (provider.ConsumeIntegralInRange(0, 3)) {
        case 0:
            tarqlog::CheckLimits(provider);
            break;
        case 1:
            tarqlog::CheckWriters(provider);
            break;
        default: {
            tarqlog::Statements statements(provider);
            while (provider.remaining_bytes() > 0) {
                statements.Next();
            }
        }
    }
    return 0;
}
