// The main() of the tests. With names of cases behind GoogleTest's own arguments it runs each of
// these in a forked process, so that no case finds what an earlier one has left, as under CTest,
// but the program starts once. scripts/gates/memcheck does so, where a start takes a second.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace {

[[noreturn]] void RunCase(std::string const& name) {
    std::printf("case %s, process %d\n", name.c_str(), static_cast<int>(::getpid()));
    GTEST_FLAG_SET(filter, name);
    int const result = RUN_ALL_TESTS();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the case has ended its threads, and main() returns so
    std::exit(result);
}

/// Whether the case was passed, by a process that had nothing to complain of.
bool IsPassed(std::string const& name) {
    std::fflush(nullptr);
    pid_t const process = ::fork();
    if (process == 0) {
        RunCase(name);
    }
    int status = -1;
    return ::waitpid(process, &status, 0) == process && status == 0;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2) {
        return RUN_ALL_TESTS();
    }
    int failed = 0;
    for (int i = 1; i < argc; ++i) {
        if (!IsPassed(argv[i])) {
            std::printf("not passed: %s\n", argv[i]);
            ++failed;
        }
    }
    return failed == 0 ? 0 : 1;
}
