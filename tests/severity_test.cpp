#include "tarqlog/severity.h"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

static_assert(std::is_same<std::underlying_type<Severity>::type, std::uint32_t>::value,
              "a severity has 32 bits and no sign");
static_assert(std::is_convertible<Severity, std::uint32_t>::value,
              "the enumeration is an unscoped one");
static_assert(std::is_same<decltype(kWarning | kError), Severity>::value,
              "a set of levels is a severity");
static_assert(std::is_same<decltype(kWarning & kError), Severity>::value,
              "what two sets share is a severity");
static_assert(std::is_same<decltype(~kWarning), Severity>::value,
              "all levels but some are a severity");
static_assert(std::is_same<decltype(kAllSeverities), Severity const>::value,
              "all levels together are a severity");

std::uint32_t Bits(Severity severity) {
    return severity;
}

TEST(SeverityTest, EachLevelIsOneBitInAscendingOrder) {
    Severity const levels[] = {kTrace, kDebug, kInfo, kWarning, kError, kFatal};
    std::uint32_t const bits[] = {1, 2, 4, 8, 16, 32};

    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Bits(levels[i]), bits[i]);
    }
}

TEST(SeverityTest, LevelsCombineAtCompileTime) {
    constexpr Severity kBoth = kWarning | kError;
    constexpr Severity kShared = kBoth & (kError | kFatal);
    constexpr Severity kOthers = ~kBoth & kAllSeverities;

    EXPECT_EQ(Bits(kBoth), 24U);
    EXPECT_EQ(Bits(kShared), 16U);
    EXPECT_EQ(Bits(kOthers), 39U);
}

TEST(SeverityTest, LevelJoinedTwiceIsInTheSetOnce) {
    EXPECT_EQ(Bits(kInfo | kInfo), 4U);
}

TEST(SeverityTest, SetsWithoutACommonLevelShareNothing) {
    EXPECT_EQ(Bits((kTrace | kInfo) & (kDebug | kFatal)), 0U);
}

TEST(SeverityTest, AllSeveritiesAreTheSixLevels) {
    EXPECT_EQ(Bits(kAllSeverities), 63U);
}

TEST(SeverityTest, ComplementKeepsAll32Bits) {
    EXPECT_EQ(Bits(~kTrace), 0xFFFFFFFEU);
    EXPECT_EQ(Bits(~Severity()), 0xFFFFFFFFU);
}

TEST(SeverityTest, BitsBeyondTheLevelsAreKept) {
    Severity const odd = static_cast<Severity>(0x80000040U);

    EXPECT_EQ(Bits(odd | kInfo), 0x80000044U);
    EXPECT_EQ(Bits(odd & static_cast<Severity>(0x80000000U)), 0x80000000U);
    EXPECT_EQ(Bits(~odd), 0x7FFFFFBFU);
}

TEST(SeverityTest, JoiningInPlaceAddsTheLevelAndReturnsTheSetItself) {
    Severity mask = kInfo;

    Severity& result = mask |= kFatal;

    EXPECT_EQ(Bits(mask), 36U);
    EXPECT_EQ(&result, &mask);
}

TEST(SeverityTest, CuttingInPlaceKeepsTheCommonLevelsAndReturnsTheSetItself) {
    Severity mask = kInfo | kFatal;

    Severity& result = mask &= kFatal | kTrace;

    EXPECT_EQ(Bits(mask), 32U);
    EXPECT_EQ(&result, &mask);
}

}  // namespace
}  // namespace tarqlog
