#ifndef TARQLOG_SYSLOG_CTRL_BLOCK_H_
#define TARQLOG_SYSLOG_CTRL_BLOCK_H_

#include <string>

#include "tarqlog/export.h"
#include "tarqlog/noncopyable.h"
#include "tarqlog/thread_annotations.h"
#include "tarqlog/thread_mutex.h"

namespace tarqlog {

/// Opens the system log, which a process has once, for all of its SyslogAppenders.
///
/// There is one, made when the library is loaded and destroyed when the process exits. Make no
/// other: it would open the system log a second time, and, when it dies, set `destroyed_`.
class TARQLOG_API SyslogCtrlBlock : private log_utils::Noncopyable {
public:
    SyslogCtrlBlock();

    /// Sets `destroyed_`. The system log stays open.
    ~SyslogCtrlBlock();

    /// The one. Stops the process when it has been destroyed. Safe from any thread.
    static SyslogCtrlBlock* GetSyslogCtrlBlock();

    /// Opens the system log, with facility user and the process id in each message. The first call
    /// counts and all later ones are ignored. Safe from any thread.
    /// @param ident  the name that messages carry, cut to its first 32 bytes; when empty, the
    ///               program's own
    void Open(std::string const& ident);

    /// Whether GetSyslogCtrlBlock() has come too late.
    static bool destroyed_;

private:
    threads::ThreadMutex mutex_;
    bool opened_ TARQLOG_GUARDED_BY(mutex_) = false;
};

}  // namespace tarqlog

#endif  // TARQLOG_SYSLOG_CTRL_BLOCK_H_
