#ifndef TARQLOG_TESTS_FAULTS_JUDGE_H_
#define TARQLOG_TESTS_FAULTS_JUDGE_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "faults/line.h"

namespace tarqlog::faults {

/// The lines of each thread while the fault lasted, as numbers from `begin` to before `end`.
struct Window {
    int begin = 0;
    int end = 0;
};

struct Verdict {
    long found = 0;        // different lines
    long lost = 0;         // that are due and not there
    long lostOutside = 0;  // those of them that are not in the window
    long lostBytes = 0;    // with headers and line feeds
    long lostBeforeWarning = 0;
    long lostOfOneThread = 0;  // the most
    long doubled = 0;
    long reordered = 0;  // behind a later line of their thread, in one file
    long torn = 0;       // lines of a file that are not one header and one text
    long unended = 0;    // texts that are found, but not the end of their line
};

/// Counts the lines in files.
class Judge {
public:
    /// @param header    see IsHeader()
    /// @param preamble  with what lines begin that the library writes by itself; with none if empty
    Judge(std::string header, std::string preamble)
        : header_(std::move(header)), preamble_(std::move(preamble)) {}

    /// Reads the content of one more file.
    void Read(std::string_view content);

    /// Compares what was found with what should be there.
    /// @param due  how many lines of each thread
    Verdict Decide(std::vector<long> const& due, Window const& window = {}) const;

private:
    bool IsPreamble(std::string_view piece) const;
    bool ReadPiece(std::string_view piece, bool hasEnd);
    void Note(Line line);
    bool IsFound(std::size_t thread, long number) const;

    std::string const header_;
    std::string const preamble_;
    std::size_t headerSize_ = 0;           // of the longest
    std::vector<std::vector<int>> found_;  // of each thread: copies of each line
    std::vector<int> last_;                // of each thread, in this file
    long doubled_ = 0;
    long reordered_ = 0;
    long torn_ = 0;
    long unended_ = 0;
};

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_JUDGE_H_
