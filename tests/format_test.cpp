#include "tarqlog/format.h"

#include <pthread.h>

#include <climits>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/compiler.h"
#include "support/painted_stack.h"
#include "support/statements.h"
#include "support/temporary_directory.h"

// Types of a user's own.

struct Point {
    int x;
    int y;
};

/// Its formatter does what it is told to.
struct Willing {
    void (*act)();
};

/// Changes as it is formatted.
struct Ticket {
    int number;
};

// NOLINTBEGIN(readability-identifier-naming): {fmt} names them

template <>
struct fmt::formatter<Point> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <class Context>
    auto format(Point const& point, Context& context) const {
        return fmt::format_to(context.out(), "{}/{}", point.x, point.y);
    }
};

template <>
struct fmt::formatter<Ticket> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <class Context>
    auto format(Ticket& ticket, Context& context) const {
        return fmt::format_to(context.out(), "#{}", ticket.number++);
    }
};

template <>
struct fmt::formatter<Willing> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <class Context>
    auto format(Willing const& willing, Context& context) const {
        willing.act();
        return fmt::format_to(context.out(), "done");
    }
};

// NOLINTEND(readability-identifier-naming)

namespace tarqlog {
namespace {

std::vector<Statement> const kStatements = {
#define TARQLOG_TEST_SEVERITY(name, severity)                                   \
    TARQLOG_TEST_STATEMENT("TARQLOG_" #name "_F", severity, false,              \
                           TARQLOG_##name##_F(log, "n={}", source.argument())), \
        TARQLOG_TEST_STATEMENT(                                                 \
            "TARQLOG_" #name "_F_IF", severity, true,                           \
            TARQLOG_##name##_F_IF(log, source.condition(), "n={}", source.argument()))
    TARQLOG_TEST_SEVERITY(TRACE, kTrace),
    TARQLOG_TEST_SEVERITY(DEBUG, kDebug),
    TARQLOG_TEST_SEVERITY(INFO, kInfo),
    TARQLOG_TEST_SEVERITY(WARNING, kWarning),
    TARQLOG_TEST_SEVERITY(ERROR, kError),
    TARQLOG_TEST_SEVERITY(FATAL, kFatal),
    TARQLOG_TEST_STATEMENT("TARQLOG_F", kError, false,
                           TARQLOG_F(log, kError, "n={}", source.argument())),
    TARQLOG_TEST_STATEMENT(
        "TARQLOG_F_IF", kDebug, true,
        TARQLOG_F_IF(log, kDebug, source.condition(), "n={}", source.argument())),
};

/// The text of the one record that `log` makes.
template <class Log>
std::string TextOfOne(Log log) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    log(logger);
    LogCore::Get()->RemoveAllSinks();
    return appender->Texts().size() == 1 ? appender->Texts().front() : "not one record";
}

class FormatStatementTest : public StatementsTest {};

TEST_F(FormatStatementTest, EvaluatesItsArgumentsOncePerRecord) {
    ASSERT_EQ(kStatements.size(), 14U);
    ExpectOneEvaluationPerRecord(kStatements);
}

TEST_F(FormatStatementTest, EvaluatesNothingWhenNoSinkWantsIt) {
    ExpectNoEvaluationWithoutASink(kStatements);
}

TEST_F(FormatStatementTest, IsSkippedWhenItsConditionIsFalse) {
    ExpectFalseConditionToStop(kStatements);
}

TEST_F(FormatStatementTest, WithinAStatementGivesTwoWholeLines) {
    ExpectTwoWholeLinesOfNestedOnes(kStatements);
}

TEST_F(FormatStatementTest, PushesNothingWhenItsArgumentThrows) {
    ExpectNothingOfOneThatThrows(kStatements);
}

TEST_F(FormatStatementTest, FormatsAsFmtDoes) {
    std::string const name("name");
    EXPECT_EQ(TextOfOne([&](Logger& log) {
                  TARQLOG_INFO_F(log, "{} {:>5}|{:#x} {:.2f} {} {} {{}}", name, 42, 255, 1.5,
                                 Point{1, 2}, 'c');
              }),
              "name    42|0xff 1.50 1/2 c {}");
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO_F(log, "no argument"); }), "no argument");
    static constexpr char kFormat[] = "a constant {}";
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO_F(log, kFormat, 1); }), "a constant 1");
}

