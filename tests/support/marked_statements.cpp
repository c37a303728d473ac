#define TARQLOG_LOCATION
#define TARQLOG_MIN_SEVERITY kWarning

#include "support/marked_statements.h"

#include "tarqlog/log.h"

namespace tarqlog {

void LogWithLocation(Logger& logger) {
// Kept apart from the lines above, and with a path, as a generated source has it.
#line 42 "some/where/file.cpp"
    TARQLOG_ERROR(logger) << "x";
    TARQLOG_ERROR_P(logger, "%s", "x");
    TARQLOG_ERROR_IF(logger, true) << "x";
    TARQLOG_ERROR_P_IF(logger, true, "x");
}

void LogEachSeverity(Logger& logger, int (*argument)()) {
    TARQLOG_TRACE(logger) << argument();
    TARQLOG_DEBUG_IF(logger, TARQLOG_EVERY_N(argument())) << argument();
    TARQLOG_INFO_P(logger, "%d", argument());
    TARQLOG_WARNING(logger) << argument();
    TARQLOG_ERROR_IF(logger, TARQLOG_EVERY_N(1)) << argument();
    TARQLOG_FATAL_P(logger, "%d", argument());
}

void LogAtRunTime(Logger& logger, Severity severity, int (*argument)()) {
    TARQLOG(logger, severity) << argument();
    TARQLOG_P(logger, severity, "%d", argument());
}

}  // namespace tarqlog
