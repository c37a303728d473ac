// Eight threads log to three files, while one thread renames and deletes the files and another one
// changes the configuration. Accounts for each line, in rounds, and ends with status 1 when one is
// missing or there twice, when the heap has grown or when a descriptor is left open.
//
// Usage: soak MINUTES [FAULT]    (0: as short as possible; FAULT is made on purpose, see
// ParseFault)

#if defined(__APPLE__)
#include <malloc/malloc.h>
#else
#include <malloc.h>
#endif
#include <sched.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "tarqlog/file_appender.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"

#include "soak/destination.h"
#include "soak/ledger.h"
#include "soak/line.h"
#include "support/temporary_directory.h"

#if defined(TARQLOG_TEST_ASAN) || defined(TARQLOG_TEST_TSAN)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tarqlog::soak {
namespace {

constexpr int kLinesPerWriter = 4000;       // in a round; enough for far more than nine full files
constexpr int kLastFirstLine = 1000000000;  // then the numbers begin anew
constexpr long kMinRounds = 2;              // the second is held to the heap of the first
constexpr long kLinesBetweenChanges = 100;  // of the configuration
constexpr long kLinesBetweenFileChanges = 300;
constexpr std::chrono::seconds kReportPeriod(10);
constexpr int kMaxMinutes = 7 * 24 * 60;
constexpr long kHeapTolerance = 1 << 20;    // in bytes; a byte a line would be more in a minute
constexpr std::size_t kMaxComplaints = 10;  // to be printed

long HeapInUse() {
#if defined(TARQLOG_TEST_ASAN) || defined(TARQLOG_TEST_TSAN)
    return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#elif defined(__APPLE__)
    return static_cast<long>(::mstats().bytes_used);
#else
    struct mallinfo2 const heap = ::mallinfo2();
    return static_cast<long>(heap.uordblks + heap.hblkhd);
#endif
}

long OpenDescriptors() {
    auto const descriptors = std::filesystem::directory_iterator("/dev/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

/// Of all rounds so far; the last two, at the end of the last one.
struct Figures {
    long long rounds = 0;
    long long pushed = 0;
    long long dropped = 0;
    long long found = 0;
    long long fullFiles = 0;
    long long fileChanges = 0;
    long long configurationChanges = 0;
    long long heapInUse = 0;    // in bytes
    long long descriptors = 0;  // more than at the start
};

class Soak {
public:
    explicit Soak(Fault fault);
    ~Soak() { core_.RemoveAllSinks(); }  // the core outlives what the appenders refer to

    Soak(Soak const&) = delete;
    Soak& operator=(Soak const&) = delete;

    /// Logs, closes the appenders and accounts for every line.
    void RunRound();

    /// The same, but the appenders are destroyed.
    void RunLastRound();

    Figures const& Totals() const { return totals_; }

    /// What is wrong, if anything.
    std::vector<std::string> const& Complaints() const { return complaints_; }

private:
    void LogARound();
    void Push(int writer);
    void Reconfigure();
    void Change(std::function<void()> const& change, unsigned int reached);
    void ChangeFiles();
    void AwaitLines(long count) const;
    void AccountForLines();
    void AccountForResources();

    LogCore& core_ = *LogCore::Get();
    long const descriptorsAtFirst_ = OpenDescriptors();
    TemporaryDirectory const directory_;
    std::array<Destination, 3> destinations_;
    std::vector<std::unique_ptr<Logger>> loggers_;

    // The round in progress.
    int firstLine_ = 0;
    Pushed pushed_;
    std::optional<Configurations> configurations_;
    std::atomic<long> linesPushed_{0};
    std::atomic<bool> isOver_{false};

    std::minstd_rand random_;    // of the thread that changes files
    long long heapAtFirst_ = 0;  // after the first round
    Figures totals_;
    std::vector<std::string> complaints_;
};

Soak::Soak(Fault fault)
    : destinations_{Destination(directory_.File("growing")), Destination(directory_.File("small")),
                    Destination(directory_.File("rolling"))} {
    auto& [growing, small, rolling] = destinations_;
    growing.Open<FileAppender>(0, fault, 0, 10, FileAppender::kAppendMode);
    small.Open<FileAppender>(0, Fault::kNone, 64, 0, FileAppender::kTruncateMode);
    rolling.Open<RollingFileAppender>(9, Fault::kNone, 64, 9, 20);
    for (int writer = 0; writer < kWriters; ++writer) {
        std::string const tag = "soak." + std::to_string(writer);
        loggers_.push_back(std::make_unique<Logger>(tag.c_str()));
    }
}

void Soak::RunRound() {
    LogARound();
    for (Destination& destination : destinations_) {
        destination.Close();
    }
    AccountForLines();
    AccountForResources();
}

void Soak::RunLastRound() {
    LogARound();
    core_.RemoveAllSinks();
    for (Destination& destination : destinations_) {
        destination.Destroy();
    }
    AccountForLines();
    AccountForResources();
}

void Soak::LogARound() {
    configurations_.emplace(core_.GetConfigGeneration(),
                            configurations_ ? configurations_->ReachedLast() : 0);
    linesPushed_ = 0;
    isOver_ = false;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([this, writer] { Push(writer); });
    }
    std::thread reconfiguring([this] { Reconfigure(); });
    std::thread changingFiles([this] { ChangeFiles(); });
    for (std::thread& writer : writers) {
        writer.join();
    }
    isOver_ = true;
    reconfiguring.join();
    changingFiles.join();
}

void Soak::Push(int writer) {
    Logger& logger = *loggers_.at(static_cast<std::size_t>(writer));
    std::vector<unsigned int>& generations = pushed_.at(static_cast<std::size_t>(writer));
    for (int number = firstLine_; number < firstLine_ + kLinesPerWriter; ++number) {
        Line const line{writer, number};
        std::string const text = TextOf(line);
        unsigned int before = core_.GetConfigGeneration();
        while (!logger.HasSink(SeverityOf(line))) {
            ::sched_yield();
            before = core_.GetConfigGeneration();
        }
        LogRecord record(SeverityOf(line));
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger.PushRecord(record);
        generations.push_back(core_.GetConfigGeneration() == before ? before : 0);
        ++linesPushed_;
    }
}

/// The sinks go all at once and come back one by one, each time in another order.
void Soak::Reconfigure() {
    for (std::size_t turn = 0; !isOver_; ++turn) {
        Change([this] { core_.RemoveAllSinks(); }, 0);
        unsigned int reached = 0;
        for (std::size_t i = 0; i < destinations_.size(); ++i) {
            std::size_t const index = (turn + i) % destinations_.size();
            reached |= 1U << index;
            auto const& sink = destinations_.at(index).Sink();
            Change([&] { core_.AddSink({FilterRule(kAllSeverities)}, sink); }, reached);
        }
        for (int i = 0; i < 3; ++i) {
            AwaitLines(kLinesBetweenChanges);
            auto const& sink = destinations_[0].Sink();
            Change([&] { core_.AddSink({FilterRule("other", kInfo)}, sink); }, reached);
        }
        AwaitLines(kLinesBetweenChanges);
    }
}

/// Makes a change of the configuration, after which the writers reach the destinations `reached`.
void Soak::Change(std::function<void()> const& change, unsigned int reached) {
    change();
    if (!configurations_->Note(core_.GetConfigGeneration(), reached)) {
        complaints_.emplace_back("a change has not advanced the generation by one");
    }
}

void Soak::ChangeFiles() {
    while (!isOver_) {
        AwaitLines(kLinesBetweenFileChanges);
        Destination& destination = destinations_.at(random_() % destinations_.size());
        int const number = static_cast<int>(random_() % 10) % (destination.KeptFiles() + 1);
        bool const isChanged = random_() % 2 == 0 ? destination.RenameFromOutside(number)
                                                  : destination.DeleteFromOutside(number);
        totals_.fileChanges += isChanged ? 1 : 0;
    }
}

/// Waits until the writers have pushed `count` more lines, or the round is over.
void Soak::AwaitLines(long count) const {
    long const enough = linesPushed_ + count;
    while (linesPushed_ < enough && !isOver_) {
        ::sched_yield();
    }
}

void Soak::AccountForLines() {
    Ledger ledger(firstLine_, kLinesPerWriter);
    totals_.fullFiles = 0;
    for (Destination const& destination : destinations_) {
        ledger.Read(destination.Directory());
        destination.Clear();
        totals_.fullFiles += destination.FullFiles();
    }
    ledger.Compare(pushed_, *configurations_);
    complaints_.insert(complaints_.end(), ledger.Complaints().begin(), ledger.Complaints().end());
    for (std::vector<unsigned int>& generations : pushed_) {
        totals_.pushed += static_cast<long long>(generations.size());
        generations.clear();
    }
    totals_.found += ledger.Found();
    totals_.dropped += ledger.Dropped();
    totals_.configurationChanges += configurations_->Changes();
    firstLine_ = firstLine_ < kLastFirstLine ? firstLine_ + kLinesPerWriter : 0;
    ++totals_.rounds;
}

/// Call with the appenders closed.
void Soak::AccountForResources() {
    totals_.descriptors = OpenDescriptors() - descriptorsAtFirst_;
    if (totals_.descriptors != 0) {
        complaints_.push_back("descriptors left open: " + std::to_string(totals_.descriptors));
    }
    totals_.heapInUse = HeapInUse();
    if (totals_.rounds == 1) {
        heapAtFirst_ = totals_.heapInUse;
    }
    if (totals_.heapInUse > heapAtFirst_ + kHeapTolerance) {
        complaints_.push_back("the heap has grown from " + std::to_string(heapAtFirst_) + " to " +
                              std::to_string(totals_.heapInUse) + " bytes");
    }
}

void Print(Figures const& totals, long long seconds) {
    std::printf(
        "soak: %lld s, %lld rounds: %lld lines pushed, %lld dropped at %lld changes; %lld found in "
        "3 destinations with %lld full files and %lld renamed or deleted; %lld KiB of heap, "
        "%lld descriptors left\n",
        seconds, totals.rounds, totals.pushed, totals.dropped, totals.configurationChanges,
        totals.found, totals.fullFiles, totals.fileChanges, totals.heapInUse / 1024,
        totals.descriptors);
    std::fflush(stdout);
}

/// Whether all was well.
bool Run(std::chrono::minutes duration, Fault fault) {
    using std::chrono::seconds;
    auto const start = std::chrono::steady_clock::now();
    auto const elapsed = [&] {
        return std::chrono::duration_cast<seconds>(std::chrono::steady_clock::now() - start);
    };
    Soak soak(fault);
    seconds nextReport = kReportPeriod;
    while ((soak.Totals().rounds < kMinRounds || elapsed() < duration) &&
           soak.Complaints().empty()) {
        soak.RunRound();
        if (elapsed() >= nextReport) {
            Print(soak.Totals(), elapsed().count());
            nextReport += kReportPeriod;
        }
    }
    if (soak.Complaints().empty()) {
        soak.RunLastRound();
    }
    Print(soak.Totals(), elapsed().count());
    std::size_t const shown = std::min(soak.Complaints().size(), kMaxComplaints);
    for (std::size_t i = 0; i < shown; ++i) {
        std::fprintf(stderr, "soak: %s\n", soak.Complaints()[i].c_str());
    }
    std::printf("soak: %s\n", shown == 0 ? "every line is accounted for" : "FAILED");
    return shown == 0;
}

/// Nothing, unless `text` is a whole number of minutes up to a week.
std::optional<std::chrono::minutes> ParseMinutes(std::string_view text) {
    int minutes = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), minutes);
    bool const isWhole = error == std::errc() && end == text.data() + text.size();
    if (!isWhole || minutes < 0 || minutes > kMaxMinutes) {
        return std::nullopt;
    }
    return std::chrono::minutes(minutes);
}

