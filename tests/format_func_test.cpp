#include "tarqlog/format_func.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/logrecord.h"
#include "tarqlog/logsysinfo.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/header_oracle.h"
#include "support/interpose.h"
#include "support/records.h"

namespace tarqlog {
namespace {

Fault fieldFault;
int fieldAnswer = 0;  // what the struck call returns
Fault calendarFault;

/// What snprintf() does; when it is struck a field of x's as long as the buffer takes, whatever the
/// answer says.
int Format(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    if (!fieldFault.Strikes()) {
        return std::vsnprintf(buffer, size, format, arguments);
    }
    std::memset(buffer, 'x', size - 1);
    buffer[size - 1] = '\0';
    return fieldAnswer;
}

}  // namespace
}  // namespace tarqlog

extern "C" int snprintf(char* buffer, std::size_t size, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    int const length = tarqlog::Format(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

// What snprintf() is called in a build with _FORTIFY_SOURCE.
extern "C" int __snprintf_chk(char* buffer, std::size_t size, int, std::size_t, const char* format,
                              ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    int const length = tarqlog::Format(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

extern "C" std::tm* gmtime_r(std::time_t const* seconds, std::tm* fields) noexcept {
    static auto* const next = TARQLOG_NEXT(gmtime_r);
    return tarqlog::calendarFault.Strikes() ? nullptr : next(seconds, fields);
}

namespace tarqlog {
namespace {

static_assert(
    std::is_same<FormatHeaderFunc, boost::function<void(std::string&, LogRecord const&)>>::value,
    "the type that users name when they write a header function");

long long timeMs;
unsigned int threadId;

class FormatFuncTest : public testing::Test {
protected:
    FormatFuncTest() {
        timeMs = 1700000000123;
        threadId = 4242;
        LogSysInfo::SetGetTimeFunc([] { return timeMs; });
        LogSysInfo::SetGetThreadIdFunc([] { return threadId; });
    }

    ~FormatFuncTest() override {
        fieldFault.Disarm();
        calendarFault.Disarm();
    }

    /// How many fields were struck in this test.
    long StruckFields() const { return fieldFault.Hits() - struckBefore_; }

    static std::string Header(bool full, Severity severity, std::vector<std::string> const& parts) {
        std::string header;
        DefaultFormatHeaderFunc(full)(header, TaggedRecord(severity, "ready", parts));
        return header;
    }

    static std::string FullHeader(Severity severity, std::vector<std::string> const& parts) {
        return Header(true, severity, parts);
    }

    static std::string ShortHeader(std::vector<std::string> const& parts) {
        return Header(false, kInfo, parts);
    }

    /// The full header of a record of time `ms` without what surrounds the time.
    static std::string TimeField(long long ms) {
        timeMs = ms;
        std::string const header = FullHeader(kInfo, {});
        std::string const before = "I ";
        std::string const after = "[t:4242]):";
        EXPECT_EQ(header.substr(0, before.size()), before);
        EXPECT_EQ(header.substr(header.size() - after.size()), after);
        return header.substr(before.size(), header.size() - before.size() - after.size());
    }

private:
    long const struckBefore_ = fieldFault.Hits();
};

TEST_F(FormatFuncTest, FullHeaderIsSeverityTimeThreadIdAndTag) {
    EXPECT_EQ(FullHeader(kInfo, {"core", "io"}), "I [2023-11-14 22:13:20.123][t:4242](core.io):");
}

TEST_F(FormatFuncTest, ShortHeaderStartsAtTheThreadId) {
    EXPECT_EQ(ShortHeader({"core", "io"}), "[t:4242](core.io):");
}

TEST_F(FormatFuncTest, WithoutTagPartsOnlyTheClosingBracketIsWritten) {
    EXPECT_EQ(FullHeader(kError, {}), "E [2023-11-14 22:13:20.123][t:4242]):");

    threadId = 7;
    EXPECT_EQ(ShortHeader({}), "[t:7]):");
}

TEST_F(FormatFuncTest, TagPartsAreWrittenAsTheyAre) {
    EXPECT_EQ(ShortHeader({"core"}), "[t:4242](core):");
    EXPECT_EQ(ShortHeader({"a", "", "b"}), "[t:4242](a..b):");
    EXPECT_EQ(ShortHeader({""}), "[t:4242]():");
    EXPECT_EQ(ShortHeader({"", ""}), "[t:4242](.):");
    EXPECT_EQ(ShortHeader({"%s%n", "(x)", "a.b"}), "[t:4242](%s%n.(x).a.b):");
    EXPECT_EQ(ShortHeader({"\xc3\xa9\xff", std::string("a\0b", 3)}),
              std::string("[t:4242](\xc3\xa9\xff.a\0b):", 18));
}

TEST_F(FormatFuncTest, TagOfAnyLengthIsWrittenWhole) {
    for (std::string::size_type const length : {1U, 121U, 122U, 123U, 124U, 1000U}) {
        SCOPED_TRACE(length);
        std::string const part(length, 'p');
        EXPECT_EQ(ShortHeader({part, "io"}), "[t:4242](" + part + ".io):");
        EXPECT_EQ(ShortHeader({"io", part}), "[t:4242](io." + part + "):");
    }
}

TEST_F(FormatFuncTest, EachSeverityHasItsLetter) {
    struct {
        std::uint32_t severity;
        char letter;
    } const cases[] = {
        {1, 'T'},           {2, 'D'},           {4, 'I'},           {8, 'W'},
        {16, 'E'},          {32, 'F'},          {6, 'D'},           {63, 'T'},
        {48, 'E'},          {0, 'U'},           {64, 'U'},          {96, 'F'},
        {0x80000000U, 'U'}, {0xffffffffU, 'T'}, {0xffffffc0U, 'U'}, {0x80000008U, 'W'},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.severity);
        EXPECT_EQ(FullHeader(static_cast<Severity>(row.severity), {"core"}),
                  row.letter + std::string(" [2023-11-14 22:13:20.123][t:4242](core):"));
    }
}

TEST_F(FormatFuncTest, TimeIsUtcToTheMillisecond) {
    EXPECT_EQ(TimeField(0), "[1970-01-01 00:00:00.000]");
    EXPECT_EQ(TimeField(1), "[1970-01-01 00:00:00.001]");
    EXPECT_EQ(TimeField(999), "[1970-01-01 00:00:00.999]");
    EXPECT_EQ(TimeField(1000), "[1970-01-01 00:00:01.000]");
    EXPECT_EQ(TimeField(1001), "[1970-01-01 00:00:01.001]");
    EXPECT_EQ(TimeField(951782400010), "[2000-02-29 00:00:00.010]");
    EXPECT_EQ(TimeField(2147483647999), "[2038-01-19 03:14:07.999]");
}

TEST_F(FormatFuncTest, BeforeTheEpochMillisecondsAreNegative) {
    EXPECT_EQ(TimeField(-1), "[1970-01-01 00:00:00.-01]");
    EXPECT_EQ(TimeField(-10), "[1970-01-01 00:00:00.-10]");
    EXPECT_EQ(TimeField(-999), "[1970-01-01 00:00:00.-999]");
    EXPECT_EQ(TimeField(-1000), "[1969-12-31 23:59:59.000]");
    EXPECT_EQ(TimeField(-1001), "[1969-12-31 23:59:59.-01]");
    EXPECT_EQ(TimeField(-2147483648000), "[1901-12-13 20:45:52.000]");
}

#if LONG_MAX > INT_MAX

TEST_F(FormatFuncTest, TimeBeyond32BitsOfSecondsIsUtcToo) {
    EXPECT_EQ(TimeField(2147483648000), "[2038-01-19 03:14:08.000]");
    EXPECT_EQ(TimeField(4107542400000), "[2100-03-01 00:00:00.000]");
    EXPECT_EQ(TimeField(-2147483649000), "[1901-12-13 20:45:51.000]");
}

TEST_F(FormatFuncTest, YearTakesAsManyDigitsAsItNeeds) {
    EXPECT_EQ(TimeField(253402300799999), "[9999-12-31 23:59:59.999]");
    EXPECT_EQ(TimeField(253402300800000), "[10000-01-01 00:00:00.000]");
    EXPECT_EQ(TimeField(-62135596800000), "[0001-01-01 00:00:00.000]");
    EXPECT_EQ(TimeField(-62135596801000), "[0000-12-31 23:59:59.000]");
    EXPECT_EQ(TimeField(-62167219200000), "[0000-01-01 00:00:00.000]");
    EXPECT_EQ(TimeField(-62167219201000), "[-001-12-31 23:59:59.000]");
    EXPECT_EQ(TimeField(LLONG_MAX), "[292278994-08-17 07:12:55.807]");
    EXPECT_EQ(TimeField(LLONG_MIN), "[-292275055-05-16 16:47:05.-808]");
}

#else

TEST_F(FormatFuncTest, TimeBeyondALongOf32BitsIsShown4294967296SecondsOff) {
    EXPECT_EQ(TimeField(2147483648123), "[1901-12-13 20:45:52.123]");   // 2038-01-19 03:14:08
    EXPECT_EQ(TimeField(4107542400000), "[1964-01-23 17:31:44.000]");   // 2100-03-01 00:00:00
    EXPECT_EQ(TimeField(4294967296000), "[1970-01-01 00:00:00.000]");   // 2106-02-07 06:28:16
    EXPECT_EQ(TimeField(-2147483649000), "[2038-01-19 03:14:07.000]");  // 1901-12-13 20:45:51
}

#endif

TEST_F(FormatFuncTest, ThreadIdIsAnUnsignedDecimal) {
    struct {
        unsigned int id;
        char const* header;
    } const cases[] = {
        {0, "[t:0](core):"},
        {7, "[t:7](core):"},
        {2147483648U, "[t:2147483648](core):"},
        {4294967295U, "[t:4294967295](core):"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.id);
        threadId = row.id;
        EXPECT_EQ(ShortHeader({"core"}), row.header);
    }
}

TEST_F(FormatFuncTest, HeaderIsAppendedToWhatTheStringHolds) {
    TaggedRecord const tagged(kInfo, "ready", {"core"});
    TaggedRecord const untagged(kInfo, "ready");
    std::string header = "> ";

    DefaultFormatHeaderFunc(true)(header, tagged);
    DefaultFormatHeaderFunc(false)(header, untagged);

    EXPECT_EQ(header, "> I [2023-11-14 22:13:20.123][t:4242](core):[t:4242]):");
}

TEST_F(FormatFuncTest, TimeAndThreadIdAreThoseOfTheRecordsConstruction) {
    TaggedRecord const record(kInfo, "ready", {"core"});
    timeMs = 0;
    threadId = 1;
    std::string header;

    DefaultFormatHeaderFunc(true)(header, record);

    EXPECT_EQ(header, "I [2023-11-14 22:13:20.123][t:4242](core):");
}

TEST_F(FormatFuncTest, CopyOfTheFunctionKeepsItsKind) {
    FormatHeaderFunc function = DefaultFormatHeaderFunc(true);
    FormatHeaderFunc const copy = function;
    function = DefaultFormatHeaderFunc(false);
    std::string header;

    copy(header, TaggedRecord(kInfo, "ready", {"core"}));
    function(header, TaggedRecord(kInfo, "ready", {"core"}));

    EXPECT_EQ(header, "I [2023-11-14 22:13:20.123][t:4242](core):[t:4242](core):");
}

TEST_F(FormatFuncTest, StringThatIsLongEnoughMakesTheHeaderCostNoAllocation) {
    unsigned long const before = AllocationCount();
    std::string header;
    header.reserve(200);
    ASSERT_EQ(AllocationCount(), before + 1);
    FormatHeaderFunc const function = DefaultFormatHeaderFunc(true);
    TaggedRecord const record(kInfo, "ready", {"core", "io"});

    unsigned long const counted = AllocationCount();
    function(header, record);

    EXPECT_EQ(AllocationCount(), counted);
    EXPECT_EQ(header, "I [2023-11-14 22:13:20.123][t:4242](core.io):");
}

/// The line of a source is no promise.
std::string WithoutDigits(std::string text) {
    auto const isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
    text.erase(std::remove_if(text.begin(), text.end(), isDigit), text.end());
    return text;
}

TEST_F(FormatFuncTest, RecordThatNoLoggerPushedStopsTheProcess) {
    for (bool const full : {true, false}) {
        SCOPED_TRACE(full);
        ChildResult const child = RunInChild([full] {
            std::string header;
            DefaultFormatHeaderFunc(full)(header, LogRecord(kInfo));
            return 0;
        });
        EXPECT_EQ(child.signal, SIGABRT);
        EXPECT_EQ(WithoutDigits(child.errors),
                  "include/tarqlog/logrecord.h:: GetTag: Assertion 'tag_' failed.\n");
    }
}

// The two fields that snprintf() makes, for a thread that remembers none.

class FormatFuncFieldTest : public FormatFuncTest {
protected:
    static std::string FullHeader(Severity severity, std::vector<std::string> const& parts) {
        return OnNewThread([&] { return FormatFuncTest::FullHeader(severity, parts); });
    }

    static std::string ShortHeader(std::vector<std::string> const& parts) {
        return OnNewThread([&] { return FormatFuncTest::ShortHeader(parts); });
    }

private:
    template <class Function>
    static std::string OnNewThread(Function function) {
        std::string result;
        std::thread([&] { result = function(); }).join();
        return result;
    }
};

TEST_F(FormatFuncFieldTest, ArmedFaultStrikesTheFieldsInTheirOrder) {
    long const before = fieldFault.Calls();
    FullHeader(kInfo, {});
    ASSERT_EQ(fieldFault.Calls(), before + 2);
    ShortHeader({});
    ASSERT_EQ(fieldFault.Calls(), before + 3);

    fieldAnswer = 1;
    fieldFault.StrikeAt(1);
    EXPECT_EQ(FullHeader(kInfo, {}), "I x[t:4242]):");
    fieldFault.StrikeAt(2);
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:20.123]x):");
    EXPECT_EQ(StruckFields(), 2);
}

TEST_F(FormatFuncFieldTest, FieldThatFailsOrIsCutIsLeftOut) {
    for (int const answer : {-1, 0, 64, 65, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(answer);
        fieldAnswer = answer;
        fieldFault.StrikeAt(1);
        EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [t:4242](core):");
        fieldFault.StrikeAt(2);
        EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:20.123](core):");
        fieldFault.StrikeAt(1);
        EXPECT_EQ(ShortHeader({"core"}), "(core):");
    }
    EXPECT_EQ(StruckFields(), 18);
}

TEST_F(FormatFuncFieldTest, FieldOf63CharactersIsTheLongestThatIsKept) {
    fieldAnswer = 63;
    std::string const letters(63, 'x');

    fieldFault.StrikeAt(1);
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I " + letters + "[t:4242](core):");
    fieldFault.StrikeAt(2);
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:20.123]" + letters + "(core):");
    EXPECT_EQ(StruckFields(), 2);
}

TEST_F(FormatFuncFieldTest, UntaggedHeaderWithoutThreadIdIsClosedAllTheSame) {
    fieldAnswer = -1;
    fieldFault.StrikeAt(1);

    EXPECT_EQ(ShortHeader({}), "):");
    EXPECT_EQ(StruckFields(), 1);
}

TEST_F(FormatFuncFieldTest, TimeThatTheSystemCannotBreakDownIsShownAsZeroes) {
    FullHeader(kInfo, {"core"});  // leaves a date on the stack
    long const before = calendarFault.Hits();
    calendarFault.StrikeAt(1);

    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [1900-01-00 00:00:00.123][t:4242](core):");
    EXPECT_EQ(calendarFault.Hits(), before + 1);
}

// What a thread remembers of the header before.

TEST_F(FormatFuncTest, RecordsOfOneSecondAndThreadAreFormattedOnce) {
    long const before = fieldFault.Calls();
    FullHeader(kInfo, {"core"});
    ASSERT_EQ(fieldFault.Calls(), before + 2) << "the count does not count";

    for (auto const& [ms, text] : {std::pair<int, std::string>{0, "000"},
                                   {7, "007"},
                                   {10, "010"},
                                   {98, "098"},
                                   {100, "100"},
                                   {999, "999"}}) {
        timeMs = 1700000000000 + ms;
        EXPECT_EQ(FullHeader(kError, {"io"}), "E [2023-11-14 22:13:20." + text + "][t:4242](io):");
    }
    EXPECT_EQ(ShortHeader({}), "[t:4242]):");
    EXPECT_EQ(fieldFault.Calls(), before + 2);
}

TEST_F(FormatFuncTest, AnotherSecondOrThreadIdIsFormattedAnew) {
    FullHeader(kInfo, {"core"});
    timeMs = 1700000001123;
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:21.123][t:4242](core):");
    timeMs = 1700000000123;
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:20.123][t:4242](core):");
    threadId = 43;
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:20.123][t:43](core):");
    threadId = 4242;
    EXPECT_EQ(FullHeader(kInfo, {"core"}), "I [2023-11-14 22:13:20.123][t:4242](core):");
}

