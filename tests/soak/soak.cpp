// Everything at once, for as long as one likes: writers log through all appenders while the
// configuration changes, files roll and are renamed and deleted, system calls fail, memory runs out
// and the process forks. In rounds it accounts for each line and for what the process holds, and
// ends with status 1 when a line is missing that no account admits to be lost, when one is torn or
// there twice, when memory has grown, a descriptor is left open or a thread hangs.
//
// Usage: soak MINUTES [PLANT]    (0: as short as possible; PLANT goes wrong on purpose, see
// plant.h)

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "soak/plant.h"
#include "soak/round.h"
#include "soak/watchdog.h"

#if defined(TARQLOG_TEST_TSAN)
/// Asked by ThreadSanitizer, which sees that a record logged by an appender takes the core's shared
/// lock under the appender's mutex, and not that its thread has the lock already.
extern "C" char const* __tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
    return "deadlock:other_destinations.cpp";
}

/// A run that gives up leaves its threads as they are.
extern "C" char const* __tsan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "report_thread_leaks=0";
}
#endif

namespace tarqlog::soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr int kLinesPerWriter = 4000;     // in a round; enough for far more than nine full files
constexpr int kLinesWhenInAHurry = 1000;  // enough for nine
constexpr long kMinRounds = 2;            // the second is held to what the first one needed
constexpr minutes kReportPeriod(1);
constexpr minutes kWarmUp(1);  // or the first round, when there is no more time
constexpr int kMaxMinutes = 7 * 24 * 60;
constexpr std::size_t kMaxComplaints = 10;  // to be printed

std::atomic<bool> isInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

/// The streams as they are now: the consoles of the soak take their places.
std::FILE* const output = stdout;
std::FILE* const errors = stderr;

std::string InMiB(long long bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1 << 20));
    return text;
}

void Print(Figures const& totals, seconds elapsed) {
    std::fprintf(
        output,
        "soak: %lld s, %lld rounds: %s resident, %s of heap, %lld descriptors; %llu lines pushed, "
        "%llu dropped at %lld changes, %llu threw; %lld children, %lld troubles, %lld full files, "
        "%lld renamed or deleted\n",
        static_cast<long long>(elapsed.count()), totals.rounds,
        InMiB(totals.resources.resident).c_str(), InMiB(totals.resources.heap).c_str(),
        totals.resources.descriptors, totals.pushed, totals.dropped, totals.configurationChanges,
        totals.thrown, totals.children, totals.troubles, totals.fullFiles, totals.fileChanges);
    for (DestinationFigures const& figures : totals.destinations) {
        unsigned long long const admitted = std::min(figures.missing, figures.lost);
        std::fprintf(output,
                     "  %-8s %10llu written %10llu found %7llu lost as admitted %7llu pieces of "
                     "these %4llu unaccounted\n",
                     figures.name.c_str(), figures.written, figures.found, figures.lost,
                     figures.torn,
                     std::max(figures.written, figures.found) -
                         std::min(figures.written, figures.found) + figures.missing - admitted);
    }
    std::fflush(output);
}

void Sum(Figures const& totals, std::vector<std::string> const& complaints, seconds elapsed) {
    std::size_t const shown = std::min(complaints.size(), kMaxComplaints);
    for (std::size_t i = 0; i < shown; ++i) {
        std::fprintf(errors, "soak: %s\n", complaints[i].c_str());
    }
    std::fprintf(output, "soak: %s after %lld s%s: %s\n", shown == 0 ? "passed" : "FAILED",
                 static_cast<long long>(elapsed.count()), isInterrupted ? ", interrupted" : "",
                 shown == 0 ? (std::to_string(totals.pushed) + " lines are accounted for").c_str()
                            : complaints.front().c_str());
    std::fflush(output);
}

void RunUntil(Soak& soak, minutes duration, Clock::time_point start) {
    Clock::time_point const end = start + duration;
    Clock::time_point const warm = start + (duration > kWarmUp ? kWarmUp : minutes(0));
    Clock::time_point nextReport = start + kReportPeriod;
    auto const goesOn = [&] {
        return (soak.Totals().rounds < kMinRounds || Clock::now() < end) &&
               soak.Complaints().empty() && !isInterrupted;
    };
    while (goesOn()) {
        soak.RunRound(soak.Totals().rounds == 0 || Clock::now() < warm);
        if (Clock::now() >= nextReport) {
            Print(soak.Totals(), std::chrono::duration_cast<seconds>(Clock::now() - start));
            nextReport += kReportPeriod;
        }
    }
    if (soak.Complaints().empty()) {
        soak.RunLastRound();
    }
}

[[noreturn]] void GiveUp(std::string const& directory, std::string const& hung) {
    std::fprintf(errors, "soak: no progress:%s\n", hung.c_str());
    std::fputs("soak: FAILED: a thread hangs\n", output);
    std::fflush(output);
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    ::_exit(1);
}

/// Whether all was well.
bool Run(minutes duration, Plant plant) {
    Clock::time_point const start = Clock::now();
    int const lines = duration > minutes(0) ? kLinesPerWriter : kLinesWhenInAHurry;
    Soak soak(lines, plant, isInterrupted);
    Watchdog const watchdog(soak.Pulses(),
                            [&soak](std::string const& hung) { GiveUp(soak.Directory(), hung); });
    RunUntil(soak, duration, start);
    auto const elapsed = std::chrono::duration_cast<seconds>(Clock::now() - start);
    Print(soak.Totals(), elapsed);
    Sum(soak.Totals(), soak.Complaints(), elapsed);
    return soak.Complaints().empty();
}

/// Whoever interrupts a run gets the account of it, and no file stays behind.
void HeedInterruptions() {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, [](int) { isInterrupted = true; });
    }
    std::signal(SIGPIPE, SIG_IGN);
}

/// Nothing, unless `text` is a whole number of minutes up to a week.
std::optional<minutes> ParseMinutes(std::string_view text) {
    int number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool const isWhole = error == std::errc() && end == text.data() + text.size();
    if (!isWhole || number < 0 || number > kMaxMinutes) {
        return std::nullopt;
    }
    return minutes(number);
}

int Main(std::vector<std::string> const& arguments) {
    std::string const length = !arguments.empty() ? arguments[0] : "";
    std::string const plantName = arguments.size() > 1 ? arguments[1] : "none";
    std::optional<minutes> const duration = ParseMinutes(length);
    std::optional<Plant> const plant = ParsePlant(plantName);
    if (!duration) {
        std::fprintf(stderr, "soak: MINUTES is a whole number from 0 to %d, not \"%s\"\n",
                     kMaxMinutes, length.c_str());
        return 2;
    }
    if (!plant) {
        std::fprintf(stderr, "soak: there is nothing called \"%s\" to be planted\n",
                     plantName.c_str());
        return 2;
    }
    HeedInterruptions();
    return Run(*duration, *plant) ? 0 : 1;
}

}  // namespace
}  // namespace tarqlog::soak

int main(int argc, char** argv) {
    try {
        return tarqlog::soak::Main({argv + 1, argv + argc});
    } catch (std::exception const& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());  // no temporary directory, or the like
        return 2;
    }
}
