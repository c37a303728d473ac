#include "command_cat.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "merge.h"
#include "record_printer.h"
#include "signals.h"

namespace tarqlog::tool {

namespace {

constexpr long kPollNanoseconds = 200'000'000;  // how often files are looked at when following

/// A clock that ticks while somebody waits.
class Ticker {
public:
    Ticker() : descriptor_(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
        itimerspec const period = {{0, kPollNanoseconds}, {0, kPollNanoseconds}};
        if (descriptor_ < 0 || ::timerfd_settime(descriptor_, 0, &period, nullptr) != 0) {
            throw std::runtime_error(std::string("cannot make a timer: ") + std::strerror(errno));
        }
    }
    ~Ticker() { ::close(descriptor_); }

    Ticker(Ticker const&) = delete;
    Ticker& operator=(Ticker const&) = delete;

    /// Waits for the next tick, for a request to stop, or until nobody reads standard output any
    /// more. Returns whether it is the tick.
    bool Await() const {
        std::uint64_t ticks = 0;
        pollfd inputs[] = {{descriptor_, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        while (!StopRequested() && inputs[1].revents == 0 &&
               ::read(descriptor_, &ticks, sizeof ticks) < 0) {
            WaitForInput(inputs, 2, false);
        }
        return ticks > 0;
    }

private:
    int const descriptor_;
};

/// Prints what there is for now. False when standard output cannot be written to any more.
bool PrintRound(Merge& merge, RecordPrinter& printer) {
    bool isStopped = false;
    while (RolledLog const* const log = merge.Next()) {
        if (!printer.Print(log->Front())) {
            return false;
        }
        if (StopRequested() && !isStopped) {
            isStopped = true;
            merge.Stop();
        }
    }
    return printer.Flush();
}

/// As PrintRound(), until a stop is requested.
bool Follow(Merge& merge, RecordPrinter& printer) {
    CatchSignals(false);
    Ticker const ticker;
    while (PrintRound(merge, printer)) {
        if (merge.HasStopped()) {
            return true;
        }
        if (ticker.Await()) {
            merge.NoteTime();
            continue;
        }
        if (!StopRequested()) {
            return false;
        }
        merge.Stop();
        return PrintRound(merge, printer);
    }
    return false;
}

}  // namespace

int PrintLogs(Options const& options) {
    Merge merge(options.operands, options.selection.follow);
    RecordPrinter printer(options.selection);
    bool const isPrinted =
        options.selection.follow ? Follow(merge, printer) : PrintRound(merge, printer);
    bool const isAllWritten = printer.End() && isPrinted;
    bool const isAllRead = merge.Report();
    return isAllWritten && isAllRead ? 0 : 1;
}

}  // namespace tarqlog::tool
