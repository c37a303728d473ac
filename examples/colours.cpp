// How do I log in colours? The library asks no terminal and no environment: whether a destination
// gets colours is for the program to decide.

#include <unistd.h>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

void AddConsole(ConsoleAppender::OutStreamType stream, bool inColours) {
    auto const console = boost::make_shared<ConsoleAppender>(stream);
    console->SetHeaderFunc(ColourHeader(PatternHeader("%H:%M:%S %l %n"), inColours));
    // A text might bring colours of its own, or worse, from wherever it came.
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<EscapingAppender>(console));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
}

void Log(Logger& logger, Severity severity, char const* text) {
    if (logger.HasSink(severity)) {
        LogRecord record(severity);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << ": " << text;  // the colour ends with the header
        logger.PushRecord(record);
    }
}

int main() {
    // Fixed, so that everyone sees the same moment: 2023-11-14 22:13:20.123 UTC.
    LogSysInfo::SetGetTimeFunc([] { return 1700000000123LL; });

    // Colours for a terminal, none for a file or a pipe. A program may also ask for an option
    // --colour, or for the variable NO_COLOR, here.
    AddConsole(ConsoleAppender::kStdout, ::isatty(STDOUT_FILENO) != 0);
    // Colours in any case, as for a pipe into `less -R`.
    AddConsole(ConsoleAppender::kStderr, true);

    Logger logger("shop");
    Log(logger, kInfo, "open");
    Log(logger, kWarning, "no apples left");
    Log(logger, kError, "till says \x1b[5mHELP\x1b[0m");
    Log(logger, kFatal, "on fire");
}