#define EXPECT_AS_FMT(...)                                                       \
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, __VA_ARGS__); }), \
              fmt::format(__VA_ARGS__))

TEST_F(FormatStatementTest, PlainFieldsAreThoseOfFmtForEveryType) {
    EXPECT_AS_FMT("{}{}|{}", 0, -1, 1);
    EXPECT_AS_FMT("{} {} {} {}", INT_MIN, INT_MAX, UINT_MAX, LLONG_MIN);
    EXPECT_AS_FMT("{} {} {} {}", LLONG_MAX, ULLONG_MAX, LONG_MIN, ULONG_MAX);
    short const low = -7;
    EXPECT_AS_FMT("{} {} {} {}", low, static_cast<unsigned short>(65535),
                  static_cast<signed char>(-8), static_cast<unsigned char>(200));
    EXPECT_AS_FMT("a{}b{}c{}d", 'x', '\0', '\n');
    EXPECT_AS_FMT("{} {}", true, false);
    EXPECT_AS_FMT("{} {} {} {}", 1.5, 0.1F, -2.25L, 1e300);
    const char* const text = "C string";
    char letters[] = "array";
    EXPECT_AS_FMT("{}{}{}{}", text, letters, std::string("a\0b", 3), fmt::string_view("view"));
    void const* const address = &text;
    EXPECT_AS_FMT("{} {}", address, nullptr);
    EXPECT_AS_FMT("{} and {}", Point{1, 2}, 3);
    EXPECT_AS_FMT("{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}", 1, 'b', "c", 4, 5, 6, 7, 8, 9, 10, 11, 12,
                  13, 14, 15, 16, "q", 18);
#if defined(__SIZEOF_INT128__)
    __extension__ using Wide = __int128;
    EXPECT_AS_FMT("{}", static_cast<Wide>(LLONG_MAX) * 1000);
#endif
}

TEST_F(FormatStatementTest, FieldsThatAreNotPlainAreThoseOfFmtToo) {
    EXPECT_AS_FMT("{{{}}}", 1);
    EXPECT_AS_FMT("{0}{0}{1}", 1, 2);
    EXPECT_AS_FMT("{}}}", 1);
    EXPECT_AS_FMT("{:}{:d}", 1, 2);
    EXPECT_AS_FMT("{}", "more arguments", 2);
    EXPECT_AS_FMT("{{}}");
}

TEST_F(FormatStatementTest, ArgumentThatChangesAsItIsFormattedIsGivenAsItIs) {
    Ticket ticket{1};
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "{} and {}", ticket, ticket); }),
              "#1 and #2");
}

TEST_F(FormatStatementTest, EmptyViewOfNothingWritesNothing) {
    EXPECT_AS_FMT("a{}b{}c", std::string_view(), fmt::string_view());
}

TEST_F(FormatStatementTest, NullForAStringIsTold) {
    const char* const none = nullptr;
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "a {} b", none); }),
              "format error: string pointer is null");
}

TEST_F(FormatStatementTest, LongArgumentsAndFormatsKeepTheirPlace) {
    std::string const text(5000, 'x');
    EXPECT_AS_FMT("before {} after {}", text, 7);
#define TARQLOG_TEST_TEN_TIMES(text) text text text text text text text text text text
#define TARQLOG_TEST_HUNDRED_TIMES(text) TARQLOG_TEST_TEN_TIMES(TARQLOG_TEST_TEN_TIMES(text))
#define TARQLOG_TEST_1100 TARQLOG_TEST_HUNDRED_TIMES("0123456789 ")
    EXPECT_AS_FMT("{} " TARQLOG_TEST_1100 "{} " TARQLOG_TEST_1100, 1, text);
}

