#include "tarqlog/log.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/tarqlog.h"

#include "support/allocations.h"
#include "support/compiler.h"
#include "support/installed_hooks.h"
#include "support/interpose.h"
#include "support/marked_statements.h"
#include "support/painted_stack.h"
#include "support/statements.h"
#include "support/temporary_directory.h"

#if defined(TARQLOG_FORMAT_H_)
#error "who includes everything does not need {fmt}"
#endif

namespace tarqlog {
namespace {

Fault printFault;
int printAnswer = 0;  // what the struck call returns
Fault streamCount;    // counts, and never strikes

int Print(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    auto const next = reinterpret_cast<decltype(&::vsnprintf)>(::dlsym(RTLD_NEXT, "vsnprintf"));
    int const length = next(buffer, size, format, arguments);
    return printFault.Strikes() ? printAnswer : length;
}

}  // namespace
}  // namespace tarqlog

extern "C" int vsnprintf(char* buffer, std::size_t size, const char* format,
                         std::va_list arguments) noexcept {
    return tarqlog::Print(buffer, size, format, arguments);
}

// What vsnprintf() is called in a build with _FORTIFY_SOURCE.
extern "C" int __vsnprintf_chk(char* buffer, std::size_t size, int, std::size_t, const char* format,
                               std::va_list arguments) noexcept {
    return tarqlog::Print(buffer, size, format, arguments);
}

// Each std::ostream begins with a call of this member of its base.
extern "C" void BeginStream(void* stream, void* buffer) noexcept(false) __asm__(
    "_ZNSt9basic_iosIcSt11char_traitsIcEE4initEPSt15basic_streambufIcS1_E");
extern "C" void BeginStream(void* stream, void* buffer) noexcept(false) {
    tarqlog::streamCount.Strikes();
    reinterpret_cast<void (*)(void*, void*)>(
        ::dlsym(RTLD_NEXT, "_ZNSt9basic_iosIcSt11char_traitsIcEE4initEPSt15basic_streambufIcS1_E"))(
        stream, buffer);
}

// Types of a user's own.

struct Point {
    int x;
    int y;
};

std::ostream& operator<<(std::ostream& stream, Point const& point) {
    return stream << point.x << '/' << point.y;
}

/// Only this file knows how to print it: not by its namespace.
std::ostream& operator<<(std::ostream& stream, std::vector<int> const& numbers) {
    for (int const number : numbers) {
        stream << '<' << number << '>';
    }
    return stream;
}

namespace zoo {

enum Kind { kCat = 3 };
enum Letter : char { kQ = 'q' };
enum Tiny : short { kMinusOne = -1 };
enum Huge : long long { kHuge = std::numeric_limits<long long>::min() };
enum Unsigned : unsigned int { kMost = std::numeric_limits<unsigned int>::max() };
enum Named { kNamed };
enum class Scoped { kOne };
enum class Elsewhere { kTwo };
struct Node {};
struct Plain {};

std::ostream& operator<<(std::ostream& stream, Named) {
    return stream << "named";
}
std::ostream& operator<<(std::ostream& stream, Scoped) {
    return stream << "scoped";
}
std::ostream& operator<<(std::ostream& stream, Node const*) {
    return stream << "node";
}

/// Its operator changes the object.
struct Counter {
    int count = 0;
};
std::ostream& operator<<(std::ostream& stream, Counter& counter) {
    return stream << ++counter.count;
}

}  // namespace zoo

std::ostream& operator<<(std::ostream& stream, zoo::Elsewhere) {
    return stream << "elsewhere";
}

namespace tarqlog {
namespace {

std::vector<Statement> const kStatements = {
#define TARQLOG_TEST_SEVERITY(name, severity)                                       \
    TARQLOG_TEST_STATEMENT("TARQLOG_" #name, severity, false,                       \
                           TARQLOG_##name(log) << "n=" << source.argument()),       \
        TARQLOG_TEST_STATEMENT("TARQLOG_" #name "_IF", severity, true,              \
                               TARQLOG_##name##_IF(log, source.condition())         \
                                   << "n=" << source.argument()),                   \
        TARQLOG_TEST_STATEMENT("TARQLOG_" #name "_P", severity, false,              \
                               TARQLOG_##name##_P(log, "n=%d", source.argument())), \
        TARQLOG_TEST_STATEMENT(                                                     \
            "TARQLOG_" #name "_P_IF", severity, true,                               \
            TARQLOG_##name##_P_IF(log, source.condition(), "n=%d", source.argument()))
    TARQLOG_TEST_SEVERITY(TRACE, kTrace),
    TARQLOG_TEST_SEVERITY(DEBUG, kDebug),
    TARQLOG_TEST_SEVERITY(INFO, kInfo),
    TARQLOG_TEST_SEVERITY(WARNING, kWarning),
    TARQLOG_TEST_SEVERITY(ERROR, kError),
    TARQLOG_TEST_SEVERITY(FATAL, kFatal),
    TARQLOG_TEST_STATEMENT("TARQLOG", kError, false,
                           TARQLOG(log, kError) << "n=" << source.argument()),
    TARQLOG_TEST_STATEMENT("TARQLOG_IF", kDebug, true,
                           TARQLOG_IF(log, kDebug, source.condition())
                               << "n=" << source.argument()),
    TARQLOG_TEST_STATEMENT("TARQLOG_P", kWarning, false,
                           TARQLOG_P(log, kWarning, "n=%d", source.argument())),
    TARQLOG_TEST_STATEMENT(
        "TARQLOG_P_IF", kTrace, true,
        TARQLOG_P_IF(log, kTrace, source.condition(), "n=%d", source.argument())),
};

/// The text of the one record that `log` makes, or all of them in brackets.
template <class Log>
std::string TextOfOne(Log log) {
    LogCore::Get()->RemoveAllSinks();
    auto const appender = AddNotingSink();
    Logger logger("a");
    log(logger);
    std::string all;
    for (std::string const& text : appender->Texts()) {
        all += appender->Texts().size() == 1 ? text : "[" + text + "]";
    }
    LogCore::Get()->RemoveAllSinks();
    return all;
}

/// Writes the pieces to a statement and to a stream of its own.
#define EXPECT_SAME_BYTES(...)                                                       \
    do {                                                                             \
        std::ostringstream expected;                                                 \
        expected << __VA_ARGS__;                                                     \
        EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << __VA_ARGS__; }), \
                  expected.str());                                                   \
    } while (false)

class LogStatementTest : public StatementsTest {};

TEST_F(LogStatementTest, EvaluatesItsArgumentsOncePerRecord) {
    ASSERT_EQ(kStatements.size(), 28U);
    ExpectOneEvaluationPerRecord(kStatements);
}

TEST_F(LogStatementTest, EvaluatesNothingWhenNoSinkWantsIt) {
    ExpectNoEvaluationWithoutASink(kStatements);
}

TEST_F(LogStatementTest, IsSkippedWhenItsConditionIsFalse) {
    ExpectFalseConditionToStop(kStatements);
}

TEST_F(LogStatementTest, WithinAStatementGivesTwoWholeLines) {
    ExpectTwoWholeLinesOfNestedOnes(kStatements);
}

TEST_F(LogStatementTest, PushesNothingWhenItsArgumentThrows) {
    ExpectNothingOfOneThatThrows(kStatements);
}

int builtRecords = 0;

TEST_F(LogStatementTest, BuildsNoRecordWhenNoSinkWantsItOrTheConditionIsFalse) {
    InstalledHooks const hooks([]() -> long long { return ++builtRecords; }, nullptr);
    AddNotingSink(kInfo);
    Logger logger("a");
    TARQLOG_INFO(logger) << "x";
    ASSERT_EQ(builtRecords, 1) << "the count does not count";

    TARQLOG_DEBUG(logger) << "x";
    TARQLOG_DEBUG_P(logger, "x");
    TARQLOG_INFO_IF(logger, false) << "x";
    TARQLOG_INFO_P_IF(logger, false, "x");

    EXPECT_EQ(builtRecords, 1);
}

TEST_F(LogStatementTest, EvaluatesLoggerAndSeverityOnceAndBeforeAllElse) {
    for (bool const isWanted : {true, false}) {
        SCOPED_TRACE(isWanted);
        if (isWanted) {
            AddNotingSink(kError);
        }
        Logger logger("a");
        std::string order;
        auto const ask = [&]() -> Logger& {
            order += 'l';
            return logger;
        };
        auto const severity = [&] {
            order += 's';
            return kError;
        };
        auto const right = [&](char letter) {
            order += letter;
            return letter;
        };

        // Which of the two comes first is the compiler's.
        auto const sorted = [&] {
            std::sort(order.begin(), order.begin() + 2);
            return order;
        };
        TARQLOG_IF(ask(), severity(), right('c') == 'c') << right('x');
        EXPECT_EQ(sorted(), isWanted ? "lscx" : "ls");
        order.clear();
        TARQLOG_P_IF(ask(), severity(), right('c') == 'c', "%c", right('x'));
        EXPECT_EQ(sorted(), isWanted ? "lscx" : "ls");
        LogCore::Get()->RemoveAllSinks();
    }
}

TEST_F(LogStatementTest, AsksForASinkBeforeItEvaluatesAnything) {
    auto const before = AddNotingSink();
    Logger logger("a");
    boost::shared_ptr<NotingAppender> added;

    TARQLOG_INFO(logger) << [&] {
        added = AddNotingSink();  // after the question: the record is of another configuration
        return "x";
    }();

    EXPECT_TRUE(before->Texts().empty());
    EXPECT_TRUE(added->Texts().empty());
}

TEST_F(LogStatementTest, IsOneStatement) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    for (int const i : {0, 1}) {
        if (i == 0)
            TARQLOG_INFO(logger) << "a";
        else
            TARQLOG_INFO_P(logger, "b");
        if (i == 0)
            TARQLOG_INFO_IF(logger, i == 1) << "never";
        else
            TARQLOG_INFO_P_IF(logger, i == 1, "c");
        for (int j = 0; j < i; ++j)
            TARQLOG_INFO(logger) << "d";
    }
    // clang-format off
    TARQLOG_INFO(logger) << 1; TARQLOG_INFO(logger) << 2; [&] { TARQLOG_INFO(logger) << 3; }();
    // clang-format on

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"a", "b", "c", "d", "1", "2", "3"}));
}

