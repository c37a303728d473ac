// Logs before main(), after it, and from threads that outlive it.

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

}  // namespace

int main(int, char* arguments[]) {
    std::string const scenario(arguments[1]);
    if (scenario == "at-exit") {
        std::atexit(LogAtExit);
    } else if (scenario == "last-words") {
        SetLastWords(LogLastWords);
    } else if (scenario == "threads") {
        LeaveThreadsBehind();
    }
    return 0;
}
