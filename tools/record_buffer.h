#ifndef TARQLOG_TOOLS_RECORD_BUFFER_H_
#define TARQLOG_TOOLS_RECORD_BUFFER_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "input_buffer.h"
#include "line_format.h"

namespace tarqlog::tool {

/// A part of a record has at most so many bytes.
constexpr std::size_t kMaxPart = 4 << 20;

/// A record as it stands in a file, or a part of one: the first, or one that continues it.
struct FileRecord {
    LineHeader header;       // of the first part, whose size is 0 in those that continue it
    std::string_view bytes;  // header, text and line feed
    std::string_view text;   // without the line feed that ends the record
};

/// Cuts what it reads from files into records: a header at the start of a line, and all up to the
/// next one. Holds the record in hand and one chunk, however long the file. A record that is longer
/// than kMaxPart comes in parts.
class RecordBuffer {
public:
    RecordBuffer();

    /// Makes ready for a file, from its start. What is at hand is dropped.
    void Begin();

    /// Whether a record, or a part of one, is complete; it is Front() then.
    bool Find();

    /// Whether a record has begun; FrontTime() is its.
    bool HasBegun() const { return place_ == Place::kInside; }
    long long FrontTime() const { return header_.timeMs; }

    /// Valid until the next call of a member that is not const.
    FileRecord Front() const;
    void Pop();

    /// Reads once from `descriptor`. Returns the size of what was there, or -1 and sets `errno`.
    long long Fill(int descriptor);

    /// Ends the file: what is at hand is all of it.
    void End() { hasEnded_ = true; }
    bool HasEnded() const { return hasEnded_; }

    /// Takes the lines at hand for the whole of their record, since nothing has come for a while.
    /// What comes yet continues it.
    void EndRecord();

    /// How many lines belonged to no record, in all files.
    unsigned long long ForeignLines() const { return foreignLines_; }

private:
    /// Where what is at hand stands.
    enum class Place {
        kOutside,  // at the start of a line before the first record
        kForeign,  // within such a line
        kBetween,  // at the start of a line that continues a record or begins one
        kInside,   // at the start of a record, or of a part that continues one
    };

    std::string_view AtHand() const { return input_.AtHand(); }
    bool IsHeaderAt(std::size_t offset, LineHeader& header, bool& isCut) const;
    bool EnterLine();
    bool DropForeignLine();
    bool FindEnd();
    void Complete(std::size_t size, bool isWhole);
    void Take(std::size_t size, Place next);

    InputBuffer input_;
    std::size_t scanned_ = 0;  // so many bytes of what is at hand belong to the record
    Place place_ = Place::kOutside;
    LineHeader header_;  // of the record in hand or the last one; its tag is tag_
    std::string tag_;
    std::size_t size_ = 0;  // of what is complete; 0 when nothing is
    bool isWhole_ = false;  // whether that ends its record, or may do so
    bool hasEnded_ = false;
    unsigned long long foreignLines_ = 0;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_RECORD_BUFFER_H_