TEST_F(LogStatementTest, MayStandAlone) {
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO(log); }), "");
}

TEST_F(LogStatementTest, PassesOnWhatAnAppenderThrows) {
    struct ThrowingAppender : AppenderBase {
        ThrowingAppender() : AppenderBase(false) {}
        void DoAppend(LogRecord const&) override { throw std::runtime_error("disk on fire"); }
    };
    LogCore::Get()->AddSink({FilterRule(kInfo)}, SinkOf(boost::make_shared<ThrowingAppender>()));
    Logger logger("a");

    EXPECT_THROW(TARQLOG_INFO(logger) << "x", std::runtime_error);
    EXPECT_THROW(TARQLOG_INFO(logger) << std::hex << 1, std::runtime_error);
    EXPECT_THROW(TARQLOG_INFO_P(logger, "x"), std::runtime_error);
}

TEST_F(LogStatementTest, KeepsThePlaceOfWhatCannotBeFormatted) {
    EXPECT_EQ(TextOfOne([](Logger& log) {
                  LogStatement statement(log, kInfo);
                  statement.Begin("folder/file.cpp", 42);
                  statement.Guard(
                      [](LogStatement& inner, void const*) -> bool {
                          inner.Append("half", 4);
                          throw 5;
                      },
                      nullptr);
                  statement.Push();
              }),
              "file.cpp:42 format error: unknown");
}

TEST_F(LogStatementTest, IsPushedWhileAnExceptionIsInFlight) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    struct Last {
        Logger& logger;
        ~Last() {
            TARQLOG_INFO(logger) << "unwinding " << 1;
            TARQLOG_INFO_P(logger, "unwinding %d", 2);
        }
    };
    try {
        Last const last{logger};
        throw std::runtime_error("x");
    } catch (std::runtime_error const&) {
    }

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"unwinding 1", "unwinding 2"}));
}

TEST_F(LogStatementTest, PassesOnLackOfMemory) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    std::string const large(5000, 'x');
    for (unsigned long const allowed : {0UL, 1UL}) {  // the record's first bytes, and more of them
        AllocationLimit const limit(allowed);
        EXPECT_THROW(TARQLOG_INFO(logger) << large, std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1UL);
    }
    for (unsigned long const allowed : {0UL, 1UL}) {
        AllocationLimit const limit(allowed);
        EXPECT_THROW(TARQLOG_INFO_P(logger, "%s", large.c_str()), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1UL);
    }
    EXPECT_TRUE(appender->Texts().empty());
}

TEST_F(LogStatementTest, MayEndOnAnotherThreadThanItBeganOn) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    LogStreamStatement line(logger, kInfo);
    LogStatement printed(logger, kInfo);
    ASSERT_TRUE(line.Begin() && printed.Begin());
    line << "on one, " << std::hex;
    printed.Print("on one, ");

    std::thread([&] {
        line << 255 << " on another";
        printed.Print("on another");
        line.Push();
        printed.Push();
    }).join();

    EXPECT_EQ(appender->Texts(),
              (std::vector<std::string>{"on one, ff on another", "on one, on another"}));
}

// The sanitizers do not know of stacks that are switched behind their backs.
#if !defined(TARQLOG_TEST_ASAN) && !defined(TARQLOG_TEST_TSAN)

ucontext_t outside;
ucontext_t fiber;
Logger* fiberLogger = nullptr;

int Yield(int number) {
    ::swapcontext(&fiber, &outside);
    return number;
}

void LogInFiber() {
    TARQLOG_INFO(*fiberLogger) << "stream " << Yield(1) << std::setw(4) << Yield(2);
    TARQLOG_INFO_P(*fiberLogger, "print %d", Yield(3));
}

TEST_F(LogStatementTest, OfAFiberMayEndOnAnotherThread) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    fiberLogger = &logger;
    std::vector<char> stack(262144);
    ASSERT_EQ(::getcontext(&fiber), 0);
    fiber.uc_stack.ss_sp = stack.data();
    fiber.uc_stack.ss_size = stack.size();
    fiber.uc_link = &outside;
    ::makecontext(&fiber, LogInFiber, 0);

    for (int i = 0; i < 4; ++i) {
        std::thread([] { ::swapcontext(&outside, &fiber); }).join();
    }

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"stream 1   2", "print 3"}));
}

#endif

