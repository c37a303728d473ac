// For programs whose forked children go on as a process of their own, where a sanitizer watches
// them.

#include <unistd.h>

#ifdef TARQLOG_TEST_ASAN
#include <pthread.h>

#include <cstdlib>
#include <new>
#endif

namespace {

pid_t const parent = ::getpid();

}  // namespace

/// Asked by LeakSanitizer before it looks, where there is one: what the parent's other threads had
/// in hand is lost in the child, which is no leak.
extern "C" int __lsan_is_turned_off() {  // NOLINT(bugprone-reserved-identifier)
    return ::getpid() != parent ? 1 : 0;
}

#ifdef TARQLOG_TEST_ASAN

// Unlike malloc of the C library, the sanitizer's lets a fork catch it with its locks held, and the
// child's next allocation waits for a thread that it does not have. So all `new` go through one
// more lock, which a fork takes as the C library takes its own: after all handlers, first released.
// Fork once every thread has begun: what the sanitizer allocates for a new one passes this by.

namespace {

pthread_mutex_t allocating = PTHREAD_MUTEX_INITIALIZER;

void Lock() {
    ::pthread_mutex_lock(&allocating);
}

void Unlock() {
    ::pthread_mutex_unlock(&allocating);
}

/// Before every library's constructors: the handler that is registered first prepares last.
void HoldWhileForking() {
    ::pthread_atfork(Lock, Unlock, Unlock);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const atStart)() = HoldWhileForking;

}  // namespace

void* operator new(std::size_t size) {
    Lock();
    void* const memory = std::malloc(size);
    Unlock();
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    Lock();
    std::free(memory);
    Unlock();
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}

#endif
