#include "stock.h"

#include <tarqlog/tarqlog.h>

namespace {

/// The logger in a function, made when it is first needed: ChangeStock() may be called while static
/// objects are made, perhaps before those of this file are.
tarqlog::Logger& StockLogger() {
    static tarqlog::Logger logger("shop.stock");
    return logger;
}

int apples = 0;

}  // namespace

int ChangeStock(int count) {
    apples += count;
    if (StockLogger().HasSink(tarqlog::kInfo)) {
        tarqlog::LogRecord record(tarqlog::kInfo);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer) << apples << " apples in stock";
        StockLogger().PushRecord(record);
    }
    return apples;
}
