#include "soak/round.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <thread>

#include <boost/make_shared.hpp>

#include "tarqlog/accounting.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logrecord.h"

#include "soak/file_destination.h"
#include "soak/line.h"
#include "soak/other_destinations.h"

namespace tarqlog::soak {

namespace {

constexpr int kLastFirstLine = 1000000000;  // then the numbers begin anew
constexpr int kLinesPerLogger = 100;
constexpr long kLinesBetweenChanges = 100;  // of the configuration
constexpr long kLinesBetweenFileChanges = 300;
constexpr long kLinesBetweenForks = 500;
constexpr unsigned int kChildsPatience = 30;  // seconds, after which a child counts as hung

constexpr unsigned int kAlike = (1U << kPlainWriter) - 1;
constexpr unsigned int kPlain = 1U << kPlainWriter;
constexpr unsigned int kChild = 1U << kChildren;
constexpr unsigned int kUnlucky = 1U << kUnluckyWriter;

#if defined(TARQLOG_TEST_TSAN)
constexpr bool kForks = false;  // ThreadSanitizer looks away in the child of many threads
#else
constexpr bool kForks = true;
#endif

std::unique_ptr<LogRecord> Build(Line line) {
    std::string const text = TextOf(line);
    auto record = std::make_unique<LogRecord>(SeverityOf(line));
    record->WriteData(text.data(), static_cast<int>(text.size()));
    return record;
}

/// Nobody needs to wait a minute for a thread that hangs on purpose.
[[noreturn]] void Hang(Pulse& pulse) {
    pulse.patience = std::chrono::seconds(1);
    while (true) {
        ::pause();
    }
}

}  // namespace

Soak::Soak(int linesPerWriter, Plant plant, std::atomic<bool> const& isInterrupted)
    : isInterrupted_(isInterrupted),
      linesPerWriter_(linesPerWriter),
      plant_(plant),
      stale_(GetStaleRecords(core_)) {
    PrepareTrouble();
    for (int writer = 0; writer < kWriters; ++writer) {
        pulses_.emplace_back("writer " + TagOf(writer));
    }
    for (char const* const name : {"reconfiguring", "changing files", "forking", "accounting"}) {
        pulses_.emplace_back(name);
    }
    MakeDestinations(plant);
    for (auto const& destination : destinations_) {
        destination->Settle();
        accounts_.push_back(destination->GetAccount());
        totals_.destinations.emplace_back().name = log_utils::Basename(destination->Directory());
    }
    drain_.Start();
    growth_.Begin();
}

/// The core outlives what the appenders refer to.
Soak::~Soak() {
    core_.RemoveAllSinks();
}

void Soak::MakeDestinations(Plant plant) {
    bool const isUnadmitted = plant == Plant::kUnadmittedLoss;
    auto growing = std::make_unique<FileDestination>(directory_.File("growing"), kAlike);
    growing->Open<FileAppender>(0, true, isUnadmitted ? plant : Plant::kNone, 0, 10,
                                FileAppender::kAppendMode);
    auto small = std::make_unique<FileDestination>(directory_.File("small"), kAlike);
    small->Open<FileAppender>(0, false, isUnadmitted ? Plant::kNone : plant, 64, 0,
                              FileAppender::kTruncateMode);
    auto rolling = std::make_unique<FileDestination>(directory_.File("rolling"), kAlike);
    rolling->Open<RollingFileAppender>(9, true, Plant::kNone, 64, 9, 20);
    auto shared = std::make_unique<FileDestination>(directory_.File("shared"), kPlain | kChild);
    shared->Open<FileAppender>(0, false, Plant::kNone, 0, 20, FileAppender::kAppendMode);
    auto echo = std::make_unique<EchoDestination>(directory_.File("echo"), kAlike);
    echo->Open<FileAppender>(0, false, Plant::kNone, 0, 10, FileAppender::kAppendMode);
    auto throwing = std::make_unique<FileDestination>(directory_.File("throwing"), kUnlucky);
    throwing->Open<ThrowingAppender>(0, false, Plant::kNone);

    destinations_.push_back(std::move(growing));
    destinations_.push_back(std::move(small));
    destinations_.push_back(std::move(rolling));
    destinations_.push_back(std::move(shared));
    destinations_.push_back(std::move(echo));
    destinations_.push_back(std::move(throwing));
    destinations_.push_back(std::make_unique<ConsoleDestination>(
        directory_.File("stdout"), kAlike | kChild, ConsoleDestination::kLines, drain_));
    destinations_.push_back(std::make_unique<ConsoleDestination>(
        directory_.File("stderr"), kAlike, ConsoleDestination::kBytes, drain_));
    destinations_.push_back(
        std::make_unique<UdpDestination>(directory_.File("udp"), kAlike | kChild, *board_, drain_));
    destinations_.push_back(
        std::make_unique<SystemLogDestination>(directory_.File("syslog"), kAlike | kChild));
}

void Soak::RunRound(bool isWarmingUp) {
    constexpr int kSpare = 1;  // the UDP appender's socket
    LogARound();
    Working const working(pulses_.back());
    for (auto const& destination : destinations_) {
        destination->Settle();
    }
    AccountForLines();
    AccountForResources(isWarmingUp, kSpare);
}

void Soak::RunLastRound() {
    bool const isOnlyOne = totals_.rounds == 0;  // interrupted so soon that nothing is known yet
    LogARound();
    Working const working(pulses_.back());
    core_.RemoveAllSinks();
    for (auto const& destination : destinations_) {
        destination->Destroy();
    }
    AccountForLines();
    AccountForResources(isOnlyOne, 0);
}

void Soak::LogARound() {
    configurations_.emplace(core_.GetConfigGeneration(),
                            configurations_ ? configurations_->ReachedLast() : 0);
    linesPushed_ = 0;
    isOver_ = false;
    children_ = 0;
    thrown_ = 0;
    std::vector<std::thread> writers;
    std::vector<std::thread> others;
    std::atomic<int> begun{0};
    for (int writer = 0; writer < kWriters; ++writer) {
        if (writer != kChildren) {
            writers.emplace_back([this, writer, &begun] {
                ++begun;
                Push(writer);
            });
        }
    }
    auto const start = [&](std::size_t pulse, void (Soak::*life)(Pulse&)) {
        others.emplace_back([this, life, &begun, &own = pulses_[pulse]] {
            ++begun;
            (this->*life)(own);
        });
    };
    start(kWriters, &Soak::Reconfigure);
    start(kWriters + 1, &Soak::ChangeFiles);
    while (begun < kWriters - 1 + 2) {  // see support/sanitized_children.cpp
        ::sched_yield();
    }
    if (kForks) {
        start(kWriters + 2, &Soak::Fork);
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    isOver_ = true;
    for (std::thread& other : others) {
        other.join();
    }
    AddChildrensLines();
}

void Soak::Push(int writer) {
    Pulse& pulse = pulses_.at(static_cast<std::size_t>(writer));
    Working const working(pulse);
    std::vector<unsigned int>& generations = pushed_.at(static_cast<std::size_t>(writer));
    std::optional<Logger> logger;
    for (int line = 0; line < linesPerWriter_ && !isInterrupted_; ++line) {
        if (line % kLinesPerLogger == 0) {
            logger.emplace(TagOf(writer).c_str());
        }
        if (plant_ == Plant::kHungThread && writer == 3 && line == 50) {
            Hang(pulse);
        }
        Line const pushed{writer, firstLine_ + line};
        generations.push_back(writer == kUnluckyWriter ? PushUnluckily(*logger, pushed)
                                                       : PushLine(*logger, pushed));
        ++linesPushed_;
        ++pulse.steps;
    }
}

/// Returns what Pushed holds for the line.
unsigned int Soak::PushLine(Logger& logger, Line line) {
    unsigned int before = core_.GetConfigGeneration();
    while (!logger.HasSink(SeverityOf(line))) {
        ::sched_yield();
        before = core_.GetConfigGeneration();
    }
    auto const record = Build(line);
    logger.PushRecord(*record);
    return core_.GetConfigGeneration() == before ? before : kUncertain;
}

/// At every third line memory runs out, sooner or later.
unsigned int Soak::PushUnluckily(Logger& logger, Line line) {
    try {
        MemoryShortage const shortage(line.number % 3 == 0 ? line.number / 3 % 8 : -1);
        return PushLine(logger, line);
    } catch (std::exception const&) {
        ++thrown_;  // of which the record may have known nothing
        return kUncertain;
    }
}

/// The sinks go all at once and come back one by one, each time in another order.
void Soak::Reconfigure(Pulse& pulse) {
    Working const working(pulse);
    for (std::size_t turn = 0; !isOver_; ++turn) {
        Change(
            pulse, [this] { core_.RemoveAllSinks(); }, 0);
        unsigned int reached = 0;
        for (std::size_t i = 0; i < destinations_.size(); ++i) {
            std::size_t const index = (turn + i) % destinations_.size();
            AddSinks(pulse, index, reached);
            reached |= 1U << index;
        }
        for (int i = 0; i < 3; ++i) {
            AwaitLines(pulse, kLinesBetweenChanges);
            auto const file =
                boost::make_shared<FileAppender>("/dev/null", 0, 10, FileAppender::kAppendMode);
            file->Close();  // a descriptor fewer to account for
            auto const passing = boost::make_shared<LogSink>();
            passing->AddAppender(file);
            Change(
                pulse, [&] { core_.AddSink({FilterRule("other", kInfo)}, passing); }, reached);
        }
        AwaitLines(pulse, kLinesBetweenChanges);
    }
}

/// The writers reach the destination with its last sink.
void Soak::AddSinks(Pulse& pulse, std::size_t index, unsigned int reached) {
    auto const& registrations = destinations_.at(index)->Registrations();
    for (SinkRegistration const& registration : registrations) {
        bool const isLast = &registration == &registrations.back();
        Change(
            pulse, [&] { core_.AddSink(registration.rules, registration.sink); },
            reached | (isLast ? 1U << index : 0));
    }
}

/// Makes a change of the configuration, after which the writers reach the destinations `reached`.
void Soak::Change(Pulse& pulse, std::function<void()> const& change, unsigned int reached) {
    change();
    ++pulse.steps;
    if (!configurations_->Note(core_.GetConfigGeneration(), reached)) {
        complaints_.emplace_back("a change has not advanced the generation by one");
    }
}

void Soak::ChangeFiles(Pulse& pulse) {
    Working const working(pulse);
    while (!isOver_) {
        AwaitLines(pulse, kLinesBetweenFileChanges);
        Destination& destination = *destinations_.at(random_() % destinations_.size());
        totals_.fileChanges += destination.Move(random_) ? 1 : 0;
    }
}

void Soak::Fork(Pulse& pulse) {
    Working const working(pulse);
    for (; children_ < kMaxChildren && (!isOver_ || children_ == 0); ++children_) {
        AwaitLines(pulse, kLinesBetweenForks);
        pid_t const child = ::fork();
        if (child == 0) {
            BeChild(children_);
        }
        int status = -1;
        if (::waitpid(child, &status, 0) != child || status != 0) {
            complaints_.push_back("a child hung or died, with wait status " +
                                  std::to_string(status));
            return;
        }
        ++pulse.steps;
    }
}

/// Logs through what the parent has configured, if it has at this moment, tells the board, changes
/// the configuration and leaves.
void Soak::BeChild(int child) {
    ::alarm(kChildsPatience);
    std::vector<Account> before;
    for (auto const& destination : destinations_) {
        before.push_back(destination->GetAccount());
    }
    Logger logger(TagOf(kChildren).c_str());
    for (int i = 0; i < kLinesPerChild; ++i) {
        int const index = child * kLinesPerChild + i;
        Line const line{kChildren, firstLine_ + index};
        board_->generations.at(static_cast<std::size_t>(index)) =
            logger.HasSink(SeverityOf(line)) ? PushLine(logger, line) : kNotPushed;
    }
    for (std::size_t i = 0; i < destinations_.size(); ++i) {
        Destination& destination = *destinations_[i];
        if ((destination.Writers() & kChild) != 0) {
            destination.Settle();
        }
        board_->written.at(i) += destination.GetAccount().written - before[i].written;
        board_->lost.at(i) += destination.GetAccount().Lost() - before[i].Lost();
    }
    core_.RemoveAllSinks();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the child has no other thread
    std::exit(plant_ == Plant::kDyingChild ? 1 : 0);
}

void Soak::AddChildrensLines() {
    int const lines = children_ * kLinesPerChild;
    auto const first = board_->generations.begin();
    pushed_.at(kChildren).assign(first, first + lines);
    totals_.children += children_;
}

/// Waits until the writers have pushed `count` more lines, or the round is over. Who only waits for
/// others does not hang.
void Soak::AwaitLines(Pulse& pulse, long count) const {
    long const enough = linesPushed_ + count;
    while (linesPushed_ < enough && !isOver_) {
        ++pulse.steps;
        ::sched_yield();
    }
}

void Soak::AccountForLines() {
    drain_.Settle();
    Ledger ledger(firstLine_, linesPerWriter_);
    totals_.fullFiles = 0;
    totals_.troubles = 0;
    for (std::size_t i = 0; i < destinations_.size(); ++i) {
        ledger.Read(StatementOf(i));
        destinations_[i]->Clear();
        totals_.fullFiles += destinations_[i]->FullFiles();
        totals_.troubles += destinations_[i]->Troubles().Hits();
        ++pulses_.back().steps;
    }
    unsigned long long const stale = GetStaleRecords(core_);
    ledger.Compare(pushed_, *configurations_, stale - stale_, thrown_);
    stale_ = stale;
    complaints_.insert(complaints_.end(), ledger.Complaints().begin(), ledger.Complaints().end());
    for (std::size_t i = 0; i < destinations_.size(); ++i) {
        Add(ledger.Tallies()[i], i);
    }
    for (std::vector<unsigned int>& generations : pushed_) {
        totals_.pushed += generations.size();
        generations.clear();
    }
    totals_.dropped += ledger.Dropped();
    totals_.thrown += thrown_;
    totals_.configurationChanges += configurations_->Changes();
    firstLine_ = firstLine_ < kLastFirstLine ? firstLine_ + linesPerWriter_ : 0;
    ++totals_.rounds;
}

/// What has become of the destination's records since the last call.
Statement Soak::StatementOf(std::size_t index) {
    Destination& destination = *destinations_.at(index);
    Account const before = accounts_[index];
    Account const now = accounts_[index] = destination.GetAccount();
    return {totals_.destinations[index].name, destination.Directory(), destination.Writers(),
            now.written - before.written + board_->written.at(index).exchange(0),
            now.Lost() - before.Lost() + board_->lost.at(index).exchange(0)};
}

void Soak::Add(Tally const& tally, std::size_t index) {
    DestinationFigures& figures = totals_.destinations[index];
    figures.written += tally.said.written;
    figures.lost += tally.said.lost;
    figures.found += tally.found;
    figures.missing += tally.missing;
    figures.torn += tally.torn;
}

void Soak::AccountForResources(bool isWarmingUp, int spareDescriptors) {
    totals_.resources = MeasureResources();
    if (isWarmingUp) {
        growth_.WarmUp(totals_.resources);
    }
    std::string const complaint = growth_.Judge(totals_.resources, spareDescriptors);
    if (!complaint.empty()) {
        complaints_.push_back(complaint);
    }
}

}  // namespace tarqlog::soak
