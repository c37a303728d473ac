#include <stdexcept>

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/fileappender.h>
#include <log4cxx/helpers/pool.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/rolling/fixedwindowrollingpolicy.h>
#include <log4cxx/rolling/rollingfileappender.h>
#include <log4cxx/rolling/sizebasedtriggeringpolicy.h>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

/// Does nothing, or throws.
class OwnAppender : public log4cxx::AppenderSkeleton {
public:
    explicit OwnAppender(bool throws) : throws_(throws) {}

    void close() override {}
    bool requiresLayout() const override { return false; }

protected:
    void append(log4cxx::spi::LoggingEventPtr const& /*event*/,
                log4cxx::helpers::Pool& /*pool*/) override {
        if (throws_) {
            CountHit();
            throw std::runtime_error("thrown");
        }
    }

private:
    bool const throws_;
};

/// Never destroyed: threads and static destructors log until the very end.
log4cxx::LoggerPtr& TheLogger() {
    static auto& logger = *new log4cxx::LoggerPtr(log4cxx::Logger::getLogger("f"));
    return logger;
}

log4cxx::LayoutPtr MakeLayout() {
    return std::make_shared<log4cxx::PatternLayout>(
        "%p [%d{yyyy-MM-dd HH:mm:ss.SSS}][t:%t](f):%m%n");
}

log4cxx::AppenderPtr MakeAppender(Settings const& settings) {
    if (settings.limitKiB == 0) {
        auto const appender = std::make_shared<log4cxx::FileAppender>();
        appender->setLayout(MakeLayout());
        appender->setFile(settings.file);
        appender->setAppend(true);
        appender->setBufferedIO(settings.buffered > 0);
        appender->setImmediateFlush(settings.buffered == 0);
        return appender;
    }
    auto const policy = std::make_shared<log4cxx::rolling::FixedWindowRollingPolicy>();
    policy->setMinIndex(1);
    policy->setMaxIndex(settings.kept);
    policy->setFileNamePattern(settings.file + ".%i");
    auto const trigger = std::make_shared<log4cxx::rolling::SizeBasedTriggeringPolicy>();
    trigger->setMaxFileSize(static_cast<std::size_t>(settings.limitKiB) * 1024);
    auto const appender = std::make_shared<log4cxx::rolling::RollingFileAppender>();
    appender->setLayout(MakeLayout());
    appender->setFile(settings.file);
    appender->setRollingPolicy(policy);
    appender->setTriggeringPolicy(trigger);
    appender->setImmediateFlush(settings.buffered == 0);
    return appender;
}

}  // namespace

Description Describe() {
    return {"log4cxx", "A [9 9:9:9.9][t:9](f):", "",
            "FileAppender, append, or rolling::RollingFileAppender with FixedWindowRollingPolicy; "
            "unbuffered: ImmediateFlush; buffered: BufferedIO, nothing flushed for warnings; "
            "reconfigured by an added and removed appender"};
}

void Open(Settings const& settings) {
    if (settings.udp != 0 || settings.syslog) {
        throw Cannot("not tried");
    }
    log4cxx::helpers::Pool pool;
    log4cxx::AppenderPtr const appender = MakeAppender(settings);
    appender->activateOptions(pool);
    TheLogger()->addAppender(appender);
    TheLogger()->setLevel(log4cxx::Level::getInfo());
    if (settings.thrower) {
        TheLogger()->addAppender(std::make_shared<OwnAppender>(true));
    }
}

bool Log(Level level, std::string const& text) {
    TheLogger()->forcedLog(level == Level::kInfo      ? log4cxx::Level::getInfo()
                           : level == Level::kWarning ? log4cxx::Level::getWarn()
                                                      : log4cxx::Level::getError(),
                           text, log4cxx::spi::LocationInfo::getLocationUnavailable());
    return true;
}

void Reconfigure(int change) {
    static log4cxx::AppenderPtr const idle = std::make_shared<OwnAppender>(false);
    if (change % 2 == 0) {
        TheLogger()->addAppender(idle);
    } else {
        TheLogger()->removeAppender(idle);
    }
}

void Close() {
    log4cxx::LogManager::shutdown();
}

}  // namespace tarqlog::faults
