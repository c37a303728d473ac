#ifndef TARQLOG_TESTS_FAULTS_ROWS_H_
#define TARQLOG_TESTS_FAULTS_ROWS_H_

#include <ostream>
#include <string>
#include <vector>

#include "faults/board.h"
#include "faults/judge.h"
#include "faults/writer.h"

namespace tarqlog::faults {

/// A library with its writer.
struct Peer {
    std::string program;
    std::string name;
    std::string header;    // see IsHeader()
    std::string preamble;  // see Judge
    std::string settings;
};

/// Asks the writer.
Peer AskPeer(std::string const& program);

/// What came of a fault.
struct Outcome {
    Verdict verdict;
    bool hung = false;
    std::string died;  // how, when it should not have
    long childrenHung = 0;
    long childrenDied = 0;
    long hits = 0;
    bool isAccounted = false;  // the library has counted itself:
    AccountNote account;
    std::string cannot;  // why the library could not take part
};

/// Where one library meets one fault.
class Scene {
public:
    /// @param directory  empty and its own
    /// @param isQuick    less of what takes long
    Scene(Peer const& peer, std::string const& directory, bool isQuick)
        : peer_(peer), directory_(directory), isQuick_(isQuick) {}

    Peer const& ThePeer() const { return peer_; }
    std::string const& Directory() const { return directory_; }
    long Scaled(long quick, long full) const { return isQuick_ ? quick : full; }

private:
    Peer const& peer_;
    std::string const directory_;
    bool const isQuick_;
};

/// A fault and what we promise under it.
struct Row {
    char const* name;
    Outcome (*run)(Scene const& scene);
    /// What we miss of the goal; empty when that is met.
    std::string (*miss)(Outcome const& outcome);
    bool mounts = false;  // file systems of its own, which the kernel may refuse
};

inline void PrintTo(Row const& row, std::ostream* out) {
    *out << row.name;
}

std::vector<Row> const& Rows();

/// "kill -9, buffered" as KillBuffered might be: letters and digits alone.
std::string IdOf(Row const& row);

/// Runs the row; what goes wrong with the harness itself is thrown.
Outcome RunRow(Row const& row, Peer const& peer, bool isQuick);

/// The outcome on a line: "lost 3 (240 B), torn 1; 1 hit".
std::string ToText(Outcome const& outcome);

/// Runs a planted writer with the flaw, 10,000 lines of it.
Verdict JudgePlanted(Peer const& planted, std::string const& flaw);

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_ROWS_H_
