#ifndef TARQLOG_TESTS_SUPPORT_CAPTURED_STREAM_H_
#define TARQLOG_TESTS_SUPPORT_CAPTURED_STREAM_H_

#include <cstdio>
#include <string>

namespace tarqlog {

/// Sends what is written to `stdout` or `stderr`, on the level of descriptors, into a nameless file
/// until the object is gone.
class CapturedStream {
public:
    explicit CapturedStream(std::FILE* stream);
    ~CapturedStream();

    CapturedStream(CapturedStream const&) = delete;
    CapturedStream& operator=(CapturedStream const&) = delete;

    /// All that was written so far; flushes the stream.
    std::string Text() const;

private:
    std::FILE* const stream_;
    int const descriptor_;
    int const saved_;
    std::FILE* const file_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_CAPTURED_STREAM_H_
