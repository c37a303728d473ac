// What the child of a fork may do, and what it leaves to its parent.

#include <fcntl.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/console_appender.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/sink_entry.h"
#include "tarqlog/thread_mutex.h"
#include "tarqlog/thread_shared_mutex.h"
#include "tarqlog/udp_appender.h"

#include "support/child.h"
#include "support/event.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/rwlock_watch.h"
#include "support/sinks.h"
#include "support/temporary_directory.h"
#include "support/udp_port.h"

namespace tarqlog {
namespace {

void Push(Logger& logger, std::string const& text) {
    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger.PushRecord(record);
    }
}

void Add(boost::shared_ptr<AppenderBase> const& appender) {
    LogCore::Get()->AddSink(RootRule(kAllSeverities), SinkOf(appender));
}

/// The texts of the lines of a log.
std::string TextsOf(std::string const& log) {
    std::string texts;
    for (std::string::size_type end = 0, begin = 0; begin < log.size(); begin = end) {
        end = log.find('\n', begin) + 1;
        std::string::size_type const text = log.find("):", begin) + 2;
        texts += log.substr(text, end - text);
    }
    return texts;
}

/// Forks, lets the child do `body` and leave by exit() with what that returns, and waits for it.
/// A child that hangs is killed.
int StatusOfChild(std::function<int()> const& body) {
    pid_t const child = ::fork();
    if (child == 0) {
        ::alarm(60);
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the child has no other thread
        std::exit(body());
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

/// The child of a fork that is tested is a grandchild of the test: it leaves by exit(), and what
/// GoogleTest has to say at exit is not for it to say.
class ForkTest : public testing::Test {
protected:
    static std::string Output(std::function<int()> const& body) {
        ChildResult const result = RunInChild(body);
        EXPECT_EQ(result.exitStatus, 0) << result.signal << result.errors;
        return result.output;
    }

    TemporaryDirectory const directory_;
    std::string const path_ = directory_.File("app.log");
};

TEST_F(ForkTest, ForkWaitsUntilWhatIsBeingDeliveredIsDelivered) {
    auto const stuck = boost::make_shared<StuckAppender>();
    Add(stuck);
    Logger logger("core");
    std::thread delivering([&] { Push(logger, "stuck"); });
    stuck->inside.Wait();
    long const before = exclusiveLocks.Calls();
    bool hasLeft = false;  // ordered by the fork's wait
    std::thread forking([&] {
        int const status = StatusOfChild([&] { return hasLeft ? 0 : 1; });
        EXPECT_EQ(status, 0);
    });
    AwaitCalls(exclusiveLocks, before + 1);

    hasLeft = true;
    stuck->mayLeave.Set();
    forking.join();
    delivering.join();
}

TEST_F(ForkTest, ChildLogsConfiguresAndExits) {
    auto const file = boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode);
    Add(file);
    Logger logger("core");
    Push(logger, "before");

    EXPECT_EQ(StatusOfChild([&] {
                  Push(logger, "of the child");
                  LogCore::Get()->RemoveAllSinks();
                  Add(boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode));
                  Logger another("another");
                  std::thread([&] { Push(another, "of its thread"); }).join();
                  return 0;
              }),
              0);
    Push(logger, "after");

    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "before\nof the child\nof its thread\nafter\n");
}

TEST_F(ForkTest, ParentLogsAndConfiguresAfterAFork) {
    Add(boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode));
    Logger logger("core");
    EXPECT_EQ(StatusOfChild([] { return 0; }), 0);

    std::thread([&] { Push(logger, "one"); }).join();
    LogCore::Get()->RemoveAllSinks();
    Add(boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode));
    Push(logger, "two");

    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "one\ntwo\n");
}

