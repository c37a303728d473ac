#include <stdexcept>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "tarqlog/tarqlog.h"

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

class Thrower : public AppenderBase {
public:
    Thrower() : AppenderBase(false) {}

protected:
    void DoAppend(LogRecord const& /*record*/) override {
        CountHit();
        throw std::runtime_error("thrown");
    }
};

/// Never destroyed: threads and static destructors log until the very end.
Logger& TheLogger() {
    static Logger& logger = *new Logger("f");
    return logger;
}

boost::shared_ptr<AppenderBase> MakeAppender(Settings const& settings) {
    if (settings.udp != 0) {
        return boost::make_shared<UdpAppender>("127.0.0.1",
                                               static_cast<unsigned short>(settings.udp));
    }
    if (settings.syslog) {
        return boost::make_shared<SyslogAppender>("f");
    }
    if (settings.limitKiB > 0) {
        return boost::make_shared<RollingFileAppender>(settings.file, settings.limitKiB,
                                                       settings.kept, settings.buffered);
    }
    return boost::make_shared<FileAppender>(settings.file, 0, settings.buffered,
                                            FileAppender::kAppendMode);
}

boost::shared_ptr<LogSink>& TheSink() {
    static boost::shared_ptr<LogSink>& sink =
        *new boost::shared_ptr<LogSink>(boost::make_shared<LogSink>());
    return sink;
}

boost::weak_ptr<AppenderBase>& TheAppender() {
    static boost::weak_ptr<AppenderBase>& appender = *new boost::weak_ptr<AppenderBase>();
    return appender;
}

Count CountOf(boost::shared_ptr<AppenderBase> const& appender) {
    Account const account = GetAccount(*appender);
    unsigned long long const stale = GetStaleRecords(*LogCore::Get());
    return {static_cast<long>(account.Appended() + stale),
            static_cast<long>(account.Lost() + stale)};
}

}  // namespace

Description Describe() {
    return {"tarqlog", "A [9 9:9:9.9][t:9](f):", "",
            "FileAppender or RollingFileAppender, full header; unbuffered: bufferedRecords 0; "
            "buffered: bufferedRecords 100, or as the row says"};
}

void Open(Settings const& settings) {
    boost::shared_ptr<AppenderBase> const appender = MakeAppender(settings);
    TheAppender() = appender;
    CountBy([] { return CountOf(TheAppender().lock()); });
    TheSink()->AddAppender(appender);
    if (settings.thrower) {
        TheSink()->AddAppender(boost::make_shared<Thrower>());
    }
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, TheSink());
    if (settings.task != "reconfigure") {
        TheSink().reset();  // the core alone keeps it, as in most programs
    }
}

bool Log(Level level, std::string const& text) {
    Severity const severity = level == Level::kInfo      ? kInfo
                              : level == Level::kWarning ? kWarning
                                                         : kError;
    if (!TheLogger().HasSink(severity)) {
        return false;
    }
    LogRecord record(severity);
    record.WriteData(text.data(), static_cast<int>(text.size()));
    TheLogger().PushRecord(record);
    return true;
}

/// Adds sinks for loggers of other tags; when there is room for no more, begins anew.
void Reconfigure(int change) {
    constexpr int kRoom = 30;
    if (change % kRoom == kRoom - 2) {
        LogCore::Get()->RemoveAllSinks();
    } else if (change % kRoom == kRoom - 1) {
        LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, TheSink());
    } else {
        LogCore::Get()->AddSink({FilterRule("elsewhere", kAllSeverities)}, TheSink());
    }
}

/// Nothing needs closing; what the buffer holds is written out so that it is accounted for.
void Close() {
    if (auto const file = boost::dynamic_pointer_cast<FileAppender>(TheAppender().lock())) {
        file->Close();
    }
}

}  // namespace tarqlog::faults
