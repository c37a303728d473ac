// Preloaded, counts what the whole process allocates: every malloc() and its relatives, from
// whichever library, and with them every `new`.

#include <atomic>
#include <cerrno>
#include <cstddef>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the C library's names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<unsigned long> allocations{0};

void Count() {
    allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) unsigned long CountedAllocations() {
    return allocations.load(std::memory_order_relaxed);
}

void* malloc(std::size_t size) noexcept {
    Count();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    Count();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    Count();
    return __libc_realloc(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    Count();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    Count();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    Count();
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
