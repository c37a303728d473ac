#include "command_run.h"

#include <poll.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "complaint.h"
#include "delivery.h"
#include "line_buffer.h"
#include "line_logger.h"
#include "process.h"
#include "signals.h"

namespace tarqlog::tool {

namespace {

constexpr int kCannotRunStatus = 126;  // as shells have it
constexpr int kNotFoundStatus = 127;

/// One of the two streams of a command.
class Stream {
public:
    Stream(Options const& options, Severity level, int descriptor, Delivery& delivery)
        : descriptor_(descriptor),
          lines_(options.maxLine),
          logger_(options, level),
          delivery_(delivery) {}

    /// What poll() is to wait for: nothing at all once the stream has ended.
    pollfd Wanted() const { return {lines_.AtEnd() ? -1 : descriptor_, POLLIN, 0}; }

    /// Reads once and logs the lines that are complete. A failure to read is the end.
    void Read() {
        int const error = lines_.Fill(descriptor_);
        if (error != 0) {
            Complain(std::string("output of the command: ") + std::strerror(error));
        }
        Log();
    }

    /// Reads what is there and no more: others that hold the pipe may go on writing for ever.
    void Finish() {
        int size = 0;
        ::ioctl(descriptor_, FIONREAD, &size);
        unsigned long long const end = BytesRead() + static_cast<unsigned int>(size);
        while (!lines_.AtEnd() && BytesRead() < end) {
            Read();
        }
        lines_.End();
        Log();
    }

    Counts const& GetCounts() const { return logger_.GetCounts(); }
    unsigned long long BytesRead() const { return lines_.BytesRead(); }

private:
    void Log() {
        Piece piece;
        while (lines_.Next(piece)) {
            logger_.Log(piece);
            delivery_.ReportFailure();  // and go on: a command must not wait for us
        }
    }

    int const descriptor_;
    LineBuffer lines_;
    LineLogger logger_;
    Delivery& delivery_;
};

/// Logs both streams until the command is over.
void LogStreams(Process& command, Stream& output, Stream& errors, Delivery& delivery) {
    bool areFilesWritten = !delivery.HasFiles();
    for (;;) {
        delivery.FlushStreams();
        delivery.ReportFailure();
        pollfd inputs[] = {output.Wanted(), errors.Wanted()};
        switch (WaitForInput(inputs, 2, !areFilesWritten)) {
            case Waited::kInput:
                if (inputs[0].revents != 0) {
                    output.Read();
                }
                if (inputs[1].revents != 0) {
                    errors.Read();
                }
                areFilesWritten = !delivery.HasFiles();
                break;
            case Waited::kReopen:
                delivery.ReopenFiles();
                break;
            case Waited::kQuiet:
                delivery.FlushFiles();
                areFilesWritten = true;
                break;
            case Waited::kChild:
                if (command.HasEnded()) {
                    return;
                }
                break;
            case Waited::kStop:
                break;  // is for the command, which has got it
        }
    }
}

}  // namespace

int RunCommand(Options const& options) {
    std::vector<Outlet> const outlets = OpenAndRegister(options.destinations);
    Delivery delivery(outlets);
    Process command;
    int const error = command.Start(options.operands, delivery.HasFiles());
    if (error != 0) {
        Complain(options.operands.front() + ": " + std::strerror(error));
        return error == ENOENT ? kNotFoundStatus : kCannotRunStatus;
    }
    Stream output(options, options.level, command.Output(), delivery);
    Stream errors(options, kWarning, command.Errors(), delivery);
    LogStreams(command, output, errors, delivery);
    output.Finish();
    errors.Finish();
    delivery.End();
    if (options.stats) {
        delivery.PrintStats(output.GetCounts() + errors.GetCounts(),
                            output.BytesRead() + errors.BytesRead());
    }
    return command.Status();
}

}  // namespace tarqlog::tool
