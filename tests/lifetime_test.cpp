// Logging before main(), after it and beside its end, in programs of their own.

#include <string>

#include <gtest/gtest.h>

#include "support/child.h"

namespace tarqlog {
namespace {

/// The texts of the lines of a log, one a line.
std::string TextsOf(std::string const& log) {
    std::string texts;
    for (std::string::size_type begin = 0; begin < log.size();) {
        std::string::size_type const end = log.find('\n', begin);
        texts += log.substr(log.find("):", begin) + 2, end - log.find("):", begin) - 1);
        begin = end + 1;
    }
    return texts;
}

/// The program is linked with the shared library, or holds the static one, behind its own objects
/// or before them.
class LifetimeTest : public testing::TestWithParam<const char*> {};

TEST_P(LifetimeTest, StaticConstructorsAndDestructorsOfOthersLog) {
    ChildResult const result = RunProgram(GetParam(), {"nothing"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(TextsOf(result.errors), "constructed\ndestroyed\n");
}

TEST_P(LifetimeTest, ExitHandlersLog) {
    ChildResult const result = RunProgram(GetParam(), {"at-exit"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(TextsOf(result.errors), "constructed\nat exit\ndestroyed\n");
}

TEST_P(LifetimeTest, WhoOutlivesTheSinksMayAddOneAndLogAgain) {
    ChildResult const result = RunProgram(GetParam(), {"last-words"});

    EXPECT_EQ(result.exitStatus, 0);
    // Where the library comes first, its sinks stay to the last.
    std::string const lastWords = GetParam() == std::string(TARQLOG_LIFETIME_STATIC_FIRST)
                                      ? "the sinks are still there"
                                      : "last words";
    EXPECT_EQ(TextsOf(result.errors), "constructed\ndestroyed\n" + lastWords + "\n");
}

TEST_P(LifetimeTest, ChildOfAForkLogsAndExits) {
    ChildResult const result = RunProgram(GetParam(), {"fork"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(TextsOf(result.errors), "constructed\nof the child\ndestroyed\ndestroyed\n");
}

TEST_P(LifetimeTest, ThreadsThatOutliveMainNeitherCrashNorHangTheExit) {
    for (int i = 0; i < 20; ++i) {
        ChildResult const result = RunProgram(GetParam(), {"threads"});

        ASSERT_EQ(result.exitStatus, 0) << result.signal;
        ASSERT_FALSE(result.errors.empty());
        ASSERT_EQ(result.errors.back(), '\n');
    }
}

std::string Name(testing::TestParamInfo<const char*> const& info) {
    return std::string(info.param) == TARQLOG_LIFETIME_SHARED   ? "Shared"
           : std::string(info.param) == TARQLOG_LIFETIME_STATIC ? "Static"
                                                                : "StaticFirst";
}

INSTANTIATE_TEST_SUITE_P(Linked, LifetimeTest,
                         testing::Values(TARQLOG_LIFETIME_SHARED, TARQLOG_LIFETIME_STATIC,
                                         TARQLOG_LIFETIME_STATIC_FIRST),
                         Name);

}  // namespace
}  // namespace tarqlog
