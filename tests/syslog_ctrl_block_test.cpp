#include "tarqlog/syslog_ctrl_block.h"

#include <pthread.h>
#include <syslog.h>

#include <csignal>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/thread_mutex.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/interpose.h"
#include "support/syslog_watch.h"

namespace tarqlog {
namespace {

using Strings = std::vector<std::string>;

Fault mutexInits;
thread_local pthread_mutex_t* lastLocked = nullptr;

}  // namespace
}  // namespace tarqlog

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex,
                                  pthread_mutexattr_t const* attributes) noexcept {
    tarqlog::mutexInits.Strikes();
    return TARQLOG_NEXT(pthread_mutex_init)(mutex, attributes);
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_lock);
    tarqlog::lastLocked = mutex;
    return next(mutex);
}

namespace tarqlog {
namespace {

static_assert(!std::is_copy_constructible<SyslogCtrlBlock>::value, "one owner");
static_assert(!std::is_copy_assignable<SyslogCtrlBlock>::value, "one owner");
static_assert(std::is_same<decltype(&SyslogCtrlBlock::destroyed_), bool*>::value, "a promise");

testing::Matcher<std::string const&> const isDestroyedAssertion = testing::MatchesRegex(
    "src/unix/syslog_ctrl_block\\.cpp:[0-9]+: GetSyslogCtrlBlock: "
    "Assertion '!SyslogCtrlBlock::destroyed_' failed\\.\n");

void Open(std::string const& ident) {
    SyslogCtrlBlock::GetSyslogCtrlBlock()->Open(ident);
}

/// Whether another thread could take the mutex now.
bool IsFree(pthread_mutex_t* mutex) {
    bool free = false;
    std::thread([&] {
        free = ::pthread_mutex_trylock(mutex) == 0;
        if (free) {
            ::pthread_mutex_unlock(mutex);
        }
    }).join();
    return free;
}

// The block.

// The first test: no other may ask for the block before.
TEST(SyslogCtrlBlockTest, BlockIsMadeWhenTheLibraryIsLoaded) {
    long const beforeProof = mutexInits.Calls();
    threads::ThreadMutex const other;
    ASSERT_EQ(mutexInits.Calls(), beforeProof + 1);

    EXPECT_NE(SyslogCtrlBlock::GetSyslogCtrlBlock(), nullptr);

    EXPECT_EQ(mutexInits.Calls(), beforeProof + 1);
}

TEST(SyslogCtrlBlockTest, LoadingTheLibraryDoesNotOpenTheLog) {
    EXPECT_EQ(logOpenings.Calls(), 0);
    EXPECT_FALSE(SyslogCtrlBlock::destroyed_);
    ::openlog("proof", 0, LOG_USER);
    EXPECT_EQ(logOpenings.Calls(), 1);
}

TEST(SyslogCtrlBlockTest, ThereIsOneBlock) {
    SyslogCtrlBlock* elsewhere = nullptr;
    std::thread([&] { elsewhere = SyslogCtrlBlock::GetSyslogCtrlBlock(); }).join();

    EXPECT_EQ(SyslogCtrlBlock::GetSyslogCtrlBlock(), SyslogCtrlBlock::GetSyslogCtrlBlock());
    EXPECT_EQ(SyslogCtrlBlock::GetSyslogCtrlBlock(), elsewhere);
}

TEST(SyslogCtrlBlockTest, DeathOfABlockStopsTheProcessAtTheNextCallForIt) {
    ChildResult const result = RunInChild([] {
        {
            SyslogCtrlBlock const another;
            if (SyslogCtrlBlock::destroyed_) {
                return 1;
            }
        }
        if (!SyslogCtrlBlock::destroyed_ || logClosings.Calls() != 0) {
            return 2;
        }
        SyslogCtrlBlock::GetSyslogCtrlBlock();
        return 3;
    });

    EXPECT_EQ(result.signal, SIGABRT) << result.exitStatus;
    EXPECT_TRUE(isDestroyedAssertion.Matches(result.errors)) << result.errors;
}

// Opening the log.

TEST(SyslogCtrlBlockTest, LogIsOpenedForFacilityUserWithTheProcessId) {
    SyslogJournal const journal;

    Open("app");

    ASSERT_EQ(journal.openings.size(), 1U);
    EXPECT_EQ(journal.openings[0].letters, "app");
    EXPECT_EQ(journal.openings[0].options, LOG_PID);
    EXPECT_EQ(journal.openings[0].facility, LOG_USER);
}

TEST(SyslogCtrlBlockTest, EmptyIdentityIsPassedAsNull) {
    SyslogJournal const journal;

    Open("");

    ASSERT_EQ(journal.openings.size(), 1U);
    EXPECT_EQ(journal.openings[0].identity, nullptr);
    EXPECT_EQ(journal.openings[0].options, LOG_PID);
    EXPECT_EQ(journal.openings[0].facility, LOG_USER);
}

TEST(SyslogCtrlBlockTest, IdentityIsCutToItsFirst32Bytes) {
    std::string const alphabet = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    struct {
        std::string ident;
        std::string opened;
    } const cases[] = {
        {"a", "a"},
        {alphabet.substr(0, 31), alphabet.substr(0, 31)},
        {alphabet.substr(0, 32), alphabet.substr(0, 32)},
        {alphabet.substr(0, 33), alphabet.substr(0, 32)},
        {alphabet, "abcdefghijklmnopqrstuvwxyz012345"},
        {std::string(10000, 'x'), std::string(32, 'x')},
        {std::string(31, 'x') + "\xc3\xa9", std::string(31, 'x') + '\xc3'},
        {"%s\n \xff", "%s\n \xff"},
        {std::string("\0x", 2), ""},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.ident);
        ChildResult const result = RunInChild([&] {  // which opens it once
            SyslogJournal const journal;
            Open(row.ident);
            return journal.openings.size() == 1 && journal.openings[0].letters == row.opened ? 0
                                                                                             : 1;
        });
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(SyslogCtrlBlockTest, FirstOpeningAloneCountsAnEmptyOneToo) {
    for (std::string const first : {"a", ""}) {
        SCOPED_TRACE(first);
        ChildResult const result = RunInChild([&] {
            SyslogJournal const journal;
            for (std::string const& ident : Strings{first, "b", "", first}) {
                Open(ident);
            }
            std::thread([] { Open("c"); }).join();
            return logOpenings.Calls() == 1 && journal.openings[0].letters.value_or("") == first
                       ? 0
                       : 1;
        });
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(SyslogCtrlBlockTest, IdentityOutlivesTheArgumentAndIsNeverChanged) {
    SyslogJournal const journal;
    std::string ident = "first identity";
    Open(ident);
    ident = "another letters";
    Open(ident);
    Open("");

    ASSERT_EQ(journal.openings.size(), 1U);
    EXPECT_STREQ(journal.openings[0].identity, "first identity");
}

TEST(SyslogCtrlBlockTest, OpeningAllocatesNothing) {
    std::string const ident(1000, 'x');
    AllocationLimit const limit(0);
    EXPECT_THROW(threads::ThreadMutex(), std::bad_alloc);

    EXPECT_NO_THROW(Open(ident));

    EXPECT_EQ(limit.Refused(), 1U);
    EXPECT_EQ(logOpenings.Calls(), 1);
}

// Many threads.

TEST(SyslogCtrlBlockTest, MutexIsHeldWhileTheLogIsOpenedAndFreeAfterwards) {
    bool heldInside = false;
    SyslogJournal const journal([&] { heldInside = !IsFree(lastLocked); });
    lastLocked = nullptr;

    Open("app");

    ASSERT_NE(lastLocked, nullptr);
    EXPECT_TRUE(heldInside);
    EXPECT_TRUE(IsFree(lastLocked));
    Open("app");
    EXPECT_TRUE(IsFree(lastLocked));
}

TEST(SyslogCtrlBlockTest, ThreadsAtOnceOpenTheLogOnce) {
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([number] { Open("app " + std::to_string(number)); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(logOpenings.Calls(), 1);
}

// Beginning and end, in programs of their own.

/// The program is linked with the shared library, or holds the static one.
class SyslogLifetimeTest : public testing::TestWithParam<char const*> {};

TEST_P(SyslogLifetimeTest, BlockIsThereBeforeMainAndDestroyedAtExitThoughNobodyAskedForIt) {
    ChildResult const result = RunProgram(GetParam(), {"look"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "in main: there\nin the end: destroyed\n");
}

TEST_P(SyslogLifetimeTest, AppenderMadeAfterTheEndOfTheBlockStopsTheProcess) {
    ChildResult const result = RunProgram(GetParam(), {"make"});

    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_TRUE(isDestroyedAssertion.Matches(result.errors)) << result.errors;
}

TEST_P(SyslogLifetimeTest, AppenderMadeInTimeWritesToTheVeryEnd) {
    ChildResult const result = RunProgram(GetParam(), {"log"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "openings 1, messages 1, closings 0\n");
}

std::string Name(testing::TestParamInfo<char const*> const& info) {
    return std::string(info.param) == TARQLOG_SYSLOG_LIFETIME_SHARED ? "Shared" : "Static";
}

INSTANTIATE_TEST_SUITE_P(Linked, SyslogLifetimeTest,
                         testing::Values(TARQLOG_SYSLOG_LIFETIME_SHARED,
                                         TARQLOG_SYSLOG_LIFETIME_STATIC),
                         Name);

TEST(SyslogCtrlBlockTest, StaticConstructorThatRunsBeforeTheLibrarysFindsTheBlock) {
    ChildResult const result = RunProgram(TARQLOG_EARLY_SYSLOG_PATH);

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "openings 1, the same block\n");
}

}  // namespace
}  // namespace tarqlog
