#ifndef TARQLOG_LOGGER_H_
#define TARQLOG_LOGGER_H_

#include <atomic>
#include <memory>

#include "tarqlog/export.h"
#include "tarqlog/severity.h"

namespace tarqlog {

class LoggerImpl;
class LogRecord;

/// The named entry point of log records, built once per tag and used by any number of threads.
///
/// Ask HasSink() first; only when it is true, build a LogRecord, fill it and push it. Must outlive
/// the records pushed through it, which refer to its tag. Do not call a logger from a signal
/// handler.
class TARQLOG_API Logger {
public:
    /// @param tag              dotted: "core.db" lies below "core"; null or empty is the root
    /// @param underscoreAsDot  takes every '_' of the tag as a '.'
    /// @throws log_utils::Error when the system has no lock to give
    explicit Logger(const char* tag, bool underscoreAsDot = false);
    ~Logger();

    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

    /// Whether a record of `severity` would reach a sink now; of a set, whether any level of it
    /// would. Loads alone, no call and no lock, while the configuration stays as it is. The first
    /// call after a change collects the routing anew, and waits while another change is about to be
    /// made.
    /// @throws log_utils::Error when a lock is refused, or what an allocation throws
    bool HasSink(Severity severity) {
        return view_.generation.load(std::memory_order_acquire) ==
                       view_.current->load(std::memory_order_relaxed)
                   ? (view_.mask.load(std::memory_order_relaxed) & severity) != 0
                   : HasSinkAnew(severity);
    }

    /// Sets the record's tag, ends its text with a NUL and delivers it on this thread; waits while
    /// a change of the configuration is about to be made. The record is dropped without a word when
    /// the configuration has changed since this logger's last HasSink(), and when there was none.
    /// What an appender throws passes through.
    /// @throws log_utils::Error when a lock is refused, or what an allocation throws
    void PushRecord(LogRecord& record);

private:
    friend class LoggerImpl;

    /// What HasSink() looks at, so that it needs no call. Written under the logger's lock, the mask
    /// before the generation: who sees a generation sees its mask or a later one.
    struct View {
        std::atomic<unsigned int> const* current;  // the core's generation
        std::atomic<unsigned int> generation;      // the one that the mask is of
        std::atomic<Severity> mask;                // of all sinks that the logger reaches
    };

    bool HasSinkAnew(Severity severity);

    View view_;
    std::unique_ptr<LoggerImpl> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGGER_H_
