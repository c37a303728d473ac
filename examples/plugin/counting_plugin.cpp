// The plug-in of plugin.cpp: a destination and a logger of its own.

#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

#include "start_plugin.h"

using namespace tarqlog;

namespace {

// The code of all this is the plug-in's and goes with it.

void FormatNothing(std::string&, LogRecord const&) {}

class CountingAppender : public AppenderBase {
public:
    explicit CountingAppender(std::atomic<long>& lines)
        : AppenderBase(&FormatNothing), lines_(lines) {}

protected:
    void DoAppend(LogRecord const&) override { ++lines_; }

private:
    std::atomic<long>& lines_;
};

// Made by dlopen() and destroyed by dlclose(), when none of the functions that use it is running.
Logger logger("plugin");

}  // namespace

void StartPlugin(std::atomic<long>& lines) {
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<CountingAppender>(lines));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);

    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        LogRecordStreamBuf buffer(record);
        LogStream(&buffer) << "started";
        logger.PushRecord(record);
    }
}
