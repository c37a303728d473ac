#include <mutex>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/sinks/udp_sink.h>
#include <spdlog/spdlog.h>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

class Thrower : public spdlog::sinks::base_sink<std::mutex> {
protected:
    void sink_it_(spdlog::details::log_msg const& /*message*/) override {
        CountHit();
        throw std::runtime_error("thrown");
    }

    void flush_() override {}
};

/// Never destroyed: threads and static destructors log until the very end.
std::shared_ptr<spdlog::logger>& TheLogger() {
    static auto& logger = *new std::shared_ptr<spdlog::logger>;
    return logger;
}

spdlog::sink_ptr MakeSink(Settings const& settings) {
    if (settings.udp != 0) {
        return std::make_shared<spdlog::sinks::udp_sink_mt>(
            spdlog::sinks::udp_sink_config("127.0.0.1", static_cast<std::uint16_t>(settings.udp)));
    }
    if (settings.syslog) {
        return std::make_shared<spdlog::sinks::syslog_sink_mt>("f", LOG_PID, LOG_USER, true);
    }
    if (settings.limitKiB > 0) {
        return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
            settings.file, static_cast<std::size_t>(settings.limitKiB) * 1024,
            static_cast<std::size_t>(settings.kept));
    }
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(settings.file);
}

}  // namespace

Description Describe() {
    return {"spdlog", "A [9 9:9:9.9][t:9](f):", "",
            "basic_file_sink_mt or rotating_file_sink_mt; unbuffered: flush_on(trace); buffered: "
            "flush_on(warn); reconfigured by set_level() and set_pattern()"};
}

void Open(Settings const& settings) {
    TheLogger() = std::make_shared<spdlog::logger>("f", MakeSink(settings));
    if (settings.thrower) {
        TheLogger()->sinks().push_back(std::make_shared<Thrower>());
    }
    spdlog::initialize_logger(TheLogger());
    Reconfigure(0);
    TheLogger()->flush_on(settings.buffered > 0 ? spdlog::level::warn : spdlog::level::trace);
}

bool Log(Level level, std::string const& text) {
    TheLogger()->log(level == Level::kInfo      ? spdlog::level::info
                     : level == Level::kWarning ? spdlog::level::warn
                                                : spdlog::level::err,
                     spdlog::string_view_t(text));
    return true;
}

void Reconfigure(int change) {
    TheLogger()->set_level(change % 2 == 0 ? spdlog::level::trace : spdlog::level::info);
    TheLogger()->set_pattern("%L [%Y-%m-%d %H:%M:%S.%e][t:%t](f):%v");
}

void Close() {
    spdlog::shutdown();
}

}  // namespace tarqlog::faults
