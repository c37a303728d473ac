// A static program whose constructor makes an appender before those of the library run. Never
// reaches the machine's log.

#include <cstdio>

#include "tarqlog/syslog_appender.h"
#include "tarqlog/syslog_ctrl_block.h"

#include "support/syslog_watch.h"

namespace {

struct EarlyAppender {
    EarlyAppender() : appender("early"), block(tarqlog::SyslogCtrlBlock::GetSyslogCtrlBlock()) {}

    tarqlog::SyslogAppender const appender;
    tarqlog::SyslogCtrlBlock const* const block;
};

__attribute__((init_priority(101))) EarlyAppender const early;

}  // namespace

int main() {
    std::printf(
        "openings %ld, %s block\n", tarqlog::logOpenings.Calls(),
        early.block == tarqlog::SyslogCtrlBlock::GetSyslogCtrlBlock() ? "the same" : "another");
}
