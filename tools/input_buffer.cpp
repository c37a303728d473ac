#include "input_buffer.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tarqlog::tool {

ssize_t InputBuffer::Read(int descriptor) {
    MakeRoom();
    ssize_t const size =
        ::read(descriptor, buffer_.data() + end_, std::min(kChunkBytes, buffer_.size() - end_));
    end_ += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    return size;
}

void InputBuffer::MakeRoom() {
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (buffer_.size() - end_ < kChunkBytes && buffer_.size() < limit_) {
        std::size_t const size = std::min(limit_, std::max(2 * buffer_.size(), end_ + kChunkBytes));
        buffer_.reserve(size);  // exactly, where resize() alone would take up to twice as much
        buffer_.resize(size);
    }
}

}  // namespace tarqlog::tool
