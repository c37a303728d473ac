#ifndef TARQLOG_BENCH_HEADER_H_
#define TARQLOG_BENCH_HEADER_H_

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <ctime>
#include <string_view>

namespace tarqlog::bench {

/// The kernel's id of this thread, asked for once.
inline unsigned int ThreadId() {
    thread_local auto const id = static_cast<unsigned int>(::syscall(SYS_gettid));
    return id;
}

/// `I [2026-11-20 20:20:09.433][t:17286](core.io):` by hand, for a library that has no pattern
/// which makes it; as quick as can be without a memory of the last one.
class HandMadeHeader {
public:
    HandMadeHeader(std::tm const& time, int ms, std::string_view tag) {
        Put("I [");
        PutDigits(static_cast<unsigned>(time.tm_year) + 1900, 4, '-');
        PutDigits(static_cast<unsigned>(time.tm_mon) + 1, 2, '-');
        PutDigits(static_cast<unsigned>(time.tm_mday), 2, ' ');
        PutDigits(static_cast<unsigned>(time.tm_hour), 2, ':');
        PutDigits(static_cast<unsigned>(time.tm_min), 2, ':');
        PutDigits(static_cast<unsigned>(time.tm_sec), 2, '.');
        PutDigits(static_cast<unsigned>(ms), 3, ']');
        Put("[t:");
        unsigned const id = ThreadId();
        int digits = 1;
        for (unsigned rest = id; rest > 9; rest /= 10) {
            ++digits;
        }
        PutDigits(id, digits, ']');
        Put("(");
        Put(tag.substr(0, kMostOfTag));
        Put("):");
    }

    std::string_view Text() const { return {text_.data(), size_}; }

private:
    static constexpr std::size_t kMostOfTag = 128;

    void Put(std::string_view text) { size_ += text.copy(&text_[size_], text.size()); }

    void PutDigits(unsigned value, int digits, char behind) {
        for (int i = digits; i > 0; --i) {
            text_[size_ + static_cast<std::size_t>(i) - 1] = static_cast<char>('0' + value % 10);
            value /= 10;
        }
        size_ += static_cast<std::size_t>(digits);
        text_[size_++] = behind;
    }

    std::array<char, 64 + kMostOfTag> text_;
    std::size_t size_ = 0;
};

}  // namespace tarqlog::bench

#endif  // TARQLOG_BENCH_HEADER_H_
