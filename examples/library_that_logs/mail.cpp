#include "mail.h"

#include <tarqlog/tarqlog.h>

namespace {

// Two parts of a library that a program may want to tell apart.
tarqlog::Logger billLogger("shop.mail.bills");
tarqlog::Logger wireLogger("shop.mail.wire");

}  // namespace

void SendBill(int cents) {
    if (wireLogger.HasSink(tarqlog::kDebug)) {
        tarqlog::LogRecord record(tarqlog::kDebug);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer) << "no answer from the server";
        wireLogger.PushRecord(record);
    }
    if (billLogger.HasSink(tarqlog::kWarning)) {
        tarqlog::LogRecord record(tarqlog::kWarning);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer) << "kept for later: a bill over " << cents;
        billLogger.PushRecord(record);
    }
}