TEST_F(FormatStatementTest, FormatThatIsLongerThanAShortCountsIsLeftToFmt) {
    // Compilers need not take a literal as long as that.
    std::string const text(65536, 'x');
    EXPECT_TRUE(log_format::FieldsOf<0>(fmt::string_view(text.data(), 65535)).areAll);
    EXPECT_FALSE(log_format::FieldsOf<0>(fmt::string_view(text.data(), 65536)).areAll);
}

TEST_F(FormatStatementTest, TextOfAnyLengthIsWholeAndFormattedOnce) {
    std::vector<std::size_t> lengths = {255, 256, 257,  980,  996,    997,
                                        998, 999, 1000, 1001, 1000000};
    for (std::size_t length = 0; length < 40; ++length) {
        lengths.push_back(length);
    }
    for (std::size_t const length : lengths) {
        SCOPED_TRACE(length);
        std::string const text = Letters(length);
        EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "{}.", text); }), text + '.');
        EXPECT_AS_FMT("{}{}-{}{}{}", LLONG_MIN, text, ULLONG_MAX, 'c', -1);
    }
    static int formatted = 0;
    Willing const counting{[] { ++formatted; }};
    std::string const text(5000, 'x');
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "{}{}", text, counting); }),
              text + "done");
    EXPECT_EQ(formatted, 1);
}

TEST_F(FormatStatementTest, ErrorAtRunTimeBecomesTheText) {
    EXPECT_EQ(TextOfOne([](Logger& log) { TARQLOG_INFO_F(log, "x {:{}}", 5, -1); }),
              "format error: negative width");
    EXPECT_EQ(TextOfOne([](Logger& log) {
                  TARQLOG_INFO_F(log, "{} {:{}}", std::string(5000, 'x'), 5, -1);
              }),
              "format error: negative width");
    Willing const failing{[] { throw std::runtime_error("no idea"); }};
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "x {}", failing); }),
              "format error: no idea");
    Willing const odd{[] { throw 5; }};
    EXPECT_EQ(TextOfOne([&](Logger& log) { TARQLOG_INFO_F(log, "x {}", odd); }),
              "format error: unknown");
}

TEST_F(FormatStatementTest, FormatterThatLogsGivesTwoWholeLines) {
    auto const appender = AddNotingSink();
    static Logger logger("a");
    Willing const chatty{[] { TARQLOG_INFO_F(logger, "inner {}", 1); }};
    TARQLOG_INFO_F(logger, "outer {} {}", std::string(1000, 'x'), chatty);
    EXPECT_EQ(appender->Texts(),
              (std::vector<std::string>{"inner 1", "outer " + std::string(1000, 'x') + " done"}));
}

TEST_F(FormatStatementTest, PassesOnLackOfMemory) {
    auto const appender = AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    std::string const large(5000, 'x');
    for (unsigned long const allowed :
         {0UL, 1UL}) {  // 1: there is a record, but not all of its text
        AllocationLimit const limit(allowed);
        EXPECT_THROW(TARQLOG_INFO_F(logger, "{}", large), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1UL);
    }
    for (unsigned long const allowed : {0UL, 1UL}) {
        AllocationLimit const limit(allowed);
        EXPECT_THROW(TARQLOG_INFO_F(logger, "{:5000}", large), std::bad_alloc);
        EXPECT_GE(limit.Refused(), 1UL);
    }
    Willing const starving{[] { throw std::bad_alloc(); }};
    EXPECT_THROW(TARQLOG_INFO_F(logger, "{}", starving), std::bad_alloc);
    EXPECT_TRUE(appender->Texts().empty());
}

TEST_F(FormatStatementTest, LackOfMemoryWhileAFormatterFailsEndsNothing) {
    AddNotingSink();
    Logger logger("a");
    ASSERT_TRUE(logger.HasSink(kInfo));
    std::string const almost(950, 'x');
    Willing const failing{[] { throw std::runtime_error("x"); }};
    AllocationLimit const limit(2);  // the record's first bytes and the exception's text
    EXPECT_THROW(TARQLOG_INFO_F(logger, "{}{:900}{}", almost, 1, failing), std::bad_alloc);
    EXPECT_GE(limit.Refused(), 1UL);
}

