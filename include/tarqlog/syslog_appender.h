#ifndef TARQLOG_SYSLOG_APPENDER_H_
#define TARQLOG_SYSLOG_APPENDER_H_

#include <string>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"

namespace tarqlog {

/// Hands each record, short header first, to the system log, which adds time, identity and process
/// id. A text with a NUL in it ends there.
///
/// The priority is that of the record's lowest level: LOG_DEBUG for kTrace and kDebug, LOG_INFO,
/// LOG_WARNING, LOG_ERR, and LOG_EMERG for kFatal and for none of the six. Many systems show
/// LOG_EMERG on every terminal.
///
/// The process has one system log: it is opened, see SyslogCtrlBlock::Open(), by the first appender
/// that is made, under whose identity all of them write, and is never closed. No appender may be
/// made once the library's static objects are destroyed: the process would stop.
class TARQLOG_API SyslogAppender : public AppenderBase {
public:
    /// @param ident  the name that messages carry, cut to its first 32 bytes; when empty, the
    ///               program's own
    explicit SyslogAppender(std::string const& ident);

    /// With the program's own name.
    SyslogAppender();

    ~SyslogAppender() override;

protected:
    void DoAppend(LogRecord const& record) override;
};

}  // namespace tarqlog

#endif  // TARQLOG_SYSLOG_APPENDER_H_
