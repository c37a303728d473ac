#ifndef TARQLOG_TESTS_SUPPORT_WRITE_COUNTS_H_
#define TARQLOG_TESTS_SUPPORT_WRITE_COUNTS_H_

namespace tarqlog {

/// Writes how often each line of the library has run, as exit handlers do. There is no such
/// function where nothing is counted: call it through WriteCountsIfAny().
[[gnu::weak, gnu::visibility("default")]] void WriteCounts();

/// Before a process ends without its exit handlers.
inline void WriteCountsIfAny() {
    if (WriteCounts != nullptr) {
        WriteCounts();
    }
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_WRITE_COUNTS_H_
