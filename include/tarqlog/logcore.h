#ifndef TARQLOG_LOGCORE_H_
#define TARQLOG_LOGCORE_H_

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "tarqlog/export.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/severity.h"
#include "tarqlog/sink_entry.h"

namespace tarqlog {

class LogRecord;
class LogSink;

/// A sink as it was registered: what LogCore::AddSink() took.
struct SinkRegistration {
    std::set<FilterRule> rules;       ///< those in force, see LogCore::GetSinks()
    boost::shared_ptr<LogSink> sink;  ///< shared with the core; never null
};

/// The routing table: the registered sinks, 32 at the most, and the rules that say which logger
/// reaches which of them.
///
/// Safe from any thread. A change waits for every delivery in progress: from inside an appender, or
/// with an appender's mutex held, it would wait for itself. Threads that log step aside while a
/// change waits. Each accepted change advances the configuration generation, by which loggers
/// notice it. A lock that is refused throws log_utils::Error.
///
/// A fork() waits, as a change does, until the process-wide core is still; its child may log,
/// change the configuration and exit. But a thread that holds a lock of the library, by being
/// inside an appender or through Mutex(), GetGlobalStreamMutex() or a lock of namespace `threads`,
/// does not wait: its child may only call an exec function or _exit(). What another thread is doing
/// to an appender by itself then, with Mutex() held or in FileAppender::Close(), remains half done
/// in the child, and a core apart is not waited for.
class TARQLOG_API LogCore {
public:
    /// A core apart from the process-wide one; no logger uses it.
    LogCore();

    /// Releases the sinks. No thread may be using the core any more.
    ~LogCore();

    LogCore(LogCore const&) = delete;
    LogCore& operator=(LogCore const&) = delete;

    /// The process-wide core. Exists as soon as the library is loaded and is never destroyed; its
    /// sinks are removed when the process exits, after the program's own static objects.
    static LogCore* Get();

    /// Registers `sink`, with its appenders already in it, under `rules`, and shares its ownership.
    /// Ignored without a report: no rules, a null sink, a sink without appenders, a 33rd sink. A
    /// sink added twice receives its records twice. When memory runs out midway, the sink may stay
    /// registered under some of the rules.
    void AddSink(const std::set<FilterRule>& rules, const boost::shared_ptr<LogSink>& sink);

    /// Registers a new console sink on standard error that takes `severity` from every logger.
    void AddDefaultSink(Severity severity);

    /// Releases every sink; those that nobody else holds are destroyed under the core's lock.
    void RemoveAllSinks();

    /// Delivers `record` to those of `sinks` that take its severity, on this thread; drops it when
    /// `generation` is no longer the core's. `generation` and `sinks` come from one CollectSinks().
    /// Called by loggers. What an appender throws passes through.
    void PushRecord(unsigned int generation, const std::vector<SinkEntry>& sinks,
                    const LogRecord& record);

    /// Replaces `sinks` by those that a logger with the tag `tagParts` reaches, in ascending index,
    /// and returns the generation that the list belongs to. Called by loggers.
    unsigned int CollectSinks(std::vector<SinkEntry>& sinks,
                              const std::vector<std::string>& tagParts) const;

    /// Copies of the registrations, in the order in which the sinks were added; [i] is the sink
    /// that a SinkEntry calls i. After memory ran out in AddSink(), the rules are those that are in
    /// force.
    ///
    /// Safe from inside an appender too, but not from an appender's destructor. Shares the
    /// ownership of the sinks: one that is removed meanwhile dies with the last copy, and its files
    /// are closed no earlier.
    std::vector<SinkRegistration> GetSinks() const;

    /// The number of the current configuration: 1 at first, never 0. Takes no lock.
    unsigned int GetConfigGeneration() const;

private:
    friend class LoggerImpl;
    friend class ForkPause;
    friend TARQLOG_API unsigned long long GetStaleRecords(LogCore const& core);

    struct TARQLOG_HIDDEN Private;

    /// Waits while a change is waiting for the core, unless this thread holds a lock of the
    /// library. For loggers, before they take a lock of their own.
    TARQLOG_HIDDEN void StepAside() const;

    /// What GetConfigGeneration() returns, for loggers to look at each time.
    TARQLOG_HIDDEN std::atomic<unsigned int> const& Generation() const;

    /// PushRecord() without StepAside(), for loggers, which have done so.
    TARQLOG_HIDDEN void Deliver(unsigned int generation, std::vector<SinkEntry> const& sinks,
                                LogRecord const& record);

    std::unique_ptr<Private> const impl_;
};

/// Whether a LogForbiddenGuard has ended logging in this process. The library itself never asks: it
/// is for callers that want to build no record any more.
TARQLOG_API bool IsLoggingForbidden();

/// Ends logging when it is destroyed: sets what IsLoggingForbidden() reports, for good, and removes
/// all sinks of the process-wide core, as LogCore::RemoveAllSinks() does. Each of several guards
/// does so.
class TARQLOG_API LogForbiddenGuard {
public:
    LogForbiddenGuard();
    ~LogForbiddenGuard();

    LogForbiddenGuard(LogForbiddenGuard const&) = delete;
    LogForbiddenGuard& operator=(LogForbiddenGuard const&) = delete;
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGCORE_H_
