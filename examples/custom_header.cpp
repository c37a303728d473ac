// How do I change what stands before the text? Any callable will do as header function: here a
// function, a lambda with a state, and a boost::bind around the library's own.

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <boost/algorithm/string/join.hpp>
#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

/// Prints lines on standard output, behind whatever header it was made with.
class LineAppender : public AppenderBase {
public:
    using AppenderBase::AppenderBase;

protected:
    void DoAppend(LogRecord const& record) override {
        threads::ScopedLock<threads::ThreadMutex> const lock(GetGlobalStreamMutex());
        // The text ends with a NUL.
        std::printf("%s%s\n", Header().c_str(), record.GetData().data());
    }
};

/// Local time in ISO 8601, and the tag: "2023-11-15T03:58:20.123+05:45 shop.till ". LocalTime() is
/// safe for several appenders at once, which std::localtime() is not.
void IsoHeader(std::string& header, LogRecord const& record) {
    std::tm time = {};
    LogSysInfo::LocalTime(static_cast<long>(record.GetTime() / 1000), &time);
    char field[64];
    header.append(field, std::strftime(field, sizeof field, "%Y-%m-%dT%H:%M:%S", &time));
    std::snprintf(field, sizeof field, ".%03d", static_cast<int>(record.GetTime() % 1000));
    header += field;
    header.append(field, std::strftime(field, sizeof field, "%z ", &time));
    header.insert(header.size() - 3, ":");  // ISO 8601 wants "+05:45", strftime() gives "+0545"
    header += boost::algorithm::join(record.GetTag(), ".") + ' ';
}

/// `prefix`, and then what `rest` makes of the record.
void PrefixedHeader(std::string const& prefix, FormatHeaderFunc const& rest, std::string& header,
                    LogRecord const& record) {
    header += prefix;
    rest(header, record);
}

int main() {
    // Fixed, so that everyone sees the same moment: 2023-11-14 22:13:20.123 UTC.
    LogSysInfo::SetGetTimeFunc([] { return 1700000000123LL; });

    // Called under the appender's lock, so that the lambda may count without one of its own.
    int number = 0;
    auto const numberedHeader = [number](std::string& header, LogRecord const&) mutable {
        header += std::to_string(++number) + ": ";
    };

    using namespace boost::placeholders;
    auto const tillHeader = boost::bind(&PrefixedHeader, std::string("till 3: "),
                                        DefaultFormatHeaderFunc(true), _1, _2);

    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<LineAppender>(&IsoHeader));
    sink->AddAppender(boost::make_shared<LineAppender>(numberedHeader));
    sink->AddAppender(boost::make_shared<LineAppender>(tillHeader));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    Logger logger("shop.till");
    for (char const* text : {"open", "closed"}) {
        if (logger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            LogRecordStreamBuf buffer(record);
            LogStream(&buffer) << text;
            logger.PushRecord(record);
        }
    }
}
