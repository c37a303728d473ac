#include "split_to_parts.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <list>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/tag_oracle.h"

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;

Parts Split(std::string const& text) {
    Parts parts;
    SplitToParts(text, parts);
    return parts;
}

/// Up to forty characters, dots and two letters.
std::string RandomText(std::mt19937& random) {
    std::string text;
    for (std::size_t size = random() % 41; size > 0; --size) {
        text += "a.b"[random() % 3];
    }
    return text;
}

TEST(SplitToPartsTest, PartsAreTheRunsBetweenFullStops) {
    struct {
        std::string text;
        Parts parts;
    } const cases[] = {
        {"a", {"a"}},
        {"a.b.c", {"a", "b", "c"}},
        {"core.db.cache", {"core", "db", "cache"}},
        {"ab.c", {"ab", "c"}},
        {"a.bc", {"a", "bc"}},
        {".a..b.", {"a", "b"}},
        {"...a", {"a"}},
        {"a...", {"a"}},
        {"a.....b", {"a", "b"}},
        {".a", {"a"}},
        {"a.", {"a"}},
        {"a.a.a", {"a", "a", "a"}},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.text);
        EXPECT_EQ(Split(each.text), each.parts);
    }
}

TEST(SplitToPartsTest, EmptyTextHasNoParts) {
    EXPECT_EQ(Split(""), Parts());
}

TEST(SplitToPartsTest, FullStopsAloneHaveNoParts) {
    for (std::size_t count = 1; count <= 5; ++count) {
        SCOPED_TRACE(count);
        EXPECT_EQ(Split(std::string(count, '.')), Parts());
    }
}

TEST(SplitToPartsTest, BlanksAndCaseAreKept) {
    EXPECT_EQ(Split("A b.c"), (Parts{"A b", "c"}));
    EXPECT_EQ(Split(" a . b\t.\n"), (Parts{" a ", " b\t", "\n"}));
    EXPECT_EQ(Split(" "), (Parts{" "}));
}

TEST(SplitToPartsTest, EveryByteButTheFullStopIsPartOfAPart) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        std::string const middle(1, static_cast<char>(byte));
        Parts const expected = byte == '.' ? Parts{"x", "y"} : Parts{"x" + middle + "y"};
        EXPECT_EQ(Split("x" + middle + "y"), expected);
    }
}

TEST(SplitToPartsTest, EveryByteButTheFullStopIsAPartByItself) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        std::string const alone(1, static_cast<char>(byte));
        EXPECT_EQ(Split(alone), byte == '.' ? Parts() : Parts{alone});
    }
}

TEST(SplitToPartsTest, PartsFollowWhatTheContainerHolds) {
    Parts parts = {"before", ""};

    SplitToParts("a.b", parts);

    EXPECT_EQ(parts, (Parts{"before", "", "a", "b"}));
}

TEST(SplitToPartsTest, TextWithoutPartsLeavesTheContainerAsItWas) {
    for (std::string const text : {"", ".", "..."}) {
        SCOPED_TRACE(text);
        Parts parts = {"before"};
        SplitToParts(text, parts);
        EXPECT_EQ(parts, Parts{"before"});
    }
}

TEST(SplitToPartsTest, FillsAnyContainerWithABack) {
    std::list<std::string> list;
    SplitToParts(".a..b.", list);
    EXPECT_EQ(list, (std::list<std::string>{"a", "b"}));

    std::deque<std::string> deque;
    SplitToParts(".a..b.", deque);
    EXPECT_EQ(deque, (std::deque<std::string>{"a", "b"}));
}

TEST(SplitToPartsTest, TextOfAMillionPartsGivesThemAll) {
    std::string text;
    for (int i = 0; i < 1000000; ++i) {
        text += ".x";
    }

    Parts const parts = Split(text);

    EXPECT_EQ(parts.size(), 1000000u);
    EXPECT_EQ(static_cast<std::size_t>(std::count(parts.begin(), parts.end(), "x")), parts.size());
}

TEST(SplitToPartsTest, LongPartIsKeptWhole) {
    std::string const part(1000000, 'x');

    EXPECT_EQ(Split("." + part + ".y"), (Parts{part, "y"}));
}

TEST(SplitToPartsTest, RandomTextsSplitAsCharacterByCharacter) {
    std::mt19937 random(20210);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = RandomText(random);
        ASSERT_EQ(Split(text), SplitByCharacter(text)) << text;
    }
}

TEST(SplitToPartsTest, NoPartIsEmptyAndNoneHoldsAFullStop) {
    std::mt19937 random(20211);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = RandomText(random);
        for (std::string const& part : Split(text)) {
            ASSERT_NE(part, "") << text;
            ASSERT_EQ(part.find('.'), std::string::npos) << text;
        }
    }
}

TEST(SplitToPartsTest, PartsHoldEveryCharacterButTheFullStopsInItsOrder) {
    std::mt19937 random(20212);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = RandomText(random);
        std::string letters = text;
        letters.erase(std::remove(letters.begin(), letters.end(), '.'), letters.end());
        ASSERT_EQ(Join(Split(text), ""), letters) << text;
    }
}

TEST(SplitToPartsTest, JoinedPartsSplitIntoThemselves) {
    std::mt19937 random(20213);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = RandomText(random);
        Parts const parts = Split(text);
        ASSERT_EQ(Split(Join(parts, ".")), parts) << text;
    }
}

}  // namespace
}  // namespace tarqlog
