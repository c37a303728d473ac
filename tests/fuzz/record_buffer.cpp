// Whatever a file holds and however it is cut into reads, its records and the lines that belong to
// none make up the file again, and the cuts change nothing, unless the reader has not waited; and a
// header that the library's formatter wrote is found as it was written, and none before its end.

#include "record_buffer.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "tarqlog/format_func.h"

#include "descriptor.h"
#include "line_format.h"

#include "fuzz/property.h"
#include "support/header_oracle.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/tag_oracle.h"

namespace tarqlog {
namespace {

long long timeMs;
unsigned int threadId;

constexpr std::size_t kLongestTag = 30;

}  // namespace

namespace tool {
namespace {

/// What is read of a file.
struct Reading {
    // Bytes, text, severity, time, thread, tag and header's size of each record.
    typedef std::tuple<std::string, std::string, std::uint32_t, long long, unsigned int,
                       std::string, std::size_t>
        Record;

    std::vector<Record> records;
    unsigned long long foreignLines = 0;

    bool operator==(Reading const& other) const {
        return records == other.records && foreignLines == other.foreignLines;
    }
};

std::ostream& operator<<(std::ostream& stream, Reading const& reading) {
    return stream << testing::PrintToString(reading.records) << " and " << reading.foreignLines
                  << " foreign lines";
}

/// A file that is read in pieces.
class Reader {
public:
    Reader() {
        int ends[2];
        Require(::pipe(ends) == 0, "there is a pipe");
        from_.Reset(ends[0]);
        to_.Reset(ends[1]);
        buffer_.Begin();
    }

    void Read(std::string const& piece) {
        Require(
            ::write(to_.Number(), piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()),
            "a piece fits a pipe");
        RequireEqual(buffer_.Fill(from_.Number()), static_cast<long long>(piece.size()),
                     "a read takes what is there");
        TakeRecords();
    }

    /// Nothing has come for a while.
    void Rest() {
        buffer_.EndRecord();
        TakeRecords();
    }

    Reading End() {
        buffer_.End();
        TakeRecords();
        Require(!buffer_.Find(), "at the end nothing is left");
        reading_.foreignLines = buffer_.ForeignLines();
        return reading_;
    }

private:
    void TakeRecords() {
        while (buffer_.Find()) {
            FileRecord const record = buffer_.Front();
            reading_.records.emplace_back(std::string(record.bytes), std::string(record.text),
                                          static_cast<std::uint32_t>(record.header.severity),
                                          record.header.timeMs, record.header.threadId,
                                          std::string(record.header.tag), record.header.size);
            buffer_.Pop();
        }
    }

    Descriptor from_;
    Descriptor to_;
    RecordBuffer buffer_;
    Reading reading_;
};

Reading ReadWhole(std::string const& file) {
    Reader reader;
    if (!file.empty()) {
        reader.Read(file);
    }
    return reader.End();
}

/// @param rests  between the reads, now and then
Reading ReadInPieces(FuzzedDataProvider& provider, std::string const& file, bool rests) {
    Reader reader;
    for (std::size_t begin = 0; begin < file.size();) {
        auto const size = provider.ConsumeIntegralInRange<std::size_t>(1, file.size() - begin);
        reader.Read(file.substr(begin, size));
        begin += size;
        if (rests && provider.ConsumeBool()) {
            reader.Rest();
        }
    }
    return reader.End();
}

unsigned long long LinesIn(std::string const& text) {
    return static_cast<unsigned long long>(std::count(text.begin(), text.end(), '\n'));
}

/// Each record is where the one before it ended, or behind whole lines that belong to none.
void RequireComplete(std::string const& file, Reading const& reading) {
    std::size_t position = 0;
    unsigned long long lines = 0;
    for (Reading::Record const& record : reading.records) {
        std::string const& bytes = std::get<0>(record);
        Require(!bytes.empty(), "no record is empty");
        while (file.compare(position, bytes.size(), bytes) != 0) {
            position = file.find('\n', position) + 1;
            Require(position > 0, "records stand in the file, in its order");
            ++lines;
        }
        position += bytes.size();
    }
    std::string const rest = file.substr(position);
    // A line that has not ended is one, unless it is a header whose text may be about to come.
    unsigned long long const unended = rest.empty() || rest.back() == '\n' ? 0 : 1;
    lines += LinesIn(rest);
    Require(reading.foreignLines == lines || reading.foreignLines == lines + unended,
            "every line is a record's or counted");
}

void CheckFile(FuzzedDataProvider& provider, std::string const& file) {
    Reading const whole = ReadWhole(file);
    RequireComplete(file, whole);
    RequireEqual(ReadInPieces(provider, file, false), whole, "cuts change nothing");
    RequireComplete(file, ReadInPieces(provider, file, true));
}

/// A tag that a header shows without doubt.
std::vector<std::string> TakeParts(FuzzedDataProvider& provider) {
    std::string tag = provider.ConsumeRandomLengthString(kLongestTag);
    std::replace(tag.begin(), tag.end(), '\0', '0');
    std::replace(tag.begin(), tag.end(), '\n', 'n');
    std::replace(tag.begin(), tag.end(), ')', ']');
    return SplitByCharacter(tag);
}

/// Puts a record of the library's own at the end of `file`. What stands there must not be a line
/// that has begun, nor a header without its text.
void CheckWritten(FuzzedDataProvider& provider, std::string const& file) {
    timeMs = provider.ConsumeIntegral<long long>();
    threadId = provider.ConsumeIntegral<unsigned int>();
    auto const severity = 1U << provider.ConsumeIntegralInRange(0, 6);
    TaggedRecord const record(static_cast<Severity>(severity), "text", TakeParts(provider));
    LogRecord const& written = record;
    std::string header;
    DefaultFormatHeaderFunc(true)(header, written);

    Reading const reading = ReadWhole(file + "\n" + header + "text\n");
    Require(!reading.records.empty(), "a record of the library's is found");
    Reading::Record const expected(header + "text\n", "text", severity, timeMs, threadId,
                                   Join(written.GetTag(), "."), header.size());
    RequireEqual(reading.records.back(), expected, "a header is found as it was written");
    LineHeader found;
    for (std::size_t size = 0; size < header.size(); ++size) {
        Require(FindHeader(header.substr(0, size), found) == HeaderFound::kCut,
                "a header that is cut may go on");
    }
}

}  // namespace
}  // namespace tool
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static tarqlog::InstalledHooks const hooks([] { return tarqlog::timeMs; },
                                               [] { return tarqlog::threadId; });
    FuzzedDataProvider provider(data, size);
    std::string const file = provider.ConsumeRandomLengthString(size);
    tarqlog::tool::CheckFile(provider, file);
    tarqlog::tool::CheckWritten(provider, file);
    return 0;
}
