#include "write_text.h"

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

TEST(WriteTextTest, EmptyTextMayBeNull) {
    char byte = '#';
    EXPECT_EQ(WriteText(&byte, std::string_view()), &byte);
    EXPECT_EQ(byte, '#');
}

}  // namespace
}  // namespace tarqlog
