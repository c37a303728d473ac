// Fails unless the core and the lock of the console were made when the program was loaded: to ask
// for them in main() must not take memory any more.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <tarqlog/console_appender.h>
#include <tarqlog/logcore.h>

namespace {

int allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

int main() {
    int const atLoad = allocations;
    tarqlog::LogCore::Get();
    int const withCore = allocations;
    tarqlog::GetGlobalStreamMutex();
    int const withMutex = allocations;
    if (atLoad == 0 || withCore != atLoad) {
        std::puts("the core was not made at load");
        return 1;
    }
    if (withMutex != withCore) {
        std::puts("the lock of the console was not made at load");
        return 1;
    }
    return 0;
}
