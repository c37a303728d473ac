#ifndef TARQLOG_LOGSYSINFO_H_
#define TARQLOG_LOGSYSINFO_H_

#include <ctime>

#include "tarqlog/export.h"

namespace tarqlog {

/// The wall clock in milliseconds since 1970-01-01 00:00:00 UTC, truncated; 0 when the clock cannot
/// be read. In spite of the name no time zone is applied.
TARQLOG_API long long GetLocalTimeInMs();

/// A small number that is the calling thread's own while it lives: on Linux the kernel's thread id,
/// on macOS the thread's kernel port.
TARQLOG_API unsigned int GetThisThreadId();

/// Where records take their time and thread id from, replaceable for the whole process.
///
/// The hooks are read without synchronisation at every record: install them once, before other
/// threads log. They are in place before any static constructor runs.
class TARQLOG_API LogSysInfo {
public:
    /// Installs `func` as the clock, in milliseconds since the epoch, and returns the one before;
    /// null changes nothing. At first GetLocalTimeInMs().
    static long long (*SetGetTimeFunc(long long (*func)()))();

    /// The same for the thread id. At first GetThisThreadId().
    static unsigned int (*SetGetThreadIdFunc(unsigned int (*func)()))();

    /// Breaks `seconds` since the epoch down to local time in `out`, which must not be null. False
    /// on failure; `errno` is localtime_r()'s. A `long` of 32 bits ends at 2038-01-19 03:14:07 UTC.
    static bool LocalTime(long seconds, std::tm* out);

    /// The same in UTC. False on failure; `errno` is gmtime_r()'s.
    static bool GmTime(long seconds, std::tm* out);

private:
    friend class LogRecord;

    TARQLOG_HIDDEN static long long (*getTimeFunc_)();
    TARQLOG_HIDDEN static unsigned int (*getThreadIdFunc_)();
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGSYSINFO_H_
