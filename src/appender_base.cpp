#include "tarqlog/appender_base.h"

#include <atomic>

#include "tarqlog/scoped_lock.h"

#include "record_text.h"

namespace tarqlog {

struct AppenderBase::Private {
    explicit Private(FormatHeaderFunc const& function) : formatHeader(function) {}

    threads::ThreadMutex mutex;
    // Relaxed: a mask guards nothing, and a change need only reach later records.
    std::atomic<Severity> severity{kAllSeverities};
    std::string header TARQLOG_GUARDED_BY(mutex);
    FormatHeaderFunc formatHeader TARQLOG_GUARDED_BY(mutex);
};

AppenderBase::AppenderBase(bool fullHeader) : AppenderBase(DefaultFormatHeaderFunc(fullHeader)) {}

AppenderBase::AppenderBase(FormatHeaderFunc const& formatHeader)
    : impl_(new Private(formatHeader)) {}

AppenderBase::~AppenderBase() = default;

void AppenderBase::Append(LogRecord const& record) {
    if (!HasText(record) || (GetSevertiy() & record.GetSeverity()) == 0) {
        return;
    }
    threads::ScopedLock const lock(impl_->mutex);
    impl_->header.clear();
    impl_->formatHeader(impl_->header, record);
    DoAppend(record);
}

void AppenderBase::SetSeverity(Severity severity) {
    impl_->severity.store(severity, std::memory_order_relaxed);
}

Severity AppenderBase::GetSevertiy() const {
    return impl_->severity.load(std::memory_order_relaxed);
}

void AppenderBase::SetHeaderFunc(FormatHeaderFunc const& formatHeader) {
    FormatHeaderFunc function = formatHeader;  // the old one's end needs no lock
    threads::ScopedLock const lock(impl_->mutex);
    impl_->formatHeader.swap(function);
}

// Called from DoAppend(), where Append() holds the mutex; the analysis does not see that far.
std::string const& AppenderBase::Header() const TARQLOG_NO_THREAD_SAFETY_ANALYSIS {
    return impl_->header;
}

threads::ThreadMutex& AppenderBase::Mutex() const {
    return impl_->mutex;
}

}  // namespace tarqlog
