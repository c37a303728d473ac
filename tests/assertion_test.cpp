#include "tarqlog/assertion.h"

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/undebugged_assertion.h"

namespace tarqlog {
namespace {

void CheckSmall(int value);
void CheckRemainder(int value);
void CheckOfHeader(int value);

TEST(AssertionTest, FailedOnePrintsOneLineAndAborts) {
    struct {
        std::function<void()> check;
        std::string line;
    } const cases[] = {
        {[] { CheckSmall(3); },
         "tests/assertion_test.cpp:1002: CheckSmall: "
         "Assertion 'value < 3 && \"small\"' failed.\n"},
        {[] { CheckRemainder(1); },
         "tests/assertion_test.cpp:1006: CheckRemainder: "
         "Assertion 'value % 2 == 0' failed.\n"},
        {[] { CheckOfHeader(0); },
         "include/tarqlog/some.h:1010: CheckOfHeader: Assertion 'value' failed.\n"},
        {[] { AssertionFailed("a %s", "F", "some.cpp", 7); },
         "some.cpp:7: F: Assertion 'a %s' failed.\n"},
    };
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.line);
        ChildResult const result = RunInChild([&] {
            expected.check();
            return 0;
        });

        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, expected.line);
    }
}

TEST(AssertionTest, LineIsPrintedWhenStandardErrorIsBuffered) {
    ChildResult const result = RunInChild([] {
        std::setvbuf(stderr, nullptr, _IOFBF, 4096);
        AssertionFailed("buffered", "F", "some.cpp", 7);
        return 0;
    });

    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.errors, "some.cpp:7: F: Assertion 'buffered' failed.\n");
}

#define TARQLOG_TEST_FALSE (1 == 2)

TEST(AssertionTest, ExpressionIsPrintedAsItIsWritten) {
    for (bool const ofHeader : {false, true}) {
        ChildResult const result = RunInChild([&] {
            if (ofHeader) {
                TARQLOG_ASSERT_IN("some.h", TARQLOG_TEST_FALSE);
            }
            TARQLOG_ASSERT(TARQLOG_TEST_FALSE);
            return 0;
        });

        EXPECT_NE(result.errors.find("Assertion 'TARQLOG_TEST_FALSE' failed."), std::string::npos)
            << result.errors;
    }
}

TEST(AssertionTest, TrueOnePassesInSilence) {
    ChildResult const result = RunInChild([] {
        CheckSmall(2);
        CheckRemainder(2);
        CheckOfHeader(1);
        return 5;
    });

    EXPECT_EQ(result.exitStatus, 5);
    EXPECT_EQ(result.errors, "");
}

TEST(AssertionTest, ExpressionIsEvaluatedOnce) {
    int evaluations = 0;

    TARQLOG_ASSERT(++evaluations != 0);
    TARQLOG_ASSERT_IN("some.h", ++evaluations != 0);

    EXPECT_EQ(evaluations, 2);
}

TEST(AssertionTest, AnythingThatConvertsToBoolIsAnExpression) {
    int const value = 1;

    TARQLOG_ASSERT(&value);
    TARQLOG_ASSERT(std::function<void()>([] {}));
    TARQLOG_ASSERT(value == 1 ? &value : nullptr);
}

TEST(AssertionTest, AssertionWithoutDebuggingStopsTheProcessAlike) {
    ChildResult const result = RunInChild([] { return UndebuggedAssertion(false); });

    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.errors,
              "tests/support/undebugged_assertion.cpp:12: UndebuggedAssertion: "
              "Assertion '++evaluations && holds' failed.\n");
}

TEST(AssertionTest, ExpressionIsEvaluatedOnceWithoutDebuggingToo) {
    EXPECT_EQ(UndebuggedAssertion(true), 1);
}

// Last in the file, where the lines can have numbers of their own: they are part of what is
// printed.
#line 1001
void CheckSmall(int value) {
    TARQLOG_ASSERT(value < 3 && "small");
}

void CheckRemainder(int value) {
    TARQLOG_ASSERT(value % 2 == 0);
}

void CheckOfHeader(int value) {
    TARQLOG_ASSERT_IN("include/tarqlog/some.h", value);
}

}  // namespace
}  // namespace tarqlog
