// Threads log as fast as they can to the standard output and to a file, while the first thread
// changes the configuration and then leaves by exit(), with all of them still at it. Tells on the
// standard error how long that took.
//
// Usage: storm FILE THREADS CHANGES

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <boost/make_shared.hpp>

#include "tarqlog/console_appender.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"

#include "support/sinks.h"

namespace tarqlog {
namespace {

using Clock = std::chrono::steady_clock;

/// How often a thread has logged. They all outlive main().
std::atomic<unsigned long> turns{0};

void AwaitTurns(unsigned long count) {
    while (turns.load(std::memory_order_relaxed) < count) {
        std::this_thread::yield();
    }
}

[[noreturn]] void LogForEver() {
    Logger logger("storm.thread");
    for (;; turns.fetch_add(1, std::memory_order_relaxed)) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            record.WriteData("a line like any other", 21);
            logger.PushRecord(record);
        }
    }
}

/// Removes all sinks and adds those of the standard output and of `file` again, and some that take
/// none of the lines. Returns how long the longest change has taken.
Clock::duration Change(boost::shared_ptr<AppenderBase> const& file, int changes) {
    constexpr int kChangesInARound = 10;
    LogCore& core = *LogCore::Get();
    auto const console = SinkOf(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
    Clock::duration longest(0);
    for (int change = 0; change < changes; ++change) {
        Clock::time_point const start = Clock::now();
        switch (change % kChangesInARound) {
            case 0:
                core.RemoveAllSinks();
                break;
            case 1:
                core.AddSink({FilterRule(kInfo)}, console);
                break;
            default:
                core.AddSink({FilterRule(change % kChangesInARound == 2 ? kInfo : kWarning)},
                             SinkOf(file));
        }
        longest = std::max(longest, Clock::now() - start);
        AwaitTurns(turns.load(std::memory_order_relaxed) + 1);  // nobody is kept out
    }
    return longest;
}

}  // namespace
}  // namespace tarqlog

int main(int argc, char** argv) {
    using tarqlog::Clock;
    if (argc != 4) {
        std::fputs("Usage: storm FILE THREADS CHANGES\n", stderr);
        return 2;
    }
    constexpr long long kLimitKib = 256;
    constexpr int kBuffered = 32;
    auto const file = boost::make_shared<tarqlog::FileAppender>(
        argv[1], kLimitKib, kBuffered, tarqlog::FileAppender::kTruncateMode);
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule(tarqlog::kInfo)}, tarqlog::SinkOf(file));
    unsigned long const threads = std::strtoul(argv[2], nullptr, 10);
    for (unsigned long thread = 0; thread < threads; ++thread) {
        std::thread(tarqlog::LogForEver).detach();
    }
    tarqlog::AwaitTurns(100 * threads);
    auto const milliseconds = [](Clock::duration time) {
        return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
    };
    Clock::time_point const start = Clock::now();
    Clock::duration const longest = tarqlog::Change(file, std::atoi(argv[3]));
    Clock::time_point const end = Clock::now();
    // When exit() begins, for those who wait for its end.
    std::string const report = milliseconds(longest) + ' ' + milliseconds(end - start) + ' ' +
                               milliseconds(end.time_since_epoch()) + '\n';
    std::fputs(report.c_str(), stderr);
    std::exit(0);  // NOLINT(concurrency-mt-unsafe): beside threads that log, on purpose
}