#if !defined(_LIBCPP_VERSION)  // LLVM's unwinder crashes on any thread that the C library cancels

TEST_F(FormatStatementTest, ThreadIsCancelledInAFormatter) {
    auto const appender = AddNotingSink();
    static Logger logger("a");
    pthread_t thread;
    ::pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
            Willing const waiting{[] {
                ::pthread_cancel(::pthread_self());
                ::pthread_testcancel();
            }};
            TARQLOG_INFO_F(logger, "{}", waiting);
            return nullptr;
        },
        nullptr);
    void* result = nullptr;
    ::pthread_join(thread, &result);

    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(appender->Texts().empty());
}

#endif

TEST_F(FormatStatementTest, AllocatesNothingButTheRecordsText) {
    struct SilentAppender : AppenderBase {
        SilentAppender() : AppenderBase([](std::string&, LogRecord const&) {}) {}
        void DoAppend(LogRecord const&) override {}
    };
    LogCore::Get()->AddSink({FilterRule(kInfo)}, SinkOf(boost::make_shared<SilentAppender>()));
    Logger logger("a");
    unsigned long const before = AllocationCount();
    ASSERT_TRUE(logger.HasSink(kInfo));
    unsigned long const ready = AllocationCount();
    ASSERT_GT(ready, before) << "the count does not count";

    TARQLOG_INFO_F(logger, "{} {} {} {}", 1, 2.5, "x", Point{1, 2});

    EXPECT_EQ(AllocationCount(), ready + 1);
}

#if !defined(TARQLOG_TEST_ASAN) && !defined(TARQLOG_TEST_TSAN)

// tarqlog/log.h names these two.
constexpr std::size_t kStackBytes = 3072;
constexpr std::size_t kFloatStackBytes = 12288;

TEST_F(FormatStatementTest, RunsOnASmallStackAndTakesNoMoreOfItThanStated) {
    AddNotingSink(kInfo);
    Logger logger("a");
    std::string const text(3000, 'x');
    EXPECT_LE(StackUsedBesideTheRoad(logger,
                                     [](Logger& log) { TARQLOG_INFO_F(log, "{} {:>9}", 1, "x"); }),
              kStackBytes);
    EXPECT_LE(StackUsedBesideTheRoad(logger, [&](Logger& log) { TARQLOG_INFO_F(log, "{}", text); }),
              kStackBytes);
    EXPECT_LE(StackUsedBesideTheRoad(logger,
                                     [](Logger& log) {
                                         TARQLOG_INFO_F(log, "{} {:f} {:.30} {}", 5e-324, 1e300,
                                                        1.1e-300L, 1.5e-4000L);
                                     }),
              kFloatStackBytes);
}

#endif

/// As Compile(), in `standard`.
ChildResult CompileIn(std::string const& standard, std::string const& code,
                      std::vector<std::string> options = {}) {
    options.insert(options.end(), {"-std=c++" + standard, "-fsyntax-only",
                                   "-I" TARQLOG_TEST_INCLUDE_DIR, "-x", "c++", "-"});
    return RunProgram(TARQLOG_TEST_COMPILER, options, code);
}

class FormatStandardTest : public testing::TestWithParam<const char*> {};

TEST_P(FormatStandardTest, ChecksTheFormatFromCxx14On) {
    std::string const code =
        "#include <tarqlog/format.h>\nvoid Log(tarqlog::Logger& log) { TARQLOG_INFO_F(log, ";
    ChildResult const right = CompileIn(GetParam(), code + "\"{:d} {}\", 1, \"x\"); }");
    EXPECT_EQ(right.exitStatus, 0) << right.errors;
    for (std::string const wrong : {"\"{:d}\", \"x\"", "\"{} {}\", 1"}) {
        SCOPED_TRACE(wrong);
        bool const compiles = CompileIn(GetParam(), code + wrong + "); }").exitStatus == 0;
        EXPECT_EQ(compiles, std::string(GetParam()) == "11");
    }
}

