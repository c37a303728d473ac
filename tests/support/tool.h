#ifndef TARQLOG_TESTS_SUPPORT_TOOL_H_
#define TARQLOG_TESTS_SUPPORT_TOOL_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/child.h"

namespace tarqlog {

/// The path of the command-line tool.
inline char const* const kTool = TARQLOG_TOOL;

using Arguments = std::vector<std::string>;

/// Takes time and thread id out of the records' headers: "I (stdin):text".
std::string Masked(std::string const& output);

/// Runs the tool; what it writes is masked.
ChildResult RunTool(Arguments const& arguments, std::string const& input = "");

/// What the tool writes to standard output when it ends well and has nothing to complain about.
std::string Output(Arguments arguments, std::string const& input);

/// Runs a shell line in which "$0" is the tool; what it writes is masked.
ChildResult RunShell(std::string const& line, std::string const& input = "");

/// The statistics up to the time, which is not the test's to say.
std::string Stats(Arguments arguments, std::string const& input);

/// Expects that `arguments`, of which one asks for it, give a help that fits one screen and has
/// each of `words`.
void ExpectHelp(Arguments const& arguments, std::vector<std::string> const& words);

/// What the tool writes to a terminal in place of its standard output and standard error, not
/// masked, when it ends well.
/// @param noColour  its NO_COLOR; null for none
std::string OnTerminal(Arguments const& arguments, std::string const& input = "",
                       char const* noColour = nullptr);

/// The letter that /proc has for what a process does: R when it runs, Z when it is over.
char ProcessState(std::string const& pid);

/// Waits until `condition` holds; throws when it does not for a minute.
/// @param what  the condition in words
void WaitUntil(std::string const& what, std::function<bool()> const& condition);

/// The tool at the other end of pipes, killed if it is still there at the end.
class RunningTool {
public:
    /// @param prepare  is called in the tool's process before it becomes the tool
    explicit RunningTool(
        Arguments const& arguments, std::function<void()> const& prepare = [] {});
    ~RunningTool();

    RunningTool(RunningTool const&) = delete;
    RunningTool& operator=(RunningTool const&) = delete;

    void Write(std::string const& text);

    void CloseInput() { Close(input_); }
    void CloseOutput() { Close(output_); }

    std::string ReadOutputLine() { return ReadLine(output_); }
    std::string ReadErrorLine() { return ReadLine(errors_); }

    void Signal(int signal);

    /// Waits until the system says that the tool sleeps. With a FILE for input it does so when its
    /// output is a full pipe that nobody reads.
    void WaitUntilItSleeps() const;

    /// Waits until nothing more fits into the pipe for the tool's output.
    void WaitUntilItsOutputIsFull() const;

    /// Whether the tool has ended; does not wait.
    bool HasEnded();

    /// Reads what the tool still has to say and waits for its end.
    ChildResult Finish();

private:
    static void Close(int& descriptor);
    static std::string ReadLine(int descriptor);
    static std::string ReadRest(int descriptor);

    pid_t pid_ = -1;
    int status_ = 0;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_TOOL_H_
