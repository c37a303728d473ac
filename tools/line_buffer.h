#ifndef TARQLOG_TOOLS_LINE_BUFFER_H_
#define TARQLOG_TOOLS_LINE_BUFFER_H_

#include <cstddef>
#include <string_view>

#include "input_buffer.h"

namespace tarqlog::tool {

/// A line without its line end, or a part of a line that is longer than a record may be.
struct Piece {
    std::string_view text;  // valid until the buffer is filled again
    bool startsLine;
    bool endsLine;
};

/// Cuts what it reads into lines. Holds the line in hand and one chunk, however long the input.
class LineBuffer {
public:
    /// @param maxLine  how many bytes a piece may have, 1 or more
    explicit LineBuffer(std::size_t maxLine);

    /// Takes the next piece. False when there is none before Fill() or, at the end, none at all.
    bool Next(Piece& piece);

    /// Reads once from `descriptor`, which must have input or have ended. Returns 0, or the `errno`
    /// of a failure, which ends the input.
    int Fill(int descriptor);

    /// Whether no part of a line is at hand.
    bool IsEmpty() const { return input_.AtHand().empty(); }

    /// Ends the input: what is at hand is the last line.
    void End() { atEnd_ = true; }
    bool AtEnd() const { return atEnd_; }

    /// Makes ready for another input.
    void Restart() { atEnd_ = false; }

    /// How many bytes were read, from all inputs.
    unsigned long long BytesRead() const { return bytesRead_; }

private:
    bool Take(Piece& piece, std::size_t size, std::size_t consumed, bool endsLine);

    std::size_t const maxLine_;
    InputBuffer input_;
    std::size_t scanned_ = 0;  // so many bytes of it hold no line feed
    bool startsLine_ = true;
    bool atEnd_ = false;
    unsigned long long bytesRead_ = 0;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_LINE_BUFFER_H_