TEST_F(ForkTest, BufferedLinesAreTheParentsToWrite) {
    Add(boost::make_shared<FileAppender>(path_, 0, 3, FileAppender::kAppendMode));
    Logger logger("core");
    Push(logger, "one");
    Push(logger, "two");

    EXPECT_EQ(StatusOfChild([&] {
                  Push(logger, "of the child");
                  return 0;
              }),
              0);
    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "of the child\n");
    Push(logger, "three");

    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "of the child\none\ntwo\nthree\n");
}

TEST_F(ForkTest, ChildCountsTheRecordsInItsBufferFromTheBeginning) {
    Add(boost::make_shared<FileAppender>(path_, 0, 3, FileAppender::kAppendMode));
    Logger logger("core");
    Push(logger, "one");
    Push(logger, "two");

    EXPECT_EQ(StatusOfChild([&] {
                  Push(logger, "1");
                  Push(logger, "2");
                  return ReadWholeFile(path_).empty() ? 0 : 1;
              }),
              0);
}

TEST_F(ForkTest, LinesInTheBufferOfStandardOutputComeOutOnce) {
    std::string const output = Output([] {
        Add(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
        Logger logger("core");
        Push(logger, "before");
        int const status = StatusOfChild([&] {
            Push(logger, "of the child");
            return 0;
        });
        Push(logger, "after");
        return status;
    });

    EXPECT_EQ(TextsOf(output), "before\nof the child\nafter\n");
}

TEST_F(ForkTest, LinesInTheBufferOfAConsoleThatIsGoneComeOutOnce) {
    std::string const output = Output([] {
        Add(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
        Logger logger("core");
        Push(logger, "before");
        LogCore::Get()->RemoveAllSinks();
        return StatusOfChild([] { return 0; });
    });

    EXPECT_EQ(TextsOf(output), "before\n");
}

TEST_F(ForkTest, LineThatReachedTheConsoleWhileTheForkWaitedComesOutOnce) {
    std::string const output = Output([] {
        auto const stuck = boost::make_shared<StuckAppender>();
        auto const sink = SinkOf(stuck);
        sink->AddAppender(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
        LogCore::Get()->AddSink(RootRule(kAllSeverities), sink);
        Logger logger("core");
        std::thread delivering([&] { Push(logger, "late"); });
        stuck->inside.Wait();
        long const before = exclusiveLocks.Calls();
        int status = -1;
        std::thread forking([&] { status = StatusOfChild([] { return 0; }); });
        AwaitCalls(exclusiveLocks, before + 1);

        stuck->mayLeave.Set();
        forking.join();
        delivering.join();
        return status;
    });

    EXPECT_EQ(TextsOf(output), "late\n");
}

TEST_F(ForkTest, WithoutAConsoleAppenderStandardOutputIsLeftAlone) {
    EXPECT_EQ(Output([] {
                  std::printf("the program's own;");
                  return StatusOfChild([] { return 0; });
              }),
              "the program's own;the program's own;");
}

// Which has no buffer unless the program gives it one.

TEST_F(ForkTest, LinesInTheBufferOfStandardErrorComeOutOnce) {
    ChildResult const result = RunInChild([] {
        std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
        Add(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStderr));
        Logger logger("core");
        Push(logger, "before");
        return StatusOfChild([] { return 0; });
    });

    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    EXPECT_EQ(TextsOf(result.errors), "before\n");
}

TEST_F(ForkTest, WithoutAConsoleAppenderStandardErrorIsLeftAlone) {
    ChildResult const result = RunInChild([] {
        std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
        std::fputs("the program's own;", stderr);
        return StatusOfChild([] { return 0; });
    });

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "the program's own;the program's own;");
}

TEST_F(ForkTest, ChildSendsFromASocketOfItsOwn) {
    ListeningPort port;
    Add(boost::make_shared<UdpAppender>("127.0.0.1", port.Number()));
    Logger logger("core");
    Push(logger, "before");
    port.Receive();
    int const next = ::dup(0);  // the lowest free descriptor
    ::close(next);

    EXPECT_EQ(StatusOfChild([&] {
                  int const lowest = ::dup(0);
                  Push(logger, "of the child");
                  return lowest < next ? 0 : 1;  // the parent's socket has made room
              }),
              0);

    EXPECT_EQ(TextsOf(port.Receive()), "of the child\n");
    Push(logger, "after");
    EXPECT_EQ(TextsOf(port.Receive()), "after\n");
}

/// Forks a child that leaves at once.
class ForkingAppender : public AppenderBase {
public:
    ForkingAppender() : AppenderBase(false) {}

    int status = -1;

protected:
    void DoAppend(LogRecord const&) override {
        pid_t const child = ::fork();
        if (child == 0) {
            LeaveChild(7);
        }
        ::waitpid(child, &status, 0);
    }
};

/// Returns 0 when the process-wide core, with whose sinks `logger` has to do, is held by nobody.
int UseTheCore(Logger& logger) {
    std::thread([&] { Push(logger, "another"); }).join();
    LogCore::Get()->RemoveAllSinks();
    return logger.HasSink(kInfo) ? 1 : 0;
}

TEST_F(ForkTest, AppenderMayForkAndItsChildLeaves) {
    auto const forking = boost::make_shared<ForkingAppender>();
    Add(forking);
    Logger logger("core");

    Push(logger, "one");

    EXPECT_EQ(WEXITSTATUS(forking->status), 7);
    EXPECT_EQ(UseTheCore(logger), 0);
}

TEST_F(ForkTest, AppenderMayForkOnAThreadThatHasForked) {
    auto const forking = boost::make_shared<ForkingAppender>();
    Add(forking);
    Logger logger("core");
    EXPECT_EQ(StatusOfChild([] { return 0; }), 0);

    Push(logger, "one");

    EXPECT_EQ(WEXITSTATUS(forking->status), 7);
    EXPECT_EQ(UseTheCore(logger), 0);
}

TEST_F(ForkTest, AppenderMayForkInAChild) {
    auto const forking = boost::make_shared<ForkingAppender>();
    Add(forking);
    Logger logger("core");

    EXPECT_EQ(StatusOfChild([&] {
                  Push(logger, "one");
                  return WEXITSTATUS(forking->status) == 7 ? UseTheCore(logger) : 1;
              }),
              0);
}

TEST_F(ForkTest, AppenderMayForkWithinTheRecordOfAnother) {
    class LoggingAppender : public AppenderBase {
    public:
        LoggingAppender() : AppenderBase(false) {}

    protected:
        void DoAppend(LogRecord const&) override { Push(inner_, "inner"); }

    private:
        Logger inner_{"inner"};
    };
    auto const forking = boost::make_shared<ForkingAppender>();
    LogCore::Get()->AddSink({FilterRule("inner", kInfo)}, SinkOf(forking));
    LogCore::Get()->AddSink({FilterRule("outer", kInfo)},
                            SinkOf(boost::make_shared<LoggingAppender>()));
    Logger outer("outer");

    Push(outer, "outer");

    EXPECT_EQ(WEXITSTATUS(forking->status), 7);
    EXPECT_EQ(UseTheCore(outer), 0);
}

TEST_F(ForkTest, AppenderMayForkAsItIsDestroyedByTheCore) {
    class LeavingAppender : public NotingAppender {
    public:
        explicit LeavingAppender(int& status) : status_(status) {}
        ~LeavingAppender() override {
            pid_t const child = ::fork();
            if (child == 0) {
                ::_exit(7);
            }
            ::waitpid(child, &status_, 0);
        }

    private:
        int& status_;
    };
    int status = -1;
    Add(boost::make_shared<LeavingAppender>(status));
    Logger logger("core");

    LogCore::Get()->RemoveAllSinks();

    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(UseTheCore(logger), 0);
}

TEST_F(ForkTest, AppenderMayStartPrograms) {
    class StartingAppender : public AppenderBase {
    public:
        StartingAppender() : AppenderBase(false) {}

        int started = 0;

    protected:
        void DoAppend(LogRecord const&) override {
            // NOLINTNEXTLINE(concurrency-mt-unsafe): this program has no handlers of signals
            started += std::system("exit 7") >> 8 == 7 ? 1 : 0;
            pid_t const child = ::vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
            if (child == 0) {
                ::execl("/bin/sh", "sh", "-c", "exit 8", nullptr);
                ::_exit(1);
            }
            int status = -1;
            ::waitpid(child, &status, 0);
            started += WEXITSTATUS(status) == 8 ? 1 : 0;
        }
    };
    auto const starting = boost::make_shared<StartingAppender>();
    Add(starting);
    Logger logger("core");

    Push(logger, "one");

    EXPECT_EQ(starting->started, 2);
    EXPECT_EQ(UseTheCore(logger), 0);
}

TEST_F(ForkTest, OtherHandlersOfTheForkMayLog) {
    static Logger* logger = nullptr;
    static std::array<int, 2> turns{};  // a pipe: two processes would tear each other's lines
    Logger ownLogger("core");
    logger = &ownLogger;

    int const failed =
        RunInChild([&] {
            if (::pipe2(turns.data(), O_CLOEXEC) != 0) {
                return 1;
            }
            Add(boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode));
            ::pthread_atfork([] { Push(*logger, "before"); },
                             [] {
                                 Push(*logger, "of the parent");
                                 ::close(turns[1]);
                             },
                             [] {
                                 ::close(turns[1]);
                                 char none = '\0';
                                 if (::read(turns[0], &none, 1) == 0) {
                                     Push(*logger, "of the child");
                                 }
                             });
            return StatusOfChild([] { return 0; });
        }).exitStatus;

    EXPECT_EQ(failed, 0);
    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "before\nof the parent\nof the child\n");
}

