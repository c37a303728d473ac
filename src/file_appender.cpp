#include "tarqlog/file_appender.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

#include "tarqlog/accounting.h"
#include "tarqlog/error.h"
#include "tarqlog/file.h"
#include "tarqlog/scoped_lock.h"

#include "fork_list.h"
#include "record_text.h"

namespace tarqlog {

using log_utils::File;

namespace {

constexpr std::string::size_type kBufferSize = 4096;
constexpr int kReopenPeriod = 64;  // records between two opens, so a moved file is let go
constexpr int kMaxKeptFiles = 9;
constexpr Severity kUrgent = kWarning | kError | kFatal;  // never wait in the buffer

// File passes over the bit 32; it is part of the numbers all the same.
constexpr unsigned int kAppendFlags = File::kCreate | File::kWrite | File::kAppend | 32;
constexpr unsigned int kTruncateFlags = File::kCreate | File::kWrite | File::kTruncate | 32;
static_assert(kAppendFlags == 45 && kTruncateFlags == 53);

/// The limit in bytes; what is beyond them is as good as none.
long long ToBytes(long long limitKiB) {
    constexpr long long kMax = std::numeric_limits<long long>::max();
    if (limitKiB < 0) {
        throw log_utils::Error("FileAppender neg filesize");
    }
    return limitKiB <= kMax / 1024 ? limitKiB * 1024 : kMax;
}

std::string Numbered(std::string const& filename, int number) {
    return filename + '.' + std::to_string(number);
}

}  // namespace

// What changes is guarded by Mutex(), which the members that take no lock leave to their callers.
struct FileAppender::Private {
    Private(FileAppender& appender, std::string const& name, long long limitKiB,
            int recordsToBuffer)
        : owner(appender),
          filename(name),
          sizeLimit(ToBytes(limitKiB)),
          bufferedRecords(recordsToBuffer) {
        if (IsBuffering()) {
            buffer.reserve(kBufferSize);
        }
    }

    bool Write(std::string const& header, LogRecord const& record);
    bool WriteBuffer();

    /// What is in the buffer is the parent's to write.
    void BeginAnew() { Empty(); }

