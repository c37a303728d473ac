#include "tarqlog/console_appender.h"

#include <pthread.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/scoped_lock.h"

#include "support/allocations.h"
#include "support/captured_stream.h"
#include "support/event.h"
#include "support/installed_hooks.h"
#include "support/interpose.h"
#include "support/is_free.h"
#include "support/records.h"

namespace tarqlog {
namespace {

Fault mutexInits;

/// What a thread does with mutexes and streams.
class Journal {
public:
    /// Takes down the calling thread's calls, and tells `listener` of each before it is made.
    explicit Journal(std::function<void(std::string const&)> const& listener = nullptr)
        : listener_(listener) {
        current = this;
    }
    ~Journal() { current = nullptr; }

    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    void Name(void const* mutex, std::string const& name) { names_[mutex] = name; }

    void Note(std::string const& call) {
        calls_.push_back(call);
        if (listener_) {
            listener_(call);
        }
    }

    void NoteMutex(std::string const& call, void const* mutex) {
        lastMutex_ = mutex;
        Note(call + names_[mutex]);
    }

    void NoteWrite(void const* data, std::size_t size, std::size_t count) {
        std::string const bytes(static_cast<char const*>(data), size * count);
        Note("fwrite " + std::to_string(count) + " of '" + bytes + "'");
    }

    std::vector<std::string> const& Calls() const { return calls_; }
    void const* LastMutex() const { return lastMutex_; }

    static thread_local Journal* current;

private:
    std::function<void(std::string const&)> const listener_;
    std::map<void const*, std::string> names_;
    std::vector<std::string> calls_;
    void const* lastMutex_ = nullptr;
};

thread_local Journal* Journal::current = nullptr;

}  // namespace
}  // namespace tarqlog

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) {
    tarqlog::mutexInits.Strikes();
    return TARQLOG_NEXT(pthread_mutex_init)(mutex, attributes);
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_lock);
    if (tarqlog::Journal::current != nullptr) {
        tarqlog::Journal::current->NoteMutex("lock ", mutex);
    }
    return next(mutex);
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(pthread_mutex_unlock);
    if (tarqlog::Journal::current != nullptr) {
        tarqlog::Journal::current->NoteMutex("unlock ", mutex);
    }
    return next(mutex);
}

extern "C" std::size_t fwrite(void const* data, std::size_t size, std::size_t count,
                              std::FILE* stream) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(fwrite);
    if (tarqlog::Journal::current != nullptr) {
        tarqlog::Journal::current->NoteWrite(data, size, count);
    }
    return next(data, size, count, stream);
}

extern "C" int fputc(int character, std::FILE* stream) {
    auto* const next = TARQLOG_NEXT_WITHOUT_LOCK(fputc);
    if (tarqlog::Journal::current != nullptr) {
        tarqlog::Journal::current->Note("fputc " + std::to_string(character));
    }
    return next(character, stream);
}

namespace tarqlog {
namespace {

static_assert(std::is_convertible<ConsoleAppender*, AppenderBase*>::value, "for any sink");
static_assert(!std::is_copy_constructible<ConsoleAppender>::value, "never copied");
static_assert(ConsoleAppender::kStdout == 0 && ConsoleAppender::kStderr == 1, "a promise");
static_assert(std::is_same<std::underlying_type<ConsoleAppender::OutStreamType>::type, int>::value,
              "any int is a stream type");

/// What `body` writes to `stdout` or `stderr`. Expectations come after: those that fail write too.
std::string WrittenTo(std::FILE* stream, std::function<void()> const& body) {
    CapturedStream const captured(stream);
    body();
    return captured.Text();
}

/// Makes `stdout` or `stderr` another stream until the end of the scope.
class ReassignedStream {
public:
    ReassignedStream(std::FILE*& stream, std::FILE* file)
        : stream_(stream), saved_(stream), file_(file) {
        if (file_ == nullptr) {
            throw std::runtime_error("cannot open a stream");
        }
        stream_ = file_;
    }
    ~ReassignedStream() {
        stream_ = saved_;
        std::fclose(file_);
    }

    ReassignedStream(ReassignedStream const&) = delete;
    ReassignedStream& operator=(ReassignedStream const&) = delete;

    /// What has left the stream's buffer.
    std::string Flushed() const {
        char bytes[1000];
        ssize_t const size = ::pread(::fileno(file_), bytes, sizeof bytes, 0);
        return size > 0 ? std::string(bytes, static_cast<std::size_t>(size)) : "";
    }

