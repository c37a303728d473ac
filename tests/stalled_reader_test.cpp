// What somebody who has our standard output and does not read it holds up, and the ways out.

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/console_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"

#include "support/sinks.h"

namespace tarqlog {
namespace {

constexpr int kLines = 5000;  // far more than a pipe holds
constexpr char kText[] =
    "a text of fifty bytes, so that the pipe is full soon";  // no object: threads outlive main()

void LogAll() {
    Logger logger("core");
    for (int i = 0; i < kLines; ++i) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            record.WriteData(kText, sizeof kText - 1);
            logger.PushRecord(record);
        }
    }
}

bool IsFull(int pipe) {
    pollfd ready = {pipe, POLLOUT, 0};
    return ::poll(&ready, 1, 0) == 0;
}

/// A process whose threads log to a pipe that is full.
class StalledReaderTest : public testing::Test {
protected:
    ~StalledReaderTest() override {
        ::close(pipe_[0]);
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
    }

    /// Lets a child log until the pipe is full, and then do `way` on another thread.
    void Stall(std::function<void(std::thread& logging)> const& way) {
        int isFull[2];
        ASSERT_EQ(::pipe2(pipe_, O_CLOEXEC), 0);
        ASSERT_EQ(::pipe2(isFull, O_CLOEXEC), 0);
        child_ = ::fork();
        ASSERT_GE(child_, 0);
        if (child_ == 0) {
            ::dup2(pipe_[1], STDOUT_FILENO);
            LogCore::Get()->AddSink(
                {FilterRule(kInfo)},
                SinkOf(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout)));
            std::thread logging(LogAll);
            while (!IsFull(pipe_[1])) {
                std::this_thread::yield();
            }
            ::close(isFull[1]);
            way(logging);
            ::_exit(99);
        }
        ::close(pipe_[1]);
        ::close(isFull[1]);
        char none = 0;
        EXPECT_EQ(::read(isFull[0], &none, 1), 0);  // returns when the child has closed it
        ::close(isFull[0]);
    }

    /// Reads everything. Returns the number of lines.
    long Drain() {
        std::string output;
        char bytes[4096];
        for (ssize_t size = 0; (size = ::read(pipe_[0], bytes, sizeof bytes)) > 0;) {
            output.append(bytes, static_cast<std::size_t>(size));
        }
        EXPECT_TRUE(output.empty() || output.back() == '\n') << "the last line is torn";
        return std::count(output.begin(), output.end(), '\n');
    }

    /// How the child has ended, as waitpid() tells it.
    int Await() {
        int status = -1;
        EXPECT_EQ(::waitpid(child_, &status, 0), child_);
        child_ = -1;
        return status;
    }

    int pipe_[2] = {-1, -1};
    pid_t child_ = -1;
};

TEST_F(StalledReaderTest, ExitComesThroughWhenTheReaderReadsAndTearsNoLine) {
    Stall([](std::thread& logging) {
        logging.detach();
        std::exit(3);  // NOLINT(concurrency-mt-unsafe): beside a thread that logs, on purpose
    });
    EXPECT_GT(Drain(), 0);
    int const status = Await();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(StalledReaderTest, ChangeComesThroughWhenTheReaderReadsAndLosesNoLineBeforeIt) {
    Stall([](std::thread& logging) {
        LogCore::Get()->AddSink({FilterRule(kError)}, AnySink());
        logging.join();
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): no other thread is left
    });
    EXPECT_GE(Drain(), kLines - 1) << "one record may have met the change";
    EXPECT_EQ(Await(), 0);
}

TEST_F(StalledReaderTest, QuickExitWaitsForNobody) {
    Stall([](std::thread&) { std::quick_exit(4); });
    int const status = Await();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 4);
}

#if !defined(TARQLOG_TEST_TSAN)  // whose own _exit() flushes the streams

TEST_F(StalledReaderTest, UnderscoreExitWaitsForNobody) {
    Stall([](std::thread&) { ::_exit(5); });
    int const status = Await();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 5);
}

#endif

TEST_F(StalledReaderTest, SignalEndsAnExitThatWaits) {
    Stall([](std::thread& logging) {
        logging.detach();
        ::alarm(1);    // its signal ends the process
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): as above
    });
    int const status = Await();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGALRM);
}

}  // namespace
}  // namespace tarqlog
