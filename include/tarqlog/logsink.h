#ifndef TARQLOG_LOGSINK_H_
#define TARQLOG_LOGSINK_H_

#include <memory>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "tarqlog/export.h"

namespace tarqlog {

class AppenderBase;
class LogRecord;

/// A group of appenders that receive the same records, in the order in which they were added.
///
/// Consume() may run on many threads at once, AddAppender() on none of them: add every appender
/// before the sink is registered with LogCore::AddSink().
class TARQLOG_API LogSink {
public:
    LogSink();

    /// Releases the appenders in the order in which they were added.
    ~LogSink();

    LogSink(LogSink const&) = delete;
    LogSink& operator=(LogSink const&) = delete;

    /// Adds `appender` at the end and shares its ownership. Null is ignored. An appender added
    /// twice receives every record twice.
    void AddAppender(boost::shared_ptr<AppenderBase> const& appender);

    /// How many appenders the sink holds.
    int Count() const;

    /// The appenders in the order in which they were added, valid until the next AddAppender().
    /// None of them is null.
    std::vector<boost::shared_ptr<AppenderBase>> const& GetAppenders() const;

    /// Hands `record` to each appender in turn; takes no lock. What an appender throws passes
    /// through, and the appenders after it miss the record.
    void Consume(LogRecord const& record);

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGSINK_H_
