#ifndef TARQLOG_TOOLS_PROGRESS_H_
#define TARQLOG_TOOLS_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarqlog::tool {

/// Tells on standard error how far long work has come: bytes, lines, speed and time left.
class Progress {
public:
    enum class Manner {
        kNone,        // nothing is told
        kLine,        // one line that is rewritten and is gone in the end, for a terminal
        kLineIfLong,  // the same once the work has taken two seconds
        kLines,       // a line each ten seconds and one at the end
    };

    /// What it needs of the world.
    struct Surroundings {
        std::function<std::chrono::steady_clock::time_point()> now;
        std::function<void(std::string const&)> write;  // to standard error, at once
        std::function<std::size_t()> columns;           // of the terminal; 0 while it is not ours
    };
    static Surroundings Real();

    /// The work begins.
    /// @param size  of the work in bytes, 0 when it is unknown
    Progress(Manner manner, unsigned long long size, Surroundings surroundings);

    /// Clears the line.
    ~Progress();

    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// So much is done. Looks at the clock and mostly does no more: cheap enough for each block
    /// that is read, though not for each line.
    void Update(unsigned long long bytes, unsigned long long lines);

    /// The work is over.
    void End(unsigned long long bytes, unsigned long long lines);

    /// Takes the line away, until the next Update() shows it again.
    void Clear();

private:
    std::string Text(unsigned long long bytes, unsigned long long lines,
                     std::chrono::duration<double> elapsed) const;
    void Show(std::string const& text);

    Manner const manner_;
    unsigned long long const size_;
    Surroundings const surroundings_;
    std::chrono::steady_clock::time_point const start_;
    std::chrono::steady_clock::time_point next_;  // when it is to be told again
    std::size_t shown_ = 0;                       // so many columns hold the line
};

/// How to tell of work on the terminal that standard error may be.
/// @param isAskedFor       whether somebody wants to know in any case
/// @param isTerminalTaken  whether lines are written to a terminal meanwhile
/// @param mayComeByItself  whether it may be told though nobody has asked
Progress::Manner ChooseManner(bool isAskedFor, bool isTerminalTaken, bool mayComeByItself);

/// How many bytes there are to read from `files`, "-" being standard input; none where one of them
/// is no regular file. What cannot be read has none.
std::optional<unsigned long long> BytesToRead(std::vector<std::string> const& files);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_PROGRESS_H_
