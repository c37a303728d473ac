#include "tarqlog/logger.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tarqlog/logcore.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/sink_entry.h"
#include "tarqlog/thread_mutex.h"
#include "tarqlog/thread_shared_mutex.h"

#include "split_to_parts.h"

namespace tarqlog {

namespace {

constexpr char kTextEnd = '\0';

}  // namespace

class LoggerImpl {
public:
    LoggerImpl(const char* tag, bool underscoreAsDot, Logger::View& view);

    void PushRecord(LogRecord& record) const;
    void UpdateCache();

private:
    LogCore* const core_;
    Logger::View& view_;
    std::vector<std::string> parts_;  // fixed after construction, records point at it
    std::vector<SinkEntry> sinks_ TARQLOG_GUARDED_BY(mutex_);
    mutable threads::SharedMutex mutex_;
    threads::ThreadMutex turn_;  // to refresh; before mutex_
};

LoggerImpl::LoggerImpl(const char* tag, bool underscoreAsDot, Logger::View& view)
    : core_(LogCore::Get()), view_(view) {
    view_.current = &core_->Generation();
    std::string dotted(tag != nullptr ? tag : "");
    if (underscoreAsDot) {
        std::replace(dotted.begin(), dotted.end(), '_', '.');
    }
    SplitToParts(dotted, parts_);
}

void LoggerImpl::PushRecord(LogRecord& record) const {
    record.tag_ = &parts_;
    record.data_.push_back(kTextEnd);
    core_->StepAside();
    threads::ScopedSharedLock const lock(mutex_);
    core_->Deliver(view_.generation.load(std::memory_order_relaxed), sinks_, record);
}

void LoggerImpl::UpdateCache() {
    core_->StepAside();
    // Who is late must not wait for mutex_: with enough threads that push what the first refresh
    // has let through, it is never free. The first one waits only for pushes that are dropped.
    threads::ScopedLock const turn(turn_);
    if (view_.generation.load(std::memory_order_relaxed) == core_->GetConfigGeneration()) {
        return;  // another thread was here first
    }
    threads::ScopedLock const lock(mutex_);
    unsigned int const generation = core_->CollectSinks(sinks_, parts_);
    Severity mask = Severity();
    for (SinkEntry const& entry : sinks_) {
        mask |= entry.second;
    }
    view_.mask.store(mask, std::memory_order_relaxed);
    view_.generation.store(generation, std::memory_order_release);
}

Logger::Logger(const char* tag, bool underscoreAsDot)
    : view_{nullptr, {0}, {Severity()}}, impl_(new LoggerImpl(tag, underscoreAsDot, view_)) {}

Logger::~Logger() = default;

bool Logger::HasSinkAnew(Severity severity) {
    impl_->UpdateCache();
    return (view_.mask.load(std::memory_order_relaxed) & severity) != 0;
}

void Logger::PushRecord(LogRecord& record) {
    impl_->PushRecord(record);
}

}  // namespace tarqlog
