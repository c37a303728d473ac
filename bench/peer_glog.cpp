#include <mutex>
#include <string>

#include <glog/logging.h>

#include "header.h"
#include "program.h"

namespace tarqlog::bench {

namespace {

class DiscardingSink : public google::LogSink {
public:
    void send(google::LogSeverity /*severity*/, char const* /*path*/, char const* /*name*/,
              int /*line*/, google::LogMessageTime const& /*time*/, char const* text,
              std::size_t size) override {
        std::lock_guard<std::mutex> const lock(mutex_);  // glog takes none for a sink of a message
        Discard({text, size});
    }

private:
    std::mutex mutex_;
};

DiscardingSink theSink;
std::string theTag;

/// With the time that the message has taken for itself.
std::ostream& WithHeader(google::LogMessage& message) {
    google::LogMessageTime const& time = message.getLogMessageTime();
    HandMadeHeader const header(time.tm(), time.usec() / 1000, theTag);
    return message.stream() << header.Text();
}

/// Each makes what LOG(INFO) or LOG_TO_SINK_BUT_NOT_TO_LOGFILE() makes, which keep it to
/// themselves.
class ToFile : public google::LogMessage {
public:
    ToFile() : LogMessage(__FILE__, __LINE__, google::GLOG_INFO) {}
};
class ToSink : public google::LogMessage {
public:
    ToSink() : LogMessage(__FILE__, __LINE__, google::GLOG_INFO, &theSink, false) {}
};

template <class Message>
void LogTo(Settings const& settings, long first, long count) {
    if (settings.size > 0) {
        std::string const text = Filler(settings.size);
        ForEach(first, count, [&](long /*index*/) {
            Message message;
            WithHeader(message) << text;
        });
        return;
    }
    ForEach(first, count, [](long index) {
        Request const request(index);
        Message message;
        WithHeader(message) << "request " << request.Id() << " took " << request.Us() << " us path "
                            << request.Path() << " status " << request.Status();
    });
}

void LogDisabled(long first, long count) {
    ForEach(first, count, [](long index) {
        Request const request(index);
        VLOG(1) << "request " << request.Id() << " took " << request.Us() << " us path "
                << request.Path() << " status " << request.Status();
    });
}

}  // namespace

Description Describe() {
    return {
        "glog",
        "log_prefix off and the header by hand, with the message's own time; disabled: VLOG(1); "
        "discarded: a LogSink with a lock, and no file; file: logbuflevel -1; buffered: "
        "logbuflevel 0, logbufsecs 30; console: logtostderr",
        4};
}

void Open(Settings const& settings) {
    std::string const& row = settings.row;
    if (row == "udp" || row == "async") {
        throw Cannot("no row " + row);
    }
    if (row == "rolling") {
        throw Cannot("files of one second would have one name, and all are kept");
    }
    if (settings.sinks > 1) {
        throw Cannot("one file of a severity");
    }
    if (settings.size > 20000) {
        throw Cannot("cuts longer texts");
    }
    theTag = TagOf(settings);
    FLAGS_log_prefix = false;
    FLAGS_log_utc_time = true;
    FLAGS_timestamp_in_logfile_name = false;
    FLAGS_logtostderr = row == "console" || row == "pipe";
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    FLAGS_logbuflevel = row == "buffered" ? google::GLOG_INFO : -1;
    FLAGS_logbufsecs = 30;
    google::InitGoogleLogging("bench");
    google::SetLogDestination(google::GLOG_INFO, settings.file.c_str());
    google::SetLogDestination(google::GLOG_WARNING, "");
    google::SetLogDestination(google::GLOG_ERROR, "");
    google::SetLogSymlink(google::GLOG_INFO, "");
}

void Log(Settings const& settings, long first, long count) {
    if (settings.row == "disabled") {
        LogDisabled(first, count);
    } else if (settings.row == "discarded") {
        LogTo<ToSink>(settings, first, count);
    } else {
        LogTo<ToFile>(settings, first, count);
    }
}

void Finish(Settings const& /*settings*/) {
    google::FlushLogFiles(google::GLOG_INFO);
}

void KeepAppenders(Settings const& /*settings*/, int /*count*/) {
    throw Cannot("one file of a severity");
}

void MakeLoggers(int /*count*/) {
    throw Cannot("no loggers");
}

void RefreshLoggers() {}

}  // namespace tarqlog::bench
