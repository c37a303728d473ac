// How do I change levels while the program runs? By the mask of an appender or by new rules, and
// neither is free.

#include <iostream>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

constexpr Severity kProblems = kWarning | kError | kFatal;

/// Logs `text`, and tells whether a record is built for it.
void Log(Logger& logger, Severity severity, char const* text) {
    bool const isTaken = logger.HasSink(severity);
    std::cout << "  " << text << (isTaken ? ": built\n" : ": not built\n");
    if (isTaken) {
        LogRecord record(severity);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << text;
        logger.PushRecord(record);
    }
}

/// Prints `done` and the number of the configuration, by which loggers notice a change.
void Tell(char const* done) {
    std::cout << done << ", configuration " << LogCore::Get()->GetConfigGeneration() << '\n';
}

int main() {
    auto const console = boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout);
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(console);
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
    Tell("everything");

    Logger shop("shop");
    Log(shop, kInfo, "open");

    // The mask of an appender: one store, on any thread, with no lock and no line lost. But it is
    // the last filter on a record's road: HasSink() does not know of it, so that records are built
    // and pushed for nobody.
    console->SetSeverity(kProblems);
    Tell("SetSeverity(kProblems)");
    Log(shop, kInfo, "apple sold");
    Log(shop, kWarning, "no apples left");
    console->SetSeverity(kAllSeverities);
    Tell("SetSeverity(kAllSeverities)");

    // New rules: HasSink() knows them, so that what nobody takes costs next to nothing. But no sink
    // can be removed alone, all of them go; each of the two calls waits for the lines being written
    // and holds up all other threads that log; each logger then has to walk the tag tree anew when
    // it is next asked; and what is logged between the two calls reaches nobody.
    LogCore::Get()->RemoveAllSinks();
    Tell("RemoveAllSinks()");
    Log(shop, kError, "till is stuck");
    LogCore::Get()->AddSink({FilterRule(kProblems)}, sink);
    Tell("AddSink(kProblems)");
    Log(shop, kInfo, "pear sold");
    Log(shop, kWarning, "no pears left");

    // Any change also costs the records that are on their way: asked for before it and pushed after
    // it, as may happen to every other thread, they are dropped, although their sink has stayed.
    if (shop.HasSink(kError)) {
        LogRecord record(kError);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << "window is broken";
        LogCore::Get()->AddSink({FilterRule("audit", kInfo)}, sink);
        Tell("AddSink(\"audit\") while a record is being built");
        shop.PushRecord(record);
    }
    Log(shop, kError, "door is broken");
}
