#ifndef TARQLOG_FILE_H_
#define TARQLOG_FILE_H_

#include <string>
#include <vector>

#include "tarqlog/error.h"
#include "tarqlog/export.h"
#include "tarqlog/noncopyable.h"

namespace tarqlog {
namespace log_utils {

// Files, paths and directories, each operation one system call where one will do. Failure is told
// by the result alone, and `errno` is then the failing call's; nothing is logged. Sizes are in
// bytes, the separator of paths is "/". The free functions are safe from any thread.

/// Thrown when a File cannot be opened. The message is the system's for the error, ": " and the
/// path.
class TARQLOG_API OpenFileError : public Error {
public:
    /// @param openErrno  what `errno` was when the opening had failed
    OpenFileError(std::string const& message, int openErrno);
    ~OpenFileError() noexcept override;

    /// The `errno` of the failed opening. GetErrno() is the one that building the message left.
    int GetOpenErrno() const noexcept { return openErrno_; }

private:
    int openErrno_;
};

/// A file descriptor and its owner. Has no buffer and no lock: one thread at a time.
class TARQLOG_API File : private Noncopyable {
public:
    /// What Open() takes, in any combination; it ignores other bits. Without kWrite the file is
    /// opened for reading.
    enum : unsigned int {
        kCreate = 1,     ///< makes a missing file, with mode 0664 less the umask
        kRead = 2,       ///< for kWrite not to be alone; implied without it
        kWrite = 4,      ///< with kRead for both, otherwise for that alone
        kAppend = 8,     ///< every write goes to the end
        kTruncate = 16,  ///< empties the file
    };

    /// Where Seek() counts from.
    enum SeekOrigin : int { kCurrent = 0, kBegin = 1, kEnd = 2 };

    /// Not open.
    File() noexcept = default;

    /// Opens like Open().
    /// @throws OpenFileError when that fails
    File(std::string const& path, unsigned int flags);

    /// Closes like Close().
    ~File();

    /// Closes the file that is open, if any, and opens `path`; the descriptor does not survive an
    /// exec. After a failure the File is closed.
    bool Open(std::string const& path, unsigned int flags);

    /// Does nothing when not open. Its failure is not told, and `errno` stays as it was.
    void Close() noexcept;

    /// Whether there is a descriptor; the system is not asked.
    bool IsOpen() const noexcept { return descriptor_ >= 0; }

    /// One read: how many bytes came, 0 at the end of the file, -1 on failure. Null `data` or a
    /// negative `dataSize` stops the process, here and in the three functions below.
    int Read(void* data, int dataSize);

    /// Reads until `dataSize` bytes have come or the file ends: how many came, or -1 on failure,
    /// also when earlier reads succeeded. An interrupted read is a failure.
    int ReadAll(void* data, int dataSize);

    /// One write: how many bytes went, -1 on failure. A text of 2 GiB or more is too long.
    int Write(void const* data, int dataSize);
    int Write(std::string const& text);

    /// Writes until all is written or a write takes nothing: how many bytes went, or -1 on failure,
    /// also when earlier writes succeeded. An interrupted write is a failure.
    int WriteAll(void const* data, int dataSize);
    int WriteAll(std::string const& text);

    /// Moves the position to `offset` bytes from `origin`: the new position from the start of the
    /// file, -1 on failure. An origin that is none of the three stops the process.
    long long Seek(long long offset, SeekOrigin origin);

    /// The position in bytes from the start of the file, -1 on failure.
    long long Tell();

    /// Empties the file and leaves the position as it is: unless opened with kAppend, the next
    /// write is preceded by zeros up to there.
    bool Clear();

    /// Waits until the storage has what was written. Not tried again when interrupted.
    bool Sync();

    /// Locks the whole file against other openings of it, in this process or another, that ask for
    /// a lock too; a lock held through this File is converted.
    /// @param exclusive    false shares the lock with others that share it
    /// @param nonBlocking  true fails where it would have to wait
    bool Lock(bool exclusive, bool nonBlocking);

