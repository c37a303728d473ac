#include "tarqlog/logger.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "tarqlog/logcore.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/sink_entry.h"
#include "tarqlog/thread_shared_mutex.h"

#include "config_generation.h"
#include "split_to_parts.h"

namespace tarqlog {

class LoggerImpl {
public:
    LoggerImpl(const char* tag, bool underscoreAsDot);

    bool HasSink(Severity severity);
    void PushRecord(LogRecord& record) const;

private:
    bool Wants(Severity severity) const {
        return (severityMask_.load(std::memory_order_relaxed) & severity) != 0;
    }
    __attribute__((noinline)) bool HasSinkAnew(Severity severity);
    void UpdateCache();

    LogCore* const core_;
    ConfigGeneration const& coreGeneration_;
    // Both are written under mutex_ and read without it: first the mask and then, releasing it, the
    // generation, so that who sees a generation sees its mask or a later one.
    std::atomic<unsigned int> generation_{0};
    std::vector<std::string> parts_;  // fixed after construction, records point at it
    std::atomic<Severity> severityMask_{Severity()};
    std::vector<SinkEntry> sinks_ TARQLOG_GUARDED_BY(mutex_);
    mutable threads::SharedMutex mutex_;
};

LoggerImpl::LoggerImpl(const char* tag, bool underscoreAsDot)
    : core_(LogCore::Get()), coreGeneration_(core_->Generation()) {
    std::string dotted(tag != nullptr ? tag : "");
    if (underscoreAsDot) {
        std::replace(dotted.begin(), dotted.end(), '_', '.');
    }
    SplitToParts(dotted, parts_);
}

bool LoggerImpl::HasSink(Severity severity) {
    // A call at the end alone: what is asked most has no stack frame to set up.
    return generation_.load(std::memory_order_acquire) == coreGeneration_.Get()
               ? Wants(severity)
               : HasSinkAnew(severity);
}

bool LoggerImpl::HasSinkAnew(Severity severity) {
    UpdateCache();
    return Wants(severity);
}

void LoggerImpl::PushRecord(LogRecord& record) const {
    record.tag_ = &parts_;
    record.data_.push_back('\0');
    core_->StepAside();
    threads::ScopedSharedLock const lock(mutex_);
    core_->Deliver(generation_.load(std::memory_order_relaxed), sinks_, record);
}

void LoggerImpl::UpdateCache() {
    core_->StepAside();
    threads::ScopedLock const lock(mutex_);
    if (generation_.load(std::memory_order_relaxed) == coreGeneration_.Get()) {
        return;  // another thread was here first
    }
    unsigned int const generation = core_->CollectSinks(sinks_, parts_);
    Severity mask = Severity();
    for (SinkEntry const& entry : sinks_) {
        mask |= entry.second;
    }
    severityMask_.store(mask, std::memory_order_relaxed);
    generation_.store(generation, std::memory_order_release);
}

Logger::Logger(const char* tag, bool underscoreAsDot)
    : impl_(new LoggerImpl(tag, underscoreAsDot)) {}

Logger::~Logger() = default;

bool Logger::HasSink(Severity severity) {
    return impl_->HasSink(severity);
}

void Logger::PushRecord(LogRecord& record) {
    impl_->PushRecord(record);
}

}  // namespace tarqlog
