// How do I keep a busy place from filling the log? By conditions that count, and by telling how
// much was left out.

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

namespace {

long long fakeTime = 0;  // in nanoseconds, so that the example prints the same each time

void Receive(Logger& log, int packet) {
    // Packet 0, 100, 200 and so on. The condition is asked only when a sink wants the record.
    TARQLOG_INFO_IF(log, TARQLOG_EVERY_N(100)) << "packet " << packet;

    // The first two that are too long, and not a word of the others. What stands to the left of &&
    // decides whether the right is counted at all.
    TARQLOG_WARNING_IF(log, packet % 50 == 49 && TARQLOG_FIRST_N(2)) << packet << " is too long";

    // At most one in two seconds. An object of one's own tells how many were left out since then.
    static LogLimit full;
    TARQLOG_ERROR_P_IF(log, full.EveryT(2), "packet %d lost, queue full, %llu not told", packet,
                       full.TakeSkipped());

    TARQLOG_DEBUG_P_IF(log, TARQLOG_ONCE, "the first packet is %d", packet);
}

}  // namespace

int main() {
    SetGetMonotonicTimeFunc([] { return fakeTime; });
    auto const sink = boost::make_shared<LogSink>();
    auto const console = boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout);
    sink->AddAppender(console);
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    Logger log("net");
    for (int packet = 0; packet < 250; ++packet) {
        Receive(log, packet);
        fakeTime += 20 * 1000000LL;  // 20 ms
    }
}
