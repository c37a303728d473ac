#ifndef TARQLOG_TOOLS_SYSTEM_LOG_H_
#define TARQLOG_TOOLS_SYSTEM_LOG_H_

#include <string>

#include <tarqlog/logrecord.h>
#include <tarqlog/syslog_appender.h>

#include "complaint.h"

namespace tarqlog::tool {

/// Why nobody takes what is sent to the system log at `path`, a socket of datagrams or a stream;
/// empty when somebody does.
std::string SystemLogFailure(std::string const& path);

/// Says of `destination`, which was asked for, when nobody takes what is sent to this machine's
/// system log. The library sends it there all the same: whoever listens later gets what comes then.
void ReportSystemLog(std::string const& destination);

/// Writes to the system log. Says once what daemons do with a fatal record.
class SystemLogAppender : public SyslogAppender {
public:
    using SyslogAppender::SyslogAppender;

protected:
    void DoAppend(LogRecord const& record) override {
        if (record.GetSeverity() == kFatal && !hasWarned_) {
            hasWarned_ = true;
            Complain(
                "a fatal line is an emergency in the system log, and daemons write those to every "
                "terminal; syslog,levels=TDIWE leaves them out");
        }
        SyslogAppender::DoAppend(record);
    }

private:
    bool hasWarned_ = false;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_SYSTEM_LOG_H_
