#ifndef TARQLOG_TESTS_SOAK_BOARD_H_
#define TARQLOG_TESTS_SOAK_BOARD_H_

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <new>
#include <system_error>

namespace tarqlog::soak {

constexpr std::size_t kMaxDestinations = 16;
constexpr int kLinesPerChild = 4;
constexpr int kMaxChildren = 250;  // in a round
constexpr std::size_t kMaxChildLines = 1000;
static_assert(kMaxChildLines == std::size_t{kMaxChildren} * kLinesPerChild);

/// What the children of forks share with their parent.
struct Board {
    std::atomic<long> datagramsSent{0};
    std::atomic<long> datagramsReceived{0};
    std::array<std::atomic<unsigned long long>, kMaxDestinations> written{};  // by children
    std::array<std::atomic<unsigned long long>, kMaxDestinations> lost{};
    std::array<std::atomic<unsigned int>, kMaxChildLines> generations{};
};

/// The owner of the board's memory.
class SharedBoard {
public:
    SharedBoard() {
        void* const memory = ::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "cannot share memory");
        }
        board_ = new (memory) Board;
    }
    ~SharedBoard() { ::munmap(board_, sizeof(Board)); }

    SharedBoard(SharedBoard const&) = delete;
    SharedBoard& operator=(SharedBoard const&) = delete;

    Board& operator*() const { return *board_; }
    Board* operator->() const { return board_; }

private:
    Board* board_ = nullptr;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_BOARD_H_
