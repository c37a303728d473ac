#include "stop_signal.h"

#include <poll.h>
#include <signal.h>

#include <cerrno>

namespace tarqlog::tool {

namespace {

constexpr int kCaughtSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t stopRequested = 0;
volatile sig_atomic_t reopenRequested = 0;

extern "C" void RequestStop(int) {
    stopRequested = 1;
}

extern "C" void RequestReopen(int) {
    reopenRequested = 1;
}

/// Keeps the caught signals back while it lives.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (int const signal : kCaughtSignals) {
            ::sigaddset(&blocked, signal);
        }
        ::sigprocmask(SIG_BLOCK, &blocked, &before_);
    }
    ~BlockedSignals() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

    BlockedSignals(BlockedSignals const&) = delete;
    BlockedSignals& operator=(BlockedSignals const&) = delete;

    sigset_t const& Before() const { return before_; }

private:
    sigset_t before_;
};

}  // namespace

void CatchSignals(bool hangUpReopens) {
    struct sigaction stop = {};
    stop.sa_handler = &RequestStop;
    // A write that is interrupted goes on, and a second signal kills.
    stop.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    ::sigaction(SIGINT, &stop, nullptr);
    ::sigaction(SIGTERM, &stop, nullptr);

    struct sigaction reopen = {};
    reopen.sa_handler = &RequestReopen;
    reopen.sa_flags = SA_RESTART;
    struct sigaction before = {};
    ::sigaction(SIGHUP, hangUpReopens ? &reopen : &stop, &before);
    if (!hangUpReopens && before.sa_handler == SIG_IGN) {
        ::sigaction(SIGHUP, &before, nullptr);
    }
}

bool StopRequested() {
    return stopRequested != 0;
}

Waited WaitForInput(int descriptor, bool untilQuiet) {
    // A signal between a test and the wait would go unnoticed: the wait alone lets it in.
    BlockedSignals const blocked;
    pollfd input = {descriptor, POLLIN, 0};
    timespec const noTime = {};
    timespec const second = {1, 0};
    int ready = -1;
    do {
        if (reopenRequested != 0) {
            reopenRequested = 0;
            return Waited::kReopen;
        }
        timespec const* const limit = StopRequested() ? &noTime : untilQuiet ? &second : nullptr;
        ready = ::ppoll(&input, 1, limit, &blocked.Before());
    } while (ready < 0 && errno == EINTR);
    if (ready != 0) {
        return Waited::kInput;  // a failure is read()'s to report
    }
    return StopRequested() ? Waited::kStop : Waited::kQuiet;
}

}  // namespace tarqlog::tool
