#ifndef TARQLOG_FILE_APPENDER_H_
#define TARQLOG_FILE_APPENDER_H_

#include <memory>
#include <string>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"

namespace tarqlog {

/// Writes each record as one line, full header first, to a file: at once in three writes, or many
/// records in one write. Warnings and worse never wait in the buffer: they take what is in it
/// along, in order, and are in the file when Append() returns.
///
/// After every 64 records the file is closed, to be opened again by its name for the next one: a
/// file that was moved or deleted gets at most so many more. At the size limit the file is deleted
/// and begun anew, so that it holds the newest records; RollingFileAppender keeps the old ones.
///
/// Nothing is reported: what cannot be written is lost, and the next record tries again. A line
/// that failed half-way leaves its first half in the file. In append mode several processes may
/// write one file; lines stay whole where they leave through the buffer.
///
/// The child of a fork begins with an empty buffer: what is in it is the parent's to write. Both
/// write to one file then.
///
/// Close() is safe from any thread, and so is what AppenderBase has. The other public members take
/// no lock: call them with Mutex() held, or while nobody logs.
class TARQLOG_API FileAppender : public AppenderBase {
public:
    /// How the file is opened.
    enum OpenMode : int { kAppendMode = 0, kTruncateMode = 1 };

    /// Opens `filename`. Failure to open is not reported: each record tries again, in append mode.
    /// @param limitKiB         size in KiB at which the file begins anew; 0 lets it grow. It is
    ///                         tested before a record is written, so the last one may exceed it;
    ///                         and never before the first one after an opening to append. With a
    ///                         limit, buffer fewer than 64 records: otherwise all are written as
    ///                         the file is closed, and a limit of 4 KiB or more may never be
    ///                         noticed.
    /// @param bufferedRecords  records collected into one write, of at most 4095 bytes; below 2,
    ///                         each is written at once; above 64, they are written as the file is
    ///                         closed
    /// @param mode             kTruncateMode empties an existing file, any other value appends
    /// @throws log_utils::Error when `limitKiB` is negative; no file is touched
    FileAppender(std::string const& filename, long long limitKiB, int bufferedRecords,
                 OpenMode mode);

    /// Writes the buffer out and closes the file.
    ~FileAppender() override;

    /// Opens the file unless it is open. Any mode but kAppendMode empties it. False on failure.
    bool Open(OpenMode mode);

    /// Closes the file, if it is open, and opens it by its name to append. What is in the buffer
    /// stays there, and the 64 records are not counted anew. False on failure.
    bool Reopen();

    /// Writes the buffer out, to the system and not to the storage. Empties it also when the write
    /// fails or the file is not open.
    void Flush();

    /// Writes the buffer out and closes the file; the next record opens it again, to append. Takes
    /// Mutex() itself.
    void Close();

    /// The name as it was given.
    std::string const& GetFilename() const;

protected:
    void DoAppend(LogRecord const& record) override;

    // The members below are called with Mutex() held, and take no lock.

    /// Called before each record is written, with the file open; the record is lost when it is
    /// closed afterwards. Calls ControlFileSize().
    virtual void PreAppendControl();

    /// Called when the file has reached the limit. Writes the buffer out, deletes the file and
    /// opens it anew.
    virtual void OnFileLimitSizeExceed();

    /// Calls OnFileLimitSizeExceed() when the position in the file and the bytes in the buffer
    /// together reach the limit. Closes the file when it tells no position.
    void ControlFileSize();

    /// Close() without the lock.
    void DoClose();

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

/// A FileAppender that keeps the files that were full: NAME.1 is the newest, NAME.9 at most the
/// oldest. Each time NAME is full the others move up by one, the last one is replaced, and NAME
/// begins anew. Other processes must not write to the same files.
class TARQLOG_API RollingFileAppender : public FileAppender {
public:
    /// Opens `filename` to append. The order of the arguments is not that of FileAppender.
    /// @param limitKiB         as for FileAppender; at 0 nothing rolls
    /// @param keptFiles        full files to keep, 0 to 9; what is outside counts as the nearer of
    ///                         these. At 0 a full file is deleted.
    /// @param bufferedRecords  as for FileAppender
    /// @throws log_utils::Error when `limitKiB` is negative; no file is touched
    RollingFileAppender(std::string const& filename, long long limitKiB, int keptFiles,
                        int bufferedRecords);
    ~RollingFileAppender() override;

protected:
    /// Writes the buffer out, renames the files and opens NAME anew. A rename that fails leaves the
    /// others to go on; when it is that of NAME itself, the full file is emptied.
    void OnFileLimitSizeExceed() override;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_FILE_APPENDER_H_
