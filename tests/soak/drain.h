#ifndef TARQLOG_TESTS_SOAK_DRAIN_H_
#define TARQLOG_TESTS_SOAK_DRAIN_H_

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarqlog::soak {

/// Reads what comes through sockets and pipes, and puts it into files.
class Drain {
public:
    Drain() = default;
    ~Drain();

    Drain(Drain const&) = delete;
    Drain& operator=(Drain const&) = delete;

    /// Before Start(). Neither descriptor is owned; `counter`, if any, is told each read.
    void Add(int from, int to, std::atomic<long>* counter = nullptr);

    void Start();

    /// Waits until there is nothing more to be read.
    void Settle();

private:
    struct Source {
        int from;
        int to;
        std::atomic<long>* counter;
    };

    void Run();
    bool ReadAll(int timeMs);
    static void Pass(Source const& source);

    std::vector<Source> sources_;
    std::mutex mutex_;  // held while something is read and not yet in its file
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_DRAIN_H_
