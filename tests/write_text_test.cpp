#include "write_text.h"

#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/statements.h"

namespace tarqlog {
namespace {

TEST(WriteTextTest, TextOfAnyLengthIsWholeAndNothingBesideItIsTouched) {
    for (std::size_t length = 0; length < 100; ++length) {
        SCOPED_TRACE(length);
        std::string const text = Letters(length);
        std::string place(length + 2, '#');

        char* const end = WriteText(&place[1], text);

        EXPECT_EQ(place, '#' + text + '#');
        EXPECT_EQ(end, &place[1] + length);
    }
}

TEST(WriteTextTest, BytesAreTakenAsTheyAre) {
    for (std::size_t const length : {1U, 3U, 6U, 12U, 20U}) {
        std::string const text(length, '\0');
        std::string place(length, '#');

        WriteText(&place[0], text);

        EXPECT_EQ(place, text);
    }
}

/// What WriteNumber() makes of a number, where nothing beside it may be touched.
std::string Written(unsigned long long number) {
    std::string place(1 + kMostDigits + 1, '#');
    char* const end = WriteNumber(&place[1], number);
    EXPECT_EQ(place.front(), '#');
    EXPECT_EQ(place.back(), '#');
    return place.substr(1, static_cast<std::size_t>(end - &place[1]));
}

TEST(WriteTextTest, NumbersThatHaveAFewDigitsAreWrittenInDecimal) {
    for (unsigned long long number = 0; number < 200000; ++number) {
        ASSERT_EQ(Written(number), std::to_string(number));
    }
}

TEST(WriteTextTest, NumbersAroundEachPowerOfTenHaveAllTheirDigits) {
    for (unsigned long long power = 1;; power *= 10) {
        for (unsigned long long const number : {power - 1, power, power + 1, power * 5 - 1}) {
            EXPECT_EQ(Written(number), std::to_string(number));
        }
        if (power > std::numeric_limits<unsigned long long>::max() / 10) {
            break;
        }
    }
    EXPECT_EQ(Written(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
}

TEST(WriteTextTest, AnyNumberIsWrittenInDecimal) {
    std::mt19937_64 random(20261122);
    for (int i = 0; i < 100000; ++i) {
        unsigned long long const number = random() >> (random() % 64);
        ASSERT_EQ(Written(number), std::to_string(number));
    }
}

TEST(WriteTextTest, EmptyTextMayBeNull) {
    char byte = '#';
    EXPECT_EQ(WriteText(&byte, std::string_view()), &byte);
    EXPECT_EQ(byte, '#');
}

}  // namespace
}  // namespace tarqlog