#if !defined(_LIBCPP_VERSION)  // LLVM's unwinder crashes on any thread that the C library cancels

TEST_F(ForkTest, ThreadThatIsToBeCancelledForksAndIsCancelledThen) {
    Output([] {
        Add(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
        Logger logger("core");
        Push(logger, "to be flushed, by what may end a cancelled thread");
        pid_t child = -1;
        bool goesOn = false;
        std::thread([&] {
            ::pthread_cancel(::pthread_self());
            child = ::fork();
            if (child == 0) {
                ::_exit(7);
            }
            ::pthread_testcancel();
            goesOn = true;
        }).join();
        int status = -1;
        ::waitpid(child, &status, 0);
        return WEXITSTATUS(status) == 7 && !goesOn ? UseTheCore(logger) : 1;
    });
}

#endif

TEST_F(ForkTest, LocksThatOtherThreadsHoldAreFreeInTheChild) {
    threads::ThreadMutex mutex;
    threads::SharedMutex sharedMutex;
    Event held;
    Event mayLeave;
    std::thread holding([&] {
        threads::ScopedLock const lock(mutex);
        threads::ScopedLock const exclusively(sharedMutex);
        held.Set();
        mayLeave.Wait();
    });
    held.Wait();

    EXPECT_EQ(StatusOfChild([&] {
                  threads::ScopedLock const lock(mutex);
                  threads::ScopedLock const exclusively(sharedMutex);
                  return 0;
              }),
              0);
    mayLeave.Set();
    holding.join();
}

TEST_F(ForkTest, CoreApartIsFreeInTheChildWhoeverWaitsForIt) {
    LogCore apart;
    auto const stuck = boost::make_shared<StuckAppender>();
    apart.AddSink(RootRule(kAllSeverities), SinkOf(stuck));
    std::vector<SinkEntry> sinks;
    unsigned int const generation = apart.CollectSinks(sinks, {});
    std::thread delivering(
        [&] { apart.PushRecord(generation, sinks, TaggedRecord(kInfo, "stuck")); });
    stuck->inside.Wait();
    long const before = exclusiveLocks.Calls();
    std::thread changing([&] { apart.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, before + 1);

    EXPECT_EQ(StatusOfChild([&] {
                  apart.RemoveAllSinks();
                  apart.CollectSinks(sinks, {});
                  return static_cast<int>(sinks.size());
              }),
              0);
    stuck->mayLeave.Set();
    delivering.join();
    changing.join();
}

TEST_F(ForkTest, ThreadsThatWaitInTheParentAreNotWaitedForInTheChild) {
    auto const stuck = boost::make_shared<StuckAppender>();
    Add(stuck);
    Logger logger("core");
    Logger refreshed("other");
    std::thread delivering([&] { Push(logger, "stuck"); });
    stuck->inside.Wait();
    // Behind the delivery: a fork, and behind that a change and a logger.
    long const waits = conditionWaits.Calls();
    long const locks = exclusiveLocks.Calls();
    int status = -1;
    std::thread forking([&] {
        status = StatusOfChild([&] {
            LogCore::Get()->RemoveAllSinks();
            Add(boost::make_shared<FileAppender>(path_, 0, 0, FileAppender::kAppendMode));
            Push(logger, "1");
            Push(refreshed, "2");
            return 0;
        });
    });
    AwaitCalls(exclusiveLocks, locks + 1);
    std::thread changing([] { LogCore::Get()->RemoveAllSinks(); });
    std::thread refreshing([&] { refreshed.HasSink(kInfo); });
    AwaitCalls(conditionWaits, waits + 2);

    stuck->mayLeave.Set();
    forking.join();
    delivering.join();
    changing.join();
    refreshing.join();

    EXPECT_EQ(status, 0);
    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "1\n2\n");
}

TEST_F(ForkTest, ChildrenOfChildrenLogToo) {
    Add(boost::make_shared<FileAppender>(path_, 0, 2, FileAppender::kAppendMode));
    Logger logger("core");
    Push(logger, "parent");

    EXPECT_EQ(StatusOfChild([&] {
                  Push(logger, "child");
                  return StatusOfChild([&] {
                      Push(logger, "grandchild");
                      return 0;
                  });
              }),
              0);
    LogCore::Get()->RemoveAllSinks();

    EXPECT_EQ(TextsOf(ReadWholeFile(path_)), "grandchild\nchild\nparent\n");
}

#if defined(TARQLOG_UNLOADING_PATH)

TEST(UnloadedLibraryTest, TakesNoPartInForks) {
    EXPECT_EQ(RunProgram(TARQLOG_UNLOADING_PATH, {TARQLOG_LIBRARY}).exitStatus, 0);
}

#endif

// ThreadSanitizer slows them down beyond measure, and looks away in the child of many threads.
#if !defined(TARQLOG_TEST_TSAN)

ChildResult RunForks(std::string const& forks, std::string const& fault = "") {
    return RunProgram(TARQLOG_FORKS_PATH, {forks, fault});
}

TEST(ForksTest, NoChildHangsAndNoLineIsThereTwiceOrTornWhileThreadsLogAndOneConfigures) {
    ChildResult const result = RunForks("300");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_EQ(result.output.rfind("300 forks, 0 hung or dead, 300 lines of 300 children, ", 0), 0U)
        << result.output;
}

TEST(ForksTest, ChildThatDiesIsNoticed) {
    ChildResult const result = RunForks("3", "dying-child");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output.rfind("3 forks, 1 hung or dead, 3 lines", 0), 0U) << result.output;
}

TEST(ForksTest, LineThatIsMissingFromAChildIsNoticed) {
    ChildResult const result = RunForks("3", "silent-child");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output.rfind("3 forks, 0 hung or dead, 2 lines", 0), 0U) << result.output;
}

TEST(ForksTest, LineThatIsThereTwiceIsNoticed) {
    ChildResult const result = RunForks("3", "doubled-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.rfind("forks: there twice, or late: I [", 0), 0U) << result.errors;
}

TEST(ForksTest, LineThatIsTornIsNoticed) {
    ChildResult const result = RunForks("3", "torn-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.rfind("forks: torn: I [", 0), 0U) << result.errors;
}

#endif

}  // namespace
}  // namespace tarqlog
