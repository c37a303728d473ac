#ifndef TARQLOG_TESTS_SUPPORT_ALLOCATIONS_H_
#define TARQLOG_TESTS_SUPPORT_ALLOCATIONS_H_

#include <cstddef>
#include <new>

namespace tarqlog {

// Counts and refuses the calling thread's `new`, in programs that list support/allocations.cpp
// among their sources. Prove in each such program that the count counts and the refusal strikes.

/// How often this thread has called `new`.
unsigned long AllocationCount();

/// By how much this thread's calls of `new` outnumber those of `delete`.
long LiveAllocations();

/// How many bytes this thread's last `new` asked for.
std::size_t LastAllocationSize();

/// While it lives, this thread's `new` throws std::bad_alloc after `allowed` more calls.
class AllocationLimit {
public:
    explicit AllocationLimit(unsigned long allowed);
    ~AllocationLimit();

    AllocationLimit(AllocationLimit const&) = delete;
    AllocationLimit& operator=(AllocationLimit const&) = delete;

    /// How often `new` was refused.
    unsigned long Refused() const;
};

/// How often `build` ends in std::bad_alloc when it is allowed one more allocation each time.
template <class Build>
unsigned long FailuresUntilBuilt(Build const& build) {
    for (unsigned long failures = 0;; ++failures) {
        try {
            AllocationLimit const limit(failures);
            build();
            return failures;
        } catch (std::bad_alloc const&) {
        }
    }
}

/// While it lives, this thread's `delete` leaves `number` in errno, as it may.
class ErrnoAfterDelete {
public:
    explicit ErrnoAfterDelete(int number);
    ~ErrnoAfterDelete();

    ErrnoAfterDelete(ErrnoAfterDelete const&) = delete;
    ErrnoAfterDelete& operator=(ErrnoAfterDelete const&) = delete;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_ALLOCATIONS_H_
