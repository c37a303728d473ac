#include "tarqlog/header_formats.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/appender_base.h"
#include "tarqlog/error.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/header_oracle.h"
#include "support/interpose.h"
#include "support/records.h"

namespace tarqlog {
namespace {

long long timeMs;
Fault hostFault;
bool isHostEndless = false;

}  // namespace
}  // namespace tarqlog

extern "C" int gethostname(char* name, std::size_t size) noexcept {
    int const answer = TARQLOG_NEXT(gethostname)(name, size);
    if (tarqlog::isHostEndless) {  // a name that is too long need not end in a NUL
        std::memset(name, 'h', size);
    }
    return tarqlog::hostFault.Strikes() ? -1 : answer;  // a name that is too long is there in part
}

// What gethostname() is called in a build with _FORTIFY_SOURCE.
extern "C" int __gethostname_chk(char* name, std::size_t size, std::size_t) noexcept {
    return ::gethostname(name, size);
}

namespace tarqlog {
namespace {

/// Sets an environment variable in a child process.
void SetVariable(char const* name, char const* value) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the child has no other thread
    ::setenv(name, value, 1);
}

/// Keeps the header of the last record.
class HeaderAppender : public AppenderBase {
public:
    explicit HeaderAppender(FormatHeaderFunc const& formatHeader) : AppenderBase(formatHeader) {}

    std::string last;

protected:
    void DoAppend(LogRecord const&) override { last = Header(); }
};

class HeaderFormatsTest : public testing::Test {
protected:
    HeaderFormatsTest() {
        timeMs = 1700000000123;
        LogSysInfo::SetGetTimeFunc([] { return timeMs; });
        LogSysInfo::SetGetThreadIdFunc([] { return 4242U; });
    }

    static std::string Header(FormatHeaderFunc const& function, Severity severity = kInfo,
                              std::vector<std::string> const& parts = {"core", "io"}) {
        std::string header;
        function(header, TaggedRecord(severity, "ready", parts));
        return header;
    }

    /// The header of a record of time `ms`.
    static std::string HeaderAt(long long ms, FormatHeaderFunc const& function) {
        timeMs = ms;
        return Header(function);
    }

