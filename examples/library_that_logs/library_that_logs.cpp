// How does a library log, and who decides where its lines go? Three libraries have loggers of their
// own, and know of no destination; they share one core with this program, which alone adds sinks.

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

#include "mail.h"
#include "prices.h"
#include "stock.h"

using namespace tarqlog;

namespace {

// Before main(): the library may log, but there is no sink yet, and the line reaches nobody.
int const applesAtFirst = ChangeStock(10);

}  // namespace

int main() {
    boost::shared_ptr<LogSink> const console = boost::make_shared<LogSink>();
    console->AddAppender(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout));
    LogCore::Get()->AddSink({FilterRule("shop", kAllSeverities),
                             FilterRule("shop.mail.wire", kWarning | kError | kFatal)},
                            console);

    int const sold = applesAtFirst / 2;
    ChangeStock(-sold);
    SendBill(PriceOfApples(sold));
}
