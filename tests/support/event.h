#ifndef TARQLOG_TESTS_SUPPORT_EVENT_H_
#define TARQLOG_TESTS_SUPPORT_EVENT_H_

#include <semaphore.h>

namespace tarqlog {

/// Something that happens once and that threads wait for. A semaphore, so that its waits are not
/// among the mutexes and condition variables whose calls tests count.
class Event {
public:
    Event() { ::sem_init(&semaphore_, 0, 0); }
    ~Event() { ::sem_destroy(&semaphore_); }

    Event(Event const&) = delete;
    Event& operator=(Event const&) = delete;

    void Set() { ::sem_post(&semaphore_); }

    void Wait() {
        while (::sem_wait(&semaphore_) != 0) {
        }
        ::sem_post(&semaphore_);  // for the next one
    }

private:
    sem_t semaphore_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_EVENT_H_
