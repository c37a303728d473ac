#include "rolled_log.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "complaint.h"
#include "input_name.h"
#include "standard_streams.h"

namespace tarqlog::tool {

namespace {

constexpr int kMaxTries = 100;  // to open a file while they roll
constexpr int kPatience = 5;    // so many looks others wait for a record that goes on growing
constexpr char const* kAwaited = "; waiting for it";
constexpr char const* kFeedsItself =
    "it is standard output as well, and its records would come back for ever";

bool IsEarlier(timespec const& left, timespec const& right) {
    return left.tv_sec < right.tv_sec ||
           (left.tv_sec == right.tv_sec && left.tv_nsec < right.tv_nsec);
}

void AwaitInput(int descriptor) {
    pollfd input = {descriptor, POLLIN, 0};
    ::poll(&input, 1, -1);
}

}  // namespace

RolledLog::RolledLog(std::string name, bool follows) : name_(std::move(name)), follows_(follows) {}

RolledLog::State RolledLog::Find() {
    bool isAtHand = false;
    do {
        isAtHand = buffer_.Find();
    } while (!isAtHand && ReadOn());
    bool const mayGrow =
        buffer_.HasBegun() && !isQuiet_ && looks_ < kPatience && !buffer_.HasEnded();
    return isAtHand ? State::kRecord : mayGrow ? State::kBegun : State::kNone;
}

void RolledLog::Pop() {
    buffer_.Pop();
    looks_ = 0;
}

void RolledLog::NoteTime() {
    isQuiet_ = !std::exchange(hasGrown_, false);
    looks_ = std::min(looks_ + 1, kPatience);
    if (isQuiet_ || looks_ == kPatience) {
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
        Complain(InputName(name_) + ": " + std::to_string(lines) +
                 (lines == 1 ? " line was" : " lines were") + " not in our format");
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
        newer = number == 0 || (file_ && IsNewer(*file)) ? file : newer;
    }
    if (!file_) {
        return next;
    }
    // The one that is read has no name any more; others may have gone the same way.
    if (newer && newer->number > 0) {
        newer->mayFollowALoss = true;
    }
    return newer;
}

/// Whether `file` can be of later lines than the one that is read.
bool RolledLog::IsNewer(File const& file) const {
    struct stat status = {};
    bool const isOpen = descriptor_.IsOpen() && ::fstat(descriptor_.Number(), &status) == 0;
    return !IsEarlier(file.status.st_mtim, (isOpen ? status : file_->status).st_mtim) &&
           !WasRead(file);
}

/// Whether `file` was read and is unchanged; of a name that was deleted the system may give the
/// number to another file.
bool RolledLog::WasRead(File const& file) const {
    return std::any_of(filesRead_.begin(), filesRead_.end(), [&](File const& read) {
        return file.IsSameAs(read) && !IsEarlier(read.status.st_mtim, file.status.st_mtim);
    });
}

/// Whoever writes goes on in a file that was renamed until the new one has its first line.
bool RolledLog::MayTake(File const& next) const {
    return !follows_ || next.number > 0 || !descriptor_.IsOpen() || next.status.st_size > 0;
}

bool RolledLog::OpenStandardInput() {
    if (file_) {
        return false;
    }
    file_ = File();  // whatever comes of it, it is opened once
    nextFile_ = file_;
    nextDescriptor_.Reset(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    if (FeedsBack(STDOUT_FILENO, nextDescriptor_.Number())) {
        Fail(name_, kFeedsItself);
        nextDescriptor_.Close();
    }
    return nextDescriptor_.IsOpen();
}

/// False when there is no next file yet, or cannot be read.
bool RolledLog::OpenNext() {
    if (IsStandardInput(name_)) {
        return OpenStandardInput();
    }
    for (int tries = 0; tries < kMaxTries; ++tries) {
        std::optional<File> const next = FindNext();
        if (!next && !file_) {
            struct stat status = {};
            if (::stat(name_.c_str(), &status) == 0) {
                continue;  // it has come meanwhile
            }
            hasFailed_ = hasFailed_ || !follows_;
            Say(name_, std::string(std::strerror(errno)) + (follows_ ? kAwaited : ""));
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
    bool const isAwaited = follows_ && next.number == 0;
    int const flags = O_RDONLY | O_NOCTTY | O_CLOEXEC | (follows_ ? O_NONBLOCK : 0);
    Descriptor descriptor(::open(name.c_str(), flags));
    if (!descriptor.IsOpen()) {
        if (errno != ENOENT) {
            Fail(name, std::string(std::strerror(errno)) + (isAwaited ? kAwaited : ""));
            file_ = isAwaited ? file_ : next;
        }
        return false;
    }
    File opened = next;
    std::optional<File> const again = FindNext();
    if (::fstat(descriptor.Number(), &opened.status) != 0 || !again || !again->IsSameAs(opened)) {
        return false;
    }
    bool const isUseless = isAwaited && S_ISDIR(opened.status.st_mode);
    if (isUseless || FeedsBack(STDOUT_FILENO, descriptor.Number())) {
        Fail(name, isUseless ? std::strerror(EISDIR) : kFeedsItself);
        file_ = next;
        isStopped_ = isStopped_ || isAwaited;
        return false;
    }
    nextDescriptor_ = std::move(descriptor);
    nextFile_ = opened;
    lastComplaint_.clear();
    if (again->mayFollowALoss) {
        Say(name_, "files have rolled away before they were read; records may be missing");
    }
    return true;
}

/// False when there is nothing to read for now.
bool RolledLog::ReadOn() {
    if (isStopped_) {
        return false;
    }
    if (!descriptor_.IsOpen() || buffer_.HasEnded()) {
        return Switch();
    }
    bool const isSucceeded = nextDescriptor_.IsOpen();  // before the file is found to be at its end
    long long const size = buffer_.Fill(descriptor_.Number());
    if (size > 0) {
        bytesRead_ += size;
        hasGrown_ = true;
        isQuiet_ = false;
        return true;
    }
    if (size < 0 && errno == EAGAIN && !follows_) {
        AwaitInput(descriptor_.Number());  // it was made not to block by whoever shares it
        return true;
    }
    bool const hasFailed = size < 0 && errno != EAGAIN;
    if (hasFailed) {
        Fail(NameOf(file_->number), std::strerror(errno));
    }
    isTruncated_ = IsTruncated();
    if (hasFailed || isSucceeded || isTruncated_) {
        buffer_.End();
        return true;
    }
    if (OpenNext()) {
        return true;  // and first to what was added here before it came
    }
    if (!follows_) {
        Stop();
    }
    return !follows_;
}

/// Goes on to the next file. False when there is none yet.
bool RolledLog::Switch() {
    if (std::exchange(isTruncated_, false)) {
        ::lseek(descriptor_.Number(), 0, SEEK_SET);
    } else if (nextDescriptor_.IsOpen() || OpenNext()) {
        NoteRead();
        descriptor_ = std::move(nextDescriptor_);
        file_ = nextFile_;
    } else {
        return false;
    }
    bytesRead_ = 0;
    buffer_.Begin();
    return true;
}

/// Keeps in mind which file it was that is left now.
void RolledLog::NoteRead() {
    File read;
    if (descriptor_.IsOpen() && ::fstat(descriptor_.Number(), &read.status) == 0) {
        filesRead_.push_back(read);
    }
    if (filesRead_.size() > kMaxRolledFiles) {
        filesRead_.erase(filesRead_.begin());
    }
}

bool RolledLog::IsTruncated() const {
    struct stat status = {};
    return follows_ && ::fstat(descriptor_.Number(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size < bytesRead_;
}

void RolledLog::Fail(std::string const& name, std::string const& why) {
    hasFailed_ = true;
    Say(name, why);
}

/// Once, as long as nothing else is to be said.
void RolledLog::Say(std::string const& name, std::string const& what) {
    std::string const complaint = InputName(name) + ": " + what;
    if (complaint != lastComplaint_) {
        Complain(complaint);
        lastComplaint_ = complaint;
    }
}

}  // namespace tarqlog::tool