    FileAppender& owner;
    std::string const filename;
    long long const sizeLimit;  // in bytes; 0: none
    int const bufferedRecords;
    int recordsInBuffer = 0;
    int recordsSinceOpen = 0;  // those in the buffer, too
    File file;
    std::string buffer;
    // Where each record in it ends. There are never more than the file is kept open for.
    std::array<unsigned short, kReopenPeriod> ends{};
    ForkHeir heir{*this};

private:
    bool IsBuffering() const { return bufferedRecords > 1; }
    bool MayWait(std::string const& header, LogRecord const& record) const;
    bool Collect(std::string const& header, LogRecord const& record);
    bool WriteLine(std::string const& header, LogRecord const& record);
    int WriteBytes(std::string_view bytes);
    bool WriteAll(std::string_view bytes);
    void Empty();
};

/// Writes the record, or puts it into the buffer. False when bytes were lost; the buffer is empty
/// then.
bool FileAppender::Private::Write(std::string const& header, LogRecord const& record) {
    if (IsBuffering() && MayWait(header, record)) {
        return Collect(header, record);
    }
    bool const written = (!IsBuffering() || WriteBuffer()) && WriteLine(header, record);
    if (!written) {
        owner.NoteLost(LossCause::kShortWrite);
    }
    return written;
}

/// Writes the buffer to the file, if it is open, and empties it in any case. False when bytes were
/// lost in writing.
bool FileAppender::Private::WriteBuffer() {
    bool written = true;
    if (!buffer.empty()) {
        int const size = file.IsOpen() ? WriteBytes(buffer) : 0;
        auto const end = ends.begin() + recordsInBuffer;
        auto const lost = end - std::upper_bound(ends.begin(), end, size);
        if (lost > 0) {
            owner.NoteLost(file.IsOpen() ? LossCause::kShortWrite : LossCause::kOpenFailed,
                           static_cast<unsigned long long>(lost));
        }
        written = !file.IsOpen() || lost == 0;
        Empty();
    }
    return written;
}

bool FileAppender::Private::MayWait(std::string const& header, LogRecord const& record) const {
    return (record.GetSeverity() & kUrgent) == 0 &&
           header.size() + buffer.size() + record.GetData().size() < kBufferSize;
}

bool FileAppender::Private::Collect(std::string const& header, LogRecord const& record) {
    buffer.append(header).append(RecordText(record)).push_back('\n');
    ends[static_cast<std::size_t>(recordsInBuffer)] = static_cast<unsigned short>(buffer.size());
    return ++recordsInBuffer < bufferedRecords || WriteBuffer();
}

bool FileAppender::Private::WriteLine(std::string const& header, LogRecord const& record) {
    return WriteAll(header) && WriteAll(RecordText(record)) && file.Write("\n", 1) == 1;
}

/// File::WriteAll(), but returns how many bytes are in the file also when it fails.
int FileAppender::Private::WriteBytes(std::string_view bytes) {
    int const size = static_cast<int>(bytes.size());
    int done = 0;
    while (done < size) {
        int const written = file.Write(bytes.data() + done, size - done);
        if (written <= 0) {
            break;
        }
        done += written;
    }
    return done;
}

bool FileAppender::Private::WriteAll(std::string_view bytes) {
    return WriteBytes(bytes) >= static_cast<int>(bytes.size());
}

void FileAppender::Private::Empty() {
    buffer.clear();
    recordsInBuffer = 0;
}

FileAppender::FileAppender(std::string const& filename, long long limitKiB, int bufferedRecords,
                           OpenMode mode)
    : AppenderBase(true), impl_(new Private(*this, filename, limitKiB, bufferedRecords)) {
    // Here any odd mode appends; in Open() it truncates.
    Open(mode == kTruncateMode ? kTruncateMode : kAppendMode);
}

FileAppender::~FileAppender() {
    DoClose();
}

bool FileAppender::Open(OpenMode mode) {
    return impl_->file.IsOpen() ||
           impl_->file.Open(impl_->filename, mode == kAppendMode ? kAppendFlags : kTruncateFlags);
}

bool FileAppender::Reopen() {
    return impl_->file.Open(impl_->filename, kAppendFlags);
}

void FileAppender::Flush() {
    impl_->WriteBuffer();
}

void FileAppender::Close() {
    threads::ScopedLock const lock(Mutex());
    DoClose();
}

std::string const& FileAppender::GetFilename() const {
    return impl_->filename;
}

void FileAppender::DoAppend(LogRecord const& record) {
    if (Open(kAppendMode)) {
        PreAppendControl();
    }
    if (!impl_->file.IsOpen()) {  // or no longer: no position to test, or no new file
        NoteLost(LossCause::kOpenFailed);
        return;  // the next one tries again
    }
    bool const written = impl_->Write(Header(), record);
    if (!written || ++impl_->recordsSinceOpen >= kReopenPeriod) {
        DoClose();
    }
}

void FileAppender::PreAppendControl() {
    ControlFileSize();
}

void FileAppender::OnFileLimitSizeExceed() {
    DoClose();
    log_utils::Remove(impl_->filename);
    Open(kTruncateMode);
}

void FileAppender::ControlFileSize() {
    if (impl_->sizeLimit == 0) {
        return;
    }
    long long const position = impl_->file.Tell();
    auto const pending = static_cast<long long>(impl_->buffer.size());
    if (position < 0 || position > std::numeric_limits<long long>::max() - pending) {
        DoClose();  // there is no size to compare
    } else if (position + pending >= impl_->sizeLimit) {
        OnFileLimitSizeExceed();
    }
}

void FileAppender::DoClose() {
    Flush();
    impl_->file.Close();
    impl_->recordsSinceOpen = 0;
}

struct RollingFileAppender::Private {
    int const keptFiles;
};

RollingFileAppender::RollingFileAppender(std::string const& filename, long long limitKiB,
                                         int keptFiles, int bufferedRecords)
    : FileAppender(filename, limitKiB, bufferedRecords, kAppendMode),
      impl_(new Private{std::clamp(keptFiles, 0, kMaxKeptFiles)}) {}

RollingFileAppender::~RollingFileAppender() = default;

void RollingFileAppender::OnFileLimitSizeExceed() {
    if (impl_->keptFiles < 1) {
        FileAppender::OnFileLimitSizeExceed();
        return;
    }
    DoClose();
    std::string const& name = GetFilename();
    for (int number = impl_->keptFiles; number > 1; --number) {
        log_utils::RenameFile(Numbered(name, number - 1), Numbered(name, number));
    }
    log_utils::RenameFile(name, Numbered(name, 1));
    Open(kTruncateMode);
}

}  // namespace tarqlog
