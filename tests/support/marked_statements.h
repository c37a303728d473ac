#ifndef TARQLOG_TESTS_SUPPORT_MARKED_STATEMENTS_H_
#define TARQLOG_TESTS_SUPPORT_MARKED_STATEMENTS_H_

#include "tarqlog/logger.h"

namespace tarqlog {

// Statements of a source that defines TARQLOG_LOCATION and the lowest severity kWarning.

/// One of each style, each with the text "x" behind the location.
void LogWithLocation(Logger& logger);

/// One statement for each severity, with `argument` called in each that is left.
void LogEachSeverity(Logger& logger, int (*argument)());

/// Statements whose severity is known at run time alone.
void LogAtRunTime(Logger& logger, Severity severity, int (*argument)());

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_MARKED_STATEMENTS_H_
