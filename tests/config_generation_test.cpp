#include "config_generation.h"

#include <atomic>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

constexpr unsigned int kLargest = std::numeric_limits<unsigned int>::max();

TEST(ConfigGenerationTest, StartsAtOne) {
    ConfigGeneration const generation;

    EXPECT_EQ(generation.Get(), 1u);
}

TEST(ConfigGenerationTest, StartsWhereItIsTold) {
    ConfigGeneration const generation(17);

    EXPECT_EQ(generation.Get(), 17u);
}

TEST(ConfigGenerationTest, EachAdvanceAddsOne) {
    ConfigGeneration generation;

    generation.Advance();
    EXPECT_EQ(generation.Get(), 2u);
    generation.Advance();
    EXPECT_EQ(generation.Get(), 3u);
}

TEST(ConfigGenerationTest, ReadingLeavesItAsItIs) {
    ConfigGeneration const generation;

    generation.Get();

    EXPECT_EQ(generation.Get(), 1u);
}

TEST(ConfigGenerationTest, ReachesTheLargestNumber) {
    ConfigGeneration generation(kLargest - 1);

    generation.Advance();

    EXPECT_EQ(generation.Get(), 4294967295u);
}

TEST(ConfigGenerationTest, OneFollowsTheLargestNumber) {
    ConfigGeneration generation(kLargest);

    generation.Advance();

    EXPECT_EQ(generation.Get(), 1u);
}

TEST(ConfigGenerationTest, GoesOnAfterTheWrap) {
    ConfigGeneration generation(kLargest);

    generation.Advance();
    generation.Advance();

    EXPECT_EQ(generation.Get(), 2u);
}

TEST(ConfigGenerationTest, ThreadThatReadsWhileItAdvancesSeesNeitherZeroNorAStepBack) {
    ConfigGeneration generation;
    std::atomic<bool> isOver(false);
    bool inOrder = true;

    std::thread reader([&] {
        for (unsigned int seen = 1; !isOver;) {
            unsigned int const next = generation.Get();
            inOrder = inOrder && next >= seen;
            seen = next;
        }
    });
    for (int i = 0; i < 20000; ++i) {
        generation.Advance();
    }
    isOver = true;
    reader.join();

    EXPECT_TRUE(inOrder);
    EXPECT_EQ(generation.Get(), 20001u);
}

}  // namespace
}  // namespace tarqlog
