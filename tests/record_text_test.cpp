#include "record_text.h"

#include <string>

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

/// A record that holds these bytes and nothing more.
LogRecord RecordOf(std::string const& bytes) {
    LogRecord record(kInfo);
    record.WriteData(bytes.data(), static_cast<int>(bytes.size()));
    return record;
}

TEST(RecordTextTest, BytesThatEndWithANulAreText) {
    EXPECT_TRUE(HasText(RecordOf(std::string("a\0", 2))));
    EXPECT_TRUE(HasText(RecordOf(std::string("ready\0", 6))));
}

TEST(RecordTextTest, RecordWithoutBytesHasNoText) {
    EXPECT_FALSE(HasText(RecordOf("")));
}

TEST(RecordTextTest, NulAloneIsNoText) {
    EXPECT_FALSE(HasText(RecordOf(std::string("\0", 1))));
}

TEST(RecordTextTest, BytesWithoutClosingNulAreNoText) {
    EXPECT_FALSE(HasText(RecordOf("a")));
    EXPECT_FALSE(HasText(RecordOf("ab")));
    EXPECT_FALSE(HasText(RecordOf(std::string("a\0b", 3))));
}

TEST(RecordTextTest, TextMayBeANulItself) {
    LogRecord const record = RecordOf(std::string("\0\0", 2));

    EXPECT_TRUE(HasText(record));
    EXPECT_EQ(RecordText(record), std::string("\0", 1));
}

TEST(RecordTextTest, OnlyTheLastByteIsLeftOut) {
    EXPECT_EQ(RecordText(RecordOf(std::string("a\0", 2))), "a");
    EXPECT_EQ(RecordText(RecordOf(std::string("ready \n\0", 8))), "ready \n");
}

TEST(RecordTextTest, EveryByteBeforeTheLastIsKept) {
    std::string text;
    for (int byte = 0; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }

    EXPECT_EQ(RecordText(RecordOf(text + text + '\0')), text + text);
}

TEST(RecordTextTest, TextIsTheRecordsOwnAndNoCopy) {
    LogRecord const record = RecordOf(std::string("ready\0", 6));

    EXPECT_EQ(RecordText(record).data(), record.GetData().data());
}

}  // namespace
}  // namespace tarqlog
