#include "standard_streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "complaint.h"

namespace tarqlog::tool {

namespace {

constexpr std::size_t kBufferBytes = 65536;

bool LeadToSameFile(int left, int right) {
    struct stat leftStatus = {};
    struct stat rightStatus = {};
    return ::fstat(left, &leftStatus) == 0 && ::fstat(right, &rightStatus) == 0 &&
           leftStatus.st_dev == rightStatus.st_dev && leftStatus.st_ino == rightStatus.st_ino;
}

}  // namespace

bool FeedsBack(int output, int input) {
    struct stat status = {};
    return LeadToSameFile(output, input) && ::fstat(input, &status) == 0 && S_ISREG(status.st_mode);
}

void FillClosedDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            ::open("/dev/null", O_RDONLY);  // takes the lowest free number, which is this one
        }
    }
}

void OutputStreams::Add(std::FILE* stream) {
    if (stream != nullptr &&
        std::find(streams_.begin(), streams_.end(), stream) == streams_.end()) {
        streams_.push_back(stream);
    }
}

void OutputStreams::SetBuffers() {
    // Two large buffers for one file would cut each other's lines.
    bool const share = streams_.size() > 1 && LeadToSameFile(STDOUT_FILENO, STDERR_FILENO);
    for (std::FILE* const stream : streams_) {
        static char buffers[2][kBufferBytes];
        std::setvbuf(stream, buffers[stream == stdout ? 0 : 1], share ? _IOLBF : _IOFBF,
                     kBufferBytes);
    }
}

bool OutputStreams::AreIntact() {
    int const error = errno;
    for (std::FILE* const stream : streams_) {
        if (failed_ == nullptr && std::ferror(stream) != 0) {
            failed_ = stream;
            error_ = error;
        }
    }
    return failed_ == nullptr;
}

bool OutputStreams::Flush() {
    for (std::FILE* const stream : streams_) {
        std::fflush(stream);
        AreIntact();
    }
    return failed_ == nullptr;
}

void OutputStreams::Report() {
    if (failed_ != nullptr && error_ != EPIPE && !isReported_) {
        isReported_ = true;
        char const* const name = failed_ == stdout ? "standard output" : "standard error";
        Complain(std::string(name) + ": " + std::strerror(error_));
    }
}

}  // namespace tarqlog::tool