TEST_F(FormatFuncTest, SecondAroundTheEpochIsSharedByNegativeMilliseconds) {
    EXPECT_EQ(TimeField(5), "[1970-01-01 00:00:00.005]");
    EXPECT_EQ(TimeField(-5), "[1970-01-01 00:00:00.-05]");
    EXPECT_EQ(TimeField(-999), "[1970-01-01 00:00:00.-999]");
    EXPECT_EQ(TimeField(6), "[1970-01-01 00:00:00.006]");
    EXPECT_EQ(TimeField(-1000), "[1969-12-31 23:59:59.000]");
    EXPECT_EQ(TimeField(-1001), "[1969-12-31 23:59:59.-01]");
    EXPECT_EQ(TimeField(-1000), "[1969-12-31 23:59:59.000]");
}

#if LONG_MAX > INT_MAX
TEST_F(FormatFuncTest, SecondOfAYearOfFiveDigitsIsNotRemembered) {
    FullHeader(kInfo, {});
    constexpr long long kYear10000 = 253402300800000;
    EXPECT_EQ(TimeField(kYear10000 + 1), "[10000-01-01 00:00:00.001]");
    EXPECT_EQ(TimeField(kYear10000 + 23), "[10000-01-01 00:00:00.023]");
    EXPECT_EQ(TimeField(1700000000456), "[2023-11-14 22:13:20.456]");
}
#endif

