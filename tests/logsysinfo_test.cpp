#include "tarqlog/logsysinfo.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/event.h"
#include "support/installed_hooks.h"
#include "support/interpose.h"

namespace {

tarqlog::Fault clockReadings;  // a struck one fails
timeval reading;               // what the others answer
void const* zoneOfLastReading = nullptr;

tarqlog::Fault threadIdCalls;

}  // namespace

extern "C" int gettimeofday(timeval* now, void* zone) noexcept {
    zoneOfLastReading = zone;
    *now = reading;
    return clockReadings.Strikes() ? -1 : 0;
}

extern "C" long syscall(long number, ...) noexcept {
    if (number == SYS_gettid) {
        threadIdCalls.Strikes();
    }
    long arguments[6];
    std::va_list list;
    va_start(list, number);
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    return TARQLOG_NEXT(syscall)(number, arguments[0], arguments[1], arguments[2], arguments[3],
                                 arguments[4], arguments[5]);
}

namespace tarqlog {
namespace {

long long FixedTime() {
    return 42;
}

unsigned int FixedThreadId() {
    return 7;
}

unsigned int KernelThreadId() {
    return static_cast<unsigned int>(::syscall(SYS_gettid));
}

/// "2001-02-03 04:05:06 Sat 033", the last the day of the year from 0.
std::string Calendar(std::tm const& fields) {
    static char const* const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    char text[100];
    std::snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d %s %03d", fields.tm_year + 1900,
                  fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec,
                  days[fields.tm_wday], fields.tm_yday);
    return text;
}

TEST(LogSysInfoTest, FirstHooksAreTheLibrarysOwn) {
    EXPECT_EQ(LogSysInfo::SetGetTimeFunc(nullptr), &GetLocalTimeInMs);
    EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(nullptr), &GetThisThreadId);
}

TEST(LogSysInfoTest, NullReadsTheHooksAndLeavesThemInstalled) {
    InstalledHooks const hooks(FixedTime, FixedThreadId);

    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(LogSysInfo::SetGetTimeFunc(nullptr), &FixedTime);
        EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(nullptr), &FixedThreadId);
    }
}

TEST(LogSysInfoTest, InstallingATimeHookReturnsTheOneBeforeAndLeavesTheThreadIdAlone) {
    EXPECT_EQ(LogSysInfo::SetGetTimeFunc(FixedTime), &GetLocalTimeInMs);
    EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(nullptr), &GetThisThreadId);
    EXPECT_EQ(LogSysInfo::SetGetTimeFunc(GetLocalTimeInMs), &FixedTime);
    EXPECT_EQ(LogSysInfo::SetGetTimeFunc(nullptr), &GetLocalTimeInMs);
}

TEST(LogSysInfoTest, InstallingAThreadIdHookReturnsTheOneBeforeAndLeavesTheTimeAlone) {
    EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(FixedThreadId), &GetThisThreadId);
    EXPECT_EQ(LogSysInfo::SetGetTimeFunc(nullptr), &GetLocalTimeInMs);
    EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(GetThisThreadId), &FixedThreadId);
    EXPECT_EQ(LogSysInfo::SetGetThreadIdFunc(nullptr), &GetThisThreadId);
}

TEST(LogSysInfoTest, FirstHooksAreTheFunctionsThatAProgramAtAFixedAddressKnows) {
    EXPECT_EQ(RunProgram(TARQLOG_COMPARED_ADDRESSES_PATH).exitStatus, 0);
}

TEST(LogSysInfoTest, HooksAreSetBeforeAnyStaticConstructorRuns) {
    ChildResult const result = RunProgram(TARQLOG_EARLY_RECORD_PATH);

    EXPECT_EQ(result.output, "time set, thread id set\n");
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
}

TEST(GetLocalTimeInMsTest, ClockReadingIsTruncatedToMilliseconds) {
    struct {
        long long seconds;
        int microseconds;
        long long milliseconds;
    } const cases[] = {
        {0, 0, 0},
        {0, 999, 0},
        {0, 1000, 1},
        {1, 999999, 1999},
        {1700000000, 123456, 1700000000123},
        {2147483648, 500, 2147483648000},  // past 32 bits of seconds
        {253402300799, 999999, 253402300799999},
    };
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.milliseconds);
        reading.tv_sec = expected.seconds;
        reading.tv_usec = expected.microseconds;

        EXPECT_EQ(GetLocalTimeInMs(), expected.milliseconds);
    }
}

TEST(GetLocalTimeInMsTest, ClockIsReadOnceAndForNoTimeZone) {
    long const before = clockReadings.Calls();
    zoneOfLastReading = &reading;

    GetLocalTimeInMs();

    EXPECT_EQ(clockReadings.Calls() - before, 1);
    EXPECT_EQ(zoneOfLastReading, nullptr);
}

TEST(GetLocalTimeInMsTest, UnreadableClockGivesZero) {
    reading.tv_sec = 5;
    reading.tv_usec = 0;
    long const hitsBefore = clockReadings.Hits();
    clockReadings.StrikeAt(1);

    EXPECT_EQ(GetLocalTimeInMs(), 0);
    EXPECT_EQ(clockReadings.Hits() - hitsBefore, 1);
    EXPECT_EQ(GetLocalTimeInMs(), 5000);
}