TEST_P(FormatStandardTest, CompilesEverywhereWithoutAWarning) {
    std::string const code = R"(
#include <tarqlog/format.h>
void Log(tarqlog::Logger& log, tarqlog::Severity severity, bool is) {
    if (is) TARQLOG_INFO_F(log, "x"); else TARQLOG_DEBUG_F(log, "{}", 1);
    if (is) TARQLOG_INFO_F_IF(log, !is, "{}", is); else TARQLOG_F(log, severity, "{}", 1);
    TARQLOG_INFO_F(log, "{}", [&] { TARQLOG_INFO_F(log, "{}", [&] { TARQLOG_INFO_F(log, "x"); return 1; }()); return 2; }());
    TARQLOG_INFO_F(log, "x"); TARQLOG_INFO_F(log, "y"); [&log] { TARQLOG_ERROR_F(log, "z"); }();
}
template <class Type> void LogAny(tarqlog::Logger& log, Type value) { TARQLOG_WARNING_F(log, "{}", value); }
template void LogAny(tarqlog::Logger&, int);
template void LogAny(tarqlog::Logger&, const char*);
)";
    for (std::vector<std::string> options : std::vector<std::vector<std::string>>{
             {"-DTARQLOG_LOCATION", "-DTARQLOG_MIN_SEVERITY=kInfo"},
             {"-fno-rtti", "-fno-exceptions"}}) {
        options.insert(options.end(), {"-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow",
                                       "-Wold-style-cast", "-Werror"});
        ChildResult const compiled = CompileIn(GetParam(), code, options);
        EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    }
}

/// The object file that `statement` alone makes.
std::string ObjectOf(std::string const& statement, std::string const& level,
                     std::string const& standard) {
    TemporaryDirectory const directory;
    std::string const object = directory.Path() + "/object.o";
    std::string const code =
        "#define TARQLOG_MIN_SEVERITY kWarning\n#include <tarqlog/format.h>\n"
        "void Entry(tarqlog::Logger& log) { (void)log; " +
        statement + " }\n";
    ChildResult const compiled = RunProgram(TARQLOG_TEST_COMPILER,
                                            {"-std=c++" + standard, level, "-c", "-o", object,
                                             "-I" TARQLOG_TEST_INCLUDE_DIR, "-x", "c++", "-"},
                                            code);
    EXPECT_EQ(compiled.exitStatus, 0) << compiled.errors;
    return ReadWholeFile(object);
}

INSTANTIATE_TEST_SUITE_P(Standards, FormatStandardTest,
                         testing::Values("11", "14", "17", "20", "2b"));

class RemovedFormatTest : public testing::TestWithParam<std::tuple<std::string, std::string>> {};

TEST_P(RemovedFormatTest, LeavesNothingInTheObjectFile) {
    std::string const& level = std::get<0>(GetParam());
    std::string const& standard = std::get<1>(GetParam());
    std::string const empty = ObjectOf("", level, standard);
    std::string const kept = ObjectOf("TARQLOG_ERROR_F(log, \"secret {}\", 1);", level, standard);
    std::string const removed = ObjectOf("TARQLOG_INFO_F(log, \"secret {}\", 1);", level, standard);
    for (const char* const trace : {"secret", "HasSink"}) {
        ASSERT_NE(kept.find(trace), std::string::npos) << "the search does not find " << trace;
        EXPECT_EQ(removed.find(trace), std::string::npos) << trace;
    }
    EXPECT_EQ(removed.find("TarqlogFormat"), std::string::npos);
    // GCC reserves stack for variables even of what it drops; see log_test.cpp.
    EXPECT_NEAR(static_cast<double>(removed.size()), static_cast<double>(empty.size()), 16);
}

INSTANTIATE_TEST_SUITE_P(LevelsAndStandards, RemovedFormatTest,
                         testing::Combine(testing::Values("-O0", "-O2"),
                                          testing::Values("14", "20")));

}  // namespace
}  // namespace tarqlog