TEST_F(LogStatementTest, WorksAfterThreadLocalDestruction) {
    auto const appender = AddNotingSink();
    static Logger logger("a");
    struct Last {
        int number = 0;
        ~Last() {
            TARQLOG_INFO(logger) << "last words " << number << ' ' << std::hex << 255;
            TARQLOG_INFO_P_IF(logger, TARQLOG_ONCE, "last words %d", number);
        }
    };
    std::thread([] {
        thread_local Last last;
        last.number = 7;
        thread_local std::string other(100, 'x');  // made later, gone earlier
        other += 'y';
    }).join();

    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"last words 7 ff", "last words 7"}));
}

/// How often `log` calls `new`.
template <class Log>
unsigned long AllocationsOf(Logger& logger, Log log) {
    unsigned long const before = AllocationCount();
    log(logger);
    return AllocationCount() - before;
}

struct SilentAppender : AppenderBase {
    SilentAppender() : AppenderBase([](std::string&, LogRecord const&) {}) {}
    void DoAppend(LogRecord const&) override {}
};

TEST_F(LogStatementTest, AllocatesNothingButTheRecordsText) {
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)},
                            SinkOf(boost::make_shared<SilentAppender>()));
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    unsigned long const ofShort = AllocationsOf(logger, [](Logger& log) {
        LogRecord record(kInfo);
        log.PushRecord(record);
    });
    ASSERT_EQ(ofShort, 1UL) << "the count does not count";
    std::string const text(2000, 'x');
    unsigned long const ofLong = AllocationsOf(logger, [&](Logger& log) {
        LogRecord record(kInfo);
        record.WriteData(text.data(), 2000);
        log.PushRecord(record);
    });

    EXPECT_EQ(AllocationsOf(logger,
                            [](Logger& log) {
                                TARQLOG_INFO(log) << "a" << 1 << 2.5 << 1e300L << &log << true;
                            }),
              ofShort);
    EXPECT_EQ(AllocationsOf(logger,
                            [](Logger& log) {
                                TARQLOG_INFO(log) << std::hex << 1 << std::setw(9) << Point{1, 2};
                            }),
              ofShort);
    EXPECT_EQ(AllocationsOf(logger, [](Logger& log) { TARQLOG_INFO_P(log, "%d %g", 1, 2.5); }),
              ofShort);
    EXPECT_EQ(AllocationsOf(logger, [&](Logger& log) { TARQLOG_INFO(log) << text; }), ofLong);
    EXPECT_EQ(AllocationsOf(logger, [](Logger& log) { TARQLOG_DEBUG_IF(log, false) << 1; }), 0UL);
    // One growth, whatever the length; the NUL behind it fits.
    EXPECT_EQ(AllocationsOf(logger, [&](Logger& log) { TARQLOG_INFO_P(log, "%s", text.c_str()); }),
              2UL);
}

int Thrown() {
    throw std::runtime_error("x");
}

TEST_F(LogStatementTest, FreesItsMemoryHoweverItEnds) {
    struct ThrowingAppender : SilentAppender {
        void DoAppend(LogRecord const&) override { throw std::runtime_error("disk on fire"); }
    };
    LogCore::Get()->AddSink({FilterRule("silent", kAllSeverities)},
                            SinkOf(boost::make_shared<SilentAppender>()));
    LogCore::Get()->AddSink({FilterRule("throwing", kAllSeverities)},
                            SinkOf(boost::make_shared<ThrowingAppender>()));
    Logger silent("silent");
    Logger throwing("throwing");
    ASSERT_TRUE(silent.HasSink(kInfo) && throwing.HasSink(kInfo));
    std::string const text(2000, 'x');
    long const before = LiveAllocations();
    {
        LogRecord const record(kInfo);
        ASSERT_EQ(LiveAllocations(), before + 1) << "the count does not count";
    }

    TARQLOG_INFO(silent) << 1 << text;
    TARQLOG_INFO(silent) << 1 << std::hex << text;
    TARQLOG_INFO_P(silent, "%d %s", 1, text.c_str());
    EXPECT_EQ(LiveAllocations(), before);
    EXPECT_THROW(TARQLOG_INFO(throwing) << 1, std::runtime_error);
    EXPECT_THROW(TARQLOG_INFO_P(throwing, "%d", 1), std::runtime_error);
    EXPECT_THROW(TARQLOG_INFO(silent) << 1 << Thrown(), std::runtime_error);
    EXPECT_THROW(TARQLOG_INFO(silent) << std::hex << 1 << Thrown(), std::runtime_error);
    EXPECT_EQ(LiveAllocations(), before);
}

#if !defined(TARQLOG_TEST_ASAN) && !defined(TARQLOG_TEST_TSAN)

// tarqlog/log.h names these two.
constexpr std::size_t kStackBytes = 3072;
constexpr std::size_t kFloatStackBytes = 12288;

TEST_F(LogStatementTest, RunsOnASmallStackAndTakesNoMoreOfItThanStated) {
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)},
                            SinkOf(boost::make_shared<SilentAppender>()));
    Logger logger("a");
    std::string const text(3000, 'x');
    ASSERT_GT(StackUsedBesideTheRoad(logger,
                                     [](Logger&) {
                                         char volatile filled[20000];
                                         for (char volatile& byte : filled) {
                                             byte = 'x';
                                         }
                                     }),
              10000U)
        << "the measure does not measure";

    EXPECT_LE(
        StackUsedBesideTheRoad(logger, [](Logger& log) { TARQLOG_INFO(log) << "a" << 1 << &log; }),
        kStackBytes);
    EXPECT_LE(StackUsedBesideTheRoad(logger,
                                     [](Logger& log) {
                                         TARQLOG_INFO(log) << std::hex << 1 << Point{1, 2};
                                     }),
              kStackBytes);
    EXPECT_LE(
        StackUsedBesideTheRoad(logger, [](Logger& log) { TARQLOG_INFO_P(log, "%d %s", 1, "x"); }),
        kStackBytes);
    EXPECT_LE(StackUsedBesideTheRoad(logger,
                                     [&](Logger& log) { TARQLOG_INFO_P(log, "%s", text.c_str()); }),
              kStackBytes);

    // Where a long double is a double it has no more than that.
    constexpr int kExponent = std::min(4000, std::numeric_limits<long double>::max_exponent10);
    long double const large = std::pow(10.0L, kExponent);
    long double const small = std::pow(10.0L, -kExponent);
    EXPECT_LE(StackUsedBesideTheRoad(
                  logger, [&](Logger& log) { TARQLOG_INFO(log) << 5e-324 << small << large; }),
              kFloatStackBytes);
    EXPECT_LE(StackUsedBesideTheRoad(
                  logger, [](Logger& log) { TARQLOG_INFO(log) << std::fixed << 1e300 << 1e300L; }),
              kFloatStackBytes);
    EXPECT_LE(
        StackUsedBesideTheRoad(
            logger, [&](Logger& log) { TARQLOG_INFO_P(log, "%g %f %Lf", 5e-324, 1e300, large); }),
        kFloatStackBytes);
}

TEST_F(LogStatementTest, ReachesTheConsoleFromASmallStack) {
    LogCore::Get()->AddDefaultSink(kAllSeverities);
    Logger logger("a");

    StackUsedBy(
        [&] {
            TARQLOG_INFO(logger) << "a" << 1 << 1.5 << 1e300L << std::hex << 255;
            TARQLOG_INFO_P(logger, "%d %g %s", 1, 1e300, "x");
        },
        kSmallStack);
}

#endif

// What the stream operators print.

