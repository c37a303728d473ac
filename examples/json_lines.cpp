// How do I log JSON, and keep foreign bytes off my terminal? By appenders around an appender: one
// record stays one line, whatever its text is.

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

int main() {
    // Fixed, so that everyone sees the same moment and thread.
    LogSysInfo::SetGetTimeFunc([] { return 1700000000123LL; });
    LogSysInfo::SetGetThreadIdFunc([] { return 4242U; });

    // For machines: an object a line, without a header. A FileAppender would do as well.
    auto const objects = boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout);
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<JsonLinesAppender>(objects));

    // For people: the header as ever, and a text that can do nothing to the terminal.
    auto const lines = boost::make_shared<ConsoleAppender>(ConsoleAppender::kStderr);
    sink->AddAppender(boost::make_shared<EscapingAppender>(lines));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    Logger logger("shop.door");
    for (char const* text : {
             "open",
             "Zo\xc3\xab says \"hi\"\nand leaves",
             "a key: C:\\keys\\1 \x1b[2J",
             "half a character: \xe2\x82",
         }) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            LogRecordStreamBuf buffer(record);
            LogStream(&buffer) << text;
            logger.PushRecord(record);
        }
    }
}
