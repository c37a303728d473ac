#include "tarqlog/file_appender.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/file_appender_history.h"
#include "support/installed_hooks.h"
#include "support/temporary_directory.h"

// Random histories of a file appender, lived through by the library's and by the simulated one.

namespace tarqlog {
namespace {

/// What first differs in the course of `history`.
std::string Replay(std::vector<Operation> const& history) {
    Events events;
    Comparison comparison(events);
    for (Operation const& operation : history) {
        std::string difference = comparison.Perform(operation);
        difference += comparison.CompareFiles();
        if (!difference.empty()) {
            return difference;
        }
    }
    return "";
}

/// `history` without any step that the difference does not need.
std::vector<Operation> Shortened(std::vector<Operation> history) {
    for (std::size_t length = history.size() / 2; length > 0;) {
        bool shorter = false;
        for (std::size_t begin = 0; begin + length <= history.size();) {
            std::vector<Operation> rest = history;
            auto const first = rest.begin() + static_cast<std::ptrdiff_t>(begin);
            rest.erase(first, first + static_cast<std::ptrdiff_t>(length));
            if (Replay(rest).empty()) {
                begin += length;
            } else {
                history = rest;
                shorter = true;
            }
        }
        if (!shorter || length > 1) {  // single steps are tried until none can go
            length /= 2;
        }
    }
    return history;
}

/// Lives through the history of `seed`; whether both worlds came out the same.
bool LiveThrough(unsigned long seed, bool rolling, Events& events) {
    constexpr int kSteps = 120;
    constexpr int kStepsBetweenLooks = 16;
    std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
    Author author(
        [&random](int bound) {
            return static_cast<int>(random() % static_cast<std::mt19937::result_type>(bound));
        },
        rolling);
    std::vector<Operation> history;
    std::string difference;
    {
        Comparison comparison(events);
        for (int step = 0; step < kSteps && difference.empty(); ++step) {
            history.push_back(step == 0 ? author.First() : author.Next(comparison.Simulated()));
            difference = comparison.Perform(history.back());
            if (step % kStepsBetweenLooks == 0) {
                difference += comparison.CompareFiles();
            }
        }
        if (difference.empty()) {
            history.push_back(Destruction());
            difference = comparison.Perform(history.back());
            difference += comparison.CompareFiles();
        }
    }
    if (difference.empty()) {
        return true;
    }
    std::cout << "seed " << seed << ": " << difference << "these steps are enough:\n";
    std::vector<Operation> const shortened = Shortened(history);
    for (Operation const& operation : shortened) {
        std::cout << "    " << operation.words << "\n";
    }
    std::cout << Replay(shortened);
    return false;
}

/// Gives up root, to whom no file is unwritable, and keeps the working directory. False when that
/// is refused.
bool GiveUpRoot() {
    constexpr uid_t kNobody = 65534;
    return ::geteuid() != 0 || (::chown(".", kNobody, kNobody) == 0 && ::setgid(kNobody) == 0 &&
                                ::setuid(kNobody) == 0);
}

/// Where thousands of renames and truncations need not wait for a disk, if there is such a place.
std::filesystem::path QuickDirectory() {
    std::filesystem::path const memory = "/dev/shm";
    bool const usable = ::access(memory.c_str(), R_OK | W_OK | X_OK) == 0;
    return usable ? memory : std::filesystem::temp_directory_path();
}

/// Lives through many histories. Whether all came out the same and each of `expectedEvents`
/// happened often in them.
bool LiveThroughAll(bool rolling, std::vector<std::string> const& expectedEvents) {
#if defined(TARQLOG_TEST_TSAN)
    constexpr unsigned long kHistories = 300;  // of one thread each, where no race is to be seen
#else
    constexpr unsigned long kHistories = 1200;
#endif
    constexpr int kOften = kHistories / 12;
    Events events;
    for (unsigned long seed = 1; seed <= kHistories; ++seed) {
        if (!LiveThrough(seed, rolling, events)) {
            return false;
        }
    }
    bool often = true;
    for (std::string const& name : expectedEvents) {
        if (events[name] < kOften) {
            std::cout << "only " << events[name] << " times: " << name << "\n";
            often = false;
        }
    }
    return often;
}

/// The same in a child process that is not root.
void ExpectSameHistories(bool rolling, std::vector<std::string> const& expectedEvents) {
    TemporaryDirectory const directory(QuickDirectory());
    InstalledHooks const hooks(HistoryTime, HistoryThreadId);
    // noexcept: an exception must not lead the child back into the test program.
    ChildResult const child = RunInChild([&]() noexcept {
        std::filesystem::current_path(directory.Path());
        ::umask(022);
        if (!GiveUpRoot()) {
            std::perror("cannot give up root, to whom no file is unwritable");
            return 1;
        }
        return LiveThroughAll(rolling, expectedEvents) ? 0 : 1;
    });
    EXPECT_EQ(child.exitStatus, 0) << child.output << child.errors;
}

TEST(FileAppenderHistoryTest, FileHoldsWhatTheSimulatedAppenderWrote) {
    ExpectSameHistories(
        false,
        {"restart", "limit met to the byte", "periodic close", "periodic close with a buffer",
         "full buffer", "collected at 4095", "direct write at 4096",
         "direct write at 4096 to the byte", "urgent behind a buffer", "failed open", "short write",
         "lost record", "failed lseek", "reopen with a buffer", "buffer without a file"});
}

TEST(FileAppenderHistoryTest, RollingFilesHoldWhatTheSimulatedAppenderWrote) {
    ExpectSameHistories(
        true,
        {"roll", "failed rename", "restart", "limit met to the byte", "periodic close",
         "periodic close with a buffer", "full buffer", "collected at 4095", "direct write at 4096",
         "direct write at 4096 to the byte", "urgent behind a buffer", "failed open", "short write",
         "lost record", "failed lseek", "reopen with a buffer", "buffer without a file"});
}

}  // namespace
}  // namespace tarqlog