std::optional<Fault> ParseFault(std::string_view name) {
    static std::map<std::string_view, Fault> const faults{
        {"none", Fault::kNone},
        {"dropped-line", Fault::kDroppedLine},
        {"doubled-line", Fault::kDoubledLine},
        {"leaked-descriptor", Fault::kLeakedDescriptor},
        {"growing-memory", Fault::kGrowingMemory},
    };
    auto const found = faults.find(name);
    return found != faults.end() ? std::optional<Fault>(found->second) : std::nullopt;
}

int Main(std::vector<std::string> const& arguments) {
    std::string const minutes = !arguments.empty() ? arguments[0] : "";
    std::string const faultName = arguments.size() > 1 ? arguments[1] : "none";
    std::optional<std::chrono::minutes> const duration = ParseMinutes(minutes);
    std::optional<Fault> const fault = ParseFault(faultName);
    if (!duration) {
        std::fprintf(stderr, "soak: MINUTES is a whole number from 0 to %d, not \"%s\"\n",
                     kMaxMinutes, minutes.c_str());
        return 2;
    }
    if (!fault) {
        std::fprintf(stderr, "soak: there is no fault \"%s\" to be made\n", faultName.c_str());
        return 2;
    }
    return Run(*duration, *fault) ? 0 : 1;
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