    std::string Text() const {
        std::fflush(file_);
        return Flushed();
    }

private:
    std::FILE*& stream_;
    std::FILE* const saved_;
    std::FILE* const file_;
};

/// The system's mutex that a lock is made of.
void const* Native(threads::ThreadMutex& mutex) {
    Journal const journal;
    threads::ScopedLock<threads::ThreadMutex> const lock(mutex);
    return journal.LastMutex();
}

class ConsoleAppenderTest : public testing::Test {
protected:
    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TaggedRecord const record_{kInfo, "ready", {"core"}};
};

// The first test: no other may use the mutex before.
TEST_F(ConsoleAppenderTest, StreamMutexIsMadeWhenTheLibraryIsLoaded) {
    long const beforeProof = mutexInits.Calls();
    threads::ThreadMutex const other;
    ASSERT_EQ(mutexInits.Calls(), beforeProof + 1);

    GetGlobalStreamMutex();

    EXPECT_EQ(mutexInits.Calls(), beforeProof + 1);
}

TEST_F(ConsoleAppenderTest, StandardOutputGetsHeaderTextAndLineFeed) {
    ConsoleAppender appender(ConsoleAppender::kStdout);
    std::string errors;

    std::string const output = WrittenTo(stdout, [&] {
        errors = WrittenTo(stderr, [&] {
            appender.Append(TaggedRecord(kInfo, "text of the record", {"core", "io"}));
        });
    });

    EXPECT_EQ(output, "I [2023-11-14 22:13:20.123][t:4242](core.io):text of the record\n");
    EXPECT_EQ(errors, "");
}

TEST_F(ConsoleAppenderTest, StandardErrorGetsHeaderTextAndLineFeed) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    std::string errors;

    std::string const output = WrittenTo(stdout, [&] {
        errors =
            WrittenTo(stderr, [&] { appender.Append(TaggedRecord(kError, "text of the record")); });
    });

    EXPECT_EQ(errors, "E [2023-11-14 22:13:20.123][t:4242]):text of the record\n");
    EXPECT_EQ(output, "");
}

TEST_F(ConsoleAppenderTest, AnyOtherStreamTypeIsStandardError) {
    for (int const type : {2, 7, 256, 65536, -1, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(type);
        ConsoleAppender appender(static_cast<ConsoleAppender::OutStreamType>(type));
        std::string errors;
        std::string const output = WrittenTo(
            stdout, [&] { errors = WrittenTo(stderr, [&] { appender.Append(record_); }); });
        EXPECT_EQ(errors, "I [2023-11-14 22:13:20.123][t:4242](core):ready\n");
        EXPECT_EQ(output, "");
    }
}

TEST_F(ConsoleAppenderTest, TextIsWrittenByteByByteAsItIs) {
    struct {
        std::string text;
        std::string line;
    } const cases[] = {
        {"a", "[t:4242](core):a\n"},
        {"two\nlines\n", "[t:4242](core):two\nlines\n\n"},
        {std::string("a\0b", 3), std::string("[t:4242](core):a\0b\n", 19)},
        {std::string("\0", 1), std::string("[t:4242](core):\0\n", 17)},
        {"%s%n \xc3\xa9\xff", "[t:4242](core):%s%n \xc3\xa9\xff\n"},
        {std::string(100000, 'x'), "[t:4242](core):" + std::string(100000, 'x') + "\n"},
    };
    ConsoleAppender appender(ConsoleAppender::kStderr);
    for (auto const& row : cases) {
        SCOPED_TRACE(row.text.substr(0, 20));
        TaggedRecord const record(kInfo, row.text, {"core"});
        EXPECT_EQ(WrittenTo(stderr, [&] { appender.Append(record); }),
                  "I [2023-11-14 22:13:20.123]" + row.line);
    }
}

TEST_F(ConsoleAppenderTest, RecordWithoutTextOrOutsideTheMaskWritesNothing) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    appender.SetSeverity(kError);

    std::string const errors = WrittenTo(stderr, [&] {
        appender.Append(TaggedRecord(kError, ""));
        appender.Append(record_);
    });

    EXPECT_EQ(errors, "");
}

// The stream.

TEST_F(ConsoleAppenderTest, StreamIsLookedUpAtEachRecord) {
    struct {
        ConsoleAppender::OutStreamType type;
        std::FILE*& stream;
    } const cases[] = {{ConsoleAppender::kStdout, stdout}, {ConsoleAppender::kStderr, stderr}};
    for (auto const& row : cases) {
        SCOPED_TRACE(row.type);
        ConsoleAppender appender(row.type);
        std::string inside;
        std::string const outside = WrittenTo(row.stream, [&] {
            appender.Append(TaggedRecord(kInfo, "before"));
            {
                ReassignedStream const reassigned(row.stream, std::tmpfile());
                appender.Append(TaggedRecord(kInfo, "meanwhile"));
                inside = reassigned.Text();
            }
            appender.Append(TaggedRecord(kInfo, "after"));
        });
        EXPECT_EQ(inside, "I [2023-11-14 22:13:20.123][t:4242]):meanwhile\n");
        EXPECT_EQ(outside,
                  "I [2023-11-14 22:13:20.123][t:4242]):before\n"
                  "I [2023-11-14 22:13:20.123][t:4242]):after\n");
    }
}

TEST_F(ConsoleAppenderTest, NothingIsFlushed) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    ReassignedStream const buffered(stderr, std::tmpfile());

