#ifndef TARQLOG_CONSOLE_APPENDER_H_
#define TARQLOG_CONSOLE_APPENDER_H_

#include <memory>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"
#include "tarqlog/thread_mutex.h"

namespace tarqlog {

/// The lock under which every console appender of the process writes a line. An application that
/// writes to the same streams may take it; it must not log while it holds it, nor configure the
/// core, nor call exit(), which removes the sinks, nor fork a child that logs. Nor must it log
/// while it holds a stream by flockfile().
TARQLOG_API threads::ThreadMutex& GetGlobalStreamMutex();

/// Writes each record as one line, full header first, to standard output or standard error. Nothing
/// is flushed, and what cannot be written is lost without a word. As the process forks, a stream
/// that an appender was made for is flushed, so that its lines come out once.
class TARQLOG_API ConsoleAppender : public AppenderBase {
public:
    /// Any value but kStdout means standard error.
    enum OutStreamType : int { kStdout = 0, kStderr = 1 };

    /// The stream is looked up at each record, so that a reassigned `stdout` or `stderr` counts.
    explicit ConsoleAppender(OutStreamType streamType);
    ~ConsoleAppender() override;

protected:
    void DoAppend(LogRecord const& record) override;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_CONSOLE_APPENDER_H_
