#include "tarqlog/syslog_ctrl_block.h"

#include <syslog.h>

#include "tarqlog/assertion.h"
#include "tarqlog/scoped_lock.h"

namespace tarqlog {

namespace {

constexpr std::string::size_type kMaxIdentity = 32;  // in bytes

// Static, because openlog() keeps the pointer; written by the first opening and never again.
char appIdentity[kMaxIdentity + 1];

// Makes the block when the library is loaded: before there are threads, and so that it outlives
// what is made later.
[[maybe_unused]] SyslogCtrlBlock* const forceCreate = SyslogCtrlBlock::GetSyslogCtrlBlock();

}  // namespace

bool SyslogCtrlBlock::destroyed_ = false;

SyslogCtrlBlock::SyslogCtrlBlock() = default;

SyslogCtrlBlock::~SyslogCtrlBlock() {
    destroyed_ = true;
}

SyslogCtrlBlock* SyslogCtrlBlock::GetSyslogCtrlBlock() {
    TARQLOG_ASSERT(!SyslogCtrlBlock::destroyed_);
    static SyslogCtrlBlock ctrlBlock;
    return &ctrlBlock;
}

void SyslogCtrlBlock::Open(std::string const& ident) {
    threads::ScopedLock const lock(mutex_);
    if (opened_) {
        return;
    }
    char const* identity = nullptr;  // the system takes the program's name
    if (!ident.empty()) {
        appIdentity[ident.copy(appIdentity, kMaxIdentity)] = '\0';
        identity = appIdentity;
    }
    ::openlog(identity, LOG_PID, LOG_USER);
    opened_ = true;
}

}  // namespace tarqlog
