#include "signals.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>

namespace tarqlog::tool {

namespace {

constexpr int kForwardedSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGALRM,
                                     SIGTERM, SIGUSR1, SIGUSR2, SIGWINCH};

volatile sig_atomic_t stopRequested = 0;
volatile sig_atomic_t reopenRequested = 0;
volatile sig_atomic_t childEnded = 0;
volatile sig_atomic_t stopsForwarded = 0;
volatile pid_t forwardedTo = 0;  // these two are written while the signals are kept back
volatile sig_atomic_t hangUpStops = 0;

extern "C" void RequestStop(int) {
    stopRequested = 1;
}

extern "C" void RequestReopen(int) {
    reopenRequested = 1;
}

extern "C" void NoteEndOfChild(int) {
    childEnded = 1;
}

/// A child that is over has no use for signals. One is enough for the tool, which ends by itself
/// then; a second one tells that a destination holds it up.
void EndIfHeldUp(int signal) {
    bool const isStop = signal == SIGINT || signal == SIGTERM || signal == SIGQUIT ||
                        (signal == SIGHUP && hangUpStops != 0);
    if (!isStop) {
        return;
    }
    stopsForwarded = std::min(stopsForwarded + 1, 2);
    if (stopsForwarded == 2 && EndOf(forwardedTo)) {
        ::signal(signal, SIG_DFL);
        ::raise(signal);  // ends the tool as this handler returns
    }
}

/// At once and not when the tool gets to it, which may be held up by a destination.
extern "C" void Forward(int signal, siginfo_t* info, void*) {
    int const error = errno;
    EndIfHeldUp(signal);
    // The terminal sends to all in the foreground; a line that hangs up tells the leader alone.
    if (forwardedTo > 0 && (info->si_code != SI_KERNEL || signal == SIGHUP)) {
        ::kill(forwardedTo, signal);
    }
    if (signal == SIGHUP) {
        reopenRequested = 1;
    }
    errno = error;
}

/// What the tool was started with, of the signals that it has taken over.
std::map<int, struct sigaction>& Originals() {
    static std::map<int, struct sigaction> originals;
    return originals;
}

void TakeOver(int signal, struct sigaction const& action, bool evenIfIgnored) {
    struct sigaction original = {};
    ::sigaction(signal, nullptr, &original);
    if (evenIfIgnored || original.sa_handler != SIG_IGN) {
        Originals().emplace(signal, original);
        ::sigaction(signal, &action, nullptr);
    }
}

/// Keeps all signals back while it lives.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_BLOCK, &all, &before_);
    }
    ~BlockedSignals() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

    BlockedSignals(BlockedSignals const&) = delete;
    BlockedSignals& operator=(BlockedSignals const&) = delete;

    sigset_t const& Before() const { return before_; }

private:
    sigset_t before_;
};

void Unblock(int signal) {
    sigset_t unblocked;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, signal);
    ::sigprocmask(SIG_UNBLOCK, &unblocked, nullptr);
}

}  // namespace

void IgnoreBrokenPipes() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    TakeOver(SIGPIPE, ignore, true);
}

void CatchSignals(bool hangUpReopens) {
    struct sigaction stop = {};
    stop.sa_handler = &RequestStop;
    // A write that is interrupted goes on, and a second signal kills.
    stop.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    TakeOver(SIGINT, stop, true);
    TakeOver(SIGTERM, stop, true);

    struct sigaction reopen = {};
    reopen.sa_handler = &RequestReopen;
    reopen.sa_flags = SA_RESTART;
    TakeOver(SIGHUP, hangUpReopens ? reopen : stop, hangUpReopens);
}

bool StopRequested() {
    return stopRequested != 0;
}

pid_t ForkAndForward(bool hangUpReopens) {
    struct sigaction forward = {};
    forward.sa_sigaction = &Forward;
    forward.sa_flags = SA_RESTART | SA_SIGINFO;
    ::sigfillset(&forward.sa_mask);  // of two at once the first is handled first
    struct sigaction note = {};
    note.sa_handler = &NoteEndOfChild;
    note.sa_flags = SA_RESTART | SA_NOCLDSTOP;
    pid_t child = -1;
    {
        // A signal before the child is there to get it waits until it is.
        BlockedSignals const blocked;
        for (int const signal : kForwardedSignals) {
            TakeOver(signal, forward, signal == SIGHUP && hangUpReopens);
        }
        TakeOver(SIGCHLD, note, true);
        child = ::fork();
        if (child == 0) {
            for (auto const& [signal, original] : Originals()) {
                ::sigaction(signal, &original, nullptr);
            }
            return child;
        }
        forwardedTo = child;
        hangUpStops = hangUpReopens ? 0 : 1;
    }
    Unblock(SIGCHLD);  // whoever started the tool may have blocked it
    return child;
}

std::optional<siginfo_t> EndOf(pid_t child) {
    siginfo_t end = {};
    if (::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        end.si_pid != child) {
        return std::nullopt;
    }
    return end;
}

Waited WaitForInput(pollfd* inputs, nfds_t count, bool untilQuiet) {
    // A signal between a test and the wait would go unnoticed: the wait alone lets it in.
    BlockedSignals const blocked;
    timespec const noTime = {};
    timespec const second = {1, 0};
    int ready = -1;
    do {
        if (childEnded != 0) {
            childEnded = 0;
            return Waited::kChild;
        }
        if (reopenRequested != 0) {
            reopenRequested = 0;
            return Waited::kReopen;
        }
        timespec const* const limit = StopRequested() ? &noTime : untilQuiet ? &second : nullptr;
        ready = ::ppoll(inputs, count, limit, &blocked.Before());
    } while (ready < 0 && errno == EINTR);
    if (ready != 0) {
        return Waited::kInput;  // a failure is read()'s to report
    }
    return StopRequested() ? Waited::kStop : Waited::kQuiet;
}

}  // namespace tarqlog::tool
