// How do I send lines to a place of my own? A class with one function; this one hands each line to
// a connection that may fail.

#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

/// Hands each line to a function that throws when it cannot send. Such a line is lost; before the
/// next one that can be sent goes the number of those that were not.
///
/// `send` is never called by two threads at once. It must not change the configuration, nor wait
/// for a thread that logs.
class SendingAppender : public AppenderBase {
public:
    typedef std::function<void(std::string const& line)> Send;

    explicit SendingAppender(Send send) : AppenderBase(true), send_(std::move(send)) {}

protected:
    // Append() holds Mutex() by now, so that the members below need no lock of their own.
    void DoAppend(LogRecord const& record) override {
        std::vector<char> const& text = record.GetData();
        std::string line = Header();
        line.append(text.begin(), text.end() - 1);  // without the NUL that ends it
        try {
            if (lost_ > 0) {
                send_("(lines lost: " + std::to_string(lost_) + ")");
                lost_ = 0;
            }
            send_(line);
        } catch (std::exception const&) {
            ++lost_;  // passed on, it would reach whoever logs
        }
    }

private:
    Send const send_;
    int lost_ = 0;  // since the last line that was sent; guarded by Mutex()
};

/// The other end: a list instead of a socket.
struct Connection {
    void Send(std::string const& line) {
        if (!isUp) {
            throw std::runtime_error("connection is down");
        }
        received.push_back(line);
    }

    bool isUp = true;
    std::vector<std::string> received;
};

void Log(Logger& logger, char const* text) {
    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << text;
        logger.PushRecord(record);
    }
}

int main() {
    Connection connection;
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<SendingAppender>(
        [&connection](std::string const& line) { connection.Send(line); }));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    Logger shop("shop");
    Log(shop, "open");
    connection.isUp = false;
    Log(shop, "two apples sold");
    Log(shop, "a pear sold");
    connection.isUp = true;
    Log(shop, "closed");
    for (std::string const& line : connection.received) {
        std::cout << line << '\n';
    }

    connection.received.clear();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&shop] {
            for (int n = 0; n < 250; ++n) {
                Log(shop, "from a thread");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::cout << connection.received.size() << " lines from 4 threads\n";

    LogCore::Get()->RemoveAllSinks();  // the appender refers to `connection`, which ends here
}
