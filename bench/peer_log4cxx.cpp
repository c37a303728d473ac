#include <pthread.h>

#include <memory>
#include <string>
#include <vector>

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/consoleappender.h>
#include <log4cxx/fileappender.h>
#include <log4cxx/helpers/pool.h>
#include <log4cxx/level.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/rolling/fixedwindowrollingpolicy.h>
#include <log4cxx/rolling/rollingfileappender.h>
#include <log4cxx/rolling/sizebasedtriggeringpolicy.h>

#include "header.h"
#include "program.h"

namespace tarqlog::bench {

namespace {

log4cxx::LayoutPtr MakeLayout() {
    return std::make_shared<log4cxx::PatternLayout>(
        "%p [%d{yyyy-MM-dd HH:mm:ss.SSS}{GMT}][t:%T](%c):%m%n");
}

class DiscardingAppender : public log4cxx::AppenderSkeleton {
public:
    void close() override {}
    bool requiresLayout() const override { return true; }

protected:
    void append(log4cxx::spi::LoggingEventPtr const& event, log4cxx::helpers::Pool& pool) override {
        log4cxx::LogString line;
        getLayout()->format(line, event, pool);
        Discard(line);
    }
};

log4cxx::LoggerPtr& TheLogger() {
    static auto& logger = *new log4cxx::LoggerPtr;
    return logger;
}

std::vector<log4cxx::LoggerPtr>& MoreLoggers() {
    static auto& loggers = *new std::vector<log4cxx::LoggerPtr>;
    return loggers;
}

std::vector<log4cxx::AppenderPtr>& Appenders() {
    static auto& appenders = *new std::vector<log4cxx::AppenderPtr>;
    return appenders;
}

/// The level INFO under a name of one letter.
log4cxx::LevelPtr const& Info() {
    static auto& level =
        *new log4cxx::LevelPtr(std::make_shared<log4cxx::Level>(log4cxx::Level::INFO_INT, "I", 6));
    return level;
}

std::shared_ptr<log4cxx::rolling::RollingFileAppender> MakeRolling(Settings const& settings) {
    auto const policy = std::make_shared<log4cxx::rolling::FixedWindowRollingPolicy>();
    policy->setMinIndex(1);
    policy->setMaxIndex(5);
    policy->setFileNamePattern(settings.file + ".%i");
    auto const trigger = std::make_shared<log4cxx::rolling::SizeBasedTriggeringPolicy>();
    trigger->setMaxFileSize(1024UL * 1024);
    auto appender = std::make_shared<log4cxx::rolling::RollingFileAppender>();
    appender->setFile(settings.file);
    appender->setRollingPolicy(policy);
    appender->setTriggeringPolicy(trigger);
    appender->setBufferedIO(true);
    appender->setImmediateFlush(false);
    return appender;
}

std::shared_ptr<log4cxx::AppenderSkeleton> MakeAppender(Settings const& settings) {
    std::string const& row = settings.row;
    if (row == "disabled" || row == "discarded") {
        return std::make_shared<DiscardingAppender>();
    }
    if (row == "console" || row == "pipe") {
        auto appender = std::make_shared<log4cxx::ConsoleAppender>();
        appender->setTarget("System.err");
        return appender;
    }
    if (row == "rolling") {
        return MakeRolling(settings);
    }
    if (row == "file" || row == "buffered") {
        auto appender = std::make_shared<log4cxx::FileAppender>();
        appender->setFile(settings.file);
        appender->setAppend(true);
        appender->setBufferedIO(row == "buffered");
        appender->setImmediateFlush(row == "file");
        return appender;
    }
    throw Cannot("no row " + row);
}

log4cxx::AppenderPtr OpenAppender(Settings const& settings) {
    auto const appender = MakeAppender(settings);
    appender->setLayout(MakeLayout());
    log4cxx::helpers::Pool pool;
    appender->activateOptions(pool);
    return appender;
}

/// The pattern knows threads by their names alone.
void NameThread() {
    thread_local bool isNamed = false;
    if (!isNamed) {
        isNamed = ::pthread_setname_np(::pthread_self(), std::to_string(ThreadId()).c_str()) == 0;
    }
}

}  // namespace

Description Describe() {
    return {"log4cxx",
            "PatternLayout, levels of one letter, threads named by their ids; FileAppender: "
            "ImmediateFlush, or buffered BufferedIO; rolling::RollingFileAppender with "
            "FixedWindowRollingPolicy: BufferedIO; console: ConsoleAppender of System.err",
            0};
}

void Open(Settings const& settings) {
    NameThread();
    TheLogger() = log4cxx::Logger::getLogger(TagOf(settings));
    for (int i = 0; i < settings.sinks; ++i) {
        Appenders().push_back(OpenAppender(settings));
        TheLogger()->addAppender(Appenders().back());
    }
    TheLogger()->setLevel(settings.row == "disabled" ? log4cxx::Level::getWarn()
                                                     : log4cxx::Level::getTrace());
}

void Log(Settings const& settings, long first, long count) {
    NameThread();
    log4cxx::LoggerPtr const& logger = TheLogger();
    if (settings.size > 0) {
        std::string const text = Filler(settings.size);
        ForEach(first, count, [&](long /*index*/) { LOG4CXX_LOG(logger, Info(), text); });
        return;
    }
    ForEach(first, count, [&logger](long index) {
        Request const request(index);
        LOG4CXX_LOG(logger, Info(),
                    "request " << request.Id() << " took " << request.Us() << " us path "
                               << request.Path() << " status " << request.Status());
    });
}

/// Nothing but its end flushes an appender that buffers; the clock does not miss what is left in
/// it.
void Finish(Settings const& settings) {
    if (isChecked && IsBuffered(settings)) {
        for (log4cxx::AppenderPtr const& appender : Appenders()) {
            appender->close();
        }
    }
}

void KeepAppenders(Settings const& settings, int count) {
    for (int i = 0; i < count; ++i) {
        Appenders().push_back(OpenAppender(settings));
    }
}

void MakeLoggers(int count) {
    for (int i = 0; i < count; ++i) {
        MoreLoggers().push_back(log4cxx::Logger::getLogger("core.io.part" + std::to_string(i)));
        static_cast<void>(MoreLoggers().back()->isEnabledFor(log4cxx::Level::getInfo()));
    }
}

void RefreshLoggers() {
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getWarn());
    for (log4cxx::LoggerPtr const& logger : MoreLoggers()) {
        static_cast<void>(logger->isEnabledFor(log4cxx::Level::getInfo()));
    }
}

}  // namespace tarqlog::bench
