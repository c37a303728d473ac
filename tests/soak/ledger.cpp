#include "soak/ledger.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

namespace tarqlog::soak {

void Ledger::Read(Statement const& said) {
    Tally& tally = tallies_.emplace_back();
    tally.said = said;
    tally.copies.fill(std::vector<int>(linesPerWriter_));
    std::set<ino_t> read;
    for (auto const& entry : std::filesystem::directory_iterator(said.directory)) {
        struct stat status = {};
        if (::stat(entry.path().c_str(), &status) == 0 && read.insert(status.st_ino).second) {
            ReadFile(entry.path(), tally);
        }
    }
}

void Ledger::Compare(Pushed const& pushed, Configurations const& configurations,
                     unsigned long long stale, unsigned long long thrown) {
    for (std::size_t writer = 0; writer < pushed.size(); ++writer) {
        for (std::size_t index = 0; index < pushed[writer].size(); ++index) {
            unsigned int const generation = pushed[writer][index];
            if (generation == kUncertain) {
                ExpectAtMostOnce(writer, index);
            } else {
                bool const isPushed = generation != kNotPushed;
                ExpectOnceIn(isPushed ? configurations.Reached(generation) : 0, writer, index);
            }
        }
    }
    unsigned long long excused = stale + thrown;
    for (Tally const& tally : tallies_) {
        HoldToItsWord(tally);
        excused += tally.said.lost;
    }
    if (dropped_ > excused) {
        complaints_.push_back(std::to_string(dropped_) + " lines reached nobody, of which only " +
                              std::to_string(excused) + " are accounted for");
    }
}

void Ledger::ReadFile(std::string const& path, Tally& tally) {
    std::ifstream file(path, std::ios::binary);
    std::array<int, kWriters> last;
    last.fill(-1);
    for (std::string text; std::getline(file, text);) {
        if (file.eof()) {
            text += " and no line feed";
        }
        ReadPiece(text, tally, last);
    }
}

/// A write that failed leaves a piece of a line in front of the next one.
void Ledger::ReadPiece(std::string const& text, Tally& tally, std::array<int, kWriters>& last) {
    static constexpr std::size_t kLevelAndBlank = 2;
    std::optional<Line> line = ParseLine(text);
    if (line) {
        Note(*line, tally, last);
        return;
    }
    ++tally.torn;
    if (tally.said.lost == 0) {
        Complain(tally, "torn: " + text.substr(0, 120));
    }
    std::size_t begin = text.rfind(" [");
    for (; begin != std::string::npos && begin >= kLevelAndBlank && !line;
         begin = text.rfind(" [", begin - 1)) {
        line = ParseLine(text.substr(begin - 1));
    }
    if (line) {
        Note(*line, tally, last);
    }
}

void Ledger::Note(Line line, Tally& tally, std::array<int, kWriters>& last) {
    auto const writer = static_cast<std::size_t>(line.writer);
    if (IndexOf(line) >= linesPerWriter_) {
        Complain(tally, "no line of this round: " + TextOf(line));
        return;
    }
    if (line.number < last.at(writer)) {
        Complain(tally, "behind a later line of its writer: " + TextOf(line));
    }
    last.at(writer) = line.number;
    ++tally.copies.at(writer)[IndexOf(line)];
    ++tally.found;
}

void Ledger::ExpectAtMostOnce(std::size_t writer, std::size_t index) {
    bool isDropped = true;
    for (Tally const& tally : tallies_) {
        int const copies = tally.copies.at(writer)[index];
        isDropped = isDropped && copies == 0;
        if (copies > 1) {
            ComplainOfCount(tally, writer, index, 1);
        }
    }
    dropped_ += isDropped ? 1 : 0;
}

void Ledger::ExpectOnceIn(unsigned int reached, std::size_t writer, std::size_t index) {
    for (Tally& tally : tallies_) {
        int const copies = tally.copies.at(writer)[index];
        int const expected = (reached & tally.said.writers >> writer & 1U) != 0 ? 1 : 0;
        tally.missing += copies < expected ? 1 : 0;
        if (copies > expected || (copies < expected && tally.said.lost == 0)) {
            ComplainOfCount(tally, writer, index, expected);
        }
        reached >>= 1U;
    }
}

/// Every line that was written is there, and every one that is not is admitted to be lost.
void Ledger::HoldToItsWord(Tally const& tally) {
    Statement const& said = tally.said;
    if (tally.found != said.written) {
        Complain(tally, "has " + std::to_string(tally.found) + " lines and claims " +
                            std::to_string(said.written));
    }
    if (tally.missing > said.lost) {
        Complain(tally, "misses " + std::to_string(tally.missing) + " lines and admits " +
                            std::to_string(said.lost));
    }
    if (tally.torn > said.lost) {
        Complain(tally, "has " + std::to_string(tally.torn) + " torn lines and admits " +
                            std::to_string(said.lost));
    }
}

void Ledger::ComplainOfCount(Tally const& tally, std::size_t writer, std::size_t index,
                             int expected) {
    Complain(tally, "line " + std::to_string(first_ + static_cast<int>(index)) + " of " +
                        TagOf(static_cast<int>(writer)) + " is there " +
                        std::to_string(tally.copies.at(writer)[index]) + " times instead of " +
                        std::to_string(expected));
}

void Ledger::Complain(Tally const& tally, std::string const& what) {
    complaints_.push_back(tally.said.name + ": " + what);
}

std::size_t Ledger::IndexOf(Line line) const {
    return static_cast<std::size_t>(line.number - first_);  // of earlier lines, very large
}

}  // namespace tarqlog::soak
