// Part of the library in the coverage preset alone: each shared object has counts of its own.

#include "write_counts.h"

#include <csignal>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): of the compiler's library

namespace tarqlog {

void WriteCounts() {
    ::__gcov_dump();
}

namespace {

void WriteCountsAtAbort(int signal) {
    WriteCounts();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

[[maybe_unused]] auto const previous = std::signal(SIGABRT, WriteCountsAtAbort);

}  // namespace

}  // namespace tarqlog
