#include "tarqlog/logstream.h"

#include <climits>
#include <iomanip>
#include <ios>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/logrecord.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/compiler.h"
#include "support/untyped_buffer.h"

namespace tarqlog {
namespace {

static_assert(std::is_base_of<std::ostream, LogStream>::value, "a log stream is an ostream");
static_assert(std::is_base_of<std::streambuf, LogRecordStreamBuf>::value,
              "the record's buffer is a stream buffer");

/// A record with a stream that fills it.
struct Written {
    Written() : record(kInfo), buffer(record), stream(&buffer) {}

    std::string Text() const {
        return std::string(record.GetData().begin(), record.GetData().end());
    }

    LogRecord record;
    LogRecordStreamBuf buffer;
    LogStream stream;
};

/// Offers what stream buffers keep to themselves.
class OpenBuffer : public LogRecordStreamBuf {
public:
    using LogRecordStreamBuf::LogRecordStreamBuf;
    using LogRecordStreamBuf::overflow;
};

TEST(LogRecordStreamBufTest, CharactersAreInTheRecordBeforeAnyFlush) {
    Written written;

    written.stream << "abc" << ' ' << 42 << ' ' << 1.5 << std::string(" def");

    EXPECT_EQ(written.Text(), "abc 42 1.5 def");
}

TEST(LogRecordStreamBufTest, CharacterByCharacterIsAppendedToo) {
    Written written;

    written.stream.put('a').put('b');
    EXPECT_EQ(written.buffer.sputc('c'), 'c');

    EXPECT_EQ(written.Text(), "abc");
}

TEST(LogRecordStreamBufTest, LineEndIsOneLineFeed) {
    Written written;

    written.stream << "a" << std::endl << "b";

    EXPECT_EQ(written.Text(), "a\nb");
}

TEST(LogRecordStreamBufTest, NoByteIsTakenForTheEnd) {
    Written written;
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
        EXPECT_TRUE(written.stream.put(static_cast<char>(byte))) << byte;
    }

    EXPECT_EQ(written.Text(), bytes);
}

TEST(LogRecordStreamBufTest, OverflowWithoutCharacterSucceedsAndAppendsNothing) {
    LogRecord record(kInfo);
    OpenBuffer buffer(record);

    EXPECT_NE(buffer.overflow(std::char_traits<char>::eof()), std::char_traits<char>::eof());
    EXPECT_TRUE(record.GetData().empty());
}

TEST(LogRecordStreamBufTest, OverflowReturnsItsCharacter) {
    LogRecord record(kInfo);
    OpenBuffer buffer(record);

    EXPECT_EQ(buffer.overflow(0xFF), 0xFF);
    EXPECT_EQ(record.GetData(), std::vector<char>{'\xFF'});
}

TEST(LogRecordStreamBufTest, BlockReturnsItsSizeAndWithSizeZeroWritesNothing) {
    Written written;

    EXPECT_EQ(written.buffer.sputn("abcdef", 4), 4);
    EXPECT_EQ(written.buffer.sputn("xyz", 0), 0);

    EXPECT_EQ(written.Text(), "abcd");
}

// There is no such block where pointers have 32 bits. A sanitizer's memory is not the one that the
// program folds, and it would watch two gigabytes.
#if defined(TARQLOG_HUGE_WRITE_PATH) && !defined(TARQLOG_TEST_ASAN) && !defined(TARQLOG_TEST_TSAN)
TEST(LogRecordStreamBufTest, BlockLongerThanAnIntCountsIsWrittenWhole) {
    ChildResult const result = RunProgram(TARQLOG_HUGE_WRITE_PATH);

    EXPECT_EQ(result.output, "written 2147483657, recorded 2147483657, ending in 7012345678\n");
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
}
#endif

TEST(LogStreamTest, NewStreamIsGoodAndHasTheStandardFormat) {
    Written written;
    std::ostringstream const standard;

    EXPECT_TRUE(written.stream.good());
    EXPECT_EQ(written.stream.rdbuf(), &written.buffer);
    EXPECT_EQ(written.stream.flags(), standard.flags());
    EXPECT_EQ(written.stream.width(), 0);
    EXPECT_EQ(written.stream.precision(), 6);
    EXPECT_EQ(written.stream.fill(), ' ');
    EXPECT_EQ(written.stream.exceptions(), std::ios::goodbit);
}

TEST(LogStreamTest, NeitherStreamNorBufferCanBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<LogStream>::value);
    EXPECT_FALSE(std::is_copy_assignable<LogStream>::value);
    EXPECT_FALSE(std::is_copy_constructible<LogRecordStreamBuf>::value);
    EXPECT_FALSE(std::is_copy_assignable<LogRecordStreamBuf>::value);
}

