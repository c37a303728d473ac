#include "tarqlog/syslog_appender.h"

#include <syslog.h>

#include "tarqlog/syslog_ctrl_block.h"

#include "syslog_severity.h"

namespace tarqlog {

SyslogAppender::SyslogAppender(std::string const& ident) : AppenderBase(false) {
    SyslogCtrlBlock::GetSyslogCtrlBlock()->Open(ident);
}

SyslogAppender::SyslogAppender() : SyslogAppender(std::string()) {}

SyslogAppender::~SyslogAppender() = default;

void SyslogAppender::DoAppend(LogRecord const& record) {
    // Both are C strings: a record that comes here ends with a NUL.
    ::syslog(SeverityToSyslogSeverity(record.GetSeverity()), "%s%s", Header().c_str(),
             record.GetData().data());
}

}  // namespace tarqlog
