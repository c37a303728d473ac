#include "tarqlog/syslog_appender.h"

#include <syslog.h>

#include "tarqlog/syslog_ctrl_block.h"

#include "severity_index.h"

namespace tarqlog {

namespace {

/// The priority without a facility, which is openlog()'s.
int SeverityToSyslogSeverity(Severity severity) {
    static constexpr int kSeveritySyslog[kSeverityIndexCount] = {
        LOG_DEBUG, LOG_DEBUG, LOG_INFO, LOG_WARNING, LOG_ERR, LOG_EMERG, LOG_EMERG,
    };
    return kSeveritySyslog[SeverityIndex(severity)];
}

}  // namespace

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