TEST(LogStreamStatementTest, PrintsNumbersCharactersStringsAndAddressesAsAStreamDoes) {
    signed char const signedText[] = "signed";
    unsigned char const unsignedText[] = "unsigned";
    char buffer[] = "buffer";
    int number = 5;
    void* const none = nullptr;
    volatile int changing = 6;
    zoo::Plain const plain;
    EXPECT_SAME_BYTES(true << false << 'c' << static_cast<signed char>('s')
                           << static_cast<unsigned char>('u') << '\0');
    EXPECT_SAME_BYTES("literal" << signedText << unsignedText << buffer << std::string("string")
                                << std::string_view("view") << std::string("a\0b", 3));
    EXPECT_SAME_BYTES(&number << ' ' << none << ' ' << static_cast<void const*>(&number) << ' '
                              << &plain << ' ' << &none << ' ' << changing);
    EXPECT_SAME_BYTES(nullptr);
    EXPECT_SAME_BYTES(zoo::kCat << zoo::kQ << zoo::kMinusOne << zoo::kNamed);
    EXPECT_SAME_BYTES(zoo::kHuge << ' ' << zoo::kMost);
}

TEST(LogStreamStatementTest, PrintsAnyNumberAsAStreamDoes) {
    std::mt19937_64 random(20240229);
    auto const expectSame = [](auto value) {
        std::ostringstream expected;
        expected << value;
        std::string const text = TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << value << '.'; });
        EXPECT_EQ(text, expected.str() + '.');
    };
    auto const expectSameOfEachInteger = [&](std::uint64_t bits) {
        expectSame(static_cast<short>(bits));
        expectSame(static_cast<unsigned short>(bits));
        expectSame(static_cast<int>(bits));
        expectSame(static_cast<unsigned int>(bits));
        expectSame(static_cast<long>(bits));
        expectSame(static_cast<unsigned long>(bits));
        expectSame(static_cast<long long>(bits));
        expectSame(static_cast<unsigned long long>(bits));
        void const* address;
        std::memcpy(&address, &bits, sizeof address);
        expectSame(address);
    };
    auto const expectSameOfEachFloat = [&](long double value) {
        expectSame(static_cast<float>(value));
        expectSame(static_cast<double>(value));
        expectSame(value);
        expectSame(-value);
    };
    for (std::uint64_t const bits : {0ULL, 1ULL, ~0ULL, 1ULL << 63, 1ULL << 31, 1ULL << 15}) {
        expectSameOfEachInteger(bits);
        expectSameOfEachInteger(bits - 1);
    }
    using Limits = std::numeric_limits<long double>;
    for (long double const value :
         {0.0L, -0.0L, 0.5L, 1.0L, 999999.5L, 999999.4L, 1e6L, 1e5L, 0.0001L, 0.00001L, 0.1L,
          123456.5L, Limits::infinity(), Limits::quiet_NaN()}) {
        expectSameOfEachFloat(value);
    }
    expectSame(Limits::max());
    expectSame(Limits::min());
    expectSame(Limits::denorm_min());
    expectSame(std::numeric_limits<double>::denorm_min());
    for (int i = 0; i < 500; ++i) {
        std::uint64_t const bits = random();
        expectSameOfEachInteger(bits >> (bits % 64));
        double value;
        static_assert(sizeof value == sizeof bits, "any double");
        std::memcpy(&value, &bits, sizeof value);
        expectSame(value);
        expectSame(static_cast<long double>(value) * Limits::epsilon());
        expectSame(static_cast<double>(bits % 2000000) / 1000);
    }
}

TEST(LogStreamStatementTest, TextOfAnyLengthIsWholeAndInOrder) {
    for (std::size_t length = 0; length < 900; ++length) {
        SCOPED_TRACE(length);
        std::string const text = Letters(length);
        EXPECT_SAME_BYTES(1 << text << 2 << text.c_str() << -3 << "literal" << 4.5 << text << 'c');
        EXPECT_SAME_BYTES("a" << text << std::hex << 255 << text);
    }
}

#if UINTPTR_MAX > UINT_MAX  // otherwise no text is so long
TEST(LogStreamStatementTest, TextLongerThanAnIntCountsIsHandedOnInPieces) {
    constexpr std::size_t kPiece = INT_MAX;
    void* const text =
        ::mmap(nullptr, kPiece + 10, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(text, MAP_FAILED);
    AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    std::string_view const tooLong(static_cast<char const*>(text), kPiece + 10);

    AllocationLimit const limit(1);  // the record's first bytes, but no room for the piece
    EXPECT_THROW(TARQLOG_INFO(logger) << tooLong, std::bad_alloc);
    EXPECT_EQ(limit.Refused(), 1UL);
    EXPECT_EQ(LastAllocationSize(), kPiece + 1);
    ::munmap(text, kPiece + 10);
}
#endif

TEST(LogStreamStatementTest, LocaleIsTheOneThatTheFirstNumberFinds) {
    std::locale const before = std::locale();
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    auto const change = [&] {
        std::locale::global(std::locale(before, new Comma));
        return 2.5;
    };
    std::string const text =
        TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << 1.5 << ' ' << change(); });
    std::locale::global(before);
    EXPECT_EQ(text, "1.5 2.5");
}

TEST(LogStreamStatementTest, PrintsTypesOfAUsersOwn) {
    zoo::Counter counter;
    zoo::Node const node;
    EXPECT_SAME_BYTES("at " << Point{1, 2} << ' ' << std::vector<int>{3, 4} << " and on " << 5);
    EXPECT_SAME_BYTES(zoo::Scoped::kOne << &node << zoo::Elsewhere::kTwo << zoo::kNamed);
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << counter << counter; }), "12");
}

void SomeFunction() {}

TEST(LogStreamStatementTest, PrintsTheOddTypesAsAStreamDoes) {
    volatile int changing = 0;
    volatile int* const address = &changing;
    std::atomic<int> const atomic(8);
    std::vector<bool> const bits = {true, false};
    EXPECT_SAME_BYTES(address << L'x' << atomic << bits[0]
                              << std::make_error_code(std::errc::io_error));
    void (*const function)() = SomeFunction;
    EXPECT_SAME_BYTES(function);
    int Point::*const member = &Point::x;
    EXPECT_SAME_BYTES(member);
}

struct Constants {
    static const int kInteger = 5;  // nowhere defined
};

TEST(LogStreamStatementTest, TakesConstantsAndBitFields) {
    struct {
        unsigned int low : 3;
        zoo::Kind kind : 4;
    } const bits = {5, zoo::kCat};
    EXPECT_SAME_BYTES(Constants::kInteger << bits.low << bits.kind);
}

TEST(LogStreamStatementTest, ManipulatorsHoldWithinTheStatementAlone) {
    EXPECT_SAME_BYTES(1 << std::hex << 255 << ' ' << std::setw(5) << "a" << std::setfill('*')
                        << std::setw(4) << 'c' << std::showbase << 16 << std::dec
                        << std::setprecision(3) << 1.23456 << std::boolalpha << true
                        << std::uppercase << std::string("s") << -1 << std::setw(9)
                        << std::string_view("v"));
    EXPECT_SAME_BYTES("a" << std::endl << "b" << std::flush << std::ends << std::fixed << 1.5);
    EXPECT_SAME_BYTES(255 << ' ' << 1.5 << ' ' << true);
}

std::ios& FillWithStars(std::ios& stream) {
    stream.fill('*');
    return stream;
}

TEST(LogStreamStatementTest, TakesManipulatorsOfWhateverBaseOfAStream) {
    EXPECT_SAME_BYTES("a" << FillWithStars << std::setw(3) << 1 << std::hex << 255 << std::ends);
}

#if defined(__GLIBCXX__)  // the streams of others are counted and used otherwise