/// A buffer of another kind, which counts its flushes and answers them as told.
class SyncingBuffer : public std::streambuf {
public:
    int syncs = 0;
    bool throws = false;

protected:
    int sync() override {
        ++syncs;
        if (throws) {
            throw std::runtime_error("no sync");
        }
        return -1;
    }
};

TEST(LogStreamTest, DestructorFlushesOnce) {
    SyncingBuffer buffer;
    { LogStream const stream(&buffer); }

    EXPECT_EQ(buffer.syncs, 1);
}

TEST(LogStreamTest, WhatTheLastFlushThrowsDoesNotLeaveTheDestructor) {
    for (bool throws : {false, true}) {  // of itself, or only its stream
        SCOPED_TRACE(throws);
        SyncingBuffer buffer;
        buffer.throws = throws;
        EXPECT_NO_THROW({
            LogStream stream(&buffer);
            stream.exceptions(std::ios::badbit | std::ios::failbit);
        });

        EXPECT_EQ(buffer.syncs, 1);
    }
}

TEST(WriteLogStringTest, TextIsAppended) {
    Written written;

    written.stream << "abc ";
    written.stream.WriteLogString("def");
    written.stream.WriteLogString("");

    EXPECT_EQ(written.Text(), "abc def");
}

TEST(WriteLogStringTest, NullWritesNothingAndLeavesTheStateAlone) {
    Written written;
    written.stream << "abc";
    written.stream.width(5);

    written.stream.WriteLogString(nullptr);

    EXPECT_EQ(written.Text(), "abc");
    EXPECT_TRUE(written.stream.good());
    EXPECT_EQ(written.stream.width(), 5);
}

TEST(WriteLogStringTest, FieldWidthAndFillAreThoseOfTheStream) {
    Written written;

    written.stream << std::setw(6) << std::setfill('*');
    written.stream.WriteLogString("abc");
    written.stream << std::left << std::setw(6);
    written.stream.WriteLogString("abc");
    written.stream.WriteLogString("|");  // the width holds for one insertion

    EXPECT_EQ(written.Text(), "***abcabc***|");
}

TEST(WriteLogStringTest, FailedStreamWritesNothing) {
    Written written;
    written.stream.setstate(std::ios::failbit);

    written.stream.WriteLogString("abc");

    EXPECT_EQ(written.Text(), "");
}

TEST(WriteLogStringTest, LackOfMemoryIsTheStreamsBadbit) {
    Written written;
    std::string const text(100, 'x');

    {
        AllocationLimit const none(0);
        EXPECT_NO_THROW(written.stream.WriteLogString(text.c_str()));
        EXPECT_EQ(none.Refused(), 1UL);
    }

    EXPECT_EQ(written.Text(), "");
    EXPECT_TRUE(written.stream.bad());
}

TEST(WriteLogStringTest, LackOfMemoryPassesThroughWhenTheStreamIsToThrow) {
    Written written;
    written.stream.exceptions(std::ios::badbit);
    std::string const text(100, 'x');

    AllocationLimit const none(0);
    EXPECT_THROW(written.stream.WriteLogString(text.c_str()), std::bad_alloc);
}

TEST(WriteParamLogStringTest, FormattedTextReplacesWhatWasWritten) {
    Written written;
    written.stream << "abc" << std::flush;

    written.stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(written.Text(), "xyz");
}