TEST_F(FormatFuncTest, FieldThatFailedIsTriedAgain) {
    FullHeader(kInfo, {});
    timeMs += 1000;
    threadId = 77;
    fieldAnswer = -1;
    fieldFault.StrikeAt(1);
    EXPECT_EQ(FullHeader(kInfo, {}), "I [t:77]):");
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:21.123][t:77]):");

    threadId = 78;
    fieldFault.StrikeAt(1);
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:21.123]):");
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:21.123][t:78]):");
    EXPECT_EQ(StruckFields(), 2);
}

TEST_F(FormatFuncTest, TimeThatCouldNotBeBrokenDownIsTriedAgain) {
    calendarFault.StrikeAt(1);
    EXPECT_EQ(FullHeader(kInfo, {}), "I [1900-01-00 00:00:00.123][t:4242]):");
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:20.123][t:4242]):");
}

TEST_F(FormatFuncTest, FieldThatIsTooLongToRememberIsMadeEachTime) {
    threadId = 77;
    fieldAnswer = 25;
    std::string const letters(25, 'x');
    fieldFault.StrikeAt(2);
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:20.123]" + letters + "):");
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:20.123][t:77]):");
}

TEST_F(FormatFuncTest, EachThreadRemembersItsOwn) {
    FullHeader(kInfo, {});
    std::thread([] {
        threadId = 5;
        timeMs = 1000;
        EXPECT_EQ(FullHeader(kInfo, {}), "I [1970-01-01 00:00:01.000][t:5]):");
    }).join();
    threadId = 4242;
    timeMs = 1700000000124;
    long const before = fieldFault.Calls();
    EXPECT_EQ(FullHeader(kInfo, {}), "I [2023-11-14 22:13:20.124][t:4242]):");
    EXPECT_EQ(fieldFault.Calls(), before);
}

