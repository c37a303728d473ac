#include "stop_signal.h"

#include <poll.h>
#include <signal.h>

#include <cerrno>

namespace tarqlog::tool {

namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t stopRequested = 0;

extern "C" void RequestStop(int) {
    stopRequested = 1;
}

}  // namespace

void CatchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = &RequestStop;
    // A write that is interrupted goes on, and a second signal kills.
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (int const signal : kStopSignals) {
        struct sigaction before = {};
        ::sigaction(signal, &action, &before);
        if (signal == SIGHUP && before.sa_handler == SIG_IGN) {
            ::sigaction(signal, &before, nullptr);
        }
    }
}

bool StopRequested() {
    return stopRequested != 0;
}

bool WaitForInput(int descriptor) {
    // A signal between the test and the wait would go unnoticed: the wait alone lets it in.
    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    for (int const signal : kStopSignals) {
        ::sigaddset(&blocked, signal);
    }
    ::sigprocmask(SIG_BLOCK, &blocked, &before);
    pollfd input = {descriptor, POLLIN, 0};
    timespec const noTime = {};
    int ready = -1;
    do {
        ready = ::ppoll(&input, 1, StopRequested() ? &noTime : nullptr, &before);
    } while (ready < 0 && errno == EINTR);
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    return ready != 0;  // a failure is read()'s to report
}

}  // namespace tarqlog::tool
