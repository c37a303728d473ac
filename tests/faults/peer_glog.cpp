#include <stdexcept>

#include <glog/logging.h>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

class Thrower : public google::LogSink {
public:
    void send(google::LogSeverity /*severity*/, char const* /*path*/, char const* /*name*/,
              int /*line*/, tm const* /*time*/, char const* /*text*/,
              std::size_t /*size*/) override {
        CountHit();
        throw std::runtime_error("thrown");
    }
};

}  // namespace

Description Describe() {
    return {"glog", "A9 9:9:9.9 9 f.cpp:9] ", "Log file created|Running |Log line format",
            "SetLogDestination(INFO), no time in the file's name (but where files roll), no header "
            "lines; unbuffered: logbuflevel -1; buffered: logbuflevel 0 and logbufsecs 30; "
            "max_log_size 1 MB; reconfigured by SetVLOGLevel() and an added and removed LogSink"};
}

void Open(Settings const& settings) {
    if (settings.udp != 0 || settings.syslog) {
        throw Cannot("no such destination");
    }
    FLAGS_timestamp_in_logfile_name = settings.limitKiB > 0;
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    FLAGS_logbuflevel = settings.buffered > 0 ? google::GLOG_INFO : -1;
    FLAGS_max_log_size = 1;
    google::InitGoogleLogging("f");
    google::SetLogDestination(google::GLOG_INFO, settings.file.c_str());
    google::SetLogDestination(google::GLOG_WARNING, "");
    google::SetLogDestination(google::GLOG_ERROR, "");
    google::SetLogSymlink(google::GLOG_INFO, "");
    if (settings.thrower) {
        static Thrower thrower;
        google::AddLogSink(&thrower);
    }
}

bool Log(Level level, std::string const& text) {
    google::LogMessage("f.cpp", 1,
                       level == Level::kInfo      ? google::GLOG_INFO
                       : level == Level::kWarning ? google::GLOG_WARNING
                                                  : google::GLOG_ERROR)
            .stream()
        << text;
    return true;
}

void Reconfigure(int change) {
    struct Idle : google::LogSink {
        void send(google::LogSeverity, char const*, char const*, int, tm const*, char const*,
                  std::size_t) override {}
    };
    static Idle idle;
    google::SetVLOGLevel("f", change % 2);
    if (change % 2 == 0) {
        google::AddLogSink(&idle);
    } else {
        google::RemoveLogSink(&idle);
    }
}

void Close() {
    google::ShutdownGoogleLogging();
}

}  // namespace tarqlog::faults
