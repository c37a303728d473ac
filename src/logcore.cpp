#include "tarqlog/logcore.h"

#include <pthread.h>

#include <atomic>
#include <cstddef>

#include <boost/make_shared.hpp>

#include "tarqlog/assertion.h"
#include "tarqlog/console_appender.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/logsink.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/thread_shared_mutex.h"

#include "config_generation.h"
#include "console_flush.h"
#include "fork_list.h"
#include "held_locks.h"
#include "loghierarchy.h"
#include "thread_data.h"
#include "writer_gate.h"

#if defined(__linux__)
#define TARQLOG_INIT_FIRST __attribute__((init_priority(101)))
#else
#define TARQLOG_INIT_FIRST  // not to be had
#endif

namespace tarqlog {

class LogCoreImpl {
public:
    virtual ~LogCoreImpl() { ReleaseSinks(); }  // without the lock: nobody uses the core any more

    void AddSink(std::set<FilterRule> const& rules, boost::shared_ptr<LogSink> const& sink);
    void AddDefaultSink(Severity severity);
    void RemoveAllSinks();
    void PushRecord(unsigned int generation, std::vector<SinkEntry> const& sinks,
                    LogRecord const& record);
    unsigned int CollectSinks(std::vector<SinkEntry>& sinks,
                              std::vector<std::string> const& tagParts);
    std::vector<SinkRegistration> GetSinks();
    ConfigGeneration const& Generation() const { return generation_; }
    unsigned long long GetStaleRecords() const { return stale_.load(std::memory_order_relaxed); }
    void StepAside() { gate_.StepAside(); }
    void Pause();
    void GoOn();
    void GoOnInChild();

private:
    void Register(std::set<FilterRule>& rules, std::set<FilterRule>& registered)
        TARQLOG_REQUIRES(mutex_);
    void ReleaseSinks() TARQLOG_REQUIRES(mutex_);

    threads::SharedMutex mutex_;
    LogHierarchy hierarchy_ TARQLOG_GUARDED_BY(mutex_);
    std::vector<boost::shared_ptr<LogSink>> sinks_ TARQLOG_GUARDED_BY(mutex_);
    ConfigGeneration generation_;  // written under mutex_, read without it
    WriterGate gate_;              // before mutex_, for readers and writers alike

    std::atomic<unsigned long long> stale_{0};  // records that reached no sink

    // Those of each sink, for who asks. Records pass by what stands above.
    std::vector<std::set<FilterRule>> rules_ TARQLOG_GUARDED_BY(mutex_);
};

struct LogCore::Private : public LogCoreImpl {};

namespace {

// Relaxed: the flag says that logging is over and guards nothing.
std::atomic<bool> loggingIsForbidden{false};

/// Makes the process-wide core, which is never destroyed: threads and static destructors may log
/// until the very end.
class LogCoreHolder {
public:
    LogCoreHolder() {
        TARQLOG_ASSERT(!coreInstance);
        coreInstance = new LogCore;
    }

    static LogCore* coreInstance;
};

LogCore* LogCoreHolder::coreInstance = nullptr;

// A thread that forks from within a delivery cannot wait for its end: nothing is paused, and the
// child has to do without the library.
thread_local bool isPaused TARQLOG_STATIC_TLS = false;

}  // namespace

/// Keeps the process-wide core still while the process forks: nothing is being delivered, collected
/// or changed. In the child, where the locks of other threads would be held for ever, it makes all
/// locks of the library anew.
class ForkPause {
public:
    static void Begin();
    static void End();
    static void EndInChild();

private:
    static LogCoreImpl& Core() { return *LogCore::Get()->impl_; }
};

namespace {

/// Makes the core when the library is loaded, pauses it while the process forks, and at exit closes
/// what the sinks hold open.
class LogCoreInitializer {
public:
    explicit LogCoreInitializer(LogCore* core) : core_(core) {
        // First of all as well, so that what other handlers log before and after is delivered.
        ::pthread_atfork(&ForkPause::Begin, &ForkPause::End, &ForkPause::EndInChild);
    }
    ~LogCoreInitializer() { core_->RemoveAllSinks(); }