    /// Releases what Lock() took, in either mode. True also when there was nothing to release.
    bool Unlock();

private:
    int descriptor_ = -1;  // -1: not open
};

/// Reads a whole file. False also for a file of 2 GiB or more. A file that tells no size, as those
/// in /proc, reads as empty.
/// @param contents  not null. After a failure a string is as before; a vector is as before or, when
///                  the reading itself failed, empty.
TARQLOG_API bool ReadFile(std::string const& path, std::vector<char>* contents);
TARQLOG_API bool ReadFile(std::string const& path, std::string* contents);

/// Makes `contents`, at most 2 GiB less one byte, the whole content of a file, in a single write.
/// The file is made when missing, with mode 0664 less the umask. False also when the write stops
/// short; what it took stays in the file.
TARQLOG_API bool WriteFile(std::string const& path, std::string const& contents);

/// True for "/" alone.
TARQLOG_API bool IsPathSeparator(char c);

/// "/", on every system.
TARQLOG_API char GetPathSeparator();

/// Where the name after the last separator begins: npos when there is none.
TARQLOG_API std::string::size_type GetFilename(std::string const& path);

/// Where the last dot of the file name is: npos when there is none, or only one at its beginning as
/// in ".profile". The extension of "x." is empty.
TARQLOG_API std::string::size_type GetExtension(std::string const& path);

/// Leaves nothing of a path of separators alone. `path` must not be null.
TARQLOG_API void RemoveTrailingSeparators(std::string* path);

/// The last component, "b" of "a/b/"; "/" of a path of separators alone.
TARQLOG_API std::string Basename(std::string const& path);

/// `a`, one separator and `b`, or the one when the other is empty. Where both have separators, all
/// at the end of `a` go and all at the beginning of `b` stay.
TARQLOG_API std::string JoinPath(std::string const& a, std::string const& b);

/// Replaces `contents` with the names in a directory, "." and ".." too, in no order. After a
/// failure to open the directory they are as before. Null `contents` stops the process.
TARQLOG_API bool GetDirectoryContents(std::string const& dir, std::vector<std::string>* contents);

/// What GetStatus() tells. Times are in whole seconds since the epoch.
struct Status {
    /// Sockets count as files and block devices as directories; pipes and character devices are
    /// other.
    enum Type : int { kOther = 0, kFile = 1, kDirectory = 2 };

    Type type = kOther;   ///< of what a link leads to
    long long size = 0;   ///< in bytes
    long long ctime = 0;  ///< last change of the status; not the birth
    long long atime = 0;  ///< last access
    long long mtime = 0;  ///< last modification
};

/// After a failure `status` is as before. Null `status` stops the process.
TARQLOG_API bool GetStatus(std::string const& path, Status* status);

/// The space of the file system that holds `path`, in bytes: all of it, what is left for ordinary
/// users, and what is left for root. A null pointer skips its value.
TARQLOG_API bool GetDiskSpaceInfo(std::string const& path, long long* total, long long* available,
                                  long long* free);

/// Empty on failure, and when the path has more than 1024 characters.
TARQLOG_API std::string GetCurrentDir();

/// Changes what relative paths mean to every thread of the process.
TARQLOG_API bool SetCurrentDir(std::string const& dir);

/// Makes one directory, with mode 0770 less the umask. False when it exists already.
TARQLOG_API bool MakeDirectory(std::string const& dir);

/// Replaces the file `to`, if there is one.
TARQLOG_API bool RenameFile(std::string const& from, std::string const& to);

/// Removes a file or an empty directory. What is other to GetStatus() stays: false. Of a link to a
/// file it removes the link; a link to a directory, or to nothing, stays: false.
TARQLOG_API bool Remove(std::string const& path);

/// Removes a file, or a directory with all that is in it. A link to a directory is followed: what
/// it leads to is emptied, the link stays, and the result is false.
TARQLOG_API bool RemoveAll(std::string const& path);

/// Removes all but the `keep` files of `dir` that were modified last, whatever their names; of
/// files of the same second, those that the directory lists first. Directories and what is other to
/// GetStatus() stay. Failures are not told.
TARQLOG_API void RotateFilesByLastModifTime(std::string const& dir, unsigned long keep);

}  // namespace log_utils
}  // namespace tarqlog

#endif  // TARQLOG_FILE_H_
