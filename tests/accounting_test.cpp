#include "tarqlog/accounting.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/console_appender.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/udp_appender.h"

#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/sinks.h"
#include "support/temporary_directory.h"
#include "support/udp_port.h"

namespace tarqlog {

bool operator==(Account const& left, Account const& right) {
    auto const all = [](Account const& account) {
        return std::tie(account.empty, account.filtered, account.written, account.openFailed,
                        account.shortWrite, account.sendFailed, account.thrown);
    };
    return all(left) == all(right);
}

std::ostream& operator<<(std::ostream& stream, Account const& account) {
    return stream << "empty " << account.empty << ", filtered " << account.filtered << ", written "
                  << account.written << ", open failed " << account.openFailed << ", short write "
                  << account.shortWrite << ", send failed " << account.sendFailed << ", thrown "
                  << account.thrown;
}

namespace {

/// Does with each record what its text asks for.
class ObedientAppender : public AppenderBase {
public:
    ObedientAppender() : AppenderBase(false) {}

protected:
    void DoAppend(LogRecord const& record) override {
        std::string const text = TextOf(record);
        if (text == "throw") {
            throw std::runtime_error(text);
        }
        if (text == "lose") {
            NoteLost(LossCause::kSendFailed);
        }
        if (text == "lose three") {
            NoteLost(LossCause::kShortWrite, 3);
        }
    }
};

void Log(AppenderBase& appender, std::string const& text, Severity severity = kInfo) {
    appender.Append(TaggedRecord(severity, text, {"core"}));
}

void LogMany(AppenderBase& appender, int count) {
    for (int i = 0; i < count; ++i) {
        Log(appender, "a text");
    }
}

long LinesIn(std::string const& path) {
    std::ifstream file(path);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    return std::count(text.begin(), text.end(), '\n');
}

class AccountTest : public testing::Test {
protected:
    AccountTest() {
        line_ = std::string("I [2023-11-14 22:13:20.123][t:4242](core):a text\n").size();
    }

