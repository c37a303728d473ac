// tarqlog: reads lines and logs each as one record, or explains what would become of records.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <tarqlog/accounting.h>
#include <tarqlog/file_appender.h>
#include <tarqlog/logcore.h>

#include "complaint.h"
#include "datagrams.h"
#include "destination.h"
#include "explanation.h"
#include "line_buffer.h"
#include "line_logger.h"
#include "options.h"
#include "standard_streams.h"
#include "stop_signal.h"

namespace tarqlog::tool {

namespace {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 2;

/// One run over all inputs. The destinations are registered before, as `outlets`.
class Run {
public:
    Run(Options const& options, std::vector<Outlet> const& outlets);

    /// Returns the exit status.
    int Execute();

private:
    bool LogFile(std::string const& name);
    int LogInput(int descriptor);
    bool AwaitInput(int descriptor);
    void ReopenFiles() const;
    bool ReportLosses() const;
    void PrintStats() const;

    std::chrono::steady_clock::time_point const start_ = std::chrono::steady_clock::now();
    Options const& options_;
    std::vector<Outlet> const& outlets_;
    OutputStreams output_;
    std::vector<FileAppender*> files_;
    std::vector<DatagramAppender const*> datagrams_;
    LineBuffer lines_;
    LineLogger logger_;
};

Run::Run(Options const& options, std::vector<Outlet> const& outlets)
    : options_(options), outlets_(outlets), lines_(options.maxLine), logger_(options) {
    for (Outlet const& outlet : outlets) {
        output_.Add(outlet.stream);
        if (outlet.file != nullptr) {
            files_.push_back(outlet.file);
        }
        if (outlet.datagrams != nullptr) {
            datagrams_.push_back(outlet.datagrams);
        }
    }
    output_.SetBuffers();
}

int Run::Execute() {
    std::vector<std::string> const standardInput = {"-"};
    bool areAllRead = true;
    for (std::string const& file : options_.operands.empty() ? standardInput : options_.operands) {
        areAllRead = LogFile(file) && areAllRead;
        if (StopRequested() || !output_.AreIntact()) {
            break;
        }
    }
    LogCore::Get()->RemoveAllSinks();
    for (FileAppender* const file : files_) {
        file->Close();
    }
    bool const isAllWritten = output_.Flush();
    output_.Report();
    bool const isAllDelivered = ReportLosses();
    if (options_.stats) {
        PrintStats();
    }
    return areAllRead && isAllWritten && isAllDelivered ? 0 : kFailureStatus;
}

/// False, and says so, when the file cannot be read to its end.
bool Run::LogFile(std::string const& name) {
    bool const isStandardInput = name == "-";
    // Not blocking: a FIFO that nobody writes to is waited for like any other input.
    int const flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    int const descriptor = isStandardInput ? STDIN_FILENO : ::open(name.c_str(), flags);
    int const error = descriptor < 0 ? errno : LogInput(descriptor);
    if (descriptor > STDIN_FILENO) {
        ::close(descriptor);
    }
    if (error != 0) {
        Complain((isStandardInput ? "standard input" : name) + ": " + std::strerror(error));
    }
    return error == 0;
}

/// Returns 0, or the `errno` of a failed read.
int Run::LogInput(int descriptor) {
    int error = 0;
    lines_.Restart();
    for (;;) {
        Piece piece;
        while (lines_.Next(piece)) {
            logger_.Log(piece);
            if (!output_.AreIntact() || StopRequested()) {
                return error;
            }
        }
        if (lines_.AtEnd() || !output_.Flush() || (StopRequested() && lines_.IsEmpty())) {
            return error;
        }
        if (AwaitInput(descriptor)) {
            error = lines_.Fill(descriptor);
        } else {
            lines_.End();
        }
    }
}

/// Waits for input and sees to the files meanwhile. False when there is none to come.
bool Run::AwaitInput(int descriptor) {
    bool areWritten = files_.empty();
    for (;;) {
        switch (WaitForInput(descriptor, !areWritten)) {
            case Waited::kInput:
                return true;
            case Waited::kStop:
                return false;
            case Waited::kReopen:
                ReopenFiles();
                break;
            case Waited::kQuiet:
                for (FileAppender* const file : files_) {
                    file->Flush();
                }
                areWritten = true;
                break;
        }
    }
}

void Run::ReopenFiles() const {
    for (FileAppender* const file : files_) {
        file->Close();  // Reopen() alone would carry the buffer into the new file
        if (!file->Open(FileAppender::kAppendMode)) {
            Complain("cannot open " + file->GetFilename() + ": " +
                     std::strerror(errno));  // each line tries again
        }
    }
}

/// False, and says so, when lines were lost on the way to a file or a socket; what became of the
/// standard streams is told already.
bool Run::ReportLosses() const {
    bool isAllDelivered = true;
    for (Outlet const& outlet : outlets_) {
        Account const account = GetAccount(*outlet.appender);
        if (account.Lost() == 0 || outlet.stream != nullptr) {
            continue;
        }
        isAllDelivered = false;
        Complain(outlet.name + ": lines lost: " + std::to_string(account.Lost()) + " (not opened " +
                 std::to_string(account.openFailed) + ", not written " +
                 std::to_string(account.shortWrite) + ", not sent " +
                 std::to_string(account.sendFailed) + ")");
    }
    return isAllDelivered;
}

void Run::PrintStats() const {
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - start_;
    Counts const& counts = logger_.GetCounts();
    unsigned long long cut = 0;
    for (DatagramAppender const* const appender : datagrams_) {
        cut += appender->CutCount();
    }
    unsigned long long lost = 0;
    for (Outlet const& outlet : outlets_) {
        lost += GetAccount(*outlet.appender).Lost();
    }
    auto const& [trace, debug, info, warning, error, fatal] = counts.delivered;
    std::fprintf(stderr,
                 "tarqlog: lines=%llu delivered=%llu trace=%llu debug=%llu info=%llu warning=%llu "
                 "error=%llu fatal=%llu filtered=%llu empty=%llu split=%llu parent_tag=%llu "
                 "cut=%llu lost=%llu bytes=%llu seconds=%.3f lines_per_second=%.0f\n",
                 counts.lines, trace + debug + info + warning + error + fatal, trace, debug, info,
                 warning, error, fatal, counts.filtered, counts.empty, counts.split,
                 counts.parentTag, cut, lost, lines_.BytesRead(), elapsed.count(),
                 static_cast<double>(counts.lines) / elapsed.count());
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
    char const* operand;  // at least one of these must be there
    int (*execute)(Options const& options);
};

constexpr Command kCommands[] = {
    {"explain", "TAG", &ExplainTags},
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

int Main(int argc, char const* const* argv) {
    Command const* const command = FindCommand(argc, argv);
    int const skipped = command != nullptr ? 1 : 0;
    Options const options = ParseOptions(argc - skipped, argv + skipped);
    if (!options.answer.empty()) {
        return Answer(options.answer);
    }
    if (command != nullptr && options.operands.empty()) {
        throw UsageError(std::string(command->name) + ": 1 required " + command->operand +
                         " missing");
    }
    if (options.dryRun) {
        return Answer(List(options.destinations));
    }
    return command != nullptr ? command->execute(options) : LogLines(options);
}

}  // namespace

}  // namespace tarqlog::tool

int main(int argc, char* argv[]) {
    using tarqlog::tool::Complain;
    tarqlog::tool::FillClosedDescriptors();
    ::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is a failed write
    try {
        return tarqlog::tool::Main(argc, argv);
    } catch (tarqlog::tool::UsageError const& error) {
        Complain(std::string(error.what()) + "; see --help");
        return tarqlog::tool::kUsageStatus;
    } catch (std::exception const& error) {
        Complain(error.what());
        return tarqlog::tool::kFailureStatus;
    }
}
