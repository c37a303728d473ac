#include "tarqlog/console_appender.h"

#include <atomic>
#include <cstdio>
#include <string_view>

#include "tarqlog/accounting.h"
#include "tarqlog/scoped_lock.h"

#include "console_flush.h"
#include "record_text.h"

namespace tarqlog {

namespace {

// Makes the mutex when the library is loaded, before there are threads.
[[maybe_unused]] threads::ThreadMutex* const forceCreate = &GetGlobalStreamMutex();

// Relaxed: they only ever become true, before anything is written.
std::atomic<bool> usesStdout{false};
std::atomic<bool> usesStderr{false};

}  // namespace

struct ConsoleAppender::Private {
    OutStreamType streamType;
    threads::ThreadMutex* streamMutex;  // not owned
};

threads::ThreadMutex& GetGlobalStreamMutex() {
    // Lives until the process is gone: threads that outlive main() and static destructors may still
    // write to the console.
    static threads::ThreadMutex& mutex = *new threads::ThreadMutex;
    return mutex;
}

ConsoleAppender::ConsoleAppender(OutStreamType streamType)
    : AppenderBase(true), impl_(new Private{streamType, &GetGlobalStreamMutex()}) {
    (streamType != kStdout ? usesStderr : usesStdout).store(true, std::memory_order_relaxed);
}

ConsoleAppender::~ConsoleAppender() = default;

void ConsoleAppender::DoAppend(LogRecord const& record) {
    std::FILE* const stream = impl_->streamType != kStdout ? stderr : stdout;
    std::string const& header = Header();
    std::string_view const text = RecordText(record);
    threads::ScopedLock const lock(*impl_->streamMutex);
    bool const hasHeader =
        std::fwrite(header.data(), header.size(), 1, stream) == 1 || header.empty();
    bool const hasText = std::fwrite(text.data(), text.size(), 1, stream) == 1;
    bool const hasEnd = std::fputc('\n', stream) != EOF;
    if (!hasHeader || !hasText || !hasEnd) {
        NoteLost(LossCause::kShortWrite);
    }
}

void FlushConsole() {
    if (usesStdout.load(std::memory_order_relaxed)) {
        std::fflush(stdout);
    }
    if (usesStderr.load(std::memory_order_relaxed)) {
        std::fflush(stderr);
    }
}

}  // namespace tarqlog
