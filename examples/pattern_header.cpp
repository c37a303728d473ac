// How do I say in one line what stands before the text? By a pattern, for any appender, before it
// joins a sink.

#include <iostream>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

/// A console with a header of our own.
boost::shared_ptr<AppenderBase> MakeConsole(FormatHeaderFunc const& header) {
    boost::shared_ptr<AppenderBase> const console =
        boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout);
    console->SetHeaderFunc(header);
    return console;
}

int main() {
    // Fixed, so that everyone sees the same moment and thread.
    LogSysInfo::SetGetTimeFunc([] { return 1700000000123LL; });
    LogSysInfo::SetGetThreadIdFunc([] { return 4242U; });

    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(MakeConsole(PatternHeader("%L %Y-%m-%d %H:%M:%S.%e [%t] %n: ")));

    // Local time, which says how far it is from UTC.
    sink->AddAppender(
        MakeConsole(PatternHeader("%Y-%m-%dT%H:%M:%S.%e%z %l ", PatternHeader::kLocalTime)));

    // For a program whose standard output goes to the journal: it takes the priority from "<6>",
    // and knows the time and the process by itself. %P and %h would be process id and host.
    sink->AddAppender(MakeConsole(PatternHeader("%p%N %n: ")));

    // The library's own header behind something else.
    sink->AddAppender(MakeConsole(PatternHeader("50%% | %+ ")));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    Logger logger("shop.till");
    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << "open";
        logger.PushRecord(record);
    }

    // A slip in a pattern shows when the program starts, not in the middle of the night.
    try {
        PatternHeader const header("%L %q");
    } catch (log_utils::Error const& error) {
        std::cout << error.what() << '\n';
    }
}
