#include "folded_new.h"

#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kHugeBytes = INT_MAX;
constexpr int kMaxFolded = 4;  // a text, and a record's growing room for it

char* folded[kMaxFolded] = {};
int foldedCount = 0;

char* MapFolded(std::size_t size) {
    std::size_t const folds = size / kFoldBytes + 1;
    int const file = ::memfd_create("fold", MFD_CLOEXEC);
    void* const area = ::mmap(nullptr, folds * kFoldBytes, PROT_NONE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (foldedCount == kMaxFolded || file < 0 || ::ftruncate(file, kFoldBytes) != 0 ||
        area == MAP_FAILED) {
        return nullptr;
    }
    char* const memory = static_cast<char*>(area);
    for (std::size_t fold = 0; fold < folds; ++fold) {
        if (::mmap(memory + fold * kFoldBytes, kFoldBytes, PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_FIXED, file, 0) == MAP_FAILED) {
            return nullptr;
        }
    }
    ::close(file);
    folded[foldedCount++] = memory;
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = size >= kHugeBytes ? MapFolded(size) : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    for (char* const huge : folded) {
        if (memory != nullptr && memory == huge) {
            return;  // stays until the program ends
        }
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}