    /// What the error says that a pattern is refused with.
    static std::string Complaint(std::string const& pattern) {
        try {
            PatternHeader const header(pattern);
        } catch (log_utils::Error const& error) {
            return error.what();
        }
        return "none";
    }
};

class PatternHeaderTest : public HeaderFormatsTest {};
class ColourHeaderTest : public HeaderFormatsTest {};

TEST_F(PatternHeaderTest, TextAndFlagsStandInTheOrderOfThePattern) {
    EXPECT_EQ(Header(PatternHeader("%L %Y-%m-%d %H:%M:%S.%e [%t] %n: ")),
              "I 2023-11-14 22:13:20.123 [4242] core.io: ");
    EXPECT_EQ(Header(PatternHeader("%n%t%L")), "core.io4242I");
}

TEST_F(PatternHeaderTest, PatternWithoutFlagsIsTextAndAnEmptyOneNothing) {
    EXPECT_EQ(Header(PatternHeader("> ")), "> ");
    EXPECT_EQ(Header(PatternHeader("")), "");
    EXPECT_EQ(Header(PatternHeader(std::string("a\0b", 3))), std::string("a\0b", 3));
}

TEST_F(PatternHeaderTest, TwoPercentSignsAreOne) {
    EXPECT_EQ(Header(PatternHeader("%%")), "%");
    EXPECT_EQ(Header(PatternHeader("%%L %%%L%%")), "%L %I%");
}

TEST_F(PatternHeaderTest, HeaderIsAppendedToWhatTheStringHolds) {
    std::string header = "> ";
    TaggedRecord const record(kInfo, "ready", {"core"});

    PatternHeader("%n ")(header, record);
    PatternHeader("%+")(header, record);

    EXPECT_EQ(header, "> core I [2023-11-14 22:13:20.123][t:4242](core):");
}

TEST_F(PatternHeaderTest, SeverityIsALetterAWordOrAPriority) {
    struct {
        std::uint32_t severity;
        char const* header;
    } const cases[] = {
        {1, "T trace <7>"},           {2, "D debug <7>"},    {4, "I info <6>"},
        {8, "W warning <4>"},         {16, "E error <3>"},   {32, "F fatal <0>"},
        {0, "U unknown <0>"},         {64, "U unknown <0>"}, {6, "D debug <7>"},
        {48, "E error <3>"},          {63, "T trace <7>"},   {0x80000008U, "W warning <4>"},
        {0xffffffffU, "T trace <7>"},
    };
    PatternHeader const pattern("%L %l %p");
    for (auto const& row : cases) {
        SCOPED_TRACE(row.severity);
        EXPECT_EQ(Header(pattern, static_cast<Severity>(row.severity)), row.header);
    }
}

TEST_F(PatternHeaderTest, TagPartsAreJoinedByDotsAndWrittenAsTheyAre) {
    PatternHeader const pattern("(%n)");

    EXPECT_EQ(Header(pattern, kInfo, {}), "()");
    EXPECT_EQ(Header(pattern, kInfo, {"core"}), "(core)");
    EXPECT_EQ(Header(pattern, kInfo, {"a", "", "b"}), "(a..b)");
    EXPECT_EQ(Header(pattern, kInfo, {"%L", "\xff"}), "(%L.\xff)");
}

TEST_F(PatternHeaderTest, ThreadIdIsAnUnsignedDecimal) {
    LogSysInfo::SetGetThreadIdFunc([] { return 0U; });
    EXPECT_EQ(Header(PatternHeader("%t")), "0");
    LogSysInfo::SetGetThreadIdFunc([] { return 4294967295U; });
    EXPECT_EQ(Header(PatternHeader("%t")), "4294967295");
}

TEST_F(PatternHeaderTest, TimeAndThreadIdAreThoseOfTheRecordsConstruction) {
    TaggedRecord const record(kInfo, "ready");
    timeMs = 0;
    LogSysInfo::SetGetThreadIdFunc([] { return 7U; });
    std::string header;

    PatternHeader("%S.%e %t")(header, record);

    EXPECT_EQ(header, "20.123 4242");
}

// Process, program and host.

TEST_F(PatternHeaderTest, ProcessIdAfterAForkIsTheChilds) {
    PatternHeader const pattern("%P");
    EXPECT_EQ(Header(pattern), std::to_string(::getpid()));

    ChildResult const child = RunInChild([&] {
        std::printf("%s %d", Header(pattern).c_str(), static_cast<int>(::getpid()));
        std::fflush(stdout);
        return 0;
    });

    std::string::size_type const blank = child.output.find(' ');
    EXPECT_EQ(child.output.substr(0, blank), child.output.substr(blank + 1));
    EXPECT_NE(child.output.substr(0, blank), std::to_string(::getpid()));
}

TEST_F(PatternHeaderTest, ProgramIsNamedWithoutItsFolder) {
    EXPECT_EQ(Header(PatternHeader("%N[%P]")),
              "header_formats_test[" + std::to_string(::getpid()) + "]");
}

TEST_F(PatternHeaderTest, HostIsTheSystemsName) {
    char name[1024] = {};
    ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);

    EXPECT_EQ(Header(PatternHeader("%h")), name);
}

TEST_F(PatternHeaderTest, HostHasAtMost255Bytes) {
    isHostEndless = true;
    PatternHeader const pattern("%h");
    isHostEndless = false;

    EXPECT_EQ(Header(pattern), std::string(255, 'h'));
}

TEST_F(PatternHeaderTest, HostThatTheSystemDoesNotNameIsNothing) {
    hostFault.StrikeAt(1);

    EXPECT_EQ(Header(PatternHeader("[%h]")), "[]");
    EXPECT_EQ(hostFault.Hits(), 1);
}

// The time.

TEST_F(PatternHeaderTest, TimeIsUtcUnlessLocalTimeIsAskedFor) {
    std::string const pattern = "%Y-%m-%dT%H:%M:%S.%e%z";

    EXPECT_EQ(Header(PatternHeader(pattern)), "2023-11-14T22:13:20.123+00:00");
    EXPECT_EQ(Header(PatternHeader(pattern, PatternHeader::kUtc)), "2023-11-14T22:13:20.123+00:00");
    EXPECT_EQ(Header(PatternHeader(pattern, static_cast<PatternHeader::Zone>(17))),
              "2023-11-14T22:13:20.123+00:00");
    EXPECT_EQ(Header(PatternHeader(pattern, PatternHeader::kLocalTime)),
              "2023-11-15T03:58:20.123+05:45");
}

