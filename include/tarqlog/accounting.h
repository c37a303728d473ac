#ifndef TARQLOG_ACCOUNTING_H_
#define TARQLOG_ACCOUNTING_H_

#include "tarqlog/export.h"

namespace tarqlog {

class AppenderBase;
class LogCore;

/// Why a record that an appender had taken is not at its destination.
enum class LossCause : int {
    kOpenFailed,  ///< the file could not be opened, or the socket could not be made
    kShortWrite,  ///< the file took a part of the line, or nothing
    kSendFailed,  ///< the socket refused the datagram
    kException,   ///< the header function or DoAppend() has thrown
};

/// What has become of every record that was appended to one appender, since it was made:
/// Appended() == empty + filtered + written + Lost().
struct Account {
    unsigned long long empty = 0;     ///< without text, or without the NUL that a logger appends
    unsigned long long filtered = 0;  ///< outside the appender's mask
    /// Taken by the destination. What a FileAppender holds in its buffer counts as well; it becomes
    /// lost when writing the buffer out fails. So does what the C library holds for the console,
    /// what the system log is told, which answers nothing, and each datagram that has left.
    unsigned long long written = 0;
    unsigned long long openFailed = 0;  ///< lost for LossCause::kOpenFailed
    unsigned long long shortWrite = 0;  ///< lost for LossCause::kShortWrite
    unsigned long long sendFailed = 0;  ///< lost for LossCause::kSendFailed
    unsigned long long thrown = 0;      ///< lost for LossCause::kException

    /// What the four causes add up to.
    unsigned long long Lost() const { return openFailed + shortWrite + sendFailed + thrown; }
    /// All that Append() was given.
    unsigned long long Appended() const { return empty + filtered + written + Lost(); }
};

/// The account of `appender`. Safe from any thread and takes no lock: while others log, one figure
/// may be older than another. In the child of a fork the parent's counts go on.
TARQLOG_API Account GetAccount(AppenderBase const& appender);

/// How many records pushed to `core` have reached no sink. Where each push follows a HasSink() that
/// was true, these are the ones that met a change of the configuration: at most one for each thread
/// and change. Safe from any thread, takes no lock.
TARQLOG_API unsigned long long GetStaleRecords(LogCore const& core);

}  // namespace tarqlog

#endif  // TARQLOG_ACCOUNTING_H_
