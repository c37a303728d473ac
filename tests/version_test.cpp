#include "tarqlog/version.h"

#include <string>

#include <gtest/gtest.h>

#if TARQLOG_VERSION_MAJOR < 0 || TARQLOG_VERSION_MINOR < 0 || TARQLOG_VERSION_PATCH < 0
#error "the parts of the version are numbers that the preprocessor compares"
#endif

namespace tarqlog {
namespace {

TEST(VersionTest, VersionIsThatOfTheProject) {
    EXPECT_STREQ(TARQLOG_VERSION, TARQLOG_PROJECT_VERSION);
}

TEST(VersionTest, PartsMakeUpTheVersion) {
    EXPECT_EQ(std::to_string(TARQLOG_VERSION_MAJOR) + "." + std::to_string(TARQLOG_VERSION_MINOR) +
                  "." + std::to_string(TARQLOG_VERSION_PATCH),
              TARQLOG_VERSION);
}

}  // namespace
}  // namespace tarqlog
