#ifndef TARQLOG_TESTS_SOAK_LEDGER_H_
#define TARQLOG_TESTS_SOAK_LEDGER_H_

#include <array>
#include <string>
#include <vector>

#include "soak/line.h"

namespace tarqlog::soak {

/// What the configurations of a round were, by their generation: one bit for each destination.
class Configurations {
public:
    Configurations(unsigned int generation, unsigned int reached)
        : first_(generation), reached_{reached} {}

    /// False when the change has advanced the generation by anything but one.
    bool Note(unsigned int generation, unsigned int reached) {
        reached_.push_back(reached);
        return generation == first_ + Changes();
    }

    unsigned int Changes() const { return static_cast<unsigned int>(reached_.size()) - 1; }
    unsigned int Reached(unsigned int generation) const { return reached_.at(generation - first_); }
    unsigned int ReachedLast() const { return reached_.back(); }

private:
    unsigned int const first_;
    std::vector<unsigned int> reached_;
};

/// What the writers have pushed in a round: for each line the generation that was the current one
/// all the while, or one of these.
using Pushed = std::array<std::vector<unsigned int>, kWriters>;
constexpr unsigned int kUncertain = 0;    // it changed, or the push threw: may reach nobody
constexpr unsigned int kNotPushed = ~0U;  // there was no sink, or no memory for the record

/// What a destination says of a round.
struct Statement {
    std::string name;
    std::string directory;
    unsigned int writers = 0;  // a bit for each that is routed to it
    unsigned long long written = 0;
    unsigned long long lost = 0;
};

/// What was found at a destination in a round.
struct Tally {
    Statement said;
    std::array<std::vector<int>, kWriters> copies;  // of each line
    unsigned long long found = 0;
    unsigned long long missing = 0;  // of the lines that certainly went there
    unsigned long long torn = 0;     // pieces that are no line
};

/// Counts the lines of one round in the files of all destinations.
class Ledger {
public:
    /// @param first  the number of each writer's first line in this round
    Ledger(int first, int linesPerWriter)
        : first_(first), linesPerWriter_(static_cast<std::size_t>(linesPerWriter)) {}

    /// Reads the files of the next destination, each once, however many names it has.
    void Read(Statement const& said);

    /// Compares what was found with what was pushed, and with what each destination says.
    /// @param stale  how many records have reached no sink, as the core says
    /// @param thrown  how many pushes threw
    void Compare(Pushed const& pushed, Configurations const& configurations,
                 unsigned long long stale, unsigned long long thrown);

    std::vector<Tally> const& Tallies() const { return tallies_; }

    /// How many lines reached nobody since the configuration changed, or since the push threw.
    unsigned long long Dropped() const { return dropped_; }

    /// What is wrong, if anything.
    std::vector<std::string> const& Complaints() const { return complaints_; }

private:
    void ReadFile(std::string const& path, Tally& tally);
    void ReadPiece(std::string const& text, Tally& tally, std::array<int, kWriters>& last);
    void Note(Line line, Tally& tally, std::array<int, kWriters>& last);
    void ExpectAtMostOnce(std::size_t writer, std::size_t index);
    void ExpectOnceIn(unsigned int reached, std::size_t writer, std::size_t index);
    void HoldToItsWord(Tally const& tally);
    void ComplainOfCount(Tally const& tally, std::size_t writer, std::size_t index, int expected);
    void Complain(Tally const& tally, std::string const& what);
    std::size_t IndexOf(Line line) const;

    int const first_;
    std::size_t const linesPerWriter_;
    std::vector<Tally> tallies_;
    unsigned long long dropped_ = 0;
    std::vector<std::string> complaints_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_LEDGER_H_
