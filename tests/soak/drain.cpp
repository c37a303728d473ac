#include "soak/drain.h"

#include <poll.h>
#include <unistd.h>

namespace tarqlog::soak {

namespace {

constexpr int kPollMs = 20;

}  // namespace

Drain::~Drain() {
    isOver_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Drain::Add(int from, int to, std::atomic<long>* counter) {
    sources_.push_back({from, to, counter});
}

void Drain::Start() {
    thread_ = std::thread([this] { Run(); });
}

void Drain::Settle() {
    while (ReadAll(0)) {
    }
}

void Drain::Run() {
    while (!isOver_) {
        ReadAll(kPollMs);
    }
}

/// False when nothing came in that time.
bool Drain::ReadAll(int timeMs) {
    pollfd entries[4] = {};
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        entries[i] = {sources_[i].from, POLLIN, 0};
    }
    auto const count = static_cast<nfds_t>(sources_.size());
    if (timeMs > 0) {
        ::poll(entries, count, timeMs);  // without the lock, for the one who settles
    }
    std::lock_guard<std::mutex> const lock(mutex_);
    if (::poll(entries, count, 0) <= 0) {
        return false;
    }
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        if ((entries[i].revents & POLLIN) != 0) {
            Pass(sources_[i]);
        }
    }
    return true;
}

void Drain::Pass(Source const& source) {
    static char bytes[1 << 16];  // of whoever holds the lock
    // NOLINTNEXTLINE(clang-analyzer-unix.BlockInCriticalSection): poll() has said that it will not
    ssize_t const size = ::read(source.from, bytes, sizeof bytes);
    for (ssize_t done = 0; done < size;) {
        ssize_t const written =
            ::write(source.to, bytes + done, static_cast<std::size_t>(size - done));
        if (written <= 0) {
            break;  // the lines will be missed
        }
        done += written;
    }
    if (source.counter != nullptr) {
        ++*source.counter;
    }
}

}  // namespace tarqlog::soak
