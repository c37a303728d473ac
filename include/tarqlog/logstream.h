#ifndef TARQLOG_LOGSTREAM_H_
#define TARQLOG_LOGSTREAM_H_

#include <ostream>
#include <streambuf>

#include "tarqlog/export.h"

namespace tarqlog {

class LogRecord;

/// A stream buffer that appends what it is given to a record at once, and holds nothing back. A
/// class derived from it without run-time type information is not known for one by LogStream.
class TARQLOG_API LogRecordStreamBuf : public std::streambuf {
public:
    /// `record` must outlive the buffer.
    explicit LogRecordStreamBuf(LogRecord& record);
    ~LogRecordStreamBuf() override;

    LogRecordStreamBuf(LogRecordStreamBuf const&) = delete;
    LogRecordStreamBuf& operator=(LogRecordStreamBuf const&) = delete;

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

private:
    friend class LogStream;

    LogRecord* record_;
};

/// An output stream that fills a record, with three writers beside the standard operators. Belongs
/// to one thread, like its record. Throws only what std::ostream::exceptions() asks for.
class TARQLOG_API LogStream : public std::ostream {
public:
    /// `buffer` is a LogRecordStreamBuf and must outlive the stream. With another buffer all but
    /// WriteParamLogString() works; with null the stream is bad.
    explicit LogStream(std::streambuf* buffer);

    /// Flushes; what the flush throws is dropped.
    ~LogStream() override;

    LogStream(LogStream const&) = delete;
    LogStream& operator=(LogStream const&) = delete;

    /// Inserts `text` as the standard operator does, but null writes nothing and fails nothing.
    void WriteLogString(const char* text);

    /// Replaces the record's whole text by the printf-style result, cut to 255 characters. Field
    /// width and state of the stream play no part. Null does nothing, nor does a stream whose
    /// buffer is not a LogRecordStreamBuf; exceptions are swallowed. The arguments must not point
    /// into the record's own text.
    void WriteParamLogString(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Appends `size` bytes of `data`, but 256 at the most. Null writes nothing.
    void WriteLogData(const void* data, unsigned long size);
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGSTREAM_H_