    appender.Append(record_);
    appender.Append(TaggedRecord(kFatal, "lost", {"core"}));

    EXPECT_EQ(buffered.Flushed(), "");
    EXPECT_EQ(buffered.Text(),
              "I [2023-11-14 22:13:20.123][t:4242](core):ready\n"
              "F [2023-11-14 22:13:20.123][t:4242](core):lost\n");
}

TEST_F(ConsoleAppenderTest, WhatCannotBeWrittenIsLostWithoutAWord) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    bool failed = false;

    std::string const errors = WrittenTo(stderr, [&] {
        {
            std::FILE* const full = std::fopen("/dev/full", "w");
            ReassignedStream const reassigned(stderr, full);
            std::setvbuf(full, nullptr, _IONBF, 0);
            appender.Append(TaggedRecord(kInfo, "lost"));
            appender.Append(TaggedRecord(kInfo, "lost too"));
            failed = std::ferror(full) != 0;
        }
        appender.Append(record_);
    });

    ASSERT_TRUE(failed);
    EXPECT_EQ(errors, "I [2023-11-14 22:13:20.123][t:4242](core):ready\n");
}

// The calls and the locks.

TEST_F(ConsoleAppenderTest, LineIsThreeCallsUnderTheStreamMutexUnderTheAppendersOwn) {
    for (auto const type : {ConsoleAppender::kStdout, ConsoleAppender::kStderr}) {
        SCOPED_TRACE(type);
        ConsoleAppender appender(type);
        void const* const own = Native(appender.Mutex());
        void const* const shared = Native(GetGlobalStreamMutex());
        std::vector<std::string> calls;
        WrittenTo(type == ConsoleAppender::kStdout ? stdout : stderr, [&] {
            Journal journal;
            journal.Name(own, "own");
            journal.Name(shared, "shared");
            appender.Append(record_);
            calls = journal.Calls();
        });
        EXPECT_EQ(calls, (std::vector<std::string>{
                             "lock own", "lock shared",
                             "fwrite 1 of 'I [2023-11-14 22:13:20.123][t:4242](core):'",
                             "fwrite 1 of 'ready'", "fputc 10", "unlock shared", "unlock own"}));
    }
}

TEST_F(ConsoleAppenderTest, AfterAFailedWriteTheRestOfTheLineIsTriedAllTheSame) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    std::FILE* const full = std::fopen("/dev/full", "w");
    ReassignedStream const reassigned(stderr, full);
    std::setvbuf(full, nullptr, _IONBF, 0);
    std::vector<std::string> writes;

    {
        Journal const journal;
        appender.Append(record_);
        writes.assign(journal.Calls().begin() + 2, journal.Calls().begin() + 5);
    }

    EXPECT_NE(std::ferror(full), 0);
    EXPECT_EQ(writes,
              (std::vector<std::string>{"fwrite 1 of 'I [2023-11-14 22:13:20.123][t:4242](core):'",
                                        "fwrite 1 of 'ready'", "fputc 10"}));
}

TEST_F(ConsoleAppenderTest, BothMutexesAreHeldAtEachWriteAndFreeAfterwards) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    std::vector<bool> free;

    WrittenTo(stderr, [&] {
        Journal const journal([&](std::string const& call) {
            if (call[0] == 'f') {
                free.push_back(IsFree(appender.Mutex()) || IsFree(GetGlobalStreamMutex()));
            }
        });
        appender.Append(record_);
    });

    EXPECT_EQ(free, (std::vector<bool>{false, false, false}));
    EXPECT_TRUE(IsFree(appender.Mutex()));
    EXPECT_TRUE(IsFree(GetGlobalStreamMutex()));
}

