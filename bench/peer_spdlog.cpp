#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/async.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/udp_sink.h>
#include <spdlog/spdlog.h>

#include "program.h"

namespace tarqlog::bench {

namespace {

class DiscardingSink : public spdlog::sinks::base_sink<std::mutex> {
protected:
    void sink_it_(spdlog::details::log_msg const& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        Discard({line.data(), line.size()});
    }

    void flush_() override {}
};

std::shared_ptr<spdlog::logger> theLogger;
std::vector<std::shared_ptr<spdlog::logger>> moreLoggers;
std::vector<spdlog::sink_ptr> moreSinks;

spdlog::sink_ptr MakeSink(Settings const& settings) {
    std::string const& row = settings.row;
    if (row == "disabled" || row == "discarded") {
        return std::make_shared<DiscardingSink>();
    }
    if (row == "console" || row == "pipe") {
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    }
    if (row == "udp") {
        return std::make_shared<spdlog::sinks::udp_sink_mt>(
            spdlog::sinks::udp_sink_config("127.0.0.1", static_cast<std::uint16_t>(settings.port)));
    }
    if (row == "rolling") {
        return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(settings.file, 1024 * 1024,
                                                                      5);
    }
    if (row == "file" || row == "buffered" || row == "async") {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(settings.file);
    }
    throw Cannot("no row " + row);
}

}  // namespace

Description Describe() {
    return {"spdlog",
            "the packaged library, _mt sinks; file: flush_on(trace); buffered, rolling, async: "
            "flush_on(warn); console: stderr_sink_mt; async: init_thread_pool(8192, 1), block",
            0};
}

void Open(Settings const& settings) {
    std::vector<spdlog::sink_ptr> sinks;
    for (int i = 0; i < settings.sinks; ++i) {
        sinks.push_back(MakeSink(settings));
    }
    if (settings.row == "async") {
        spdlog::init_thread_pool(8192, 1);
        theLogger = std::make_shared<spdlog::async_logger>(TagOf(settings), sinks.begin(),
                                                           sinks.end(), spdlog::thread_pool());
    } else {
        theLogger = std::make_shared<spdlog::logger>(TagOf(settings), sinks.begin(), sinks.end());
    }
    theLogger->set_formatter(std::make_unique<spdlog::pattern_formatter>(
        "%L [%Y-%m-%d %H:%M:%S.%e][t:%t](%n):%v", spdlog::pattern_time_type::utc));
    theLogger->set_level(settings.row == "disabled" ? spdlog::level::warn : spdlog::level::trace);
    theLogger->flush_on(settings.row == "file" ? spdlog::level::trace : spdlog::level::warn);
}

void Log(Settings const& settings, long first, long count) {
    spdlog::logger* const log = theLogger.get();
    if (settings.size > 0) {
        std::string const text = Filler(settings.size);
        ForEach(first, count, [&](long /*index*/) { SPDLOG_LOGGER_INFO(log, "{}", text); });
        return;
    }
    ForEach(first, count, [log](long index) {
        Request const request(index);
        SPDLOG_LOGGER_INFO(log, "request {} took {} us path {} status {}", request.Id(),
                           request.Us(), request.Path(), request.Status());
    });
}

void Finish(Settings const& settings) {
    if (settings.row == "async") {
        theLogger.reset();
        spdlog::shutdown();  // waits for the queue
    } else {
        theLogger->flush();
    }
}

void KeepAppenders(Settings const& settings, int count) {
    for (int i = 0; i < count; ++i) {
        moreSinks.push_back(MakeSink(settings));
    }
}

void MakeLoggers(int count) {
    for (int i = 0; i < count; ++i) {
        moreLoggers.push_back(std::make_shared<spdlog::logger>("core.io.part" + std::to_string(i),
                                                               theLogger->sinks().front()));
    }
}

void RefreshLoggers() {
    for (auto const& logger : moreLoggers) {
        logger->set_level(spdlog::level::info);
        static_cast<void>(logger->should_log(spdlog::level::info));
    }
}

}  // namespace tarqlog::bench