TEST_F(PatternHeaderTest, OffsetIsInHoursAndMinutesAndNegativeWestOfUtc) {
    struct {
        char const* zone;
        char const* header;
    } const cases[] = {
        {"NST3:30", "18:43-03:30"},    {"UTC0", "22:13+00:00"},   {"EST-5", "03:13+05:00"},
        {"XST-5:59", "04:12+05:59"},   {"LIT-14", "12:13+14:00"}, {"XST12", "10:13-12:00"},
        {"XST0:00:59", "22:12-00:00"},  // seconds are cut
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.zone);
        ChildResult const child = RunInChild([&] {
            SetVariable("TZ", c.zone);
            ::tzset();
            PatternHeader const pattern("%H:%M%z", PatternHeader::kLocalTime);
            std::fputs(Header(pattern).c_str(), stdout);
            std::fflush(stdout);
            return 0;
        });
        EXPECT_EQ(child.output, c.header);
    }
}

TEST_F(PatternHeaderTest, BeforeTheEpochMillisecondsCountForward) {
    PatternHeader const pattern("%Y-%m-%d %H:%M:%S.%e");

    EXPECT_EQ(HeaderAt(0, pattern), "1970-01-01 00:00:00.000");
    EXPECT_EQ(HeaderAt(-1, pattern), "1969-12-31 23:59:59.999");
    EXPECT_EQ(HeaderAt(-999, pattern), "1969-12-31 23:59:59.001");
    EXPECT_EQ(HeaderAt(-1000, pattern), "1969-12-31 23:59:59.000");
    EXPECT_EQ(HeaderAt(-1001, pattern), "1969-12-31 23:59:58.999");
}

TEST_F(PatternHeaderTest, YearTakesAsManyDigitsAsItNeeds) {
    PatternHeader const pattern("%Y-%m-%d %H:%M:%S.%e");

    EXPECT_EQ(HeaderAt(253402300799999, pattern), "9999-12-31 23:59:59.999");
    EXPECT_EQ(HeaderAt(253402300800000, pattern), "10000-01-01 00:00:00.000");
    EXPECT_EQ(HeaderAt(-62135596800000, pattern), "0001-01-01 00:00:00.000");
    EXPECT_EQ(HeaderAt(-62167219200000, pattern), "0000-01-01 00:00:00.000");
    EXPECT_EQ(HeaderAt(-62167219200001, pattern), "-001-12-31 23:59:59.999");
    EXPECT_EQ(HeaderAt(LLONG_MAX, pattern), "292278994-08-17 07:12:55.807");
    EXPECT_EQ(HeaderAt(LLONG_MIN, pattern), "-292275055-05-16 16:47:04.192");
}

/// Days from 1970-01-01 to a date of the Gregorian calendar, by counting.
long long DaysFromEpoch(long long year, int month, int day) {
    static constexpr int kDaysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    auto const floorDiv = [](long long a, long long b) { return a / b - (a % b < 0 ? 1 : 0); };
    long long const before = year - 1;
    bool const isLeap = floorDiv(year, 4) * 4 == year &&
                        (floorDiv(year, 100) * 100 != year || floorDiv(year, 400) * 400 == year);
    return before * 365 + floorDiv(before, 4) - floorDiv(before, 100) + floorDiv(before, 400) +
           kDaysBefore[month - 1] + (isLeap && month > 2 ? 1 : 0) + day - 1 - 719162;
}

TEST_F(PatternHeaderTest, AnyTimeCanBeReadBack) {
    PatternHeader const utc("%Y %m %d %H %M %S %e");
    PatternHeader const local("%Y %m %d %H %M %S %e", PatternHeader::kLocalTime);
    std::mt19937_64 random(1700000000123);
    for (int i = 0; i < 20000; ++i) {
        auto const ms = static_cast<long long>(random()) >> (random() % 64);
        for (bool const isLocal : {false, true}) {
            std::string const text = HeaderAt(ms, isLocal ? local : utc);
            long long year = 0;
            int month = 0, day = 0, hour = 0, minute = 0, second = 0, milliseconds = 0;
            ASSERT_EQ(std::sscanf(text.c_str(), "%lld %2d %2d %2d %2d %2d %3d", &year, &month, &day,
                                  &hour, &minute, &second, &milliseconds),
                      7)
                << text;
            long long seconds = DaysFromEpoch(year, month, day) * 86400 + hour * 3600LL +
                                minute * 60LL + second - (isLocal ? 20700 : 0);
            if (seconds < 0 && milliseconds > 0) {  // no overflow at the least time of all
                ++seconds;
                milliseconds -= 1000;
            }
            ASSERT_EQ(seconds * 1000 + milliseconds, ms) << text;
        }
    }
}