TEST(GetThisThreadIdTest, IdIsTheKernelsThreadIdOnEveryThread) {
    unsigned int id = 0;
    unsigned int kernelId = 1;
    std::thread([&] {
        id = GetThisThreadId();
        kernelId = KernelThreadId();
    }).join();

    EXPECT_EQ(id, kernelId);
    EXPECT_EQ(GetThisThreadId(), KernelThreadId());
}

TEST(GetThisThreadIdTest, KernelIsAskedOncePerThread) {
    long asked = 0;
    unsigned int ids[3] = {};
    std::thread([&] {
        long const before = threadIdCalls.Calls();
        for (unsigned int& id : ids) {
            id = GetThisThreadId();
        }
        asked = threadIdCalls.Calls() - before;
    }).join();

    EXPECT_EQ(asked, 1);
    EXPECT_NE(ids[0], 0U);
    EXPECT_EQ(ids[1], ids[0]);
    EXPECT_EQ(ids[2], ids[0]);
}

TEST(GetThisThreadIdTest, LiveThreadsHaveDistinctIds) {
    unsigned int ids[2] = {};
    Event isAsked;
    Event mayEnd;
    std::thread first([&] {
        ids[0] = GetThisThreadId();
        isAsked.Set();
        mayEnd.Wait();
    });
    isAsked.Wait();
    std::thread second([&] { ids[1] = GetThisThreadId(); });
    second.join();
    mayEnd.Set();
    first.join();

    EXPECT_NE(ids[0], ids[1]);
    EXPECT_NE(ids[0], GetThisThreadId());
    EXPECT_NE(ids[1], GetThisThreadId());
}

TEST(GetThisThreadIdTest, ChildOfAForkAsksForItsOwnId) {
    unsigned int const parentId = GetThisThreadId();

    ChildResult const result = RunInChild([&] {
        bool const isOwn = GetThisThreadId() == KernelThreadId() && GetThisThreadId() != parentId;
        return isOwn ? 0 : 1;
    });

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(GetThisThreadId(), parentId);
}

TEST(GetThisThreadIdTest, ChildForkedByASecondThreadAsksForItsOwnIdToo) {
    GetThisThreadId();
    ChildResult result;
    std::thread([&] {
        GetThisThreadId();
        result = RunInChild([] { return GetThisThreadId() == KernelThreadId() ? 0 : 1; });
    }).join();

    EXPECT_EQ(result.exitStatus, 0);
}

TEST(CalendarTest, SecondsAreBrokenDownToUtc) {
    struct {
        long seconds;
        std::string calendar;
    } const cases[] = {
        {0, "1970-01-01 00:00:00 Thu 000"},          {-1, "1969-12-31 23:59:59 Wed 364"},
        {951868799, "2000-02-29 23:59:59 Tue 059"},  {1700000000, "2023-11-14 22:13:20 Tue 317"},
        {2147483647, "2038-01-19 03:14:07 Tue 018"},
    };
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.seconds);
        std::tm fields = std::tm();

        EXPECT_TRUE(LogSysInfo::GmTime(expected.seconds, &fields));
        EXPECT_EQ(Calendar(fields), expected.calendar);
    }
}

TEST(CalendarTest, SecondsAreBrokenDownToTheLocalTimeOfTheTests) {
    struct {
        long seconds;
        std::string calendar;
    } const cases[] = {
        {0, "1970-01-01 05:45:00 Thu 000"},
        {-1, "1970-01-01 05:44:59 Thu 000"},
        {1700000000, "2023-11-15 03:58:20 Wed 318"},
    };
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.seconds);
        std::tm fields = std::tm();

        EXPECT_TRUE(LogSysInfo::LocalTime(expected.seconds, &fields));
        EXPECT_EQ(Calendar(fields), expected.calendar);
    }
}

// A long of 32 bits does not reach the years of these.
#if LONG_MAX > INT_MAX
TEST(CalendarTest, SecondsBeyond32BitsAreBrokenDownToo) {
    std::tm fields = std::tm();

    EXPECT_TRUE(LogSysInfo::GmTime(2147483648, &fields));
    EXPECT_EQ(Calendar(fields), "2038-01-19 03:14:08 Tue 018");
    EXPECT_TRUE(LogSysInfo::GmTime(253402300799, &fields));
    EXPECT_EQ(Calendar(fields), "9999-12-31 23:59:59 Fri 364");
}

TEST(CalendarTest, YearThatDoesNotFitIsRefusedWithTheSystemsReason) {
    std::tm fields = std::tm();

    for (long seconds : {LONG_MAX, LONG_MIN}) {
        SCOPED_TRACE(seconds);
        errno = 0;
        EXPECT_FALSE(LogSysInfo::GmTime(seconds, &fields));
        EXPECT_EQ(errno, EOVERFLOW);
        errno = 0;
        EXPECT_FALSE(LogSysInfo::LocalTime(seconds, &fields));
        EXPECT_EQ(errno, EOVERFLOW);
    }
}
#endif

}  // namespace
}  // namespace tarqlog
