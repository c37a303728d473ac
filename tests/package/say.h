#ifndef SAY_H_
#define SAY_H_

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <tarqlog/tarqlog.h>

/// Logs `text` if anybody listens.
inline void Say(tarqlog::Logger& logger, tarqlog::Severity severity, const char* text) {
    if (logger.HasSink(severity)) {
        tarqlog::LogRecord record(severity);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer) << text;
        logger.PushRecord(record);
    }
}

/// A sink for one appender.
inline boost::shared_ptr<tarqlog::LogSink> MakeSink(
    boost::shared_ptr<tarqlog::AppenderBase> const& appender) {
    boost::shared_ptr<tarqlog::LogSink> const sink = boost::make_shared<tarqlog::LogSink>();
    sink->AddAppender(appender);
    return sink;
}

#endif  // SAY_H_
