#include "prices.h"

#include <tarqlog/tarqlog.h>

namespace {

// All that a library needs: nothing to initialise before it, nothing to shut down.
tarqlog::Logger logger("shop.prices");

}  // namespace

int PriceOfApples(int count) {
    int const cents = 30 * count;
    if (logger.HasSink(tarqlog::kDebug)) {
        tarqlog::LogRecord record(tarqlog::kDebug);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer) << count << " apples cost " << cents;
        logger.PushRecord(record);
    }
    return cents;
}