// Against the header in other words.

#if defined(TARQLOG_TEST_EMULATED)
constexpr int kRandomHeaders = 20000;
#elif defined(TARQLOG_TEST_ASAN) || defined(TARQLOG_TEST_TSAN)
constexpr int kRandomHeaders = 100000;
#else
constexpr int kRandomHeaders = 2000000;
#endif

class HeaderOracleTest : public FormatFuncTest {
protected:
    void ExpectBothHeaders(std::uint32_t severity, long long ms, unsigned int id,
                           std::vector<std::string> const& parts) {
        timeMs = ms;
        threadId = id;
        LogRecord record(static_cast<Severity>(severity));
        LogRecordPeer::SetTag(record, &parts);
        header_ = "before ";
        fullHeader_(header_, record);
        ASSERT_EQ(header_, "before " + ExpectedHeader(true, severity, ms, id, parts)) << ms;
        header_ = "";
        shortHeader_(header_, record);
        ASSERT_EQ(header_, ExpectedHeader(false, severity, ms, id, parts));
    }

    /// A number of any length in bits, each length as likely as the other.
    long long AnyMagnitude() {
        std::uint64_t const bits = random_();
        return static_cast<long long>(random_()) >> (bits % 64);
    }

    std::vector<std::string> AnyTag() {
        static std::vector<std::string> const kParts = {
            "",
            "core",
            "io",
            "a b",
            ".",
            ")",
            "%s%n%5d",
            "\x80\xff",
            std::string("a\0b", 3),
            "long name, longer than a string holds without an allocation"};
        std::vector<std::string> parts(static_cast<std::size_t>(random_() % 5));
        for (std::string& part : parts) {
            part = kParts[static_cast<std::size_t>(random_() % kParts.size())];
        }
        return parts;
    }

