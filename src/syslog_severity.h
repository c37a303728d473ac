#ifndef TARQLOG_SRC_SYSLOG_SEVERITY_H_
#define TARQLOG_SRC_SYSLOG_SEVERITY_H_

#include <syslog.h>

#include "tarqlog/severity.h"

#include "severity_index.h"

namespace tarqlog {

/// The system log's priority for `severity`, of several levels for the lowest; without a facility,
/// which is openlog()'s.
constexpr int SeverityToSyslogSeverity(Severity severity) {
    constexpr int kSeveritySyslog[kSeverityIndexCount] = {
        LOG_DEBUG, LOG_DEBUG, LOG_INFO, LOG_WARNING, LOG_ERR, LOG_EMERG, LOG_EMERG,
    };
    return kSeveritySyslog[SeverityIndex(severity)];
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_SYSLOG_SEVERITY_H_
