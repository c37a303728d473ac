#include <string>
#include <vector>

#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "program.h"

namespace tarqlog::bench {

namespace {

class DiscardingAppender : public log4cplus::Appender {
public:
    ~DiscardingAppender() override { destructorImpl(); }

    void close() override {}

protected:
    void append(log4cplus::spi::InternalLoggingEvent const& event) override {
        Discard(formatEvent(event));
    }
};

log4cplus::Logger& TheLogger() {
    static auto& logger = *new log4cplus::Logger;
    return logger;
}

std::vector<log4cplus::Logger>& MoreLoggers() {
    static auto& loggers = *new std::vector<log4cplus::Logger>;
    return loggers;
}

std::vector<log4cplus::SharedAppenderPtr>& Appenders() {
    static auto& appenders = *new std::vector<log4cplus::SharedAppenderPtr>;
    return appenders;
}

log4cplus::Appender* MakeAppender(Settings const& settings) {
    std::string const& row = settings.row;
    bool const isFlushed = !IsBuffered(settings);
    if (row == "disabled" || row == "discarded") {
        return new DiscardingAppender;
    }
    if (row == "console" || row == "pipe") {
        return new log4cplus::ConsoleAppender(true, true);
    }
    if (row == "rolling") {
        return new log4cplus::RollingFileAppender(settings.file, 1024L * 1024, 5, isFlushed);
    }
    if (row == "file" || row == "buffered") {
        return new log4cplus::FileAppender(settings.file, std::ios_base::app, isFlushed);
    }
    throw Cannot("no row " + row);
}

log4cplus::SharedAppenderPtr OpenAppender(Settings const& settings) {
    log4cplus::SharedAppenderPtr appender(MakeAppender(settings));
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("%p [%d{%Y-%m-%d %H:%M:%S.%q}][t:%T](%c):%m%n"));
    return appender;
}

log4cplus::tstring const& Letter(log4cplus::LogLevel /*level*/) {
    static log4cplus::tstring const letter = "I";
    return letter;
}

}  // namespace

Description Describe() {
    return {"log4cplus",
            "PatternLayout with levels of one letter; FileAppender: ImmediateFlush; buffered, and "
            "RollingFileAppender: without; console: ConsoleAppender of standard error",
            0};
}

void Open(Settings const& settings) {
    static auto& initializer = *new log4cplus::Initializer;
    static_cast<void>(initializer);
    log4cplus::getLogLevelManager().pushToStringMethod(Letter);
    TheLogger() = log4cplus::Logger::getInstance(TagOf(settings));
    for (int i = 0; i < settings.sinks; ++i) {
        Appenders().push_back(OpenAppender(settings));
        TheLogger().addAppender(Appenders().back());
    }
    TheLogger().setLogLevel(settings.row == "disabled" ? log4cplus::WARN_LOG_LEVEL
                                                       : log4cplus::TRACE_LOG_LEVEL);
}

void Log(Settings const& settings, long first, long count) {
    log4cplus::Logger const& logger = TheLogger();
    if (settings.size > 0) {
        std::string const text = Filler(settings.size);
        ForEach(first, count, [&](long /*index*/) { LOG4CPLUS_INFO(logger, text); });
        return;
    }
    ForEach(first, count, [&logger](long index) {
        Request const request(index);
        LOG4CPLUS_INFO(logger, "request " << request.Id() << " took " << request.Us() << " us path "
                                          << request.Path() << " status " << request.Status());
    });
}

/// Nothing but its end flushes an appender that buffers; the clock does not miss what is left in
/// it.
void Finish(Settings const& settings) {
    if (isChecked && IsBuffered(settings)) {
        for (log4cplus::SharedAppenderPtr const& appender : Appenders()) {
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
        MoreLoggers().push_back(log4cplus::Logger::getInstance("core.io.part" + std::to_string(i)));
        static_cast<void>(MoreLoggers().back().isEnabledFor(log4cplus::INFO_LOG_LEVEL));
    }
}

void RefreshLoggers() {
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);
    for (log4cplus::Logger const& logger : MoreLoggers()) {
        static_cast<void>(logger.isEnabledFor(log4cplus::INFO_LOG_LEVEL));
    }
}

}  // namespace tarqlog::bench