TEST(LogStreamStatementTest, MakesAStreamOnlyForWhatNeedsOne) {
    AddNotingSink();
    Logger logger("a");
    long const atFirst = streamCount.Calls();
    { std::ostringstream const counted; }
    long const before = streamCount.Calls();
    ASSERT_GT(before, atFirst) << "the count does not count";

    TARQLOG_INFO(logger) << "a" << 'b' << 1 << 2UL << 3.5 << 4.5L << true << &logger << nullptr
                         << std::string("c") << std::string_view("d") << zoo::kCat;
    EXPECT_EQ(streamCount.Calls(), before);

    TARQLOG_INFO(logger) << 1 << std::hex << 2 << Point{3, 4} << std::setw(5) << 6;
    EXPECT_EQ(streamCount.Calls(), before + 1);
}

#endif

TEST(LogStreamStatementTest, GlobalLocaleOtherThanTheClassicOneIsHeldTo) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
        std::string do_truename() const override { return "wahr"; }
    };
    std::locale const before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    EXPECT_SAME_BYTES("a" << 1234567 << ' ' << 1234.5 << ' ' << 2345.5L << ' ' << 12345UL << true
                          << std::boolalpha << true);
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO(log) << "n " << 1234567; }), "n 1.234.567");
    std::locale::global(before);
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO(log) << 1234567; }), "1234567");
}

TEST(LogStreamStatementTest, NullForAStringWritesNothingAndStopsNothing) {
    const char* const none = nullptr;
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << "a" << none << 1; }), "a1");
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO(log) << std::hex << none << 255; }), "ff");
}

TEST(LogStreamStatementTest, EmptyViewOfNothingWritesNothing) {
    EXPECT_SAME_BYTES('a' << std::string_view() << 'b');
}

TEST(LogStreamStatementTest, EmptyTextIsFilledUpToItsWidth) {
    EXPECT_SAME_BYTES(std::setw(5) << "" << '|' << std::setw(3) << std::string_view() << '|');
}

TEST(LogStreamStatementTest, FailedStreamSwallowsWhatFollows) {
    struct Failing {
        static std::ostream& Fail(std::ostream& stream) {
            stream.setstate(std::ios::failbit);
            return stream;
        }
    };
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO(log) << "a" << Failing::Fail << "b" << 1; }),
              "a");
}

TEST(LogStreamStatementTest, OperatorThatLogsGivesTwoWholeLines) {
    struct Chatty {
        Logger& logger;
    };
    struct Printer {
        static std::ostream& Print(std::ostream& stream) { return stream << 255; }
    };
    EXPECT_EQ(TextOfOne([](Logger& log) {
                  TARQLOG_INFO(log) << std::hex << 255 << [&] {
                      TARQLOG_INFO(log) << "inner " << Printer::Print;
                      return ' ';
                  }() << 255;
              }),
              "[inner 255][ff ff]");
}

// printf style.

TEST(LogPrintTest, TextOfAnyLengthIsWhole) {
    for (std::size_t const length :
         {0UL, 1UL, 254UL, 255UL, 256UL, 510UL, 511UL, 512UL, 513UL, 1000000UL}) {
        SCOPED_TRACE(length);
        std::string const text(length, 'x');
        EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_P(log, "%s", text.c_str()); }), text);
    }
}

TEST(LogPrintTest, AppendsToWhatIsThere) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    LogStatement statement(logger, kInfo);
    statement.Begin("some/file.cpp", 7);
    std::string const text(600, 'x');
    statement.Print("%s", text.c_str());
    statement.Print("%d", 1);
    statement.Push();
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"file.cpp:7 " + text + "1"});
}

TEST(LogPrintTest, FormatsAsPrintfDoes) {
    EXPECT_EQ(TextOfOne([](Logger& log) {
                  TARQLOG_INFO_P(log, "%5d|%-5s|%05.1f|%c|%%|%#x", 42, "ab", 2.25, 'z', 255);
              }),
              "   42|ab   |002.2|z|%|0xff");
}

TEST(LogPrintTest, NoFormatIsNoText) {
    const char* const none = nullptr;
    auto const appender = AddNotingSink();
    Logger logger("a");
    LogStatement statement(logger, kInfo);
    statement.Begin();
    statement.Print(none);
    statement.Print("%s", "x");
    statement.Push();
    EXPECT_EQ(appender->Texts(), std::vector<std::string>{"x"});
}

TEST(LogPrintTest, WhatCannotBeFormattedIsTold) {
    wchar_t const none[] = {static_cast<wchar_t>(0x110000), 0};  // beyond all characters
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_P(log, "name %ls", none); }),
              "format error: name %ls");
}

TEST(LogPrintTest, FailureOfTheSecondPassIsToldToo) {
    std::string const text(600, 'x');
    for (long const call : {1L, 2L}) {
        SCOPED_TRACE(call);
        auto const appender = AddNotingSink();
        Logger logger("a");
        ASSERT_TRUE(logger.HasSink(kInfo));
        long const hits = printFault.Hits();
        printAnswer = -1;
        printFault.StrikeAt(call);
        TARQLOG_INFO_P(logger, "%s", text.c_str());
        printFault.Disarm();
        EXPECT_EQ(printFault.Hits(), hits + 1) << "the fault did not strike";
        EXPECT_EQ(appender->Texts(), std::vector<std::string>{"format error: %s"});
        LogCore::Get()->RemoveAllSinks();
    }
}

TEST(LogPrintTest, TextThatGrowsBetweenThePassesIsCut) {
    std::string const text(600, 'x');
    for (int const second : {599, 601, 100000}) {
        SCOPED_TRACE(second);
        auto const appender = AddNotingSink();
        Logger logger("a");
        ASSERT_TRUE(logger.HasSink(kInfo));
        printAnswer = second;
        printFault.StrikeAt(2);
        TARQLOG_INFO_P(logger, "%s", text.c_str());
        printFault.Disarm();
        EXPECT_EQ(appender->Texts(),
                  std::vector<std::string>{text.substr(0, static_cast<std::size_t>(second))});
        LogCore::Get()->RemoveAllSinks();
    }
}

// Conditions.

/// What `condition` answers in `calls` calls, as a text of 1 and 0.
template <class Condition>
std::string Answers(int calls, Condition condition) {
    std::string answers;
    for (int i = 0; i < calls; ++i) {
        answers += condition() ? '1' : '0';
    }
    return answers;
}

TEST(LogLimitTest, EveryNIsTrueFromTheFirstTimeOn) {
    EXPECT_EQ(Answers(7, [] { return TARQLOG_EVERY_N(3); }), "1001001");
    EXPECT_EQ(Answers(3, [] { return TARQLOG_EVERY_N(1); }), "111");
}

TEST(LogLimitTest, FirstNAndOnceAreTrueAtFirst) {
    EXPECT_EQ(Answers(5, [] { return TARQLOG_FIRST_N(2); }), "11000");
    EXPECT_EQ(Answers(3, [] { return TARQLOG_ONCE; }), "100");
}

TEST(LogLimitTest, NoneOfNoneIsNever) {
    EXPECT_EQ(Answers(3, [] { return TARQLOG_EVERY_N(0); }), "000");
    EXPECT_EQ(Answers(3, [] { return TARQLOG_EVERY_N(-2); }), "000");
    EXPECT_EQ(Answers(3, [] { return TARQLOG_FIRST_N(0U); }), "000");
    EXPECT_EQ(Answers(3, [] { return TARQLOG_FIRST_N(-1L); }), "000");
}