TEST(WriteParamLogStringTest, ShorterTextLeavesNothingOfALongerOne) {
    Written written;
    written.stream << std::string(1000, 'a');

    written.stream.WriteParamLogString("%s %d, %05.1f%%, %c", "part", -3, 2.25, 'c');

    EXPECT_EQ(written.Text(), "part -3, 002.2%, c");
}

TEST(WriteParamLogStringTest, StreamGoesOnBehindTheFormattedText) {
    Written written;

    written.stream.WriteParamLogString("%d", 7);
    written.stream << "abc";

    EXPECT_EQ(written.Text(), "7abc");
}

TEST(WriteParamLogStringTest, TextIsCutTo255Characters) {
    struct {
        std::size_t formatted;
        std::size_t kept;
    } const cases[] = {{1, 1}, {254, 254}, {255, 255}, {256, 255}, {257, 255}, {300, 255}};
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.formatted);
        Written written;
        std::string const text(expected.formatted, 'x');

        written.stream.WriteParamLogString("%s", text.c_str());

        EXPECT_EQ(written.Text(), std::string(expected.kept, 'x'));
    }
}

TEST(WriteParamLogStringTest, EmptyResultEmptiesTheText) {
    Written written;
    written.stream << "abc";

    written.stream.WriteParamLogString("%s", "");

    EXPECT_EQ(written.Text(), "");
}

TEST(WriteParamLogStringTest, FormatThatFailsEmptiesTheText) {
    Written written;
    written.stream << "abc";
    wchar_t const noCharacter[] = {wchar_t(0x7FFFFFFF), 0};

    written.stream.WriteParamLogString("begun %ls", noCharacter);

    EXPECT_EQ(written.Text(), "");
    EXPECT_TRUE(written.stream.good());
}

TEST(WriteParamLogStringTest, NullFormatDoesNothing) {
    Written written;
    written.stream << "abc";

    written.stream.WriteParamLogString(nullptr);

    EXPECT_EQ(written.Text(), "abc");
    EXPECT_TRUE(written.stream.good());
}

TEST(WriteParamLogStringTest, WidthAndStateOfTheStreamPlayNoPart) {
    Written written;
    written.stream.width(9);
    written.stream.setstate(std::ios::failbit | std::ios::badbit);

    written.stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(written.Text(), "xyz");
    EXPECT_EQ(written.stream.width(), 9);
    EXPECT_EQ(written.stream.rdstate(), std::ios::failbit | std::ios::badbit);
}

TEST(WriteParamLogStringTest, FormattingCostsOneAllocationAtTheMost) {
    Written written;
    unsigned long const before = AllocationCount();

    written.stream.WriteParamLogString("%s", "xyz");
    EXPECT_EQ(AllocationCount() - before, 1UL);  // the room for 256 bytes

    written.stream.WriteParamLogString("%s again", "xyz");
    EXPECT_EQ(AllocationCount() - before, 1UL);
}

TEST(WriteParamLogStringTest, WithoutMemoryTheTextStaysAndNothingIsThrown) {
    Written written;
    written.stream << "abc";
    written.stream.exceptions(std::ios::badbit | std::ios::failbit);

    {
        AllocationLimit const none(0);
        EXPECT_NO_THROW(written.stream.WriteParamLogString("%s", "xyz"));
        EXPECT_EQ(none.Refused(), 1UL);
    }

    EXPECT_EQ(written.Text(), "abc");
    EXPECT_TRUE(written.stream.good());
}

TEST(WriteParamLogStringTest, BufferDerivedFromTheRecordsOwnIsOneToo) {
    LogRecord record(kInfo);
    OpenBuffer buffer(record);
    LogStream stream(&buffer);

    stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(std::string(record.GetData().begin(), record.GetData().end()), "xyz");
}

TEST(WriteParamLogStringTest, RecordIsThatOfTheBufferInUse) {
    Written other;
    Written written;
    written.stream.rdbuf(&other.buffer);

    written.stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(written.Text(), "");
    EXPECT_EQ(other.Text(), "xyz");
}

