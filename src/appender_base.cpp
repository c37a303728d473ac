#include "tarqlog/appender_base.h"

#include <atomic>

#include "tarqlog/accounting.h"
#include "tarqlog/scoped_lock.h"

#include "record_text.h"

namespace tarqlog {

namespace {

using Count = std::atomic<unsigned long long>;

unsigned long long Get(Count const& count) {
    return count.load(std::memory_order_relaxed);
}

}  // namespace

struct AppenderBase::Private {
    explicit Private(FormatHeaderFunc const& function) : formatHeader(function) {}

    threads::ThreadMutex mutex;
    // Relaxed: a mask guards nothing, and a change need only reach later records.
    std::atomic<Severity> severity{kAllSeverities};
    std::string header TARQLOG_GUARDED_BY(mutex);
    FormatHeaderFunc formatHeader TARQLOG_GUARDED_BY(mutex);

    Count empty{0};
    Count filtered{0};
    Count taken{0};      // those that are lost, too; written under the mutex
    Count lost[4] = {};  // by LossCause
};

/// Counts a record as taken, and as lost where an exception passes by.
class AppenderBase::Taking {
public:
    explicit Taking(AppenderBase& appender) : appender_(appender) {
        Count& taken = appender.impl_->taken;
        taken.store(Get(taken) + 1, std::memory_order_relaxed);  // nobody else writes meanwhile
    }
    ~Taking() {
        if (!isOver_) {
            appender_.NoteLost(LossCause::kException);
        }
    }

    Taking(Taking const&) = delete;
    Taking& operator=(Taking const&) = delete;

    void End() { isOver_ = true; }

private:
    AppenderBase& appender_;
    bool isOver_ = false;
};

AppenderBase::AppenderBase(bool fullHeader) : AppenderBase(DefaultFormatHeaderFunc(fullHeader)) {}

AppenderBase::AppenderBase(FormatHeaderFunc const& formatHeader)
    : impl_(new Private(formatHeader)) {}

AppenderBase::~AppenderBase() = default;

void AppenderBase::Append(LogRecord const& record) {
    if (!HasText(record)) {
        impl_->empty.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    if ((GetSevertiy() & record.GetSeverity()) == 0) {
        impl_->filtered.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    threads::ScopedLock const lock(impl_->mutex);
    Taking taking(*this);
    impl_->header.clear();
    impl_->formatHeader(impl_->header, record);
    DoAppend(record);
    taking.End();
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

void AppenderBase::NoteLost(LossCause cause, unsigned long long records) {
    // Released, so that who sees a loss sees the record among those taken.
    impl_->lost[static_cast<int>(cause)].fetch_add(records, std::memory_order_release);
}

Account GetAccount(AppenderBase const& appender) {
    AppenderBase::Private const& counts = *appender.impl_;
    auto const lost = [&](LossCause cause) {
        return counts.lost[static_cast<int>(cause)].load(std::memory_order_acquire);
    };
    Account account;
    account.openFailed = lost(LossCause::kOpenFailed);
    account.shortWrite = lost(LossCause::kShortWrite);
    account.sendFailed = lost(LossCause::kSendFailed);
    account.thrown = lost(LossCause::kException);
    account.written = Get(counts.taken) - account.Lost();
    account.empty = Get(counts.empty);
    account.filtered = Get(counts.filtered);
    return account;
}

threads::ThreadMutex& AppenderBase::Mutex() const {
    return impl_->mutex;
}

}  // namespace tarqlog
