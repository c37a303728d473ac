#ifndef TARQLOG_TESTS_SUPPORT_SINKS_H_
#define TARQLOG_TESTS_SUPPORT_SINKS_H_

#include <set>

#include <boost/make_shared.hpp>

#include "tarqlog/appender_base.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/logsink.h"

#include "support/event.h"
#include "support/noting_appender.h"

namespace tarqlog {

inline std::set<FilterRule> RootRule(Severity severity) {
    return {FilterRule(severity)};
}

inline boost::shared_ptr<LogSink> SinkOf(boost::shared_ptr<AppenderBase> const& appender) {
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(appender);
    return sink;
}

inline boost::shared_ptr<LogSink> AnySink() {
    return SinkOf(boost::make_shared<NotingAppender>());
}

/// Says that it is inside, and stays there until it may leave.
class StuckAppender : public AppenderBase {
public:
    StuckAppender() : AppenderBase(false) {}

    Event inside;
    Event mayLeave;

protected:
    void DoAppend(LogRecord const&) override {
        inside.Set();
        mayLeave.Wait();
    }
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_SINKS_H_