TEST(WriteParamLogStringTest, BufferOfAnotherKindIsLeftAlone) {
    std::stringbuf buffer;
    LogStream stream(&buffer);
    stream << "abc";

    stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(buffer.str(), "abc");
    EXPECT_TRUE(stream.good());
}

TEST(WriteParamLogStringTest, BufferWithoutTypeInformationIsLeftAlone) {
    std::string text;
    LogStream stream(&UntypedBuffer(text));
    stream << "abc";

    stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(text, "abc");
    EXPECT_TRUE(stream.good());
}

TEST(WriteParamLogStringTest, StreamWithoutBufferDoesNothing) {
    LogStream stream(nullptr);

    stream.WriteParamLogString("%s", "xyz");

    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
}

TEST(WriteParamLogStringTest, CompilerChecksTheArgumentsAgainstTheFormat) {
    std::string const function =
        "#include \"tarqlog/logstream.h\"\n"
        "void Write(tarqlog::LogStream& stream) { stream.WriteParamLogString(\"%s\", ";

    ChildResult const right = Compile(function + "\"text\"); }", {"-Wformat", "-Werror"});
    EXPECT_EQ(right.exitStatus, 0) << right.errors;

    ChildResult const wrong = Compile(function + "1); }", {"-Wformat", "-Werror"});
    EXPECT_NE(wrong.exitStatus, 0);
    EXPECT_NE(wrong.errors.find("format"), std::string::npos) << wrong.errors;
}

TEST(WriteLogDataTest, BytesAreAppendedAsTheyAre) {
    Written written;
    written.stream << "abc";

    written.stream.WriteLogData("\0\xFF\n", 3);

    EXPECT_EQ(written.Text(), std::string("abc\0\xFF\n", 6));
}

TEST(WriteLogDataTest, BlockIsCutTo256Bytes) {
    struct {
        unsigned long size;
        std::size_t kept;
    } const cases[] = {{0, 0},     {1, 1},     {255, 255},      {256, 256},
                       {257, 256}, {300, 256}, {ULONG_MAX, 256}};
    std::string const data(300, 'x');
    for (auto const& expected : cases) {
        SCOPED_TRACE(expected.size);
        Written written;
        written.stream << "abc";

        written.stream.WriteLogData(data.data(), expected.size);

        EXPECT_EQ(written.Text(), "abc" + std::string(expected.kept, 'x'));
        EXPECT_TRUE(written.stream.good());
    }
}

TEST(WriteLogDataTest, NullWritesNothingAndLeavesTheStateAlone) {
    Written written;
    written.stream << "abc";

    written.stream.WriteLogData(nullptr, 10);

    EXPECT_EQ(written.Text(), "abc");
    EXPECT_TRUE(written.stream.good());
}

TEST(WriteLogDataTest, FieldWidthPlaysNoPart) {
    Written written;
    written.stream.width(6);

    written.stream.WriteLogData("abc", 3);

    EXPECT_EQ(written.Text(), "abc");
    EXPECT_EQ(written.stream.width(), 6);
}

TEST(WriteLogDataTest, FailedStreamWritesNothing) {
    Written written;
    written.stream.setstate(std::ios::failbit);

    written.stream.WriteLogData("abc", 3);

    EXPECT_EQ(written.Text(), "");
}

TEST(WriteLogDataTest, LackOfMemoryIsTheStreamsBadbitOrPassesThrough) {
    std::string const data(100, 'x');
    for (bool throws : {false, true}) {
        SCOPED_TRACE(throws);
        Written written;
        written.stream.exceptions(throws ? std::ios::badbit : std::ios::goodbit);
        bool thrown = false;
        {
            AllocationLimit const none(0);
            try {
                written.stream.WriteLogData(data.data(), data.size());
            } catch (std::bad_alloc const&) {
                thrown = true;
            }
            EXPECT_EQ(none.Refused(), 1UL);
        }

        EXPECT_EQ(thrown, throws);
        EXPECT_TRUE(written.stream.bad());
    }
}

}  // namespace
}  // namespace tarqlog