TEST_F(ConsoleAppenderTest, RecordWaitsForWhoHoldsTheStreamMutex) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    void const* const shared = Native(GetGlobalStreamMutex());
    Event arrived;
    std::string arrival;  // the first call that either waits or writes; read after `arrived`
    CapturedStream const captured(stderr);
    std::thread logging;
    {
        threads::ScopedLock<threads::ThreadMutex> const lock(GetGlobalStreamMutex());
        logging = std::thread([&] {
            Journal journal([&](std::string const& call) {
                if (arrival.empty() && (call == "lock shared" || call[0] == 'f')) {
                    arrival = call;
                    arrived.Set();
                }
            });
            journal.Name(shared, "shared");
            appender.Append(record_);
        });
        arrived.Wait();
        EXPECT_EQ(arrival, "lock shared");
        EXPECT_EQ(captured.Text(), "");
    }
    logging.join();

    EXPECT_EQ(captured.Text(), "I [2023-11-14 22:13:20.123][t:4242](core):ready\n");
}

TEST_F(ConsoleAppenderTest, HolderOfTheStreamMutexMayLogAndKeepsIt) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    bool freeAfterwards = true;

    std::string const errors = WrittenTo(stderr, [&] {
        threads::ScopedLock<threads::ThreadMutex> const lock(GetGlobalStreamMutex());
        appender.Append(record_);
        freeAfterwards = IsFree(GetGlobalStreamMutex());
    });

    EXPECT_EQ(errors, "I [2023-11-14 22:13:20.123][t:4242](core):ready\n");
    EXPECT_FALSE(freeAfterwards);
}

TEST_F(ConsoleAppenderTest, ThereIsOneStreamMutex) {
    threads::ThreadMutex* elsewhere = nullptr;
    std::thread([&] { elsewhere = &GetGlobalStreamMutex(); }).join();

    EXPECT_EQ(&GetGlobalStreamMutex(), &GetGlobalStreamMutex());
    EXPECT_EQ(&GetGlobalStreamMutex(), elsewhere);
}

TEST_F(ConsoleAppenderTest, RecordCostsNoAllocationOnceTheHeaderHasGrown) {
    ConsoleAppender appender(ConsoleAppender::kStderr);
    ReassignedStream const buffered(stderr, std::tmpfile());
    unsigned long const before = AllocationCount();
    appender.Append(record_);
    ASSERT_GT(AllocationCount(), before);  // the header grows

    unsigned long const grown = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        appender.Append(record_);
    }

    EXPECT_EQ(AllocationCount(), grown);
}

// Many threads.

constexpr int kThreads = 8;
constexpr int kLines = 500;

/// A text that shows which one it is, of a length of its own and with a sum at its end.
std::string LineOf(int thread, int number) {
    std::string text = std::to_string(thread) + " line " + std::to_string(number) + ' ';
    text.append(static_cast<std::string::size_type>(number % 40), static_cast<char>('a' + thread));
    int sum = 0;
    for (char const byte : text) {
        sum += byte;
    }
    return text + ' ' + std::to_string(sum);
}

TEST_F(ConsoleAppenderTest, LinesOfManyThreadsAndTwoAppendersStayWhole) {
    ConsoleAppender first(ConsoleAppender::kStderr);
    ConsoleAppender second(ConsoleAppender::kStderr);
    std::string const errors = WrittenTo(stderr, [&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                ConsoleAppender& appender = thread % 2 == 0 ? first : second;
                for (int number = 0; number < kLines; ++number) {
                    appender.Append(TaggedRecord(kInfo, LineOf(thread, number), {"core"}));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });

    std::string const header = "I [2023-11-14 22:13:20.123][t:4242](core):";
    std::vector<int> next(kThreads, 0);
    std::istringstream lines(errors);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_EQ(line.substr(0, header.size()), header);
        int const thread = line.at(header.size()) - '0';
        ASSERT_TRUE(thread >= 0 && thread < kThreads) << line;
        ASSERT_EQ(line, header + LineOf(thread, next[static_cast<std::size_t>(thread)]++));
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

}  // namespace
}  // namespace tarqlog