TEST_F(PatternHeaderTest, PlusIsTheDefaultHeaderToTheByte) {
    std::vector<std::vector<std::string>> const tags = {{}, {"core"}, {"a", "", "b"}, {""}};
    for (PatternHeader::Zone const zone : {PatternHeader::kUtc, PatternHeader::kLocalTime}) {
        PatternHeader const pattern("<%+>", zone);
        for (long long const ms : {1700000000123LL, -1LL, -1001LL, 253402300800000LL, LLONG_MIN}) {
            for (std::vector<std::string> const& tag : tags) {
                for (std::uint32_t const severity : {0U, 6U, 32U}) {
                    timeMs = ms;
                    EXPECT_EQ(Header(pattern, static_cast<Severity>(severity), tag),
                              "<" + ExpectedHeader(true, severity, ms, 4242, tag) + ">");
                }
            }
        }
    }
}

// Where it serves.

TEST_F(PatternHeaderTest, AppenderTakesItWhereverAHeaderFunctionStands) {
    PatternHeader const pattern("%L %n: ");
    HeaderAppender built(pattern);
    HeaderAppender set(DefaultFormatHeaderFunc(true));
    set.SetHeaderFunc(pattern);

    built.Append(TaggedRecord(kInfo, "ready", {"core"}));
    set.Append(TaggedRecord(kError, "ready", {"core"}));

    EXPECT_EQ(built.last, "I core: ");
    EXPECT_EQ(set.last, "E core: ");
}

TEST_F(PatternHeaderTest, CopyOutlivesTheOriginal) {
    FormatHeaderFunc function;
    {
        std::string text = "a pattern that is too long to be held in place, %n";
        PatternHeader const original(text);
        function = original;
        text.assign(text.size(), 'x');
    }
    EXPECT_EQ(Header(function), "a pattern that is too long to be held in place, core.io");
}

TEST_F(PatternHeaderTest, FormattingAllocatesNothingOnceTheStringHasRoom) {
    unsigned long const before = AllocationCount();
    std::string header;
    header.reserve(400);
    ASSERT_EQ(AllocationCount(), before + 1);
    FormatHeaderFunc const utc = PatternHeader("%L%l%p%Y%m%d%H%M%S%e%z%t%n%P%N%h%+%%");
    FormatHeaderFunc const local =
        ColourHeader(PatternHeader("%Y-%m-%d %H:%M:%S.%e%z %n", PatternHeader::kLocalTime), true);
    TaggedRecord const record(kInfo, "ready", {"core", "io"});
    local(header, record);  // the C library prepares its time zone

    unsigned long const counted = AllocationCount();
    for (int i = 0; i < 10; ++i) {
        header.clear();
        utc(header, record);
        local(header, record);
    }

    EXPECT_EQ(AllocationCount(), counted);
}

TEST_F(PatternHeaderTest, RecordThatNoLoggerPushedNeedsNoTagUnlessItIsShown) {
    LogRecord const record(kInfo);
    std::string header;
    PatternHeader("%L %t")(header, record);
    EXPECT_EQ(header, "I 4242");

    for (char const* pattern : {"%n", "%+"}) {
        SCOPED_TRACE(pattern);
        ChildResult const child = RunInChild([pattern] {
            PatternHeader const tagged(pattern);
            std::string ignored;
            tagged(ignored, LogRecord(kInfo));
            return 0;
        });
        EXPECT_EQ(child.signal, SIGABRT);
    }
}

// Patterns that are refused.

TEST_F(PatternHeaderTest, UnknownFlagIsNamedWithItsPosition) {
    EXPECT_EQ(Complaint("%L %q"),
              "header pattern has the unknown flag %q at position 4, write %% for a percent sign: "
              "%L %q");
    EXPECT_EQ(Complaint("100% sure"),
              "header pattern has the unknown flag %  at position 4, write %% for a percent sign: "
              "100% sure");
    EXPECT_EQ(
        Complaint(std::string("100%\0", 5)),
        "header pattern has the unknown flag %\\0 at position 4, write %% for a percent sign: "
        "100%");
}

