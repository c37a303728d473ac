// `make soak` in its shortest form: that it finds every line, and that it would tell if it did not.

#include <string>

#include <gtest/gtest.h>

#include "support/child.h"

namespace tarqlog {
namespace {

ChildResult SoakWith(std::string const& fault) {
    return RunProgram(TARQLOG_SOAK_PATH, {"0", fault});
}

TEST(SoakTest, EveryLineIsAccountedFor) {
    ChildResult const result = RunProgram(TARQLOG_SOAK_PATH, {"0"});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0) << result.output;
}

TEST(SoakTest, LineThatIsMissingIsNoticed) {
    ChildResult const result = SoakWith("dropped-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.errors.find("is there 0 times instead of 1\n"), std::string::npos)
        << result.errors;
}

TEST(SoakTest, LineThatIsThereTwiceIsNoticed) {
    ChildResult const result = SoakWith("doubled-line");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.errors.find("is there 2 times instead of 1\n"), std::string::npos)
        << result.errors;
}

TEST(SoakTest, DescriptorThatStaysOpenIsNoticed) {
    ChildResult const result = SoakWith("leaked-descriptor");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "soak: descriptors left open: 1\n");
}

TEST(SoakTest, MemoryThatGrowsIsNoticed) {
    ChildResult const result = SoakWith("growing-memory");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("soak: the heap has grown from "), 0U) << result.errors;
}

TEST(SoakTest, WhatIsNoNumberOfMinutesIsRefused) {
    for (std::string const minutes : {"", "ten", "-1", "1.5", "1 ", "10081", "99999999999"}) {
        SCOPED_TRACE(minutes);
        ChildResult const result = RunProgram(TARQLOG_SOAK_PATH, {minutes});
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.errors,
                  "soak: MINUTES is a whole number from 0 to 10080, not \"" + minutes + "\"\n");
        EXPECT_EQ(result.output, "");
    }
}

TEST(SoakTest, FaultOfNoKnownNameIsRefused) {
    ChildResult const result = SoakWith("lost-line");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "soak: there is no fault \"lost-line\" to be made\n");
}

}  // namespace
}  // namespace tarqlog
