// What must a program do before it unloads a plug-in that logs? Remove the plug-in's destinations
// from the core; other threads may log all the while. Done 100 times here.

#include <dlfcn.h>

#include <atomic>
#include <iostream>
#include <thread>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

#include "start_plugin.h"

using namespace tarqlog;

namespace {

constexpr int kRounds = 100;

std::atomic<bool> isOver{false};

/// Logs until the end, to whichever destinations there are.
void Work() {
    Logger logger("worker");
    while (!isOver) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            LogRecordStreamBuf buffer(record);
            LogStream(&buffer) << "at work";
            logger.PushRecord(record);
        }
    }
}

void AddConsoleSink() {
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
    LogCore::Get()->AddSink({FilterRule("program", kAllSeverities)}, sink);
}

/// Loads the plug-in, lets it hear the workers and unloads it; whether it was there and is gone.
bool LoadAndUnload() {
    void* const plugin = dlopen(PLUGIN, RTLD_NOW);
    void* const start = plugin != nullptr ? dlsym(plugin, "StartPlugin") : nullptr;
    if (start == nullptr) {
        std::cerr << dlerror() << '\n';
        return false;
    }
    std::atomic<long> lines{0};
    reinterpret_cast<decltype(&StartPlugin)>(start)(lines);
    while (lines < 10) {
        std::this_thread::yield();
    }

    // The workers may be inside the plug-in's code now. RemoveAllSinks() waits until they have left
    // it and destroys the plug-in's appender, whose destructor lies there too; then nothing leads
    // into the plug-in any more. It removes the program's own sink as well, which is added again:
    // what is logged in between is lost.
    LogCore::Get()->RemoveAllSinks();
    dlclose(plugin);
    bool const isGone = dlopen(PLUGIN, RTLD_LAZY | RTLD_NOLOAD) == nullptr;
    AddConsoleSink();
    return isGone;
}

}  // namespace

int main() {
    AddConsoleSink();
    std::thread first(Work);
    std::thread second(Work);
    int unloaded = 0;
    for (int round = 0; round < kRounds; ++round) {
        unloaded += LoadAndUnload() ? 1 : 0;
    }
    isOver = true;
    first.join();
    second.join();

    // The program itself needs libTarqLog, which stays when the plug-in goes, and so does the core:
    // the same one for both.
    Logger logger("program");
    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << "plug-in loaded and unloaded " << unloaded << " times";
        logger.PushRecord(record);
    }
}
