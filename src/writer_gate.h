#ifndef TARQLOG_SRC_WRITER_GATE_H_
#define TARQLOG_SRC_WRITER_GATE_H_

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <new>

#include "fork_list.h"
#include "held_locks.h"

namespace tarqlog {

/// Lets writers through to a reader/writer lock that prefers readers, as the system's does: with
/// enough threads logging, the lock is never free of readers and a writer would wait for ever.
///
/// A writer announces itself before it takes the lock; a reader steps aside, before it takes any
/// lock, until the writers announced by then are done. Nobody waits here while holding a lock of
/// the library: an appender that logs is a reader inside a delivery for which the writer waits.
class WriterGate {
public:
    /// Returns at once when no writer is waiting. A relaxed load is enough: who reads an old 0
    /// begins one more delivery, and reads the announcement the next time.
    void StepAside() {
        if (pending_.load(std::memory_order_relaxed) != 0) {
            WaitForThoseAnnounced();
        }
    }

    /// Announces a writer and waits until those before it are done, unless this thread holds a lock
    /// of the library. For a way through that is no scope, and only where the thread cannot be
    /// cancelled.
    void Enter() {
        unsigned long long const before = Announce();
        AwaitTurn(before);
    }

    /// Ends what Enter() began.
    void Leave() {
        std::lock_guard<std::mutex> const lock(mutex_);
        pending_.fetch_sub(1, std::memory_order_relaxed);
        ++done_;
        changed_.notify_all();
    }

    /// In the child of a fork, where nobody of those who were in the gate is.
    void BeginAnew() {
        new (&mutex_) std::mutex;
        new (&changed_) std::condition_variable;  // destroying the old one might wait
        pending_.store(0, std::memory_order_relaxed);
        done_ = 0;
    }

    /// A writer's way through: announced from construction to destruction, and constructed when the
    /// writers before it are done, unless this thread holds a lock of the library.
    class Passage {
    public:
        explicit Passage(WriterGate& gate) : Passage(gate, gate.Announce()) {
            // Announced by now: should the wait be left by an exception or by the thread's
            // cancellation, the destructor takes the announcement back.
            gate_.AwaitTurn(before_);
        }

        ~Passage() { gate_.Leave(); }

        Passage(Passage const&) = delete;
        Passage& operator=(Passage const&) = delete;

    private:
        Passage(WriterGate& gate, unsigned long long before) : gate_(gate), before_(before) {}

        WriterGate& gate_;
        unsigned long long const before_;  // how many writers have their turn first
    };

private:
    /// Returns how many writers were announced before, done or not.
    unsigned long long Announce() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return done_ + pending_.fetch_add(1, std::memory_order_relaxed);
    }

    /// Waits for the first `before` writers.
    void AwaitTurn(unsigned long long before) {
        if (threads::HeldLocks() == 0) {
            std::unique_lock<std::mutex> lock(mutex_);
            WaitForWriters(lock, before);
        }
    }

    /// Out of the way of each record: there is hardly ever a writer.
    [[gnu::noinline]] void WaitForThoseAnnounced() {
        if (threads::HeldLocks() == 0) {
            std::unique_lock<std::mutex> lock(mutex_);
            WaitForWriters(lock, done_ + pending_.load(std::memory_order_relaxed));
        }
    }

    void WaitForWriters(std::unique_lock<std::mutex>& lock, unsigned long long count) {
        changed_.wait(lock, [&] { return done_ >= count; });
    }

    std::mutex mutex_;  // the standard one has no attributes for the compiler to check
    std::condition_variable changed_;       // a writer is done
    std::atomic<unsigned int> pending_{0};  // announced and not done; written under mutex_
    unsigned long long done_ = 0;           // guarded by mutex_
    ForkHeir heir_{*this};
};

}  // namespace tarqlog

#endif  // TARQLOG_SRC_WRITER_GATE_H_