    /// Logs in a child whose files cannot have more than `bytes`, and tells this process how many
    /// records the child's appender has called written, and how many lost.
    std::string LogUpTo(std::size_t bytes, int buffered, int records) {
        ChildResult const result = RunInChild([&] {
            std::signal(SIGXFSZ, SIG_IGN);
            rlimit limit = {};
            ::getrlimit(RLIMIT_FSIZE, &limit);
            FileAppender appender(path_, 0, buffered, FileAppender::kAppendMode);
            limit.rlim_cur = bytes;
            if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
                return 1;
            }
            LogMany(appender, records);
            appender.Close();
            limit.rlim_cur = limit.rlim_max;
            ::setrlimit(RLIMIT_FSIZE, &limit);
            Account const account = GetAccount(appender);
            std::printf("written %llu, lost %llu", account.written, account.shortWrite);
            std::fflush(stdout);
            return account.Appended() == static_cast<unsigned int>(records) ? 0 : 2;
        });
        EXPECT_EQ(result.exitStatus, 0);
        return result.output;
    }

    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TemporaryDirectory const directory_;
    std::string const path_ = directory_.File("log");
    std::size_t line_ = 0;  // bytes of a line
};

TEST_F(AccountTest, BeginsWithNothing) {
    ObedientAppender const appender;
    EXPECT_EQ(GetAccount(appender), Account());
    EXPECT_EQ(Account().Appended(), 0U);
}

TEST_F(AccountTest, EachRecordIsCountedOnceByWhatBecameOfIt) {
    ObedientAppender appender;
    appender.SetSeverity(kInfo);

    Log(appender, "");
    Log(appender, "", kError);  // empty before all else
    appender.Append(LogRecord(kInfo));
    Log(appender, "a", kError);
    Log(appender, "b");
    Log(appender, "c");
    Log(appender, "d", kInfo | kError);
    Log(appender, "lose");
    EXPECT_THROW(Log(appender, "throw"), std::runtime_error);

    Account const account = GetAccount(appender);
    Account expected;
    expected.empty = 3;
    expected.filtered = 1;
    expected.written = 3;
    expected.sendFailed = 1;
    expected.thrown = 1;
    EXPECT_EQ(account, expected);
    EXPECT_EQ(account.Lost(), 2U);
    EXPECT_EQ(account.Appended(), 9U);
}

TEST_F(AccountTest, EarlierRecordsMayTurnOutToBeLost) {
    ObedientAppender appender;
    LogMany(appender, 4);
    Log(appender, "lose three");

    Account expected;
    expected.written = 2;
    expected.shortWrite = 3;
    EXPECT_EQ(GetAccount(appender), expected);
}

TEST_F(AccountTest, RecordWhoseHeaderThrowsIsLost) {
    ObedientAppender appender;
    appender.SetHeaderFunc(FormatHeaderFunc());
    EXPECT_THROW(Log(appender, "a"), boost::bad_function_call);
    EXPECT_EQ(GetAccount(appender).thrown, 1U);
    EXPECT_EQ(GetAccount(appender).written, 0U);
}

TEST_F(AccountTest, IsReadWhileAnotherThreadHoldsTheMutex) {
    ObedientAppender appender;
    LogMany(appender, 2);
    threads::ScopedLock const lock(appender.Mutex());
    unsigned long long written = 0;
    std::thread([&] { written = GetAccount(appender).written; }).join();
    EXPECT_EQ(written, 2U);
}

TEST_F(AccountTest, NothingIsCountedTwiceOrForgottenBesideOtherThreads) {
    constexpr unsigned int kThreads = 8;
    constexpr unsigned int kRecords = 20000;
    ObedientAppender appender;
    appender.SetSeverity(kInfo | kError);
    std::vector<Account> expected(kThreads);
    auto const log = [&](Account& tally, unsigned int seed) {
        std::mt19937 random(seed);
        for (unsigned int i = 0; i < kRecords; ++i) {
            switch (random() % 5) {
                case 0:
                    Log(appender, "");
                    ++tally.empty;
                    break;
                case 1:
                    Log(appender, "a", kWarning);
                    ++tally.filtered;
                    break;
                case 2:
                    Log(appender, "lose");
                    ++tally.sendFailed;
                    break;
                case 3:
                    EXPECT_THROW(Log(appender, "throw"), std::runtime_error);
                    ++tally.thrown;
                    break;
                default:
                    Log(appender, "a");
                    ++tally.written;
            }
            Account const account = GetAccount(appender);
            EXPECT_LE(account.Appended(), kThreads * kRecords)
                << "a loss is seen before its record";
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads.emplace_back(log, std::ref(expected[i]), i);
    }
    Account sum;
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads[i].join();
        sum.empty += expected[i].empty;
        sum.filtered += expected[i].filtered;
        sum.written += expected[i].written;
        sum.sendFailed += expected[i].sendFailed;
        sum.thrown += expected[i].thrown;
    }
    EXPECT_EQ(GetAccount(appender), sum);
    EXPECT_EQ(sum.Appended(), kThreads * kRecords);
}

// Files.

TEST_F(AccountTest, RecordsWithoutAFileAreLostUntilItCanBeOpened) {
    std::string const folder = directory_.File("logs");
    for (int const buffered : {0, 10}) {
        SCOPED_TRACE(buffered);
        FileAppender appender(folder + "/log", 0, buffered, FileAppender::kAppendMode);
        LogMany(appender, 3);
        std::filesystem::create_directory(folder);
        LogMany(appender, 2);

        Account expected;
        expected.openFailed = 3;
        expected.written = 2;
        EXPECT_EQ(GetAccount(appender), expected);
        std::filesystem::remove_all(folder);
    }
}

TEST_F(AccountTest, RecordWhoseFileCannotBeginAnewIsLost) {
    FileAppender appender(path_, 1, 0, FileAppender::kAppendMode);
    while (std::filesystem::file_size(path_) < 1024) {
        Log(appender, "a text");
    }
    unsigned long long const written = GetAccount(appender).written;
    std::filesystem::rename(path_, path_ + ".moved");
    std::filesystem::create_directories(path_ + "/in the way");

    Log(appender, "a text");

    EXPECT_EQ(GetAccount(appender).openFailed, 1U);
    EXPECT_EQ(GetAccount(appender).written, written);
}

TEST_F(AccountTest, UnbufferedRecordsBeyondTheSpaceAreLost) {
    EXPECT_EQ(LogUpTo(5 * line_, 0, 8), "written 5, lost 3");
    std::filesystem::remove(path_);
    EXPECT_EQ(LogUpTo(6 * line_ - 1, 0, 8), "written 5, lost 3");
    EXPECT_EQ(LinesIn(path_), 5);
}

TEST_F(AccountTest, OfABatchThatDoesNotFitTheWholeLinesAreWritten) {
    for (std::size_t const bytes : {5 * line_, 5 * line_ + 1, 6 * line_ - 1}) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(LogUpTo(bytes, 10, 8), "written 5, lost 3");
        EXPECT_EQ(LinesIn(path_), 5);
        std::filesystem::remove(path_);
    }
    EXPECT_EQ(LogUpTo(7 * line_, 10, 8), "written 7, lost 1");
    std::filesystem::remove(path_);
    EXPECT_EQ(LogUpTo(0, 10, 8), "written 0, lost 8");
}

TEST_F(AccountTest, UrgentRecordIsLostWithTheBatchBeforeIt) {
    FileAppender appender("/dev/full", 0, 10, FileAppender::kAppendMode);
    LogMany(appender, 3);
    EXPECT_EQ(GetAccount(appender).written, 3U) << "nothing was written out yet";
    Log(appender, "a text", kError);

    Account expected;
    expected.shortWrite = 4;
    EXPECT_EQ(GetAccount(appender), expected);
}

