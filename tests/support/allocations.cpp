#include "support/allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

thread_local unsigned long allocationCount = 0;
thread_local long liveAllocations = 0;
thread_local std::size_t lastAllocationSize = 0;
thread_local bool isLimited = false;
thread_local unsigned long allowedAllocations = 0;
thread_local unsigned long refusedAllocations = 0;
thread_local int errnoAfterDelete = 0;  // 0: as it was

void* Allocate(std::size_t size) {
    ++allocationCount;
    lastAllocationSize = size;
    if (isLimited && allowedAllocations == 0) {
        ++refusedAllocations;
        return nullptr;
    }
    if (isLimited) {
        --allowedAllocations;
    }
    ++liveAllocations;
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return Allocate(size);
}

void operator delete(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    --liveAllocations;
    std::free(memory);
    if (errnoAfterDelete != 0) {
        errno = errnoAfterDelete;
    }
}

void operator delete(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}

namespace tarqlog {

unsigned long AllocationCount() {
    return allocationCount;
}

long LiveAllocations() {
    return liveAllocations;
}

std::size_t LastAllocationSize() {
    return lastAllocationSize;
}

AllocationLimit::AllocationLimit(unsigned long allowed) {
    isLimited = true;
    allowedAllocations = allowed;
    refusedAllocations = 0;
}

AllocationLimit::~AllocationLimit() {
    isLimited = false;
}

unsigned long AllocationLimit::Refused() const {
    return refusedAllocations;
}

ErrnoAfterDelete::ErrnoAfterDelete(int number) {
    errnoAfterDelete = number;
}

ErrnoAfterDelete::~ErrnoAfterDelete() {
    errnoAfterDelete = 0;
}

}  // namespace tarqlog
