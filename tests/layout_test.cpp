// The layout that programs are compiled with, on every processor and with every standard library:
// each class of the headers holds what its mirror here does. A change breaks every program that has
// not been compiled anew.

#include <atomic>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/tarqlog.h"

namespace tarqlog {
namespace {

struct OnePointer {
    void* first;
};

/// A class with virtual functions and so many pointers of its own.
template <std::size_t Count>
struct Virtual {
    virtual ~Virtual() = default;
    void* pointers[Count];
};

struct MirroredLogger {
    void* current;
    std::atomic<unsigned int> generation;
    std::atomic<Severity> mask;
    void* impl;
};

struct MirroredRecord {
    Severity severity;
    long long time;
    unsigned long threadId;
    std::vector<char> data;
    void* tag;
};

struct MirroredStatement {
    void* logger;
    Severity severity;
    bool hasRecord;
    MirroredRecord record;
};

struct MirroredStreamStatement : MirroredStatement {
    void* stream;
    std::size_t size;
    bool isClassic;
    alignas(long long) char place[48 * sizeof(void*)];
};

struct MirroredLimit {
    std::atomic<unsigned long long> calls;
    std::atomic<unsigned long long> skipped;
    std::atomic<long long> due;
};

struct MirroredError : std::runtime_error {
    using std::runtime_error::runtime_error;
    int number;
};

struct MirroredOpenFileError : MirroredError {
    using MirroredError::MirroredError;
    int openNumber;
};

struct MirroredStreamBuf : std::streambuf {
    void* record;
};

struct MirroredAndroidAppender : Virtual<1> {
    std::string tag;
};

struct MirroredControlBlock {
    void* mutex;
    bool isOpen;
};

template <class Class, class Mirror>
constexpr bool kIsLike = sizeof(Class) == sizeof(Mirror) && alignof(Class) == alignof(Mirror);

TEST(LayoutTest, LoggingTakesTheRoomItDid) {
    EXPECT_TRUE((kIsLike<Logger, MirroredLogger>));
    EXPECT_TRUE((kIsLike<LogRecord, MirroredRecord>));
    EXPECT_TRUE((kIsLike<LogStatement, MirroredStatement>));
    EXPECT_TRUE((kIsLike<LogStreamStatement, MirroredStreamStatement>));
    EXPECT_TRUE((kIsLike<LogLimit, MirroredLimit>));
    EXPECT_TRUE((kIsLike<LogRecordStreamBuf, MirroredStreamBuf>));
    EXPECT_TRUE((kIsLike<LogStream, std::ostream>));
}

TEST(LayoutTest, HandlesTakeTheRoomTheyDid) {
    EXPECT_TRUE((kIsLike<LogCore, OnePointer>));
    EXPECT_TRUE((kIsLike<LogSink, OnePointer>));
    EXPECT_TRUE((kIsLike<FilterRule, OnePointer>));
    EXPECT_TRUE((kIsLike<SinkEntry, std::pair<unsigned long, Severity>>));
    EXPECT_TRUE((kIsLike<threads::ThreadMutex, OnePointer>));
    EXPECT_TRUE((kIsLike<threads::SharedMutex, OnePointer>));
    EXPECT_TRUE((kIsLike<threads::ScopedLock<threads::ThreadMutex>, OnePointer>));
    EXPECT_TRUE((kIsLike<threads::ScopedSharedLock<threads::SharedMutex>, OnePointer>));
    EXPECT_TRUE((kIsLike<SyslogCtrlBlock, MirroredControlBlock>));
    EXPECT_TRUE(std::is_empty_v<LogForbiddenGuard>);
    EXPECT_TRUE(std::is_empty_v<LogSysInfo>);
    EXPECT_TRUE(std::is_empty_v<log_utils::Noncopyable>);
}

TEST(LayoutTest, AppendersTakeTheRoomTheyDid) {
    EXPECT_TRUE((kIsLike<AppenderBase, Virtual<1>>));
    EXPECT_TRUE((kIsLike<ConsoleAppender, Virtual<2>>));
    EXPECT_TRUE((kIsLike<FileAppender, Virtual<2>>));
    EXPECT_TRUE((kIsLike<RollingFileAppender, Virtual<3>>));
    EXPECT_TRUE((kIsLike<UdpAppender, Virtual<2>>));
    EXPECT_TRUE((kIsLike<SyslogAppender, Virtual<1>>));
    EXPECT_TRUE((kIsLike<AndroidAppender, MirroredAndroidAppender>));
    EXPECT_TRUE((kIsLike<RewritingAppender, Virtual<2>>));
    EXPECT_TRUE((kIsLike<EscapingAppender, Virtual<2>>));
    EXPECT_TRUE((kIsLike<JsonLinesAppender, Virtual<3>>));
}

TEST(LayoutTest, ToolsTakeTheRoomTheyDid) {
    EXPECT_TRUE((kIsLike<PatternHeader, FormatHeaderFunc>));
    EXPECT_TRUE((kIsLike<ColourHeader, FormatHeaderFunc>));
    EXPECT_TRUE((kIsLike<UdpSender, int>));
    EXPECT_TRUE((kIsLike<log_utils::File, int>));
    EXPECT_TRUE((kIsLike<log_utils::Error, MirroredError>));
    EXPECT_TRUE((kIsLike<log_utils::OpenFileError, MirroredOpenFileError>));
}

TEST(LayoutTest, EnumerationsTakeTheRoomTheyDid) {
    EXPECT_EQ(sizeof(Severity), sizeof(int));
    EXPECT_EQ(sizeof(LossCause), sizeof(int));
    EXPECT_EQ(sizeof(ConsoleAppender::OutStreamType), sizeof(int));
    EXPECT_EQ(sizeof(FileAppender::OpenMode), sizeof(int));
    EXPECT_EQ(sizeof(log_utils::File::SeekOrigin), sizeof(int));
    EXPECT_EQ(sizeof(log_utils::Status::Type), sizeof(int));
}

// What programs read by name. A structured binding has a name for each member, in order: one more
// or one less does not compile, and where two change places the addresses differ.

TEST(LayoutTest, AccountHasItsCountsInOrder) {
    Account const whole;
    auto const& [empty, filtered, written, openFailed, shortWrite, sendFailed, thrown] = whole;
    EXPECT_EQ(&empty, &whole.empty);
    EXPECT_EQ(&filtered, &whole.filtered);
    EXPECT_EQ(&written, &whole.written);
    EXPECT_EQ(&openFailed, &whole.openFailed);
    EXPECT_EQ(&shortWrite, &whole.shortWrite);
    EXPECT_EQ(&sendFailed, &whole.sendFailed);
    EXPECT_EQ(&thrown, &whole.thrown);
}

TEST(LayoutTest, StatusHasItsMembersInOrder) {
    log_utils::Status const whole;
    auto const& [type, size, ctime, atime, mtime] = whole;
    EXPECT_EQ(&type, &whole.type);
    EXPECT_EQ(&size, &whole.size);
    EXPECT_EQ(&ctime, &whole.ctime);
    EXPECT_EQ(&atime, &whole.atime);
    EXPECT_EQ(&mtime, &whole.mtime);
}

TEST(LayoutTest, SinkRegistrationHasItsMembersInOrder) {
    SinkRegistration const whole{};
    auto const& [rules, sink] = whole;
    EXPECT_EQ(&rules, &whole.rules);
    EXPECT_EQ(&sink, &whole.sink);
}

TEST(LayoutTest, ExplanationHasItsMembersInOrder) {
    Explanation const whole{};
    auto const& [tag, severity, isForbidden, sinks, isReached] = whole;
    EXPECT_EQ(&tag, &whole.tag);
    EXPECT_EQ(&severity, &whole.severity);
    EXPECT_EQ(&isForbidden, &whole.isForbidden);
    EXPECT_EQ(&sinks, &whole.sinks);
    EXPECT_EQ(&isReached, &whole.isReached);
}

TEST(LayoutTest, SinkExplanationHasItsMembersInOrder) {
    SinkExplanation const whole{};
    auto const& [hasRule, ruleTag, ruleSeverity, isReached, appenders] = whole;
    EXPECT_EQ(&hasRule, &whole.hasRule);
    EXPECT_EQ(&ruleTag, &whole.ruleTag);
    EXPECT_EQ(&ruleSeverity, &whole.ruleSeverity);
    EXPECT_EQ(&isReached, &whole.isReached);
    EXPECT_EQ(&appenders, &whole.appenders);
}

TEST(LayoutTest, AppenderExplanationHasItsMembersInOrder) {
    AppenderExplanation const whole{};
    auto const& [mask, isReached] = whole;
    EXPECT_EQ(&mask, &whole.mask);
    EXPECT_EQ(&isReached, &whole.isReached);
}

}  // namespace
}  // namespace tarqlog