    std::mt19937_64 random_{1700000000123};
    std::string header_;
    FormatHeaderFunc const fullHeader_ = DefaultFormatHeaderFunc(true);
    FormatHeaderFunc const shortHeader_ = DefaultFormatHeaderFunc(false);
};

TEST_F(HeaderOracleTest, KnowsTheHeadersOfTheLiterals) {
    EXPECT_EQ(ExpectedHeader(true, kInfo, 1700000000123, 4242, {"core", "io"}),
              "I [2023-11-14 22:13:20.123][t:4242](core.io):");
    EXPECT_EQ(ExpectedHeader(true, 64, -1, 7, {}), "U [1970-01-01 00:00:00.-01][t:7]):");
    EXPECT_EQ(ExpectedHeader(false, kInfo, 0, 7, {"a", "", "b"}), "[t:7](a..b):");
}

TEST_F(HeaderOracleTest, AgreesAroundEveryEdgeOfTime) {
    long long const edges[] = {
        0,
        LLONG_MIN,
        LLONG_MAX,
        INT_MIN * 1000LL,
        INT_MAX * 1000LL,
        UINT_MAX * 1000LL,
        INT_MIN,
        INT_MAX,
        UINT_MAX,
        -62167219200000,    // the year 0
        -62135596800000,    // the year 1
        -377705116800000,   // the year -9999
        253402300800000,    // the year 10000
        951782400000,       // a leap day
        -2203891200000,     // the day after the leap day that 1900 has not
        -9223372036854000,  // the last second that counts in microseconds
        9223372036854000,
    };
    for (long long const edge : edges) {
        for (long long const distance : {0, 1, 999, 1000, 1001, 59999, 60000, 86399999, 86400000}) {
            long long const later = edge > LLONG_MAX - distance ? LLONG_MAX : edge + distance;
            long long const earlier = edge < LLONG_MIN + distance ? LLONG_MIN : edge - distance;
            ASSERT_NO_FATAL_FAILURE(ExpectBothHeaders(kInfo, later, 4242, {"core"}));
            ASSERT_NO_FATAL_FAILURE(ExpectBothHeaders(kInfo, earlier, 4242, {"core"}));
        }
    }
}

