#ifndef TARQLOG_TESTS_SUPPORT_INSTALLED_HOOKS_H_
#define TARQLOG_TESTS_SUPPORT_INSTALLED_HOOKS_H_

#include "tarqlog/logsysinfo.h"

namespace tarqlog {

/// Installs a clock and a thread id, and puts back those before it at the end of the scope.
class InstalledHooks {
public:
    InstalledHooks(long long (*time)(), unsigned int (*threadId)())
        : time_(LogSysInfo::SetGetTimeFunc(time)),
          threadId_(LogSysInfo::SetGetThreadIdFunc(threadId)) {}

    ~InstalledHooks() {
        LogSysInfo::SetGetTimeFunc(time_);
        LogSysInfo::SetGetThreadIdFunc(threadId_);
    }

    InstalledHooks(InstalledHooks const&) = delete;
    InstalledHooks& operator=(InstalledHooks const&) = delete;

private:
    long long (*const time_)();
    unsigned int (*const threadId_)();
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_INSTALLED_HOOKS_H_
