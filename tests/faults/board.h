#ifndef TARQLOG_TESTS_FAULTS_BOARD_H_
#define TARQLOG_TESTS_FAULTS_BOARD_H_

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace tarqlog::faults {

constexpr int kMaxThreads = 128;
constexpr int kExtraThreads = 64;  // from here: children, handlers, last words

/// What the library had counted itself at some time.
struct AccountNote {
    long lines = 0;    // all that it was given
    long lost = 0;     // those of them that are lost
    long atLeast = 0;  // so many had been logged before it was asked
    long atMost = 0;   // so many after it was asked, or were about to be
};

/// What a writer and the harness tell each other, in memory that outlives the writer's death.
struct Board {
    std::atomic<long> allowed;                // lines that each thread may log by now
    std::atomic<long> isReady;                // the log is open
    std::atomic<long> isExiting;              // `due` counts from now on
    std::atomic<long> hits;                   // of a fault that the writer makes itself
    std::atomic<long> hung;                   // children
    std::atomic<long> died;                   // children
    std::atomic<long> returned[kMaxThreads];  // lines for which a thread's log call has returned
    std::atomic<long> due[kMaxThreads];       // the same as the writer called exit()
    std::atomic<long> isCounting;             // the library can be asked for its own account
    std::atomic<long> notes;                  // taken of the library's own account
    AccountNote note[2];                      // the last two: death may come amid one
    std::atomic<long> childLines;             // in the accounts of children that have logged
    std::atomic<long> childLost;
};
static_assert(std::atomic<long>::is_always_lock_free);

/// A Board in a file, mapped.
class MappedBoard {
public:
    /// Makes the file unless it is there; throws when it cannot.
    explicit MappedBoard(std::string path) : path_(std::move(path)) {
        int const descriptor = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        void* memory = MAP_FAILED;
        if (descriptor >= 0 && ::ftruncate(descriptor, sizeof(Board)) == 0) {
            memory =
                ::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        }
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "cannot map " + path_);
        }
        ::close(descriptor);
        board_ = static_cast<Board*>(memory);  // of zero bytes, which are zeros
    }

    ~MappedBoard() { ::munmap(board_, sizeof(Board)); }

    MappedBoard(MappedBoard const&) = delete;
    MappedBoard& operator=(MappedBoard const&) = delete;

    std::string const& Path() const { return path_; }

    /// The lines of all threads.
    long Returned() const {
        long sum = 0;
        for (std::atomic<long> const& returned : board_->returned) {
            sum += returned;
        }
        return sum;
    }

    Board& operator*() const { return *board_; }
    Board* operator->() const { return board_; }

private:
    std::string const path_;
    Board* board_ = nullptr;
};

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_BOARD_H_
