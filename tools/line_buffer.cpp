#include "line_buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tarqlog::tool {

LineBuffer::LineBuffer(std::size_t maxLine) : maxLine_(maxLine), input_(maxLine + kChunkBytes) {}

bool LineBuffer::Next(Piece& piece) {
    // The longest line that is not split has its line end, CR LF at most, within this window.
    std::size_t const window = std::min(input_.AtHand().size(), maxLine_ + 2);
    if (window == 0) {
        return false;
    }
    char const* const line = input_.AtHand().data();
    void const* const lineFeed = std::memchr(line + scanned_, '\n', window - scanned_);
    scanned_ = window;
    std::size_t size = window;
    if (lineFeed != nullptr) {
        size = static_cast<std::size_t>(static_cast<char const*>(lineFeed) - line);
    }
    std::size_t content = size;
    // A CR belongs to the line end, or may still turn out to, unless nothing comes after it.
    if (size > 0 && line[size - 1] == '\r' && (lineFeed != nullptr || !atEnd_)) {
        --content;
    }
    if (content > maxLine_) {
        return Take(piece, maxLine_, maxLine_, false);
    }
    if (lineFeed == nullptr && !atEnd_) {
        return false;
    }
    return Take(piece, content, lineFeed != nullptr ? size + 1 : size, true);
}

bool LineBuffer::Take(Piece& piece, std::size_t size, std::size_t consumed, bool endsLine) {
    piece = {input_.AtHand().substr(0, size), startsLine_, endsLine};
    input_.Drop(consumed);
    scanned_ = 0;
    startsLine_ = endsLine;
    return true;
}

int LineBuffer::Fill(int descriptor) {
    ssize_t const size = input_.Read(descriptor);
    if (size < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return 0;  // another process was quicker
        }
        atEnd_ = true;
        return errno;
    }
    atEnd_ = size == 0;
    bytesRead_ += static_cast<unsigned long long>(size);
    return 0;
}

}  // namespace tarqlog::tool