    LogCoreInitializer(LogCoreInitializer const&) = delete;
    LogCoreInitializer& operator=(LogCoreInitializer const&) = delete;

private:
    LogCore* const core_;
};

// First of all static objects and thus destroyed last of them also where the library is part of the
// program: what the program's static destructors log is still delivered.
TARQLOG_INIT_FIRST LogCoreInitializer const logCoreInitializer(LogCore::Get());

}  // namespace

void LogCoreImpl::AddSink(std::set<FilterRule> const& rules,
                          boost::shared_ptr<LogSink> const& sink) {
    if (rules.empty() || !sink || sink->Count() <= 0) {
        return;
    }
    std::set<FilterRule> ownRules(rules);
    WriterGate::Passage const passage(gate_);
    threads::ScopedLock const lock(mutex_);
    if (sinks_.size() >= kMaxSinksCount) {
        return;
    }
    rules_.reserve(sinks_.size() + 1);  // so that it grows with sinks_ or not at all
    generation_.Advance();
    sinks_.push_back(sink);
    Register(ownRules, rules_.emplace_back());
}

/// Moves `rules` to `registered` as they enter the tree, one by one: when memory runs out midway,
/// `registered` are those that are in force.
void LogCoreImpl::Register(std::set<FilterRule>& rules, std::set<FilterRule>& registered) {
    std::set<FilterRule> next;
    while (!rules.empty()) {
        next.insert(rules.extract(rules.begin()));
        hierarchy_.Add(next, sinks_.size() - 1);
        registered.merge(next);
    }
}

void LogCoreImpl::AddDefaultSink(Severity severity) {
    std::set<FilterRule> rules;
    rules.insert(FilterRule(severity));
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    sink->AddAppender(boost::make_shared<ConsoleAppender>(ConsoleAppender::kStderr));
    AddSink(rules, sink);
}

void LogCoreImpl::RemoveAllSinks() {
    WriterGate::Passage const passage(gate_);
    threads::ScopedLock const lock(mutex_);  // waits for every delivery in progress
    hierarchy_ = LogHierarchy();
    ReleaseSinks();
    generation_.Advance();
}

/// Waits as a writer does, and keeps the others waiting.
void LogCoreImpl::Pause() TARQLOG_NO_THREAD_SAFETY_ANALYSIS {
    gate_.Enter();
    mutex_.Lock();
}

void LogCoreImpl::GoOn() TARQLOG_NO_THREAD_SAFETY_ANALYSIS {
    mutex_.Unlock();
    gate_.Leave();
}

/// After all locks were made anew.
void LogCoreImpl::GoOnInChild() {
    ForkList::Disown(mutex_.NativeHandle());
    threads::HeldLocks() = 0;  // mutex_ was this thread's only one
}

void ForkPause::Begin() {
    if (threads::HeldLocks() != 0) {
        return;
    }
    int cancelState = 0;  // a thread cancelled in here would leave all others waiting
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    Core().Pause();
    FlushConsole();
    ::pthread_setcancelstate(cancelState, &cancelState);
    ForkList::Lock();
    isPaused = true;
}

void ForkPause::End() {
    if (isPaused) {
        isPaused = false;
        ForkList::Unlock();
        Core().GoOn();
    }
}

void ForkPause::EndInChild() {
    if (isPaused) {
        isPaused = false;
        ForkList::BeginAnew();
        Core().GoOnInChild();
    }
}

void LogCoreImpl::ReleaseSinks() {
    for (boost::shared_ptr<LogSink>& sink : sinks_) {
        sink.reset();  // in order; a vector may destroy its elements from the back
    }
    sinks_.clear();
    rules_.clear();
}

void LogCoreImpl::PushRecord(unsigned int generation, std::vector<SinkEntry> const& sinks,
                             LogRecord const& record) {
    threads::ScopedSharedLock const lock(mutex_);
    bool isDelivered = false;
    // Otherwise the list is another configuration's, and so is the record: it is dropped.
    if (generation == generation_.Get()) {
        for (SinkEntry const& entry : sinks) {
            if ((entry.second & record.GetSeverity()) != 0) {
                isDelivered = true;
                sinks_[entry.first]->Consume(record);
            }
        }
    }
    if (!isDelivered) {
        stale_.fetch_add(1, std::memory_order_relaxed);
    }
}

unsigned int LogCoreImpl::CollectSinks(std::vector<SinkEntry>& sinks,
                                       std::vector<std::string> const& tagParts) {
    StepAside();
    threads::ScopedSharedLock const lock(mutex_);
    hierarchy_.Collect(sinks, tagParts);
    return generation_.Get();
}

std::vector<SinkRegistration> LogCoreImpl::GetSinks() {
    StepAside();
    std::vector<SinkRegistration> registrations;
    threads::ScopedSharedLock const lock(mutex_);
    registrations.reserve(sinks_.size());
    for (std::size_t i = 0; i < sinks_.size(); ++i) {
        registrations.push_back(SinkRegistration{rules_[i], sinks_[i]});
    }
    return registrations;
}

LogCore::LogCore() : impl_(new Private) {}

LogCore::~LogCore() = default;

LogCore* LogCore::Get() {
    static LogCoreHolder const holder;
    return LogCoreHolder::coreInstance;
}

void LogCore::AddSink(const std::set<FilterRule>& rules, const boost::shared_ptr<LogSink>& sink) {
    impl_->AddSink(rules, sink);
}

void LogCore::AddDefaultSink(Severity severity) {
    impl_->AddDefaultSink(severity);
}

void LogCore::RemoveAllSinks() {
    impl_->RemoveAllSinks();
}

void LogCore::PushRecord(unsigned int generation, const std::vector<SinkEntry>& sinks,
                         const LogRecord& record) {
    StepAside();
    Deliver(generation, sinks, record);
}

unsigned int LogCore::CollectSinks(std::vector<SinkEntry>& sinks,
                                   const std::vector<std::string>& tagParts) const {
    return impl_->CollectSinks(sinks, tagParts);
}

std::vector<SinkRegistration> LogCore::GetSinks() const {
    return impl_->GetSinks();
}

unsigned int LogCore::GetConfigGeneration() const {
    return impl_->Generation().Get();
}

std::atomic<unsigned int> const& LogCore::Generation() const {
    return impl_->Generation().Value();
}

void LogCore::StepAside() const {
    impl_->StepAside();
}

void LogCore::Deliver(unsigned int generation, std::vector<SinkEntry> const& sinks,
                      LogRecord const& record) {
    impl_->PushRecord(generation, sinks, record);
}

unsigned long long GetStaleRecords(LogCore const& core) {
    return core.impl_->GetStaleRecords();
}

bool IsLoggingForbidden() {
    return loggingIsForbidden.load(std::memory_order_relaxed);
}

LogForbiddenGuard::LogForbiddenGuard() = default;

LogForbiddenGuard::~LogForbiddenGuard() {
    loggingIsForbidden.store(true, std::memory_order_relaxed);
    LogCore::Get()->RemoveAllSinks();
}

}  // namespace tarqlog
