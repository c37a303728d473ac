#include "tarqlog/logsink.h"

#include <vector>

#include "tarqlog/appender_base.h"

namespace tarqlog {

struct LogSink::Private {
    std::vector<boost::shared_ptr<AppenderBase>> appenders;
};

LogSink::LogSink() : impl_(new Private) {}

LogSink::~LogSink() {
    for (boost::shared_ptr<AppenderBase>& appender : impl_->appenders) {
        appender.reset();  // in order; a vector may destroy its elements from the back
    }
}

void LogSink::AddAppender(boost::shared_ptr<AppenderBase> const& appender) {
    if (appender) {
        impl_->appenders.push_back(appender);
    }
}

int LogSink::Count() const {
    return static_cast<int>(impl_->appenders.size());
}

std::vector<boost::shared_ptr<AppenderBase>> const& LogSink::GetAppenders() const {
    return impl_->appenders;
}

void LogSink::Consume(LogRecord const& record) {
    for (boost::shared_ptr<AppenderBase> const& appender : impl_->appenders) {
        appender->Append(record);
    }
}

}  // namespace tarqlog
