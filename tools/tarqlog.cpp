// tarqlog: logs the lines that it reads or that a command writes, each as one record, prints logs,
// or explains what would become of records.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command_cat.h"
#include "command_run.h"
#include "complaint.h"
#include "delivery.h"
#include "destination.h"
#include "explanation.h"
#include "input_name.h"
#include "line_buffer.h"
#include "line_logger.h"
#include "options.h"
#include "progress.h"
#include "signals.h"
#include "standard_streams.h"

namespace tarqlog::tool {

namespace {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 2;

/// One run over all inputs. The destinations are registered before, as `outlets`.
class Run {
public:
    Run(Options const& options, std::vector<Outlet> const& outlets)
        : options_(options),
          files_(options.operands.empty() ? std::vector<std::string>{"-"} : options.operands),
          delivery_(outlets),
          lines_(options.maxLine),
          logger_(options, options.level),
          size_(BytesToRead(files_)),
          progress_(ChooseManner(options.progress, delivery_.HasTerminal(),
                                 size_.has_value() && !delivery_.HasViewer()),
                    size_.value_or(0), Progress::Real()) {}

    /// Returns the exit status.
    int Execute();

private:
    bool LogFile(std::string const& name);
    int LogInput(int descriptor);
    bool AwaitInput(int descriptor);

    Options const& options_;
    std::vector<std::string> const files_;
    Delivery delivery_;
    LineBuffer lines_;
    LineLogger logger_;
    std::optional<unsigned long long> const size_;  // of all input, in bytes
    Progress progress_;
};

int Run::Execute() {
    bool areAllRead = true;
    for (std::string const& file : files_) {
        areAllRead = LogFile(file) && areAllRead;
        if (StopRequested() || !delivery_.AreStreamsIntact()) {
            break;
        }
    }
    bool const isAllDelivered = delivery_.End();
    progress_.End(lines_.BytesRead(), logger_.GetCounts().lines);
    if (options_.stats) {
        delivery_.PrintStats(logger_.GetCounts(), lines_.BytesRead());
    }
    return areAllRead && isAllDelivered ? 0 : kFailureStatus;
}

/// False, and says so, when the file cannot be read to its end.
bool Run::LogFile(std::string const& name) {
    bool const isStandardInput = IsStandardInput(name);
    // Not blocking: a FIFO that nobody writes to is waited for like any other input.
    int const flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    int const descriptor = isStandardInput ? STDIN_FILENO : ::open(name.c_str(), flags);
    std::string complaint;
    if (descriptor < 0) {
        complaint = std::strerror(errno);
    } else if (delivery_.FeedsBackFrom(descriptor)) {
        complaint = "it is a destination as well, and its lines would come back for ever";
    } else if (int const error = LogInput(descriptor); error != 0) {
        complaint = std::strerror(error);
    }
    if (descriptor > STDIN_FILENO) {
        ::close(descriptor);
    }
    if (!complaint.empty()) {
        Complain(InputName(name) + ": " + complaint);
    }
    return complaint.empty();
}

/// Returns 0, or the `errno` of a failed read.
int Run::LogInput(int descriptor) {
    int error = 0;
    lines_.Restart();
    for (;;) {
        Piece piece;
        while (lines_.Next(piece)) {
            logger_.Log(piece);
            if (!delivery_.AreStreamsIntact() || StopRequested()) {
                return error;
            }
        }
        if (lines_.AtEnd() || !delivery_.FlushStreams() || (StopRequested() && lines_.IsEmpty())) {
            return error;
        }
        progress_.Update(lines_.BytesRead(), logger_.GetCounts().lines);
        if (AwaitInput(descriptor)) {
            error = lines_.Fill(descriptor);
        } else {
            lines_.End();
        }
    }
}

/// Waits for input and sees to the files meanwhile. False when there is none to come.
bool Run::AwaitInput(int descriptor) {
    bool areWritten = !delivery_.HasFiles();
    pollfd input = {descriptor, POLLIN, 0};
    for (;;) {
        switch (WaitForInput(&input, 1, !areWritten)) {
            case Waited::kInput:
                return true;
            case Waited::kStop:
                return false;
            case Waited::kReopen:
                delivery_.ReopenFiles();
                break;
            case Waited::kQuiet:
                delivery_.FlushFiles();
                areWritten = true;
                break;
            case Waited::kChild:
                break;  // the tool has none when it reads
        }
    }
}

int Answer(std::string const& text) {
    OutputStreams output;
    output.Add(stdout);
    std::fwrite(text.data(), text.size(), 1, stdout);
    bool const isWritten = output.Flush();
    output.Report();
    return isWritten ? 0 : kFailureStatus;
}

int LogLines(Options const& options) {
    CatchSignals(std::any_of(options.destinations.begin(), options.destinations.end(),
                             [](Destination const& destination) { return destination.isFile; }));
    std::vector<Outlet> const outlets = OpenAndRegister(options.destinations);
    return Run(options, outlets).Execute();
}

int ExplainTags(Options const& options) {
    RegisterClosed(options.destinations);
    std::string explanations;
    for (std::string const& tag : options.operands) {
        explanations += Explain(tag, options.destinations);
    }
    return Answer(explanations);
}

/// What the tool does when its first argument is the command's name.
struct Command {
    std::string_view name;
    char const* need;  // of an operand at least
    Operands operands;
    int (*execute)(Options const& options);
};

constexpr Command kCommands[] = {
    {"cat", "a FILE, or - for standard input", Operands::kLogs, &PrintLogs},
    {"explain", "a TAG, as in explain web.db", Operands::kTags, &ExplainTags},
    {"run", "a COMMAND, as in run -- ls -l", Operands::kCommand, &RunCommand},
};

/// Null when the first argument names none: then the tool logs lines.
Command const* FindCommand(int argc, char const* const* argv) {
    for (Command const& command : kCommands) {
        if (argc > 1 && command.name == argv[1]) {
            return &command;
        }
    }
    return nullptr;
}

/// @param command  null for none
int Execute(Command const* command, int argc, char const* const* argv) {
    int const skipped = command != nullptr ? 1 : 0;
    Operands const operands = command != nullptr ? command->operands : Operands::kFiles;
    std::string const name(command != nullptr ? command->name : "");
    Options const options = ParseOptions(argc - skipped, argv + skipped, operands, name);
    if (!options.answer.empty()) {
        return Answer(options.answer);
    }
    if (command != nullptr && options.operands.empty()) {
        throw UsageError(name + " needs " + command->need);
    }
    if (options.dryRun) {
        return Answer(List(options.destinations));
    }
    return command != nullptr ? command->execute(options) : LogLines(options);
}

int Main(int argc, char const* const* argv) {
    Command const* const command = FindCommand(argc, argv);
    try {
        return Execute(command, argc, argv);
    } catch (UsageError const& error) {
        std::string const name(command != nullptr ? std::string(command->name) + " " : "");
        Complain(std::string(error.what()) + "; see " + name + "--help");
        return kUsageStatus;
    }
}

}  // namespace

}  // namespace tarqlog::tool

int main(int argc, char* argv[]) {
    using tarqlog::tool::Complain;
    tarqlog::tool::FillClosedDescriptors();
    tarqlog::tool::IgnoreBrokenPipes();
    try {
        return tarqlog::tool::Main(argc, argv);
    } catch (std::exception const& error) {
        Complain(error.what());
        return tarqlog::tool::kFailureStatus;
    }
}
