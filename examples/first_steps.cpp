// The tag tree with two sinks: standard output tells the story, standard error what went wrong.

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

constexpr Severity kProblems = kWarning | kError | kFatal;

boost::shared_ptr<LogSink> MakeConsoleSink(ConsoleAppender::OutStreamType stream) {
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<ConsoleAppender>(stream));
    return sink;
}

void Log(Logger& logger, Severity severity, char const* text) {
    if (logger.HasSink(severity)) {  // without a taker, no record is built
        LogRecord record(severity);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << text;
        logger.PushRecord(record);
    }
}

int main() {
    // Everything; from shop.db and below only problems; from shop.db.cache nothing.
    LogCore::Get()->AddSink({FilterRule(kAllSeverities), FilterRule("shop.db", kProblems),
                             FilterRule("shop.db.cache", Severity())},
                            MakeConsoleSink(ConsoleAppender::kStdout));
    // Problems, from wherever they come.
    LogCore::Get()->AddSink({FilterRule(kProblems)}, MakeConsoleSink(ConsoleAppender::kStderr));

    Logger shop("shop");
    Logger pool("shop.db.pool");  // no rule of its own: shop.db decides
    Logger cache("shop.db.cache");

    Log(shop, kInfo, "open");                   // standard output
    Log(pool, kInfo, "connected");              // neither
    Log(pool, kWarning, "waited 2 s");          // both
    Log(cache, kError, "lost its connection");  // standard error
}