TEST_F(PatternHeaderTest, LonePercentSignAtTheEndIsNamedWithItsPosition) {
    EXPECT_EQ(
        Complaint("%%%L%"),
        "header pattern ends with a lone % at position 5, write %% for a percent sign: %%%L%");
    EXPECT_EQ(Complaint("%"),
              "header pattern ends with a lone % at position 1, write %% for a percent sign: %");
}

TEST_F(PatternHeaderTest, ExhaustedMemoryPassesOutOfAPattern) {
    std::string const pattern = "a text of many letters %L and another one %% in %N %n";
    std::string header;
    unsigned long allowed = 0;
    for (; header.empty(); ++allowed) {
        try {
            AllocationLimit const limit(allowed);
            PatternHeader const function(pattern);
            function(header, TaggedRecord(kInfo, "ready", {"core"}));
        } catch (std::bad_alloc const&) {
            header.clear();
        }
    }
    EXPECT_EQ(header, "a text of many letters I and another one % in header_formats_test core");
    EXPECT_GT(allowed, 8U);
}

TEST_F(PatternHeaderTest, ExactlyTheDocumentedFlagsAreKnown) {
    std::string known;
    for (int byte = 0; byte < 256; ++byte) {
        std::string const pattern = {'%', static_cast<char>(byte)};
        known += Complaint(pattern) == "none" ? pattern.substr(1) : "";
    }
    EXPECT_EQ(known, "%+HLMNPSYdehlmnptz");
}

// Colours.

TEST_F(ColourHeaderTest, HeaderAloneStandsInTheColourOfItsSeverity) {
    struct {
        std::uint32_t severity;
        char const* header;
    } const cases[] = {
        {1, "\x1b[90mcore.io:\x1b[0m"},  {2, "\x1b[36mcore.io:\x1b[0m"},
        {4, "\x1b[32mcore.io:\x1b[0m"},  {8, "\x1b[33mcore.io:\x1b[0m"},
        {16, "\x1b[31mcore.io:\x1b[0m"}, {32, "\x1b[1;31mcore.io:\x1b[0m"},
        {0, "\x1b[35mcore.io:\x1b[0m"},  {64, "\x1b[35mcore.io:\x1b[0m"},
        {48, "\x1b[31mcore.io:\x1b[0m"},
    };
    ColourHeader const colour(PatternHeader("%n:"), true);
    for (auto const& row : cases) {
        SCOPED_TRACE(row.severity);
        EXPECT_EQ(Header(colour, static_cast<Severity>(row.severity)), row.header);
    }
}

TEST_F(ColourHeaderTest, HeaderIsPlainWithoutColours) {
    EXPECT_EQ(Header(ColourHeader(DefaultFormatHeaderFunc(true), false)),
              "I [2023-11-14 22:13:20.123][t:4242](core.io):");
}

TEST_F(ColourHeaderTest, HeaderOfNoCharactersStaysSo) {
    std::string header = "> ";

    ColourHeader(PatternHeader(""), true)(header, TaggedRecord(kInfo, "ready"));

    EXPECT_EQ(header, "> ");
}

TEST_F(ColourHeaderTest, EnvironmentHasNoSay) {
    ChildResult const child = RunInChild([] {
        SetVariable("NO_COLOR", "1");
        SetVariable("TERM", "dumb");
        std::fputs(Header(ColourHeader(PatternHeader("%n"), true)).c_str(), stdout);
        std::fflush(stdout);
        return 0;
    });

    EXPECT_EQ(child.output, "\x1b[32mcore.io\x1b[0m");
}

TEST_F(ColourHeaderTest, EmptyFunctionThrowsAsInAnAppender) {
    for (bool const on : {false, true}) {
        SCOPED_TRACE(on);
        EXPECT_THROW(Header(ColourHeader(FormatHeaderFunc(), on)), boost::bad_function_call);
    }
}

TEST_F(ColourHeaderTest, EachCopyHasAHeaderFunctionOfItsOwn) {
    int number = 0;
    ColourHeader const original(
        [number](std::string& header, LogRecord const&) mutable {
            header += std::to_string(++number);
        },
        true);
    FormatHeaderFunc const first = original;
    FormatHeaderFunc const second = original;

    EXPECT_EQ(Header(first), "\x1b[32m1\x1b[0m");
    EXPECT_EQ(Header(first), "\x1b[32m2\x1b[0m");
    EXPECT_EQ(Header(second), "\x1b[32m1\x1b[0m");
}

}  // namespace
}  // namespace tarqlog
