#include "severity_index.h"

#include <cstdint>
#include <random>

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

/// The index by asking for one level after the other.
unsigned int IndexByQuestions(std::uint32_t severity) {
    if ((severity & 1) != 0) {
        return 0;
    }
    if ((severity & 2) != 0) {
        return 1;
    }
    if ((severity & 4) != 0) {
        return 2;
    }
    if ((severity & 8) != 0) {
        return 3;
    }
    if ((severity & 16) != 0) {
        return 4;
    }
    if ((severity & 32) != 0) {
        return 5;
    }
    return 6;
}

TEST(SeverityIndexTest, EachLevelHasTheIndexOfItsBit) {
    EXPECT_EQ(SeverityIndex(kTrace), 0U);
    EXPECT_EQ(SeverityIndex(kDebug), 1U);
    EXPECT_EQ(SeverityIndex(kInfo), 2U);
    EXPECT_EQ(SeverityIndex(kWarning), 3U);
    EXPECT_EQ(SeverityIndex(kError), 4U);
    EXPECT_EQ(SeverityIndex(kFatal), 5U);
}

TEST(SeverityIndexTest, OfSeveralLevelsTheLowestCounts) {
    EXPECT_EQ(SeverityIndex(kDebug | kInfo), 1U);
    EXPECT_EQ(SeverityIndex(kAllSeverities), 0U);
}

TEST(SeverityIndexTest, ValueWithoutAnyLevelHasTheIndexAfterTheLast) {
    for (std::uint32_t const value : {0U, 64U, 128U, 0x80000000U, 0xffffffc0U}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(SeverityIndex(static_cast<Severity>(value)), 6U);
    }
}

TEST(SeverityIndexTest, BitsBeyondTheSixLevelsDoNotCount) {
    EXPECT_EQ(SeverityIndex(static_cast<Severity>(0xffffffc0U | 32U)), 5U);
    EXPECT_EQ(SeverityIndex(static_cast<Severity>(0x80000000U | 4U)), 2U);
}

TEST(SeverityIndexTest, IndexIsAConstantForATable) {
    constexpr unsigned int kIndex = SeverityIndex(kWarning | kFatal);
    char const letters[kSeverityIndexCount] = {'T', 'D', 'I', 'W', 'E', 'F', 'U'};

    EXPECT_EQ(letters[kIndex], 'W');
    EXPECT_EQ(sizeof letters, 7U);
}

TEST(SeverityIndexTest, EveryValueBelow128HasItsLowestLevelsIndex) {
    for (std::uint32_t value = 0; value < 128; ++value) {
        SCOPED_TRACE(value);
        EXPECT_EQ(SeverityIndex(static_cast<Severity>(value)), IndexByQuestions(value));
    }
}

TEST(SeverityIndexTest, Any32BitValueHasItsLowestLevelsIndex) {
    std::mt19937 random(20231114);
    for (int i = 0; i < 100000; ++i) {
        auto const value = static_cast<std::uint32_t>(random());
        ASSERT_EQ(SeverityIndex(static_cast<Severity>(value)), IndexByQuestions(value)) << value;
    }
}

}  // namespace
}  // namespace tarqlog
