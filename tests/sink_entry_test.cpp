#include "tarqlog/sink_entry.h"

#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

TEST(SinkEntryTest, IsAPlainPairOfIndexAndSeverities) {
    EXPECT_TRUE((std::is_same<SinkEntry, std::pair<unsigned long, Severity>>::value));
}

TEST(SinkEntryTest, NamesTheSinkFirstAndItsSeveritiesSecond) {
    SinkEntry const entry(31, kError | kFatal);

    EXPECT_EQ(entry.first, 31u);
    EXPECT_EQ(entry.second, 48u);
}

TEST(SinkEntryTest, StartsAsTheFirstSinkWithNoSeverity) {
    SinkEntry const entry = SinkEntry();

    EXPECT_EQ(entry.first, 0u);
    EXPECT_EQ(entry.second, 0u);
}

TEST(SinkEntryTest, KeepsBitsBeyondTheSixLevels) {
    SinkEntry const entry(0, static_cast<Severity>(0xFFFFFFFFu));

    EXPECT_EQ(entry.second, 0xFFFFFFFFu);
}

TEST(SinkEntryTest, IndexHasTheWidthOfUnsignedLong) {
    SinkEntry const entry(std::numeric_limits<unsigned long>::max(), kInfo);

    EXPECT_EQ(entry.first, std::numeric_limits<unsigned long>::max());
    EXPECT_GT(entry.first, 0u);
}

TEST(SinkEntryTest, ListIsAVectorThatComparesIndexAndSeverities) {
    std::vector<SinkEntry> const list = {{0, kInfo}, {3, kError}};

    EXPECT_EQ(list, (std::vector<SinkEntry>{{0, kInfo}, {3, kError}}));
    EXPECT_NE(list, (std::vector<SinkEntry>{{0, kInfo}, {4, kError}}));
    EXPECT_NE(list, (std::vector<SinkEntry>{{0, kInfo}, {3, kFatal}}));
}

}  // namespace
}  // namespace tarqlog