TEST(LogLimitTest, EachPlaceCountsByItself) {
    // clang-format off
    EXPECT_EQ(Answers(4, [] { return TARQLOG_EVERY_N(2) && TARQLOG_EVERY_N(2); }), "1000");
    // clang-format on
    EXPECT_EQ(Answers(4, [] { return TARQLOG_FIRST_N(1) || TARQLOG_EVERY_N(2); }), "1101");
    EXPECT_EQ(Answers(2, [] { return TARQLOG_FIRST_N(1) && TARQLOG_FIRST_N(1); }), "10");
    EXPECT_EQ(Answers(2, [] { return TARQLOG_ONCE && TARQLOG_ONCE; }), "10");
    EXPECT_EQ(Answers(2, [] { return TARQLOG_EVERY_T(3600) && TARQLOG_EVERY_T(3600); }), "10");
}

TEST(LogLimitTest, UsersConditionsAndTheseTakeTurns) {
    int i = 0;
    EXPECT_EQ(Answers(8, [&] { return ++i % 2 == 0 && TARQLOG_EVERY_N(2); }), "01000100");
}

template <class Type>
bool OnceFor() {
    return TARQLOG_ONCE;
}

TEST(LogLimitTest, EachInstantiationOfATemplateCountsByItself) {
    EXPECT_TRUE(OnceFor<int>());
    EXPECT_FALSE(OnceFor<int>());
    EXPECT_TRUE(OnceFor<char>());
}

TEST(LogLimitTest, NothingIsCountedWhileNoSinkWantsTheRecord) {
    Logger logger("a");
    auto const log = [&] { TARQLOG_INFO_IF(logger, TARQLOG_FIRST_N(2)) << "x"; };
    log();
    log();
    auto const appender = AddNotingSink();
    log();
    log();
    log();
    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"x", "x"}));
}

std::atomic<long long> fakeTime{0};

/// Installs a clock that stands still at fakeTime.
class FakeClock {
public:
    FakeClock() : before_(SetGetMonotonicTimeFunc([] { return fakeTime.load(); })) {}
    ~FakeClock() { SetGetMonotonicTimeFunc(before_); }

    FakeClock(FakeClock const&) = delete;
    FakeClock& operator=(FakeClock const&) = delete;

private:
    long long (*const before_)();
};

/// What EveryT(seconds) answers at each of `times`.
std::string AnswersAt(std::vector<long long> const& times, double seconds) {
    FakeClock const clock;
    LogLimit limit;
    std::string answers;
    for (long long const time : times) {
        fakeTime = time;
        answers += limit.EveryT(seconds) ? '1' : '0';
    }
    return answers;
}

TEST(LogLimitTest, EveryTIsTrueWhenTheTimeHasPassed) {
    constexpr long long kSecond = 1000000000;
    EXPECT_EQ(
        AnswersAt({5, 5, kSecond + 4, kSecond + 5, kSecond + 6, 9 * kSecond, 10 * kSecond - 1}, 1),
        "1001010");
    EXPECT_EQ(AnswersAt({0, kSecond / 2 - 1, kSecond / 2}, 0.5), "101");
    EXPECT_EQ(AnswersAt({-kSecond, -1, 0}, 1), "101");
}

TEST(LogLimitTest, EveryTOfNoTimeIsAlwaysAndOfAllTimeOnce) {
    constexpr long long kEnd = std::numeric_limits<long long>::max();
    double const none = std::numeric_limits<double>::quiet_NaN();
    double const all = std::numeric_limits<double>::infinity();
    for (double const seconds : {0.0, -1.0, none}) {
        EXPECT_EQ(AnswersAt({7, 7, 6}, seconds), "111");
    }
    double const oneMore = 9223372036.854776;  // nanoseconds than there are
    for (double const seconds : {all, 1e300, 9.3e9, oneMore}) {
        EXPECT_EQ(AnswersAt({7, 8, kEnd - 1}, seconds), "100") << seconds;
    }
    EXPECT_EQ(AnswersAt({kEnd - 10, kEnd - 9}, 1), "10");
}

TEST(LogLimitTest, ClockIsReplacedAndPutBack) {
    EXPECT_EQ(SetGetMonotonicTimeFunc(nullptr), GetMonotonicTimeInNs);
    auto const other = []() -> long long { return 5; };
    EXPECT_EQ(SetGetMonotonicTimeFunc(other), GetMonotonicTimeInNs);
    EXPECT_EQ(SetGetMonotonicTimeFunc(nullptr), static_cast<long long (*)()>(other));
    SetGetMonotonicTimeFunc(GetMonotonicTimeInNs);
    long long const before = GetMonotonicTimeInNs();
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    EXPECT_LE(before, now.tv_sec * 1000000000LL + now.tv_nsec);
    EXPECT_GE(GetMonotonicTimeInNs(), now.tv_sec * 1000000000LL + now.tv_nsec);
}

constexpr int kThreads = 8;
constexpr int kCallsEach = 125000;

/// Calls `body` a million times, on eight threads.
template <class Body>
void OnEightThreads(Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < kCallsEach; ++call) {
                body();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(LogLimitTest, ExactNumberPassesOnEightThreads) {
    std::atomic<int> every{0};
    std::atomic<int> first{0};
    std::atomic<int> once{0};
    OnEightThreads([&] {
        every += TARQLOG_EVERY_N(100) ? 1 : 0;
        first += TARQLOG_FIRST_N(10) ? 1 : 0;
        once += TARQLOG_ONCE ? 1 : 0;
    });
    EXPECT_EQ(every, 10000);
    EXPECT_EQ(first, 10);
    EXPECT_EQ(once, 1);
}

TEST(LogLimitTest, OnePassesInEachPeriodOnEightThreads) {
    FakeClock const clock;
    LogLimit limit;
    for (int period = 0; period < 20; ++period) {
        SCOPED_TRACE(period);
        fakeTime = period * 1000000000LL;
        std::atomic<int> passed{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                for (int call = 0; call < 1000; ++call) {
                    passed += limit.EveryT(1) ? 1 : 0;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(passed, 1);
    }
    EXPECT_EQ(limit.Skipped(), 20U * (8000 - 1));
}

std::atomic<int> arrivals{0};

TEST(LogLimitTest, OnePassesOfTwoThatReadTheClockAtTheSameTime) {
    constexpr int kRounds = 20000;
    // Both wait in the clock for each other, and go on to the comparison together.
    auto const clock = []() -> long long {
        int const round = arrivals++ / 2;
        while (arrivals < 2 * round + 2) {
            std::this_thread::yield();
        }
        return round * 1000000000LL;
    };
    auto const before = SetGetMonotonicTimeFunc(clock);
    LogLimit limit;
    std::atomic<int> passed{0};
    auto const ask = [&] {
        for (int round = 0; round < kRounds; ++round) {
            passed += limit.EveryT(1) ? 1 : 0;
        }
    };
    std::thread other(ask);
    ask();
    other.join();
    SetGetMonotonicTimeFunc(before);

    EXPECT_EQ(passed, kRounds);
    EXPECT_EQ(limit.Skipped(), static_cast<unsigned long long>(kRounds));
}

TEST(LogLimitTest, WhatIsSkippedAddsUpOnEightThreads) {
    LogLimit limit;
    std::atomic<unsigned long long> passed{0};
    std::atomic<unsigned long long> told{0};
    OnEightThreads([&] {
        if (limit.EveryN(100)) {
            ++passed;
            told += limit.TakeSkipped();
        }
    });
    EXPECT_EQ(passed, 10000U);
    EXPECT_EQ(passed + told + limit.Skipped(), 1000000U);
    EXPECT_GT(told, 900000U);
}

TEST(LogLimitTest, SkippedOnesAreToldOnce) {
    LogLimit limit;
    std::string told;
    for (int i = 0; i < 10; ++i) {
        if (limit.EveryN(4)) {
            told += std::to_string(limit.TakeSkipped()) + ' ';
        }
    }
    EXPECT_EQ(told, "0 3 3 ");
    EXPECT_EQ(limit.Skipped(), 1U);
}

// What is defined before the include.

TEST(LogMacrosTest, LocationBeginsTheText) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    LogWithLocation(logger);
    EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"file.cpp:42 x", "file.cpp:43 x",
                                                           "file.cpp:44 x", "file.cpp:45 x"}));
}

