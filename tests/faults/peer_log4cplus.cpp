#include <stdexcept>

#include <log4cplus/configurator.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

class Thrower : public log4cplus::Appender {
public:
    ~Thrower() override { destructorImpl(); }

    void close() override {}

protected:
    void append(log4cplus::spi::InternalLoggingEvent const& /*event*/) override {
        CountHit();
        throw std::runtime_error("thrown");
    }
};

/// Never destroyed: threads and static destructors log until the very end.
log4cplus::Logger& TheLogger() {
    static auto& logger = *new log4cplus::Logger(log4cplus::Logger::getInstance("f"));
    return logger;
}

log4cplus::SharedAppenderPtr MakeAppender(Settings const& settings) {
    if (settings.limitKiB > 0) {
        return log4cplus::SharedAppenderPtr(new log4cplus::RollingFileAppender(
            settings.file, settings.limitKiB * 1024, settings.kept, settings.buffered == 0, false));
    }
    return log4cplus::SharedAppenderPtr(new log4cplus::FileAppender(
        settings.file, std::ios_base::app, settings.buffered == 0, false));
}

}  // namespace

Description Describe() {
    return {
        "log4cplus", "A [9 9:9:9.9][t:9](f):", "",
        "FileAppender, mode app, or RollingFileAppender; unbuffered: ImmediateFlush true; "
        "buffered: ImmediateFlush false, nothing flushed for warnings; reconfigured by an added "
        "and removed appender"};
}

void Open(Settings const& settings) {
    if (settings.udp != 0 || settings.syslog) {
        throw Cannot("not tried");
    }
    static auto& initializer = *new log4cplus::Initializer;
    static_cast<void>(initializer);
    log4cplus::SharedAppenderPtr const appender = MakeAppender(settings);
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("%p [%D{%Y-%m-%d %H:%M:%S.%q}][t:%t](f):%m%n"));
    TheLogger().addAppender(appender);
    if (settings.thrower) {
        TheLogger().addAppender(log4cplus::SharedAppenderPtr(new Thrower));
    }
}

bool Log(Level level, std::string const& text) {
    TheLogger().log(level == Level::kInfo      ? log4cplus::INFO_LOG_LEVEL
                    : level == Level::kWarning ? log4cplus::WARN_LOG_LEVEL
                                               : log4cplus::ERROR_LOG_LEVEL,
                    text);
    return true;
}

void Reconfigure(int change) {
    static log4cplus::SharedAppenderPtr const idle(new log4cplus::NullAppender);
    if (change % 2 == 0) {
        TheLogger().addAppender(idle);
    } else {
        TheLogger().removeAppender(idle);
    }
}

void Close() {
    log4cplus::Logger::shutdown();
}

}  // namespace tarqlog::faults
