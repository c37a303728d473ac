// Storms, one process after the other: 32 threads log while one changes the configuration 1,000
// times and exits. Prints the longest waits, with the gate that lets changes through and, a few
// times, without it. Ends with status 1 when one with the gate hangs, or one without it ends: then
// the storm is not strong enough to tell.
//
// Usage: storms RUNS

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/child.h"
#include "support/temporary_directory.h"

namespace {

using tarqlog::ChildResult;

constexpr const char* kBoundSeconds = "120";
constexpr const char* kThreads = "32";
constexpr const char* kChanges = "1000";

/// In milliseconds.
struct Waits {
    std::vector<long long> changes;  // the longest of each run
    std::vector<long long> runs;     // all changes of each run
    std::vector<long long> exits;
    int hung = 0;
    int died = 0;
};

long long NowInMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Waits Storm(std::string const& program, int runs) {
    Waits waits;
    for (int run = 0; run < runs; ++run) {
        tarqlog::TemporaryDirectory const directory;
        ChildResult const result = tarqlog::RunProgram(
            "/bin/sh", {"-c", R"(exec timeout -s KILL "$@" >/dev/null)", "sh", kBoundSeconds,
                        program, directory.File("log"), kThreads, kChanges});
        long long const end = NowInMs();
        std::istringstream report(result.errors);
        long long longest = 0;
        long long all = 0;
        long long exiting = 0;
        if (result.exitStatus == 0 && report >> longest >> all >> exiting) {
            waits.changes.push_back(longest);
            waits.runs.push_back(all);
            waits.exits.push_back(end - exiting);
        } else if (result.signal == SIGKILL) {
            ++waits.hung;
        } else {
            ++waits.died;
        }
    }
    return waits;
}

std::string Range(std::vector<long long> times) {
    if (times.empty()) {
        return "-";
    }
    std::sort(times.begin(), times.end());
    return std::to_string(times[times.size() / 2]) + " / " + std::to_string(times.back());
}

void Print(const char* library, int runs, Waits const& waits) {
    std::printf("%-18s%6d%6d%6d%22s%22s%22s\n", library, runs, waits.hung, waits.died,
                Range(waits.changes).c_str(), Range(waits.runs).c_str(),
                Range(waits.exits).c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    std::string_view const number = argc == 2 ? argv[1] : "";
    int runs = 0;
    auto const [end, error] = std::from_chars(number.begin(), number.end(), runs);
    if (error != std::errc() || end != number.end() || runs < 1) {
        std::fputs("Usage: storms RUNS\n", stderr);
        return 2;
    }
    std::printf(
        "%s threads log; %s changes, then exit(); hung: longer than %s s; times in ms, "
        "median / longest\n\n%-18s%6s%6s%6s%22s%22s%22s\n",
        kThreads, kChanges, kBoundSeconds, "library", "runs", "hung", "died", "longest change",
        "all changes", "exit");
    Waits const with = Storm(TARQLOG_STORM_PATH, runs);
    Print("with the gate", runs, with);
    int const runsWithout = 1 + runs / 100;  // each takes as long as the bound
    Waits const without = Storm(TARQLOG_STORM_WITHOUT_GATE_PATH, runsWithout);
    Print("without the gate", runsWithout, without);
    return with.hung == 0 && with.died == 0 && without.hung == runsWithout ? 0 : 1;
}
