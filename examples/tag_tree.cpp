// Which rule decides for a logger? For each sink by itself, the one for the longest tag at or above
// the logger's own.

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
    if (logger.HasSink(severity)) {
        LogRecord record(severity);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << text;
        logger.PushRecord(record);
    }
}

int main() {
    // Standard output. The order of the rules does not matter. A rule replaces those above it, it
    // does not add to them.
    LogCore::Get()->AddSink(
        {
            FilterRule(kProblems),               // problems from everywhere,
            FilterRule("shop", kAllSeverities),  // everything from the shop,
            FilterRule("shop.db", Severity()),   // but nothing from its database,
            FilterRule("shop.db.audit", kInfo),  // except information from its audit
        },
        MakeConsoleSink(ConsoleAppender::kStdout));

    // Standard error has rules of its own. None is for the root, so that nothing reaches it from
    // outside the database.
    LogCore::Get()->AddSink({FilterRule("shop.db", kProblems)},
                            MakeConsoleSink(ConsoleAppender::kStderr));

    for (char const* tag : {
             "mail",                 // out: the error
             "shop",                 // out: both
             "shop.cart.discounts",  // out: both, as from "shop"; there are no rules in between
             "shop.dbase",           // out: both; "shop.db" is another tag, not one above this
             "shop.db",              // err: the error
             "shop.db.pool",         // err: the error
             "shop.db.audit",        // out: the information; err: the error
             "shop.db.audit.daily",  // out: the information; err: the error
         }) {
        Logger logger(tag);
        Log(logger, kInfo, "information");
        Log(logger, kError, "error");
    }
}