TEST_F(AccountTest, BatchOfAFileThatIsNoLongerOpenIsLost) {
    std::string const folder = directory_.File("logs");
    std::filesystem::create_directory(folder);
    FileAppender appender(folder + "/log", 0, 10, FileAppender::kAppendMode);
    LogMany(appender, 3);
    std::filesystem::remove_all(folder);
    ASSERT_FALSE(appender.Reopen());

    appender.Flush();
    appender.Flush();

    Account expected;
    expected.openFailed = 3;
    EXPECT_EQ(GetAccount(appender), expected);
}

TEST_F(AccountTest, FullBatchesOfSixtyFourAreAllWritten) {
    FileAppender appender(path_, 0, 1000, FileAppender::kAppendMode);
    LogMany(appender, 1000);
    appender.Close();

    Account expected;
    expected.written = 1000;
    EXPECT_EQ(GetAccount(appender), expected);
    EXPECT_EQ(LinesIn(path_), 1000);
}

// Other destinations.

TEST_F(AccountTest, ConsoleThatTakesNothingLosesTheRecord) {
    ChildResult const result = RunInChild([] {
        std::FILE* const console = stderr;
        stderr = std::fopen("/dev/full", "w");
        std::setvbuf(stderr, nullptr, _IONBF, 0);
        ConsoleAppender appender(ConsoleAppender::kStderr);
        LogMany(appender, 2);
        bool const isLost = GetAccount(appender).shortWrite == 2;
        std::fclose(stderr);
        stderr = console;
        LogMany(appender, 3);
        return isLost && GetAccount(appender).written == 3 ? 0 : 1;
    });
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(AccountTest, EmptyHeaderIsNoLoss) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    appender.SetHeaderFunc([](std::string&, LogRecord const&) {});
    Log(appender, "a text");
    EXPECT_EQ(GetAccount(appender).written, 1U);
}

TEST_F(AccountTest, DatagramsThatAreRefusedAreLost) {
    UdpPort const port;  // nobody listens, so that each second datagram is refused
    UdpAppender appender("127.0.0.1", port.Number());
    LogMany(appender, 10);

    Account const account = GetAccount(appender);
    EXPECT_GT(account.sendFailed, 0U);
    EXPECT_GT(account.written, 0U);
    EXPECT_EQ(account.sendFailed + account.written, 10U);
}

TEST_F(AccountTest, RecordsWithoutASocketAreLost) {
    UdpAppender appender("localhost", 514);  // not an address
    LogMany(appender, 3);

    Account expected;
    expected.openFailed = 3;
    EXPECT_EQ(GetAccount(appender), expected);
}

// The core.

TEST(StaleRecordsTest, PushUnderAnEarlierConfigurationIsCounted) {
    LogCore core;
    std::vector<SinkEntry> sinks;
    auto const appender = boost::make_shared<ObedientAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    unsigned int const generation = core.CollectSinks(sinks, {});
    TaggedRecord const record(kInfo, "a text");
    core.PushRecord(generation, sinks, record);
    EXPECT_EQ(GetStaleRecords(core), 0U);

    core.AddSink(RootRule(kInfo), AnySink());
    core.PushRecord(generation, sinks, record);
    core.PushRecord(generation, sinks, record);

    EXPECT_EQ(GetStaleRecords(core), 2U);
    EXPECT_EQ(GetAccount(*appender).written, 1U);
}

TEST(StaleRecordsTest, PushThroughAListThatAnotherThreadHasRefreshedIsCounted) {
    LogCore& core = *LogCore::Get();
    core.AddSink(RootRule(kInfo), AnySink());
    Logger logger("core");
    ASSERT_TRUE(logger.HasSink(kInfo));
    LogRecord record(kInfo);
    record.WriteData("a text", 6);
    core.RemoveAllSinks();
    std::thread([&] { EXPECT_FALSE(logger.HasSink(kInfo)); }).join();

    logger.PushRecord(record);

    EXPECT_EQ(GetStaleRecords(core), 1U);
}

TEST(StaleRecordsTest, RecordOfASeverityThatNoSinkTakesIsCounted) {
    LogCore core;
    std::vector<SinkEntry> sinks;
    core.AddSink(RootRule(kInfo), AnySink());
    unsigned int const generation = core.CollectSinks(sinks, {});

    core.PushRecord(generation, sinks, TaggedRecord(kInfo | kError, "a text"));
    EXPECT_EQ(GetStaleRecords(core), 0U);
    core.PushRecord(generation, sinks, TaggedRecord(kError, "a text"));
    EXPECT_EQ(GetStaleRecords(core), 1U);
}

TEST(StaleRecordsTest, RecordThatAnAppenderThrowsAtHasReachedItsSink) {
    LogCore core;
    std::vector<SinkEntry> sinks;
    core.AddSink(RootRule(kInfo), SinkOf(boost::make_shared<ObedientAppender>()));
    unsigned int const generation = core.CollectSinks(sinks, {});

    EXPECT_THROW(core.PushRecord(generation, sinks, TaggedRecord(kInfo, "throw")),
                 std::runtime_error);
    EXPECT_EQ(GetStaleRecords(core), 0U);
}

}  // namespace
}  // namespace tarqlog
