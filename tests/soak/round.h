#ifndef TARQLOG_TESTS_SOAK_ROUND_H_
#define TARQLOG_TESTS_SOAK_ROUND_H_

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"

#include "soak/board.h"
#include "soak/destination.h"
#include "soak/drain.h"
#include "soak/ledger.h"
#include "soak/plant.h"
#include "soak/resources.h"
#include "soak/watchdog.h"
#include "support/temporary_directory.h"

namespace tarqlog::soak {

/// Of one destination, in all rounds so far.
struct DestinationFigures {
    std::string name;
    unsigned long long written = 0;
    unsigned long long found = 0;
    unsigned long long lost = 0;     // as the account admits
    unsigned long long torn = 0;     // pieces of those that are lost
    unsigned long long missing = 0;  // of the lines that certainly went there
};

/// Of all rounds so far; the resources, at the end of the last one.
struct Figures {
    long long rounds = 0;
    unsigned long long pushed = 0;
    unsigned long long dropped = 0;
    long long fullFiles = 0;
    long long fileChanges = 0;
    long long configurationChanges = 0;
    long long children = 0;
    long long troubles = 0;
    unsigned long long thrown = 0;
    std::vector<DestinationFigures> destinations;
    Resources resources;
};

/// Everything that logs, all that is done to it meanwhile, and the account of it.
class Soak {
public:
    /// @param isInterrupted  ends the round that is in progress
    Soak(int linesPerWriter, Plant plant, std::atomic<bool> const& isInterrupted);
    ~Soak();

    Soak(Soak const&) = delete;
    Soak& operator=(Soak const&) = delete;

    /// Logs, has the appenders write everything out and accounts for every line. While the soak is
    /// warming up, what it holds is what it needs.
    void RunRound(bool isWarmingUp);

    /// The same, but the appenders are destroyed.
    void RunLastRound();

    std::deque<Pulse> const& Pulses() const { return pulses_; }
    std::string const& Directory() const { return directory_.Path(); }
    Figures const& Totals() const { return totals_; }

    /// What is wrong, if anything.
    std::vector<std::string> const& Complaints() const { return complaints_; }

private:
    void MakeDestinations(Plant plant);
    void LogARound();
    void Push(int writer);
    unsigned int PushLine(Logger& logger, Line line);
    unsigned int PushUnluckily(Logger& logger, Line line);
    void Reconfigure(Pulse& pulse);
    void Change(Pulse& pulse, std::function<void()> const& change, unsigned int reached);
    void AddSinks(Pulse& pulse, std::size_t index, unsigned int reached);
    void ChangeFiles(Pulse& pulse);
    void Fork(Pulse& pulse);
    [[noreturn]] void BeChild(int child);
    void AddChildrensLines();
    void AwaitLines(Pulse& pulse, long count) const;
    void AccountForLines();
    Statement StatementOf(std::size_t index);
    void Add(Tally const& tally, std::size_t index);
    void AccountForResources(bool isWarmingUp, int spareDescriptors);

    LogCore& core_ = *LogCore::Get();
    std::atomic<bool> const& isInterrupted_;
    int const linesPerWriter_;
    Plant const plant_;
    Growth growth_;
    TemporaryDirectory const directory_;
    SharedBoard const board_;
    std::deque<Pulse> pulses_;  // of the writers, and of the others
    std::vector<std::unique_ptr<Destination>> destinations_;
    std::vector<Account> accounts_;  // of each destination, at the end of the last round
    unsigned long long stale_;       // likewise
    Drain drain_;

    // The round in progress.
    int firstLine_ = 0;
    Pushed pushed_;
    std::optional<Configurations> configurations_;
    std::atomic<long> linesPushed_{0};
    std::atomic<bool> isOver_{false};
    int children_ = 0;
    unsigned long long thrown_ = 0;  // by the pushes of the unlucky writer

    std::minstd_rand random_;  // of the thread that changes files
    Figures totals_;
    std::vector<std::string> complaints_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_ROUND_H_
