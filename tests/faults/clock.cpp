#include "faults/clock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

namespace tarqlog::faults {

std::atomic<bool> clockJumps{false};
std::atomic<long> clockAnswers{0};

namespace {

/// In turn: now, an hour ago, in a year, in 1950, in 12000.
void Jump(timespec& now) {
    static constexpr time_t kSteps[] = {0, -3600, 31536000};
    static constexpr time_t kMoments[] = {-631152000, 316516204800};
    auto const turn = static_cast<std::size_t>(clockAnswers++ % 5);
    if (turn < 3) {
        now.tv_sec += kSteps[turn];
    } else {
        now.tv_sec = kMoments[turn - 3];
    }
}

}  // namespace
}  // namespace tarqlog::faults

// The writer's own: every library asks one of these, also through the standard library.

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    auto const result = ::syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && tarqlog::faults::clockJumps &&
        (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        tarqlog::faults::Jump(*now);
    }
    return static_cast<int>(result);
}

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept {
    timespec time = {};
    int const result = ::clock_gettime(CLOCK_REALTIME, &time);
    now->tv_sec = time.tv_sec;
    now->tv_usec = time.tv_nsec / 1000;
    return result;
}

extern "C" time_t time(time_t* now) noexcept {
    timespec time = {};
    ::clock_gettime(CLOCK_REALTIME, &time);
    if (now != nullptr) {
        *now = time.tv_sec;
    }
    return time.tv_sec;
}