int evaluations = 0;

TEST(LogMacrosTest, StatementsBelowTheLowestSeverityAreNotEvaluated) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    LogEachSeverity(logger, [] { return ++evaluations; });
    EXPECT_EQ(appender->Texts().size(), 3U);
    EXPECT_EQ(evaluations, 3);
}

TEST(LogMacrosTest, SeverityOfRunTimeIsHeldToTheLowestToo) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    evaluations = 0;
    for (Severity const severity : {kTrace, kDebug, kInfo, kWarning, kError, kFatal}) {
        LogAtRunTime(logger, severity, [] { return ++evaluations; });
    }
    EXPECT_EQ(appender->Texts().size(), 6U);
    EXPECT_EQ(evaluations, 6);
}

std::string const kRemoved[] = {
    "TARQLOG_DEBUG(log) << \"secret\" << x << Own();",
    "TARQLOG_DEBUG_P(log, \"secret %d\", x);",
    "TARQLOG_DEBUG_IF(log, TARQLOG_EVERY_N(2)) << \"secret\" << [&] { return x; }();",
    "TARQLOG_DEBUG_P_IF(log, TARQLOG_EVERY_T(2), \"secret\");",
    "TARQLOG(log, kInfo) << \"secret\";",
    "TARQLOG_P(log, tarqlog::kTrace, \"secret\");",
};

/// The symbols of the object file that `statement` alone makes, and the file's bytes.
std::string ObjectOf(std::string const& statement, std::string const& minimum,
                     std::string const& level) {
    TemporaryDirectory const directory;
    std::string const object = directory.Path() + "/object.o";
    std::string const code =
        "#define TARQLOG_LOCATION\n#define TARQLOG_MIN_SEVERITY " + minimum +
        "\n#include <ostream>\n#include <tarqlog/log.h>\nusing namespace tarqlog;\nstruct Own {};\n"
        "inline std::ostream& operator<<(std::ostream& stream, Own) { return stream << \"secret\"; "
        "}\n"
        "extern \"C\" void Entry(Logger& log, int x) { (void)log; (void)x; " +
        statement + " }\n";
    ChildResult const compiled =
        RunProgram(TARQLOG_TEST_COMPILER,
                   {"-std=c++11", level, "-Wall", "-Wextra", "-Wshadow", "-Werror", "-c", "-o",
                    object, "-I" TARQLOG_TEST_INCLUDE_DIR, "-x", "c++", "-"},
                   code);
    EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    return ReadWholeFile(object);
}

class RemovedStatementTest : public testing::TestWithParam<const char*> {};

TEST_P(RemovedStatementTest, LeavesNothingInTheObjectFile) {
    std::string all;
    for (std::string const& statement : kRemoved) {
        all += statement;
    }
    std::string const kept = ObjectOf(all, "1 * 0", GetParam());
    std::string const empty = ObjectOf("", "kWarning", GetParam());
    for (const char* const minimum : {"8", "kWarning", "tarqlog::kWarning"}) {
        SCOPED_TRACE(minimum);
        std::string const removed = ObjectOf(all, minimum, GetParam());
        for (const char* const trace : {"secret", "HasSink", "LogLimit", "LogS"}) {
            ASSERT_NE(kept.find(trace), std::string::npos) << "the search does not find " << trace;
            EXPECT_EQ(removed.find(trace), std::string::npos) << trace;
        }
        // GCC reserves stack for variables even of what it drops, where it does not optimise: the
        // function may begin and end otherwise, which takes up to 16 bytes.
        EXPECT_NEAR(static_cast<double>(removed.size()), static_cast<double>(empty.size()), 16);
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, RemovedStatementTest, testing::Values("-O0", "-O2"));

TEST(LogMacrosTest, RemovedStatementMustCompile) {
    std::string const code =
        "#define TARQLOG_MIN_SEVERITY 8\n#include <tarqlog/log.h>\n"
        "void Log(tarqlog::Logger& log) { TARQLOG_DEBUG(log) << ";
    EXPECT_EQ(Compile(code + "1; }").exitStatus, 0);
    EXPECT_NE(Compile(code + "nowhere; }").exitStatus, 0);
}

// What else the compiler says.

/// Statements in each position, nested and within each other, to be compiled with all warnings.
char const kEverywhere[] = R"(
#include <tarqlog/log.h>
void Log(tarqlog::Logger& log, tarqlog::Severity severity, bool is, const char* text) {
    if (is) TARQLOG_INFO(log) << text; else TARQLOG_DEBUG_P(log, "%s", text);
    if (is) TARQLOG_INFO_IF(log, !is) << 1;
    else if (!is) TARQLOG_P_IF(log, severity, is, "%d", 1);
    else TARQLOG(log, severity);
    if (is) if (text) TARQLOG_INFO(log) << 1; else TARQLOG_INFO(log) << 2; else {}
    for (;;) TARQLOG_ERROR(log) << 1;
    do TARQLOG_ERROR(log) << 1; while (is);
    switch (severity) { case tarqlog::kInfo: TARQLOG_INFO(log) << 1; break; default: TARQLOG_INFO(log); }
    TARQLOG_INFO(log) << 1; TARQLOG_INFO(log) << 2; TARQLOG_INFO_P(log, "x"); TARQLOG_INFO_P(log, "y");
    TARQLOG_INFO(log) << [&] { TARQLOG_INFO(log) << [&] { TARQLOG_INFO_P(log, "z"); return 1; }(); return 2; }();
    TARQLOG_INFO_P(log, "%d", [&] { TARQLOG_INFO_P(log, "%d", [&] { TARQLOG_INFO(log); return 1; }()); return 2; }());
    TARQLOG_INFO_IF(log, TARQLOG_EVERY_N(3) && (is || TARQLOG_EVERY_T(0.5)) && TARQLOG_FIRST_N(3L)) << 1;
    TARQLOG_IF(log, severity, [&] { return TARQLOG_ONCE; }()) << tarqlog::kInfo << severity << nullptr;
    auto lambda = [&log] { TARQLOG_FATAL(log) << "x"; };
    lambda();
}
template <class Type> void LogAny(tarqlog::Logger& log, Type value) {
    TARQLOG_WARNING(log) << value; TARQLOG_WARNING_IF(log, TARQLOG_ONCE) << value;
}
template void LogAny(tarqlog::Logger&, int);
inline void LogInline(tarqlog::Logger& log) { TARQLOG_WARNING_IF(log, TARQLOG_ONCE) << 1.5f << 'c'; }
#if __cplusplus >= 201402L
auto const generic = [](auto& log, auto value) { TARQLOG_WARNING_IF(log, TARQLOG_ONCE) << value; };
void LogGeneric(tarqlog::Logger& log) { generic(log, 1); generic(log, "x"); }
#endif
)";

