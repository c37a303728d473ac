// What becomes of the system log's block after main(). Never reaches the machine's log.
//
// Usage: syslog_lifetime look|make|log

#include <cstdio>
#include <string>

#include "tarqlog/syslog_appender.h"
#include "tarqlog/syslog_ctrl_block.h"

#include "support/records.h"
#include "support/syslog_watch.h"

#include "last_words.h"

namespace {

tarqlog::SyslogAppender* inTime = nullptr;

void Say(char const* when) {
    std::printf("%s: %s\n", when, tarqlog::SyslogCtrlBlock::destroyed_ ? "destroyed" : "there");
}

void Look() {
    Say("in the end");
}

void Make() {
    tarqlog::SyslogAppender const late("late");
}

void Log() {
    inTime->Append(tarqlog::TaggedRecord(tarqlog::kInfo, "text"));
    delete inTime;
    std::printf("openings %ld, messages %ld, closings %ld\n", tarqlog::logOpenings.Calls(),
                tarqlog::logMessages.Calls(), tarqlog::logClosings.Calls());
}

}  // namespace

int main(int, char* arguments[]) {
    std::string const scenario(arguments[1]);
    if (scenario == "look") {
        Say("in main");
        SetLastWords(Look);
    } else if (scenario == "make") {
        SetLastWords(Make);
    } else if (scenario == "log") {
        inTime = new tarqlog::SyslogAppender("in time");
        SetLastWords(Log);
    }
    return 0;
}
