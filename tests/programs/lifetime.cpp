// Logs before main(), after it, from threads that outlive it, and from the child of a fork.

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "tarqlog/tarqlog.h"

#include "last_words.h"

namespace {

tarqlog::Logger& MainLogger() {
    static auto* const logger = new tarqlog::Logger("main");  // outlives everything
    return *logger;
}

/// Logs `text`; whether a sink was there to take it.
bool Say(const char* text) {
    if (!MainLogger().HasSink(tarqlog::kInfo)) {
        return false;
    }
    tarqlog::LogRecord record(tarqlog::kInfo);
    record.WriteData(text, static_cast<int>(std::strlen(text)));
    MainLogger().PushRecord(record);
    return true;
}

void LogAtExit() {
    Say("at exit");
}

void LogLastWords() {
    if (Say("the sinks are still there")) {
        return;
    }
    tarqlog::LogCore::Get()->AddDefaultSink(tarqlog::kAllSeverities);
    Say("last words");
}

void LeaveThreadsBehind() {
    static std::atomic<long> logged{0};
    for (int i = 0; i < 4; ++i) {
        std::thread([] {
            for (;;) {
                Say("outliving");
                ++logged;
            }
        }).detach();
    }
    while (logged < 1000) {
        std::this_thread::yield();
    }
}

/// The child leaves main() as well.
int LogInAChild() {
    pid_t const child = ::fork();
    if (child == 0) {
        Say("of the child");
        return 0;
    }
    int status = -1;
    return ::waitpid(child, &status, 0) == child && status == 0 ? 0 : 1;
}

}  // namespace

int main(int, char* arguments[]) {
    std::string const scenario(arguments[1]);
    if (scenario == "at-exit") {
        std::atexit(LogAtExit);
    } else if (scenario == "last-words") {
        SetLastWords(LogLastWords);
    } else if (scenario == "threads") {
        LeaveThreadsBehind();
    } else if (scenario == "fork") {
        return LogInAChild();
    }
    return 0;
}