std::vector<std::string> With(std::vector<std::string> options) {
    options.insert(
        options.end(),
        {"-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wsign-conversion", "-Wshadow",
         "-Wparentheses", "-Wdangling-else", "-Wold-style-cast", "-Wcast-qual", "-Werror"});
    return options;
}

/// As Compile(), in `standard`.
ChildResult CompileIn(std::string const& standard, std::string const& code,
                      std::vector<std::string> options) {
    options.insert(options.end(), {"-std=c++" + standard, "-fsyntax-only",
                                   "-I" TARQLOG_TEST_INCLUDE_DIR, "-x", "c++", "-"});
    return RunProgram(TARQLOG_TEST_COMPILER, options, code);
}

class StandardTest : public testing::TestWithParam<const char*> {};

TEST_P(StandardTest, CompilesEverywhereWithoutAWarning) {
    for (std::vector<std::string> const& options : std::vector<std::vector<std::string>>{
             {},
             {"-DTARQLOG_LOCATION", "-DTARQLOG_MIN_SEVERITY=kInfo"},
             {"-fno-rtti", "-fno-exceptions", "-DTARQLOG_MIN_SEVERITY=0"}}) {
        ChildResult const compiled = CompileIn(GetParam(), kEverywhere, With(options));
        EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    }
    std::string const doubtful =
        "int F(int x) { if (x) if (x > 1) return 1; else return 2; return 3; }";
    EXPECT_NE(CompileIn(GetParam(), doubtful, With({})).exitStatus, 0) << "nobody warns";
}

INSTANTIATE_TEST_SUITE_P(Standards, StandardTest, testing::Values("11", "14", "17", "20", "2b"));

TEST(LogMacrosTest, NullThatTheCompilerKnowsOfIsNoWarning) {
    ChildResult const result =
        RunProgram(TARQLOG_TEST_COMPILER,
                   {"-std=c++11", "-O2", "-Wall", "-Wextra", "-Werror", "-c", "-o", "/dev/null",
                    "-I" TARQLOG_TEST_INCLUDE_DIR, "-x", "c++", "-"},
                   "#include <tarqlog/log.h>\n"
                   "const char* const kNone = nullptr;\n"
                   "void Log(tarqlog::Logger& log, const char* text) {\n"
                   "    if (text == nullptr) { TARQLOG_INFO(log) << text << kNone << \"x\"; }\n"
                   "}\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(LogMacrosTest, CompilerChecksThePrintfFormat) {
    std::string const code =
        "#include <tarqlog/log.h>\nvoid Log(tarqlog::Logger& log) { TARQLOG_INFO_P(log, \"%s\", ";
    ChildResult const right = Compile(code + "\"text\"); }", {"-Wformat", "-Werror"});
    EXPECT_EQ(right.exitStatus, 0) << right.errors;
    ChildResult const wrong = Compile(code + "1); }", {"-Wformat", "-Werror"});
    EXPECT_NE(wrong.exitStatus, 0);
    EXPECT_NE(wrong.errors.find("format"), std::string::npos) << wrong.errors;
}

TEST(LogMacrosTest, TakeNumbersAndTextsWithoutTheHeaderOfStreams) {
    ChildResult const compiled = Compile(
        "#include <tarqlog/log.h>\nvoid Log(tarqlog::Logger& log, int* address) {"
        "TARQLOG_INFO(log) << 1 << 1.5 << 'c' << \"x\" << std::string() << address "
        "<< &log << true << tarqlog::kInfo; }");
    EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
}

TEST(LogMacrosTest, WhatAStreamRefusesIsRefused) {
    std::string const code =
        "#include <ostream>\n#include <tarqlog/log.h>\nstruct Mute {}; enum class Silent { kOne "
        "};\n"
        "void Log(tarqlog::Logger& log) { TARQLOG_INFO(log) << ";
    EXPECT_NE(CompileIn("17", code + "Mute(); }", {}).exitStatus, 0);
    EXPECT_NE(CompileIn("17", code + "Silent::kOne; }", {}).exitStatus, 0);
    EXPECT_EQ(CompileIn("17", code + "L'x'; }", {}).exitStatus, 0);
    EXPECT_NE(CompileIn("20", code + "L'x'; }", {}).exitStatus, 0);
}

TEST(LogMacrosTest, StandBesideOthersInAnyOrder) {
    std::string const ours = "#include <tarqlog/log.h>\n";
    std::string const system = "#include <syslog.h>\n";
    std::string const glog = "#include <glog/logging.h>\n";
    std::string const names =
        "#undef ERROR\n#define ERROR 0\n#undef INFO\n#define INFO 1\n#undef WARNING\n"
        "#define WARNING 2\n#define DEBUG 3\n#define TRACE 4\n#undef FATAL\n#define FATAL 5\n"
        "#define LOG_TRACE 6\n";
    std::string const use =
        "void Log(tarqlog::Logger& log) { TARQLOG_TRACE(log) << 1; TARQLOG_DEBUG_P(log, \"x\");"
        "TARQLOG_INFO_IF(log, TARQLOG_ONCE) << 1; TARQLOG_WARNING_P_IF(log, true, \"x\");"
        "TARQLOG_ERROR(log) << LOG_INFO << LOG_ERR; TARQLOG_FATAL(log) << 1; }\n";
    // From Debian's folder behind all others, for a compiler of another machine as well.
    std::vector<std::string> const options = {"-Wall", "-Werror", "-idirafter", "/usr/include"};
    for (std::string const& code :
         {ours + system + glog + names, glog + system + ours + names, system + names + ours,
          names + ours + system, names + system + ours + ours}) {
        SCOPED_TRACE(code);
        ChildResult const compiled = CompileIn("17", code + use, options);
        EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    }
    ChildResult const both = CompileIn("17",
                                       glog + ours +
                                           "void Log(tarqlog::Logger& log) { LOG(INFO) << 1; "
                                           "TARQLOG_INFO(log) << 1; LOG_IF(ERROR, true) << 1; }",
                                       options);
    EXPECT_EQ(both.exitStatus, 0) << both.errors;
}

TEST(LogMacrosTest, CompileInAUnityBuildAndWithAPrecompiledHeader) {
    TemporaryDirectory const directory;
    std::string const one = std::string(kEverywhere);
    std::string const two = "namespace two {\n" + one + "}\n";
    ChildResult const unity = CompileIn("17", one + two, With({}));
    EXPECT_EQ(unity.exitStatus, 0) << unity.errors;

    std::string const header = directory.Path() + "/all.h";
    std::ofstream(header) << "#include <tarqlog/log.h>\n";
    ChildResult const made =
        RunProgram(TARQLOG_TEST_COMPILER, {"-std=c++17", "-I" TARQLOG_TEST_INCLUDE_DIR, "-x",
                                           "c++-header", header, "-o", header + ".gch"});
    ASSERT_EQ(made.exitStatus, 0) << made.errors;
    // The header itself would not be found.
    std::string const include = "#include <tarqlog/log.h>\n";
    std::string const rest = std::string(one).erase(one.find(include), include.size());
    ChildResult const used =
        RunProgram(TARQLOG_TEST_COMPILER,
                   {"-std=c++17", "-fsyntax-only", "-include", header, "-x", "c++", "-"}, rest);
    EXPECT_EQ(used.exitStatus, 0) << used.errors;
}

}  // namespace
}  // namespace tarqlog