TEST_F(HeaderOracleTest, AgreesOnEverySetOfTheLowestEightBits) {
    for (std::uint32_t severity = 0; severity < 256; ++severity) {
        ASSERT_NO_FATAL_FAILURE(ExpectBothHeaders(severity, 1700000000123, 4242, {"core"}));
        ASSERT_NO_FATAL_FAILURE(
            ExpectBothHeaders(severity | 0xabcdef00U, 1700000000123, 4242, {"core"}));
    }
}

TEST_F(HeaderOracleTest, AgreesOnAnyTimeSeverityThreadIdAndTag) {
    for (int i = 0; i < kRandomHeaders; ++i) {
        long long const ms = i % 2 == 0 ? static_cast<long long>(random_()) : AnyMagnitude();
        ASSERT_NO_FATAL_FAILURE(ExpectBothHeaders(static_cast<std::uint32_t>(random_()), ms,
                                                  static_cast<unsigned int>(AnyMagnitude()),
                                                  AnyTag()));
    }
}

TEST_F(HeaderOracleTest, AgreesOnRecordsThatFollowOneAnother) {
    constexpr int kWalk = 50;
    for (int i = 0; i < kRandomHeaders / kWalk; ++i) {
        // Half of them about the epoch, where two seconds share a second's name.
        long long ms = i % 2 == 0 ? 0 : AnyMagnitude() / 2;
        auto id = static_cast<unsigned int>(AnyMagnitude());
        for (int step = 0; step < kWalk; ++step) {
            ms += static_cast<long long>(random_() % 1001) - 500;
            id += random_() % 8 == 0 ? 1U : 0U;
            ASSERT_NO_FATAL_FAILURE(ExpectBothHeaders(kInfo, ms, id, {"core"}));
        }
    }
}

}  // namespace
}  // namespace tarqlog
