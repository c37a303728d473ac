#ifndef TARQLOG_TESTS_SOAK_WATCHDOG_H_
#define TARQLOG_TESTS_SOAK_WATCHDOG_H_

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <thread>

namespace tarqlog::soak {

/// What one thread says of itself.
struct Pulse {
    explicit Pulse(std::string threadName) : name(std::move(threadName)) {}

    std::string const name;
    std::atomic<bool> isAlive{false};
    std::atomic<long> steps{0};
    std::atomic<std::chrono::seconds> patience{std::chrono::minutes(1)};  // when it makes no step
};

/// While it lives, the thread is expected to make steps.
class Working {
public:
    explicit Working(Pulse& pulse) : pulse_(pulse) { pulse_.isAlive = true; }
    ~Working() { pulse_.isAlive = false; }

    Working(Working const&) = delete;
    Working& operator=(Working const&) = delete;

private:
    Pulse& pulse_;
};

/// Notices when a thread that is alive makes no step for too long.
class Watchdog {
public:
    /// @param onHang  is called once, on a thread of the watchdog's, with what stands still
    Watchdog(std::deque<Pulse> const& pulses, std::function<void(std::string const&)> onHang)
        : pulses_(pulses), onHang_(std::move(onHang)) {
        thread_ = std::thread([this] { Watch(); });
    }

    ~Watchdog() {
        isOver_ = true;
        thread_.join();
    }

    Watchdog(Watchdog const&) = delete;
    Watchdog& operator=(Watchdog const&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    struct Seen {
        long steps = -1;
        Clock::time_point since;
    };

    void Watch() {
        static constexpr std::chrono::milliseconds kPeriod(20);
        std::deque<Seen> seen(pulses_.size());
        for (std::string hung; !isOver_; std::this_thread::sleep_for(kPeriod)) {
            for (std::size_t i = 0; i < seen.size(); ++i) {
                hung += Look(pulses_[i], seen[i]);
            }
            if (!hung.empty()) {
                onHang_(hung);
                return;
            }
        }
    }

    static std::string Look(Pulse const& pulse, Seen& last) {
        Clock::time_point const now = Clock::now();
        long const steps = pulse.steps;
        if (!pulse.isAlive || steps != last.steps) {
            last = {steps, now};
        }
        return now - last.since < pulse.patience.load()
                   ? ""
                   : "\n  " + pulse.name + ", after step " + std::to_string(steps);
    }

    std::deque<Pulse> const& pulses_;
    std::function<void(std::string const&)> const onHang_;
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_WATCHDOG_H_
