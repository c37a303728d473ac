#ifndef TARQLOG_TOOLS_ROLLED_LOG_H_
#define TARQLOG_TOOLS_ROLLED_LOG_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "descriptor.h"
#include "record_buffer.h"

namespace tarqlog::tool {

/// So many full files a RollingFileAppender keeps at most.
constexpr int kMaxRolledFiles = 9;

/// The records of a file and of those that it has rolled into, NAME.9 to NAME.1 and then NAME, in
/// the order of the files. Keeps the one open that it reads, and at its end the next one.
class RolledLog {
public:
    /// What there is at the moment.
    enum class State {
        kRecord,  // Front()
        kBegun,   // a record that may still grow; only when following
        kNone,    // nothing, and never anything again unless following
    };

    /// @param name     "-" is standard input
    /// @param follows  goes on at the end, as the files grow and roll
    RolledLog(std::string name, bool follows);

    /// Reads on until there is a record or nothing more to read.
    State Find();

    FileRecord Front() const { return buffer_.Front(); }
    void Pop();

    /// The time of the record that there is.
    long long FrontTime() const { return buffer_.FrontTime(); }

    /// To be called from time to time when following: a record that nothing was added to since the
    /// call before counts as complete, and so does one that has kept all others waiting for long.
    void NoteTime();

    /// Reads no further: what is at hand is all.
    void Stop();

    /// Whether nothing will come any more.
    bool HasStopped() const { return isStopped_; }

    /// Says how many lines were no records, if there were any.
    void Report() const;

    /// Whether something could not be read, which was said.
    bool HasFailed() const { return hasFailed_; }

private:
    /// Which file of the system a name stands for, and when it was last written to.
    struct File {
        int number = 0;  // 0 for NAME, 1 for NAME.1
        struct stat status = {};
        bool mayFollowALoss = false;  // of files between it and the one that is read

        bool IsSameAs(File const& other) const {
            return status.st_dev == other.status.st_dev && status.st_ino == other.status.st_ino;
        }
    };

    std::string NameOf(int number) const;
    std::optional<File> Look(int number) const;
    std::optional<File> FindNext() const;
    bool IsNewer(File const& file) const;
    bool WasRead(File const& file) const;
    bool MayTake(File const& next) const;
    bool OpenStandardInput();
    bool OpenNext();
    bool Open(File const& next);
    bool ReadOn();
    bool Switch();
    bool IsTruncated() const;
    void NoteRead();
    void Fail(std::string const& name, std::string const& why);
    void Say(std::string const& name, std::string const& what);

    std::string const name_;
    bool const follows_;
    RecordBuffer buffer_;
    Descriptor descriptor_;
    Descriptor nextDescriptor_;  // of the file that follows, once there is one
    std::optional<File> file_;   // the one that is read, or was last
    std::optional<File> nextFile_;
    std::vector<File> filesRead_;  // the last ones
    long long bytesRead_ = 0;      // from the file
    bool hasGrown_ = false;        // since NoteTime()
    bool isQuiet_ = false;         // nothing came between two of these
    int looks_ = 0;                // so many of these the record in hand has seen
    bool isTruncated_ = false;     // the file begins anew
    bool isStopped_ = false;
    bool hasFailed_ = false;
    std::string lastComplaint_;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_ROLLED_LOG_H_
