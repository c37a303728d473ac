// How do I end logging while other threads still log? A LogForbiddenGuard waits for the lines being
// written and lets go of every destination; the threads need not stop, nor know of it.

#include <atomic>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

/// Writes to a stream that must outlive it.
class StreamAppender : public AppenderBase {
public:
    explicit StreamAppender(std::ostream& out) : AppenderBase(true), out_(out) {}
    ~StreamAppender() override { std::cout << "the appender is gone\n"; }

protected:
    void DoAppend(LogRecord const& record) override {
        out_ << Header() << record.GetData().data() << '\n';  // the text ends with a NUL
    }

private:
    std::ostream& out_;
};

std::atomic<long> rounds{0};

/// Logs for ever, as a thread of some other library may. It still runs while the process exits, so
/// its logger is never destroyed.
void Work() {
    static Logger& logger = *new Logger("worker");
    for (;; ++rounds) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            LogRecordStreamBuf buffer(record);
            LogStream(&buffer) << "at work";
            logger.PushRecord(record);
        }
    }
}

void AwaitRounds(long count) {
    long const end = rounds + count;
    while (rounds < end) {
        std::this_thread::yield();
    }
}

int main() {
    // Ends with main(), as may a file, a socket or a window. The sinks themselves would stay until
    // the process exits, and the worker would write to a stream that is no more.
    std::ostringstream out;
    {
        LogForbiddenGuard const guard;  // declared after `out`, thus destroyed before it

        auto const sink = boost::make_shared<LogSink>();
        sink->AddAppender(boost::make_shared<StreamAppender>(out));
        LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

        std::thread(Work).detach();
        std::thread(Work).detach();
        AwaitRounds(1000);
    }  // in main() itself, without this block, the guard would do the same at its end

    std::string const text = out.str();  // without a lock: nobody writes to it any more
    std::cout << "first line: " << text.substr(0, text.find('\n')) << '\n';

    AwaitRounds(1000);
    std::cout << "the threads go on, and " << (out.str() == text ? "no" : "a") << " line follows\n";

    // For code that can save itself work at the end. The library does not ask: a sink that is added
    // now would be written to.
    std::cout << "logging is " << (IsLoggingForbidden() ? "forbidden" : "allowed") << '\n';
}
