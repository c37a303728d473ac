#include "soak/resources.h"

#if defined(__APPLE__)
#include <malloc/malloc.h>
#else
#include <malloc.h>
#endif
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#if defined(TARQLOG_TEST_ASAN) || defined(TARQLOG_TEST_TSAN)
#define TARQLOG_SANITIZED_HEAP
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tarqlog::soak {

namespace {

constexpr long long kHeapTolerance = 1 << 20;      // in bytes; a byte a line is more in a minute
constexpr long long kResidentTolerance = 8 << 20;  // the kernel's pages and the C library's arenas

long long HeapInUse() {
#if defined(TARQLOG_SANITIZED_HEAP)
    return static_cast<long long>(__sanitizer_get_current_allocated_bytes());
#elif defined(__APPLE__)
    return static_cast<long long>(::mstats().bytes_used);
#else
    ::malloc_trim(0);
    struct mallinfo2 const heap = ::mallinfo2();
    return static_cast<long long>(heap.uordblks + heap.hblkhd);
#endif
}

/// Under a sanitizer most of it is the sanitizer's.
long long ResidentBytes() {
    long long pages = 0;
#if !defined(TARQLOG_SANITIZED_HEAP)
    long long all = 0;
    std::ifstream("/proc/self/statm") >> all >> pages;
#endif
    return pages * ::sysconf(_SC_PAGESIZE);
}

long long OpenDescriptors() {
    auto const descriptors = std::filesystem::directory_iterator("/dev/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

}  // namespace

Resources MeasureResources() {
    long long const heap = HeapInUse();
    return {heap, ResidentBytes(), OpenDescriptors()};
}

void Growth::WarmUp(Resources const& now) {
    needed_.heap = std::max(needed_.heap, now.heap);
    needed_.resident = std::max(needed_.resident, now.resident);
}

std::string Growth::Judge(Resources const& now, int spare) const {
    long long const descriptors = now.descriptors - descriptorsAtFirst_;
    if (descriptors > spare) {
        return "descriptors left open: " + std::to_string(descriptors);
    }
    if (now.heap > needed_.heap + kHeapTolerance) {
        return "the heap has grown from " + std::to_string(needed_.heap) + " to " +
               std::to_string(now.heap) + " bytes";
    }
    if (now.resident > needed_.resident + kResidentTolerance) {
        return "resident memory has grown from " + std::to_string(needed_.resident) + " to " +
               std::to_string(now.resident) + " bytes";
    }
    return "";
}

}  // namespace tarqlog::soak
