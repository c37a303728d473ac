#include "line_buffer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tarqlog::tool {

namespace {

constexpr std::size_t kChunkBytes = 65536;

}  // namespace

bool LineBuffer::Next(Piece& piece) {
    // The longest line that is not split has its line end, CR LF at most, within this window.
    std::size_t const window = std::min(end_ - begin_, maxLine_ + 2);
    if (window == 0) {
        return false;
    }
    char const* const line = buffer_.data() + begin_;
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
    piece = {std::string_view(buffer_.data() + begin_, size), startsLine_, endsLine};
    begin_ += consumed;
    scanned_ = 0;
    startsLine_ = endsLine;
    return true;
}

int LineBuffer::Fill(int descriptor) {
    MakeRoom();
    ssize_t const size =
        ::read(descriptor, buffer_.data() + end_, std::min(kChunkBytes, buffer_.size() - end_));
    if (size < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return 0;  // another process was quicker
        }
        atEnd_ = true;
        return errno;
    }
    atEnd_ = size == 0;
    end_ += static_cast<std::size_t>(size);
    bytesRead_ += static_cast<unsigned long long>(size);
    return 0;
}

void LineBuffer::MakeRoom() {
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    std::size_t const limit = maxLine_ + kChunkBytes;
    if (buffer_.size() - end_ < kChunkBytes && buffer_.size() < limit) {
        std::size_t const size = std::min(limit, std::max(2 * buffer_.size(), end_ + kChunkBytes));
        buffer_.reserve(size);  // exactly, where resize() alone would take up to twice as much
        buffer_.resize(size);
    }
}

}  // namespace tarqlog::tool
