// `make storms` in its shortest form: that changes and exit() come through, however many threads
// log.

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

TEST(StormTest, ThreadsThatLogHoldUpNeitherChangesNorExit) {
    for (int run = 0; run < 3; ++run) {
        TemporaryDirectory const directory;
        ChildResult const result =
            RunProgram("/bin/sh", {"-c", R"(exec "$@" >/dev/null)", "sh", TARQLOG_STORM_PATH,
                                   directory.File("log"), "32", "30"});
        EXPECT_EQ(result.exitStatus, 0) << "signal " << result.signal;
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    }
}

TEST(StormTest, UsageIsToldToWhoAsksForSomethingElse) {
    ChildResult const result = RunProgram(TARQLOG_STORM_PATH, {"log", "32"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "Usage: storm FILE THREADS CHANGES\n");
}

}  // namespace
}  // namespace tarqlog
