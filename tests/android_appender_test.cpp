#include "tarqlog/android_appender.h"

#include <cstdio>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/captured_stream.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/syslog_watch.h"

namespace tarqlog {

class AndroidAppenderPeer {
public:
    static std::string const& Tag(AndroidAppender const& appender) { return appender.tag_; }
};

namespace {

static_assert(std::is_convertible<AndroidAppender*, AppenderBase*>::value, "for any sink");
static_assert(!std::is_copy_constructible<AndroidAppender>::value, "never copied");

TEST(AndroidAppenderTest, TagIsKeptAsItIsGiven) {
    for (std::string const& tag : {std::string("app"), std::string("a.b c%s\n"), std::string(" "),
                                   std::string("\0", 1), std::string(1000, 'x')}) {
        SCOPED_TRACE(tag);
        EXPECT_EQ(AndroidAppenderPeer::Tag(AndroidAppender(tag)), tag);
    }
}

TEST(AndroidAppenderTest, EmptyTagIsTheLibrarysName) {
    EXPECT_EQ(AndroidAppenderPeer::Tag(AndroidAppender("")), "tarqlog");
}

TEST(AndroidAppenderTest, RecordGetsTheShortHeaderAndIsWrittenNowhere) {
    InstalledHooks const hooks([] { return 1700000000123LL; }, [] { return 4242U; });
    AndroidAppender appender("app");
    CapturedStream const output(stdout);
    CapturedStream const errors(stderr);

    appender.Append(TaggedRecord(kFatal, "text", {"core"}));

    EXPECT_EQ(appender.Header(), "[t:4242](core):");
    EXPECT_EQ(output.Text(), "");
    EXPECT_EQ(errors.Text(), "");
    EXPECT_EQ(logOpenings.Calls() + logMessages.Calls(), 0);
}

TEST(AndroidAppenderTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    std::string const tag(1000, 'x');
    auto const build = [&] { AndroidAppender const appender(tag); };

    EXPECT_GE(FailuresUntilBuilt(build), 2U);  // base, tag
}

}  // namespace
}  // namespace tarqlog
