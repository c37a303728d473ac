#include "support/captured_stream.h"

#include <unistd.h>

#include <stdexcept>

namespace tarqlog {

CapturedStream::CapturedStream(std::FILE* stream)
    : stream_(stream),
      descriptor_(::fileno(stream)),
      saved_((std::fflush(stream), ::dup(descriptor_))),
      file_(std::tmpfile()) {
    if (saved_ < 0 || file_ == nullptr || ::dup2(::fileno(file_), descriptor_) < 0) {
        throw std::runtime_error("cannot capture a stream");
    }
}

CapturedStream::~CapturedStream() {
    std::fflush(stream_);
    ::dup2(saved_, descriptor_);
    ::close(saved_);
    std::fclose(file_);
}

std::string CapturedStream::Text() const {
    std::fflush(stream_);
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t const size =
            ::pread(::fileno(file_), buffer, sizeof buffer, static_cast<off_t>(text.size()));
        if (size <= 0) {
            return text;
        }
        text.append(buffer, static_cast<std::string::size_type>(size));
    }
}

}  // namespace tarqlog
