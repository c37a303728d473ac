#ifndef TARQLOG_SRC_CONFIG_GENERATION_H_
#define TARQLOG_SRC_CONFIG_GENERATION_H_

#include <atomic>

namespace tarqlog {

/// The number of a configuration, by which loggers notice that theirs is an old one. Never 0, the
/// number of a logger that has not looked yet.
///
/// Read without a lock and advanced under one. Relaxed is enough: a reader that sees a new number
/// goes on to take the lock before it looks at anything else, and one that sees the old number a
/// little longer has its record dropped under the lock.
class ConfigGeneration {
public:
    explicit ConfigGeneration(unsigned int first = 1) : value_(first) {}

    unsigned int Get() const { return value_.load(std::memory_order_relaxed); }

    /// For those who read it again and again.
    std::atomic<unsigned int> const& Value() const { return value_; }

    /// Call with the lock held that keeps other writers out.
    void Advance() {
        unsigned int const next = Get() + 1;
        value_.store(next == 0 ? 1 : next, std::memory_order_relaxed);
    }

private:
    std::atomic<unsigned int> value_;
};

}  // namespace tarqlog

#endif  // TARQLOG_SRC_CONFIG_GENERATION_H_
