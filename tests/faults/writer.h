#ifndef TARQLOG_TESTS_FAULTS_WRITER_H_
#define TARQLOG_TESTS_FAULTS_WRITER_H_

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "faults/board.h"

namespace tarqlog::faults {

/// How a writer ended.
struct Ending {
    bool hung = false;  // it did not, and was killed
    int signal = 0;
    int status = 0;
};

/// A process that logs: driver.cpp with one of the libraries.
class Writer {
public:
    /// Starts it and waits until its log is open or it has ended.
    /// @param settings     see Settings in driver.h, as name=value
    /// @param directory    where it begins, and where its board and its output go
    /// @param preparation  what the new process does before it becomes the writer
    Writer(std::string const& program, std::vector<std::string> const& settings,
           std::string const& directory, std::function<void()> const& preparation = {});

    /// Kills it if it still runs.
    ~Writer();

    Writer(Writer const&) = delete;
    Writer& operator=(Writer const&) = delete;

    Board& TheBoard() const { return *board_; }
    pid_t Pid() const { return pid_; }

    /// How long it may go without a line before it counts as hung; otherwise long enough for a busy
    /// machine.
    void SetPatience(std::chrono::seconds patience) { patience_ = patience; }

    /// Lets each thread log so many lines in all.
    void Allow(long lines);

    /// Waits until the threads have logged so many lines, each or together. Gives up when the
    /// writer has ended or hangs.
    void AwaitEach(int threads, long lines);
    void AwaitTotal(long lines);

    /// Waits until what the library has counted is noted, if it counts, or so many lines are
    /// logged.
    void AwaitNoteOrTotal(long lines);

    void Kill(int signal) const;

    /// Waits for the end; kills a writer that does not come to it.
    Ending AwaitEnd();

private:
    void AwaitThat(std::function<bool()> const& isTrue);
    bool HasEnded();

    MappedBoard board_;
    std::chrono::seconds patience_{30};
    pid_t pid_ = 0;  // 0: it has been waited for
    Ending ending_;
};

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_WRITER_H_
