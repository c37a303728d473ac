#ifndef TARQLOG_TESTS_SUPPORT_EVENT_H_
#define TARQLOG_TESTS_SUPPORT_EVENT_H_

#include <condition_variable>
#include <mutex>

namespace tarqlog {

/// Something that happens once and that threads wait for.
class Event {
public:
    void Set() {
        std::lock_guard<std::mutex> const lock(mutex_);
        set_ = true;
        changed_.notify_all();
    }

    void Wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return set_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool set_ = false;  // guarded by mutex_
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_EVENT_H_
