#ifndef TARQLOG_TESTS_SOAK_LEDGER_H_
#define TARQLOG_TESTS_SOAK_LEDGER_H_

#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tarqlog/file.h"

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

/// What the threads have pushed in a round: for each line the generation that was the current one
/// all the while, or 0 when it changed meanwhile. Then, and only then, the line may be dropped: at
/// most one of each thread at each change.
using Pushed = std::array<std::vector<unsigned int>, kWriters>;

/// Counts the lines of one round in the files of all destinations.
class Ledger {
public:
    /// @param first  the number of each thread's first line in this round
    Ledger(int first, int linesPerWriter)
        : first_(first), linesPerWriter_(static_cast<std::size_t>(linesPerWriter)) {}

    /// Reads the files of the next destination, each once, however many names it has.
    void Read(std::string const& directory) {
        Copies& copies = destinations_.emplace_back();
        copies.name = log_utils::Basename(directory);
        copies.found.fill(std::vector<int>(linesPerWriter_));
        std::set<ino_t> read;
        for (auto const& entry : std::filesystem::directory_iterator(directory)) {
            struct stat status = {};
            if (::stat(entry.path().c_str(), &status) == 0 && read.insert(status.st_ino).second) {
                ReadFile(entry.path(), copies);
            }
        }
    }

    /// Compares what was found with what was pushed.
    void Compare(Pushed const& pushed, Configurations const& configurations) {
        for (std::size_t writer = 0; writer < pushed.size(); ++writer) {
            for (std::size_t index = 0; index < pushed[writer].size(); ++index) {
                unsigned int const generation = pushed[writer][index];
                if (generation == 0) {
                    ExpectAtMostOnce(writer, index);
                } else {
                    ExpectOnceIn(configurations.Reached(generation), writer, index);
                }
            }
        }
    }

    /// How many lines there are, in all destinations.
    long Found() const { return found_; }

    /// How many lines reached nobody since the configuration changed.
    long Dropped() const { return dropped_; }

    /// What is wrong, if anything.
    std::vector<std::string> const& Complaints() const { return complaints_; }

private:
    struct Copies {
        std::string name;
        std::array<std::vector<int>, kWriters> found;  // of each line
    };

    void ReadFile(std::string const& path, Copies& copies) {
        std::ifstream file(path, std::ios::binary);
        std::array<int, kWriters> last;
        last.fill(-1);
        for (std::string text; std::getline(file, text);) {
            std::optional<Line> const line = ParseLine(text);
            if (!line || file.eof() || IndexOf(*line) >= linesPerWriter_) {
                Complain(copies, "no line of this round: " + text.substr(0, 120));
                continue;
            }
            auto const writer = static_cast<std::size_t>(line->writer);
            if (line->number < last.at(writer)) {
                Complain(copies, "behind a later line of its thread: " + text.substr(0, 120));
            }
            last.at(writer) = line->number;
            ++copies.found.at(writer)[IndexOf(*line)];
            ++found_;
        }
    }

    void ExpectAtMostOnce(std::size_t writer, std::size_t index) {
        bool isDropped = true;
        for (Copies const& copies : destinations_) {
            int const found = copies.found.at(writer)[index];
            isDropped = isDropped && found == 0;
            if (found > 1) {
                ComplainOfCount(copies, writer, index, 1);
            }
        }
        dropped_ += isDropped ? 1 : 0;
    }

    void ExpectOnceIn(unsigned int reached, std::size_t writer, std::size_t index) {
        for (Copies const& copies : destinations_) {
            int const expected = (reached & 1U) != 0 ? 1 : 0;
            if (copies.found.at(writer)[index] != expected) {
                ComplainOfCount(copies, writer, index, expected);
            }
            reached >>= 1U;
        }
    }

    void ComplainOfCount(Copies const& copies, std::size_t writer, std::size_t index,
                         int expected) {
        Complain(copies, "line " + std::to_string(first_ + static_cast<int>(index)) +
                             " of thread " + std::to_string(writer) + " is there " +
                             std::to_string(copies.found.at(writer)[index]) + " times instead of " +
                             std::to_string(expected));
    }

    void Complain(Copies const& copies, std::string const& what) {
        complaints_.push_back(copies.name + ": " + what);
    }

    std::size_t IndexOf(Line line) const {
        return static_cast<std::size_t>(line.number - first_);  // of earlier lines, very large
    }

    int const first_;
    std::size_t const linesPerWriter_;
    std::vector<Copies> destinations_;
    long found_ = 0;
    long dropped_ = 0;
    std::vector<std::string> complaints_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_LEDGER_H_
