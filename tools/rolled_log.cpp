#include "rolled_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "complaint.h"

namespace tarqlog::tool {

namespace {

constexpr int kMaxRolledFiles = 9;  // as a RollingFileAppender keeps
constexpr int kMaxTries = 100;      // to open a file while they roll
constexpr char const* kStandardInput = "-";

bool IsEarlier(timespec const& left, timespec const& right) {
    return left.tv_sec < right.tv_sec ||
           (left.tv_sec == right.tv_sec && left.tv_nsec < right.tv_nsec);
}

void CloseIfOpen(int& descriptor) {
    if (descriptor > STDIN_FILENO) {
        ::close(descriptor);
    }
    descriptor = -1;
}

}  // namespace

RolledLog::RolledLog(std::string name, bool follows) : name_(std::move(name)), follows_(follows) {}

RolledLog::~RolledLog() {
    Close();
    CloseIfOpen(nextDescriptor_);
}

RolledLog::State RolledLog::Find() {
    bool isAtHand = false;
    do {
        isAtHand = buffer_.Find();
    } while (!isAtHand && ReadOn());
    bool const mayGrow = buffer_.HasBegun() && !isQuiet_ && !buffer_.HasEnded();
    return isAtHand ? State::kRecord : mayGrow ? State::kBegun : State::kNone;
}

void RolledLog::NoteQuiet() {
    isQuiet_ = !std::exchange(hasGrown_, false);
    if (isQuiet_) {
        buffer_.EndRecord();
    }
}

void RolledLog::Stop() {
    isStopped_ = true;
    buffer_.End();
}

void RolledLog::Report() const {
    unsigned long long const lines = buffer_.ForeignLines();
    if (lines > 0) {
        Complain((name_ == kStandardInput ? "standard input" : name_) + ": " +
                 std::to_string(lines) + (lines == 1 ? " line was" : " lines were") +
                 " not in our format");
    }
}

std::string RolledLog::NameOf(int number) const {
    return number == 0 ? name_ : name_ + '.' + std::to_string(number);
}

std::optional<RolledLog::File> RolledLog::Look(int number) const {
    File file;
    file.number = number;
    bool const isThere = ::stat(NameOf(number).c_str(), &file.status) == 0;
    return isThere ? std::make_optional(file) : std::nullopt;
}

/// The file after the one that is read, or the oldest. From the newest on, and so against the order
/// in which files are renamed: one that rolls meanwhile is seen twice rather than not at all.
std::optional<RolledLog::File> RolledLog::FindNext() const {
    std::optional<File> next;
    std::optional<File> newer;
    for (int number = 0; number <= kMaxRolledFiles; ++number) {
        std::optional<File> const file = Look(number);
        if (!file) {
            continue;
        }
        if (file_ && file->IsSameAs(*file_)) {
            return next;
        }
        next = file;
        newer = number == 0 || IsNewer(*file) ? file : newer;
    }
    return file_ ? newer : next;  // the one that is read has no name any more
}

/// Whether `file` can be of later lines than the one that is read.
bool RolledLog::IsNewer(File const& file) const {
    struct stat status = {};
    bool const isOpen = descriptor_ >= 0 && ::fstat(descriptor_, &status) == 0;
    return !IsEarlier(file.status.st_mtim, (isOpen ? status : file_->status).st_mtim);
}

/// Whoever writes goes on in a file that was renamed until the new one has its first line.
bool RolledLog::MayTake(File const& next) const {
    return !follows_ || next.number > 0 || descriptor_ < 0 || next.status.st_size > 0;
}

bool RolledLog::OpenStandardInput() {
    if (file_) {
        return false;
    }
    nextFile_ = File();
    nextDescriptor_ = STDIN_FILENO;
    return true;
}

/// False when there is no next file yet, or cannot be read.
bool RolledLog::OpenNext() {
    if (name_ == kStandardInput) {
        return OpenStandardInput();
    }
    for (int tries = 0; tries < kMaxTries; ++tries) {
        std::optional<File> const next = FindNext();
        if (!next && !file_) {
            struct stat status = {};
            if (::stat(name_.c_str(), &status) == 0) {
                continue;  // it has come meanwhile
            }
            Fail(name_, errno);
        }
        if (!next || !MayTake(*next)) {
            return false;
        }
        if (Open(*next)) {
            return true;
        }
        if (follows_ && next->number == 0) {
            return false;  // it may become readable
        }
    }
    return false;
}

/// False when the file cannot be opened, and is passed over, or another one has its name by now.
bool RolledLog::Open(File const& next) {
    std::string const name = NameOf(next.number);
    int const flags = O_RDONLY | O_NOCTTY | O_CLOEXEC | (follows_ ? O_NONBLOCK : 0);
    int descriptor = ::open(name.c_str(), flags);
    if (descriptor < 0) {
        if (errno != ENOENT) {
            Fail(name, errno);
            file_ = follows_ && next.number == 0 ? file_ : next;
        }
        return false;
    }
    File opened = next;
    std::optional<File> const again = FindNext();
    if (::fstat(descriptor, &opened.status) != 0 || !again || !again->IsSameAs(opened)) {
        CloseIfOpen(descriptor);
        return false;
    }
    nextDescriptor_ = descriptor;
    nextFile_ = opened;
    lastComplaint_.clear();
    return true;
}

/// False when there is nothing to read for now.
bool RolledLog::ReadOn() {
    if (isStopped_) {
        return false;
    }
    if (descriptor_ < 0 || buffer_.HasEnded()) {
        return Switch();
    }
    bool const isSucceeded = nextDescriptor_ >= 0;  // before the file is found to be at its end
    long long const size = buffer_.Fill(descriptor_);
    if (size > 0) {
        bytesRead_ += size;
        hasGrown_ = true;
        isQuiet_ = false;
        return true;
    }
    bool const hasFailed = size < 0 && errno != EAGAIN;
    if (hasFailed) {
        Fail(name_ == kStandardInput ? "standard input" : NameOf(file_->number), errno);
    }
    isTruncated_ = IsTruncated();
    if (!follows_ || hasFailed || isSucceeded || isTruncated_) {
        buffer_.End();
        return true;
    }
    return OpenNext();
}

/// Goes on to the next file. False when there is none yet.
bool RolledLog::Switch() {
    if (std::exchange(isTruncated_, false)) {
        ::lseek(descriptor_, 0, SEEK_SET);
    } else if (nextDescriptor_ >= 0 || OpenNext()) {
        Close();
        descriptor_ = std::exchange(nextDescriptor_, -1);
        file_ = nextFile_;
    } else {
        return false;
    }
    bytesRead_ = 0;
    buffer_.Begin();
    return true;
}

bool RolledLog::IsTruncated() const {
    struct stat status = {};
    return follows_ && ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size < bytesRead_;
}

void RolledLog::Close() {
    CloseIfOpen(descriptor_);
}

void RolledLog::Fail(std::string const& name, int error) {
    bool const isAwaited = follows_ && error == ENOENT;
    hasFailed_ = hasFailed_ || !isAwaited;
    std::string const complaint =
        name + ": " + std::strerror(error) + (isAwaited ? "; waiting for it" : "");
    if (complaint != lastComplaint_) {
        Complain(complaint);
        lastComplaint_ = complaint;
    }
}

}  // namespace tarqlog::tool
