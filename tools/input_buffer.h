#ifndef TARQLOG_TOOLS_INPUT_BUFFER_H_
#define TARQLOG_TOOLS_INPUT_BUFFER_H_

#include <sys/types.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tarqlog::tool {

/// A chunk is what one read brings at most, in bytes.
constexpr std::size_t kChunkBytes = 65536;

/// What was read and is not used up yet. Grows as far as it has to.
class InputBuffer {
public:
    /// @param limit  how many bytes it holds at most; beyond what the user leaves in it before a
    ///               read there is room for one chunk
    explicit InputBuffer(std::size_t limit) : limit_(limit) {}

    /// Valid until the next read.
    std::string_view AtHand() const { return {buffer_.data() + begin_, end_ - begin_}; }

    /// Uses up the first `size` bytes.
    void Drop(std::size_t size) { begin_ += size; }

    /// Reads once from `descriptor`; answers as ::read() does.
    ssize_t Read(int descriptor);

private:
    void MakeRoom();

    std::size_t const limit_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  // of what is at hand
    std::size_t end_ = 0;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_INPUT_BUFFER_H_
