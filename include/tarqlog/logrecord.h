#ifndef TARQLOG_LOGRECORD_H_
#define TARQLOG_LOGRECORD_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tarqlog/assertion.h"
#include "tarqlog/export.h"
#include "tarqlog/severity.h"

namespace tarqlog {

/// One message: built and filled by one thread, then pushed through a Logger; not to be used by two
/// threads at once. A record serves one message: pushing it again appends a second NUL.
///
/// Time and thread id are those of the construction. A copy keeps them, and keeps the tag, which
/// belongs to the logger that pushed the original. When memory runs out, the allocation's exception
/// passes and the text stays as it was.
class TARQLOG_API LogRecord {
public:
    /// Asks LogSysInfo's hooks for the time and then for the thread id.
    explicit LogRecord(Severity severity);
    ~LogRecord();

    LogRecord(LogRecord const& other);
    LogRecord& operator=(LogRecord const& other);

    /// Appends `size` bytes, whatever they are, and no terminator.
    /// @param size  in bytes, 0 or more; with 0, `data` may be null
    void WriteData(const char* data, int size);

    /// Cuts the text to `size` bytes, or fills it up with zero bytes.
    void Resize(unsigned long size);

    /// A level, or whatever set the constructor was given.
    Severity GetSeverity() const { return severity_; }

    /// Milliseconds since 1970-01-01 00:00:00 UTC.
    long long GetTime() const { return time_; }

    /// Of the thread that built the record; at first GetThisThreadId().
    unsigned long GetThreadId() const { return threadId_; }

    /// The text. Appenders see it with one NUL at the end, which is not part of the message.
    std::vector<char> const& GetData() const { return data_; }

    /// The parts of the pushing logger's tag. Stops the process before the record is pushed. Valid
    /// while that logger lives.
    std::vector<std::string> const& GetTag() const {
        TARQLOG_ASSERT_IN("include/tarqlog/logrecord.h", tag_);
        return *tag_;
    }

private:
    friend class LoggerImpl;     // sets the tag and ends the text
    friend class LogStream;      // formats in place
    friend class LogRecordPeer;  // lets tests do what a logger does

    TARQLOG_HIDDEN const char* MakeRoom(const char* data, std::size_t size);

    Severity severity_;
    long long time_;
    unsigned long threadId_;
    std::vector<char> data_;
    std::vector<std::string> const* tag_;
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGRECORD_H_
