#include "tarqlog/logsysinfo.h"

#include <pthread.h>
#include <sys/time.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include "thread_data.h"

namespace tarqlog {

namespace {

#if defined(__linux__)

thread_local unsigned int threadId TARQLOG_STATIC_TLS = 0;  // 0 until the thread has asked

void ForgetThreadId() {
    threadId = 0;
}

// In the child of a fork the one thread is another.
[[maybe_unused]] int const registered = ::pthread_atfork(nullptr, nullptr, ForgetThreadId);

/// Asks the kernel once per thread.
unsigned int SmallThreadId() {
    if (threadId == 0) {
        threadId = static_cast<unsigned int>(::syscall(SYS_gettid));
    }
    return threadId;
}

#else

unsigned int SmallThreadId() {
    return ::pthread_mach_thread_np(::pthread_self());
}

#endif

}  // namespace

// Constant-initialised: a record built by another library's static constructor finds them set.
long long (*LogSysInfo::getTimeFunc_)() = GetLocalTimeInMs;
unsigned int (*LogSysInfo::getThreadIdFunc_)() = GetThisThreadId;

long long GetLocalTimeInMs() {
    timeval now;
    if (::gettimeofday(&now, nullptr) < 0) {
        return 0;
    }
    return now.tv_sec * 1000LL + now.tv_usec / 1000;
}

unsigned int GetThisThreadId() {
    return SmallThreadId();
}

long long (*LogSysInfo::SetGetTimeFunc(long long (*func)()))() {
    long long (*const previous)() = getTimeFunc_;
    if (func != nullptr) {
        getTimeFunc_ = func;
    }
    return previous;
}

unsigned int (*LogSysInfo::SetGetThreadIdFunc(unsigned int (*func)()))() {
    unsigned int (*const previous)() = getThreadIdFunc_;
    if (func != nullptr) {
        getThreadIdFunc_ = func;
    }
    return previous;
}

bool LogSysInfo::LocalTime(long seconds, std::tm* out) {
    std::time_t const time = seconds;
    return ::localtime_r(&time, out) == out;
}

bool LogSysInfo::GmTime(long seconds, std::tm* out) {
    std::time_t const time = seconds;
    return ::gmtime_r(&time, out) == out;
}

}  // namespace tarqlog
