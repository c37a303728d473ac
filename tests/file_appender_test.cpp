#include "tarqlog/file_appender.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/error.h"
#include "tarqlog/scoped_lock.h"

#include "support/allocations.h"
#include "support/installed_hooks.h"
#include "support/interpose.h"
#include "support/is_free.h"
#include "support/records.h"
#include "support/rwlock_watch.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

using Strings = std::vector<std::string>;

/// Takes down the calling thread's calls on files while it lives, and answers some of them itself.
class Journal {
public:
    Journal() { current = this; }
    ~Journal() { current = nullptr; }

    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    /// The `nth` call of `function` from now on, 1 being the next, and so many `times` in all, is
    /// not made but fails with `error`.
    void Fail(std::string const& function, int error, int nth = 1, int times = 1) {
        Answer(function, -1, error, nth, times);
    }

    /// The same for calls that answer `result`; so many bytes a write really takes.
    void Answer(std::string const& function, long long result, int error, int nth, int times = 1) {
        int const first = counts_[function] + nth;
        faults_.push_back({function, first, first + times, result, error});
    }

    /// Notes a call. Whether it is answered here, with what is left in `result` and errno.
    bool Answers(std::string const& function, std::string const& details, long long& result) {
        calls_.push_back(details.empty() ? function : function + ' ' + details);
        int const call = ++counts_[function];
        for (Fault const& fault : faults_) {
            if (fault.function == function && call >= fault.first && call < fault.end) {
                ++hits_;
                errno = fault.error;
                result = fault.result;
                return true;
            }
        }
        return false;
    }

    Strings const& Calls() const { return calls_; }
    int Hits() const { return hits_; }

    static thread_local Journal* current;

private:
    struct Fault {
        std::string function;
        int first;
        int end;
        long long result;
        int error;
    };

    Strings calls_;
    std::map<std::string, int> counts_;
    std::vector<Fault> faults_;
    int hits_ = 0;
};

thread_local Journal* Journal::current = nullptr;

/// Whether somebody takes the calls down, and answers this one.
bool IsAnswered(std::string const& function, std::string const& details, long long& result) {
    return Journal::current != nullptr && Journal::current->Answers(function, details, result);
}

std::string NameOf(char const* path) {
    std::string const whole = path;
    return whole.substr(whole.rfind('/') + 1);
}

std::string FlagsOf(int flags, mode_t mode) {
    if (flags == (O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC) && mode == 0664) {
        return "to append";
    }
    if (flags == (O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC) && mode == 0664) {
        return "to truncate";
    }
    return "to do something else";
}

}  // namespace
}  // namespace tarqlog

extern "C" {

int open(char const* path, int flags, ...) {
    static auto* const next = TARQLOG_NEXT(open);
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    long long result = 0;
    bool const answered =
        tarqlog::Journal::current != nullptr &&
        tarqlog::IsAnswered("open", tarqlog::NameOf(path) + ' ' + tarqlog::FlagsOf(flags, mode),
                            result);
    return answered ? static_cast<int>(result) : next(path, flags, mode);
}

int close(int descriptor) {
    static auto* const next = TARQLOG_NEXT(close);
    long long result = next(descriptor);
    tarqlog::IsAnswered("close", "", result);
    return static_cast<int>(result);
}

ssize_t write(int descriptor, void const* data, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(write);
    long long result = 0;
    if (tarqlog::Journal::current == nullptr ||
        !tarqlog::IsAnswered("write", std::string(static_cast<char const*>(data), size), result)) {
        return next(descriptor, data, size);
    }
    return result > 0 ? next(descriptor, data, static_cast<std::size_t>(result))
                      : static_cast<ssize_t>(result);
}

off_t lseek(int descriptor, off_t offset, int whence) {
    static auto* const next = TARQLOG_NEXT(lseek);
    long long result = 0;
    bool const asks = offset == 0 && whence == SEEK_CUR;
    return tarqlog::IsAnswered("lseek", asks ? "" : "elsewhere", result)
               ? static_cast<off_t>(result)
               : next(descriptor, offset, whence);
}

int stat(char const* path, struct stat* status) {
    static auto* const next = TARQLOG_NEXT(stat);
    long long result = 0;
    return tarqlog::IsAnswered("stat", tarqlog::NameOf(path), result) ? static_cast<int>(result)
                                                                      : next(path, status);
}

int remove(char const* path) {
    static auto* const next = TARQLOG_NEXT(remove);
    long long result = 0;
    return tarqlog::IsAnswered("remove", tarqlog::NameOf(path), result) ? static_cast<int>(result)
                                                                        : next(path);
}

int rename(char const* from, char const* to) {
    static auto* const next = TARQLOG_NEXT(rename);
    long long result = 0;
    std::string const names = tarqlog::NameOf(from) + ' ' + tarqlog::NameOf(to);
    return tarqlog::IsAnswered("rename", names, result) ? static_cast<int>(result) : next(from, to);
}

int fsync(int descriptor) {
    static auto* const next = TARQLOG_NEXT(fsync);
    long long result = 0;
    return tarqlog::IsAnswered("fsync", "", result) ? static_cast<int>(result) : next(descriptor);
}

int ftruncate(int descriptor, off_t size) {
    static auto* const next = TARQLOG_NEXT(ftruncate);
    long long result = 0;
    return tarqlog::IsAnswered("ftruncate", "", result) ? static_cast<int>(result)
                                                        : next(descriptor, size);
}

}  // extern "C"

namespace tarqlog {
namespace {

static_assert(std::is_convertible<FileAppender*, AppenderBase*>::value, "for any sink");
static_assert(std::is_convertible<RollingFileAppender*, FileAppender*>::value, "a file appender");
static_assert(!std::is_copy_constructible<FileAppender>::value, "never copied");
static_assert(FileAppender::kAppendMode == 0 && FileAppender::kTruncateMode == 1, "a promise");
static_assert(std::is_same<std::underlying_type<FileAppender::OpenMode>::type, int>::value,
              "any int is a mode");

constexpr auto kAppend = FileAppender::kAppendMode;
constexpr auto kTruncate = FileAppender::kTruncateMode;
constexpr char kHeader[] = "I [2023-11-14 22:13:20.123][t:4242](core):";

constexpr char kWriteHeader[] = "write I [2023-11-14 22:13:20.123][t:4242](core):";

FileAppender::OpenMode Mode(int number) {
    return static_cast<FileAppender::OpenMode>(number);
}

std::string Line(std::string const& text) {
    return kHeader + text + "\n";
}

std::string Lines(Strings const& texts) {
    std::string lines;
    for (std::string const& text : texts) {
        lines += Line(text);
    }
    return lines;
}

/// A text whose line has 64 bytes: sixteen are a KiB.
std::string Text64(int number) {
    char text[32];
    std::snprintf(text, sizeof text, "record %014d", number);
    return text;
}

/// The lines of Text64(first) to Text64(last).
std::string Lines64(int first, int last) {
    std::string lines;
    for (int number = first; number <= last; ++number) {
        lines += Line(Text64(number));
    }
    return lines;
}

void Log(AppenderBase& appender, std::string const& text, Severity severity = kInfo) {
    appender.Append(TaggedRecord(severity, text, {"core"}));
}

void Log64(AppenderBase& appender, int first, int last) {
    for (int number = first; number <= last; ++number) {
        Log(appender, Text64(number));
    }
}

/// The calls on files that `body` makes.
Strings CallsOf(std::function<void()> const& body) {
    Journal const journal;
    body();
    return journal.Calls();
}

/// The number of the record, 1 being the next, at which the file is closed; 0 when it stays open.
int RecordsUntilClose(FileAppender& appender) {
    for (int number = 1; number <= 200; ++number) {
        Strings const calls = CallsOf([&] { Log(appender, "counted"); });
        if (std::count(calls.begin(), calls.end(), "close") != 0) {
            return number;
        }
    }
    return 0;
}

/// Slots count from 0. The ABI keeps a virtual member's offset in its pointer, beside a bit.
template <class Member>
std::size_t SlotOf(Member member) {
    std::uintptr_t word = 0;
    std::memcpy(&word, &member, sizeof word);
    return (word & ~std::uintptr_t(1)) / sizeof(void*);
}

/// Shows what subclasses see, and what is asked of them.
class WatchedAppender : public FileAppender {
public:
    using FileAppender::ControlFileSize;
    using FileAppender::DoClose;
    using FileAppender::FileAppender;

    int controls = 0;
    int exceeded = 0;

protected:
    void PreAppendControl() override {
        ++controls;
        FileAppender::PreAppendControl();
    }
    void OnFileLimitSizeExceed() override {
        ++exceeded;
        FileAppender::OnFileLimitSizeExceed();
    }
};

class FileAppenderTest : public testing::Test {
protected:
    std::string Content() const { return ReadWholeFile(path_); }

    /// Every file of the directory with its content.
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        for (auto const& entry : std::filesystem::directory_iterator(directory_.Path())) {
            files[entry.path().filename().string()] = ReadWholeFile(entry.path().string());
        }
        return files;
    }

    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TemporaryDirectory const directory_;
    std::string const path_ = directory_.File("app.log");
};

using RollingFileAppenderTest = FileAppenderTest;

TEST_F(FileAppenderTest, JournalSeesTheCallsOfTheLibraryAndItsFaultsStrike) {
    Journal journal;
    journal.Fail("write", ENOSPC, 2);
    {
        RollingFileAppender appender(path_, 1, 1, 0);
        Log(appender, "cut off");
        Log(appender, std::string(1024, 'x'));
        Log(appender, "rolls");
    }
    Strings calls = journal.Calls();

    EXPECT_EQ(journal.Hits(), 1);
    ASSERT_EQ(calls.size(), 18U);
    EXPECT_EQ(calls[8], "write " + std::string(1024, 'x'));
    calls[8] = "write 1024 times x";
    EXPECT_EQ(calls, (Strings{"open app.log to append", "lseek", kWriteHeader, "write cut off",
                              "close",  // in vain
                              "open app.log to append", "lseek", kWriteHeader, "write 1024 times x",
                              "write \n", "lseek", "close", "rename app.log app.log.1",
                              "open app.log to truncate", kWriteHeader, "write rolls", "write \n",
                              "close"}));
}

// What is written.

TEST_F(FileAppenderTest, RecordIsALineOfFullHeaderTextAndLineFeed) {
    FileAppender appender(path_, 0, 0, kAppend);

    appender.Append(TaggedRecord(kInfo, "text of the record", {"core", "io"}));
    appender.Append(TaggedRecord(kFatal, "x"));

    EXPECT_EQ(Content(),
              "I [2023-11-14 22:13:20.123][t:4242](core.io):text of the record\n"
              "F [2023-11-14 22:13:20.123][t:4242]):x\n");
}

TEST_F(FileAppenderTest, TextIsWrittenByteByByteAsItIs) {
    for (int const bufferedRecords : {0, 2}) {
        for (std::string const& text :
             {std::string("two\nlines\n"), std::string("a\0b", 3), std::string("\0", 1),
              std::string("%s%n \xc3\xa9\xff\r"), std::string(100000, 'x')}) {
            SCOPED_TRACE(std::to_string(bufferedRecords) + ' ' + text.substr(0, 20));
            {
                FileAppender appender(path_, 0, bufferedRecords, kTruncate);
                Log(appender, text);
            }
            EXPECT_EQ(Content(), Line(text));
        }
    }
}

TEST_F(FileAppenderTest, RecordWithoutTextOrOutsideTheMaskMakesNoCall) {
    FileAppender appender(path_, 1, 0, kAppend);
    appender.SetSeverity(kError);

    EXPECT_EQ(CallsOf([&] {
                  Log(appender, "", kError);
                  Log(appender, "text", kInfo);
              }),
              Strings());
}

// Construction and destruction.

TEST_F(FileAppenderTest, FileIsMadeAtConstruction) {
    FileAppender const appender(path_, 0, 0, kAppend);

    EXPECT_EQ(Content(), "");
}

TEST_F(FileAppenderTest, TruncateModeAloneEmptiesTheFileAtConstruction) {
    EXPECT_EQ(CallsOf([&] { FileAppender(path_, 0, 0, kTruncate); }),
              (Strings{"open app.log to truncate", "close"}));
    for (int const mode : {0, 2, 3, 5, 256, 257, -1, -2, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(CallsOf([&] { FileAppender(path_, 0, 0, Mode(mode)); }),
                  (Strings{"open app.log to append", "close"}));
    }
}

TEST_F(FileAppenderTest, AppendModeContinuesTheFile) {
    WriteWholeFile(path_, "before\n");
    FileAppender appender(path_, 0, 0, kAppend);

    Log(appender, "after");

    EXPECT_EQ(Content(), "before\n" + Line("after"));
}

TEST_F(FileAppenderTest, TruncateModeBeginsTheFileAnew) {
    WriteWholeFile(path_, "before\n");
    FileAppender appender(path_, 0, 0, kTruncate);

    Log(appender, "after");

    EXPECT_EQ(Content(), Line("after"));
}

TEST_F(FileAppenderTest, NegativeLimitThrowsBeforeAnyFileIsTouched) {
    for (long long const limitKiB : {-1LL, -1024LL, LLONG_MIN, LLONG_MIN + 1}) {
        SCOPED_TRACE(limitKiB);
        Journal const journal;
        try {
            FileAppender const appender(path_, limitKiB, 10, kTruncate);
            ADD_FAILURE() << "nothing thrown";
        } catch (log_utils::Error const& error) {
            EXPECT_STREQ(error.what(), "FileAppender neg filesize");
        }
        try {
            RollingFileAppender const appender(path_, limitKiB, 3, 10);
            ADD_FAILURE() << "nothing thrown";
        } catch (log_utils::Error const& error) {
            EXPECT_STREQ(error.what(), "FileAppender neg filesize");
        }
        EXPECT_EQ(journal.Calls(), Strings());
    }
}

TEST_F(FileAppenderTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    unsigned long allowed = 0;
    unsigned long failures = 0;
    for (bool built = false; !built; ++allowed) {
        int const free = ::dup(0);
        ::close(free);
        try {
            AllocationLimit const limit(allowed);
            RollingFileAppender const appender(path_, 1, 3, 10);
            built = true;
        } catch (std::bad_alloc const&) {
            ++failures;
        }
        int const stillFree = ::dup(0);
        ::close(stillFree);
        EXPECT_EQ(stillFree, free);
    }

    EXPECT_EQ(allowed, failures + 1);
    EXPECT_GE(failures, 5U);  // base, own part, name, buffer, the part of the rolling one
}

TEST_F(FileAppenderTest, DestructorWritesTheBufferOutAndCloses) {
    auto appender = std::make_unique<FileAppender>(path_, 1, 10, kAppend);
    Log(*appender, "first");
    Log(*appender, "second");

    EXPECT_EQ(CallsOf([&] { appender.reset(); }),
              (Strings{"write " + Lines({"first", "second"}), "close"}));
}

TEST_F(FileAppenderTest, DestructorThatCannotWriteLosesTheBufferQuietly) {
    auto appender = std::make_unique<FileAppender>(path_, 0, 10, kAppend);
    Log(*appender, "lost");
    {
        Journal journal;
        journal.Fail("write", EIO);
        journal.Fail("close", EIO);
        EXPECT_NO_THROW(appender.reset());
        EXPECT_EQ(journal.Hits(), 2);
    }

    EXPECT_EQ(Content(), "");
}

TEST_F(FileAppenderTest, VirtualFunctionsKeepTheirOrder) {
    struct Opened : FileAppender {
        using FileAppender::DoAppend;
        using FileAppender::OnFileLimitSizeExceed;
        using FileAppender::PreAppendControl;
    };

    EXPECT_EQ(SlotOf(&Opened::DoAppend), 2U);  // after the two destructors
    EXPECT_EQ(SlotOf(&Opened::PreAppendControl), 3U);
    EXPECT_EQ(SlotOf(&Opened::OnFileLimitSizeExceed), 4U);
}

// The calls of a record. They are counted from the second record on: the first one may have more to
// prepare.

TEST_F(FileAppenderTest, UnbufferedRecordIsThreeWrites) {
    for (int const bufferedRecords : {1, 0, -1, INT_MIN}) {
        SCOPED_TRACE(bufferedRecords);
        FileAppender appender(path_, 0, bufferedRecords, kAppend);
        Log(appender, "first");
        for (Severity const severity : {kInfo, kDebug | kInfo, kError | kInfo}) {
            appender.SetSeverity(severity);
            std::string const letter = (severity & kDebug) != 0 ? "D" : "I";
            EXPECT_EQ(CallsOf([&] { Log(appender, "text", severity); }),
                      (Strings{"write " + letter + " [2023-11-14 22:13:20.123][t:4242](core):",
                               "write text", "write \n"}));
        }
    }
}

TEST_F(FileAppenderTest, LimitCostsARecordOneQuestionForThePosition) {
    FileAppender appender(path_, 1, 0, kAppend);
    Log(appender, "first");

    EXPECT_EQ(CallsOf([&] { Log(appender, "text"); }),
              (Strings{"lseek", kWriteHeader, "write text", "write \n"}));
}

TEST_F(FileAppenderTest, BufferedRecordsMakeNoCallUntilTheLastGoesInOneWrite) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log64(appender, 1, 10);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 11, 19); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 20, 20); }), (Strings{"write " + Lines64(11, 20)}));
    EXPECT_EQ(Content(), Lines64(1, 20));
}

TEST_F(FileAppenderTest, BufferedRecordWithALimitAsksForThePositionAlone) {
    FileAppender appender(path_, 1000, 3, kAppend);
    Log64(appender, 1, 3);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 4, 6); }),
              (Strings{"lseek", "lseek", "lseek", "write " + Lines64(4, 6)}));
}

TEST_F(FileAppenderTest, TwoIsTheFirstNumberThatBuffers) {
    FileAppender appender(path_, 0, 2, kAppend);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 3); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 4, 4); }), (Strings{"write " + Lines64(3, 4)}));
}

TEST_F(FileAppenderTest, RecordsCostNoAllocationOnceTheHeaderHasGrown) {
    TaggedRecord const record(kInfo, "text of the record", {"core"});
    TaggedRecord const urgent(kWarning, "text of the record", {"core"});
    for (int const bufferedRecords : {0, 10, 1000}) {
        SCOPED_TRACE(bufferedRecords);
        FileAppender appender(path_, 1000, bufferedRecords, kAppend);
        unsigned long const before = AllocationCount();
        appender.Append(record);
        ASSERT_GT(AllocationCount(), before);  // the header grows

        unsigned long const grown = AllocationCount();
        for (int i = 0; i < 200; ++i) {
            appender.Append(i < 100 ? record : urgent);
        }
        EXPECT_EQ(AllocationCount(), grown);
    }
}

// Urgent records.

TEST_F(FileAppenderTest, UrgentRecordTakesTheBufferedOnesAlong) {
    for (Severity const severity :
         {kWarning, kError, kFatal, kInfo | kFatal, kTrace | kDebug | kWarning,
          static_cast<Severity>(0x80000000U) | kError}) {
        SCOPED_TRACE(severity);
        FileAppender appender(path_, 0, 10, kTruncate);
        Log(appender, "one");
        Log(appender, "two");
        Log(appender, "three");
        Strings calls = CallsOf([&] { Log(appender, "urgent", severity); });
        ASSERT_EQ(calls.size(), 4U);
        EXPECT_EQ(calls[1].substr(7), " [2023-11-14 22:13:20.123][t:4242](core):");
        calls.erase(calls.begin() + 1);
        EXPECT_EQ(calls,
                  (Strings{"write " + Lines({"one", "two", "three"}), "write urgent", "write \n"}));
    }
}

TEST_F(FileAppenderTest, LevelsThatAreNotUrgentWait) {
    FileAppender appender(path_, 0, 10, kAppend);
    appender.SetSeverity(~static_cast<Severity>(0));
    Log(appender, "first");

    EXPECT_EQ(CallsOf([&] {
                  for (Severity const severity :
                       {kTrace, kDebug, kInfo, kTrace | kDebug | kInfo, static_cast<Severity>(64),
                        static_cast<Severity>(0x80000000U)}) {
                      Log(appender, "text", severity);
                  }
              }),
              Strings());
}

TEST_F(FileAppenderTest, UrgentRecordWithNothingBufferedIsThreeWrites) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log(appender, "first", kError);

    EXPECT_EQ(
        CallsOf([&] { Log(appender, "text", kError); }),
        (Strings{"write E [2023-11-14 22:13:20.123][t:4242](core):", "write text", "write \n"}));
}

TEST_F(FileAppenderTest, AfterAnUrgentRecordTheBufferTakesItsFullNumberAgain) {
    FileAppender appender(path_, 0, 3, kAppend);
    Log64(appender, 1, 2);
    Log(appender, "urgent", kError);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 4, 5); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 6, 6); }), (Strings{"write " + Lines64(4, 6)}));
}

// The size of the buffer. The header has 42 bytes.

TEST_F(FileAppenderTest, HeaderAndTextWithItsNulOf4095BytesAreBuffered) {
    FileAppender appender(path_, 0, 2, kAppend);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { Log(appender, std::string(4052, 'x')); }), Strings());
    EXPECT_EQ(CallsOf([&] { appender.Flush(); }),
              (Strings{"write " + Line(std::string(4052, 'x'))}));
}

TEST_F(FileAppenderTest, HeaderAndTextWithItsNulOf4096BytesAreWrittenAtOnce) {
    FileAppender appender(path_, 0, 2, kAppend);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { Log(appender, std::string(4053, 'x')); }),
              (Strings{kWriteHeader, "write " + std::string(4053, 'x'), "write \n"}));
}

TEST_F(FileAppenderTest, RecordThatFillsTheBufferTo4095BytesIsBuffered) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log64(appender, 1, 10);
    Log64(appender, 11, 12);

    EXPECT_EQ(CallsOf([&] { Log(appender, std::string(3924, 'x')); }), Strings());
    EXPECT_EQ(CallsOf([&] { appender.Flush(); }),
              (Strings{"write " + Lines64(11, 12) + Line(std::string(3924, 'x'))}));
}

TEST_F(FileAppenderTest, RecordThatWouldFillTheBufferTo4096BytesFollowsIt) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log64(appender, 1, 10);
    Log64(appender, 11, 12);

    EXPECT_EQ(CallsOf([&] { Log(appender, std::string(3925, 'x')); }),
              (Strings{"write " + Lines64(11, 12), kWriteHeader, "write " + std::string(3925, 'x'),
                       "write \n"}));
    EXPECT_EQ(CallsOf([&] { Log64(appender, 13, 21); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 22, 22); }), (Strings{"write " + Lines64(13, 22)}));
}

// The periodic close.

TEST_F(FileAppenderTest, After64RecordsTheFileIsClosedAndThe65thAppends) {
    FileAppender appender(path_, 0, 0, kTruncate);
    Log64(appender, 1, 63);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 64, 64); }),
              (Strings{kWriteHeader, "write " + Text64(64), "write \n", "close"}));
    EXPECT_EQ(CallsOf([&] { Log64(appender, 65, 65); }),
              (Strings{"open app.log to append", kWriteHeader, "write " + Text64(65), "write \n"}));
    EXPECT_EQ(Content(), Lines64(1, 65));
}

TEST_F(FileAppenderTest, PeriodicCloseComesEvery64RecordsBufferedOrNot) {
    for (int const bufferedRecords : {0, 2, 10, 63, 64, 65, 100, INT_MAX}) {
        SCOPED_TRACE(bufferedRecords);
        FileAppender appender(path_, 0, bufferedRecords, kAppend);
        EXPECT_EQ(RecordsUntilClose(appender), 64);
        EXPECT_EQ(RecordsUntilClose(appender), 64);
    }
}

TEST_F(FileAppenderTest, PeriodicCloseWritesOutABufferThatIsNotFull) {
    FileAppender appender(path_, 0, 100, kAppend);
    EXPECT_EQ(CallsOf([&] { Log64(appender, 1, 63); }), Strings());

    EXPECT_EQ(CallsOf([&] { Log(appender, "short"); }).size(), 2U);
    EXPECT_EQ(Content(), Lines64(1, 63) + Line("short"));
}

TEST_F(FileAppenderTest, CloseCountsThe64RecordsAnew) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 10);
    appender.Close();

    EXPECT_EQ(RecordsUntilClose(appender), 64);
}

TEST_F(FileAppenderTest, FlushOpenAndReopenDoNotCountThe64RecordsAnew) {
    FileAppender appender(path_, 0, 5, kAppend);
    Log64(appender, 1, 10);
    appender.Flush();
    EXPECT_TRUE(appender.Open(kAppend));
    EXPECT_TRUE(appender.Reopen());

    EXPECT_EQ(RecordsUntilClose(appender), 54);
}

TEST_F(FileAppenderTest, OpeningAfterAFailedReopenDoesNotCountThe64RecordsAnew) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 10);
    {
        Journal journal;
        journal.Fail("open", EMFILE);
        EXPECT_FALSE(appender.Reopen());
    }
    EXPECT_TRUE(appender.Open(kAppend));

    EXPECT_EQ(RecordsUntilClose(appender), 54);
}

TEST_F(FileAppenderTest, LostRecordCountsThe64RecordsAnew) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 10);
    {
        Journal journal;
        journal.Fail("write", EIO);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(RecordsUntilClose(appender), 64);
}

TEST_F(FileAppenderTest, SizeRestartCountsThe64RecordsAnew) {
    FileAppender appender(path_, 8, 0, kTruncate);
    Log64(appender, 1, 10);
    Log(appender, std::string(8192, 'x'));
    Log(appender, "restarts");

    EXPECT_EQ(RecordsUntilClose(appender), 63);
}

TEST_F(FileAppenderTest, DeletedFileGetsTheRestOf64RecordsBeforeItIsMadeAgain) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 10);
    std::filesystem::remove(path_);

    Log64(appender, 11, 64);
    EXPECT_FALSE(std::filesystem::exists(path_));
    Log64(appender, 65, 66);

    EXPECT_EQ(Content(), Lines64(65, 66));
}

// Open(), Reopen(), Flush(), Close().

TEST_F(FileAppenderTest, OpenLeavesAnOpenFileAsItIs) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log(appender, "first");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(appender.Open(kTruncate)); }), Strings());
    EXPECT_EQ(Content(), Line("first"));
}

TEST_F(FileAppenderTest, OpenWithAnyModeButAppendModeTruncates) {
    FileAppender appender(path_, 0, 0, kAppend);
    for (int const mode : {1, 2, 5, 256, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(mode);
        appender.Close();
        EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(appender.Open(Mode(mode))); }),
                  (Strings{"open app.log to truncate"}));
    }
    appender.Close();
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(appender.Open(kAppend)); }),
              (Strings{"open app.log to append"}));
}

TEST_F(FileAppenderTest, OpenTellsFailure) {
    FileAppender appender(directory_.File("missing/app.log"), 0, 0, kAppend);

    EXPECT_FALSE(appender.Open(kAppend));
    EXPECT_FALSE(appender.Open(kTruncate));
    EXPECT_FALSE(appender.Reopen());
}

TEST_F(FileAppenderTest, ReopenFollowsTheNameAndKeepsTheBuffer) {
    FileAppender appender(path_, 0, 3, kTruncate);
    Log64(appender, 1, 3);
    Log64(appender, 4, 5);
    std::filesystem::rename(path_, directory_.File("moved.log"));

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(appender.Reopen()); }),
              (Strings{"close", "open app.log to append"}));
    Log64(appender, 6, 6);

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(4, 6)},
                                                           {"moved.log", Lines64(1, 3)}}));
}

TEST_F(FileAppenderTest, BufferOutlivesAFailedReopen) {
    FileAppender appender(path_, 0, 3, kAppend);
    Log64(appender, 1, 2);
    {
        Journal journal;
        journal.Fail("open", EMFILE);
        EXPECT_FALSE(appender.Reopen());
    }

    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 3); }),
              (Strings{"open app.log to append", "write " + Lines64(1, 3)}));
}

TEST_F(FileAppenderTest, FlushWritesTheBufferAndBeginsItAnew) {
    FileAppender appender(path_, 0, 3, kAppend);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { appender.Flush(); }), (Strings{"write " + Lines64(1, 2)}));
    EXPECT_EQ(CallsOf([&] { appender.Flush(); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 4); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 5, 5); }), (Strings{"write " + Lines64(3, 5)}));
}

TEST_F(FileAppenderTest, FlushThatFailsEmptiesTheBufferAndLeavesTheFileOpen) {
    FileAppender appender(path_, 0, 3, kAppend);
    Log64(appender, 1, 2);
    {
        Journal journal;
        journal.Fail("write", ENOSPC);
        appender.Flush();
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls().size(), 1U);
    }

    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 5); }), (Strings{"write " + Lines64(3, 5)}));
}

TEST_F(FileAppenderTest, FlushAndCloseOfAClosedFileDropTheBuffer) {
    for (bool const closes : {false, true}) {
        SCOPED_TRACE(closes);
        FileAppender appender(path_, 0, 3, kTruncate);
        Log64(appender, 1, 2);
        {
            Journal journal;
            journal.Fail("open", EMFILE);
            EXPECT_FALSE(appender.Reopen());
        }
        EXPECT_EQ(CallsOf([&] { closes ? appender.Close() : appender.Flush(); }), Strings());
        Log64(appender, 3, 5);
        EXPECT_EQ(Content(), Lines64(3, 5));
    }
}

TEST_F(FileAppenderTest, CloseWritesTheBufferOutAndTheNextRecordAppends) {
    FileAppender appender(path_, 0, 10, kTruncate);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { appender.Close(); }), (Strings{"write " + Lines64(1, 2), "close"}));
    EXPECT_EQ(CallsOf([&] { appender.Close(); }), Strings());
    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 3); }), (Strings{"open app.log to append"}));
}

TEST_F(FileAppenderTest, DoCloseDoesAsClose) {
    WatchedAppender appender(path_, 0, 10, kTruncate);
    Log64(appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { appender.DoClose(); }), (Strings{"write " + Lines64(1, 2), "close"}));
    EXPECT_EQ(RecordsUntilClose(appender), 64);
}

TEST_F(FileAppenderTest, CloseTakesTheMutexAndTheOthersDoNot) {
    auto appender = std::make_unique<WatchedAppender>(path_, 1, 10, kAppend);
    Log(*appender, "text");
    auto const locksOf = [](std::function<void()> const& body) {
        long const before = mutexLocks.Calls();
        body();
        return mutexLocks.Calls() - before;
    };
    appender->Close();  // what is made in the first call may take a lock of its own

    ASSERT_EQ(locksOf([&] { appender->Close(); }), 1);
    EXPECT_EQ(locksOf([&] { appender->Open(kAppend); }), 0);
    EXPECT_EQ(locksOf([&] { appender->Reopen(); }), 0);
    EXPECT_EQ(locksOf([&] { appender->Flush(); }), 0);
    EXPECT_EQ(locksOf([&] { appender->ControlFileSize(); }), 0);
    EXPECT_EQ(locksOf([&] { appender->DoClose(); }), 0);
    EXPECT_EQ(locksOf([&] { appender->GetFilename(); }), 0);
    // Its mutex and its buffer leave the list of what a fork makes anew, which has a lock.
    EXPECT_EQ(locksOf([&] { appender.reset(); }), 2);
}

TEST_F(FileAppenderTest, RecordAndCloseLeaveTheMutexFree) {
    FileAppender appender(path_, 0, 0, kAppend);

    Log(appender, "text");
    EXPECT_TRUE(IsFree(appender.Mutex()));
    appender.Close();
    EXPECT_TRUE(IsFree(appender.Mutex()));
}

TEST_F(FileAppenderTest, WhoHoldsTheMutexMayClose) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log(appender, "text");
    threads::ScopedLock<threads::ThreadMutex> const lock(appender.Mutex());

    appender.Close();

    EXPECT_EQ(Content(), Line("text"));
    EXPECT_FALSE(IsFree(appender.Mutex()));
}

// The size limit. Sixteen lines of Text64() are a KiB.

TEST_F(FileAppenderTest, WithoutALimitTheFileGrowsAndNobodyAsksForItsSize) {
    WatchedAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 63);
    EXPECT_EQ(CallsOf([&] { appender.ControlFileSize(); }), Strings());
    Log64(appender, 64, 200);

    EXPECT_EQ(appender.controls, 200);
    EXPECT_EQ(appender.exceeded, 0);
    EXPECT_EQ(Content(), Lines64(1, 200));
}

TEST_F(FileAppenderTest, FileThatReachesTheLimitIsRemovedAndMadeAnew) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);
    EXPECT_EQ(Content(), Lines64(1, 16));

    EXPECT_EQ(
        CallsOf([&] { Log64(appender, 17, 17); }),
        (Strings{"lseek", "close", "stat app.log", "remove app.log", "open app.log to truncate",
                 kWriteHeader, "write " + Text64(17), "write \n"}));
    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, FileOneByteBelowTheLimitTakesAnotherRecord) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 15);
    Log(appender, std::string(20, 'x'));
    ASSERT_EQ(Content().size(), 1023U);

    Log64(appender, 17, 17);
    EXPECT_EQ(Content(), Lines64(1, 15) + Line(std::string(20, 'x')) + Lines64(17, 17));
    Log64(appender, 18, 18);
    EXPECT_EQ(Content(), Lines64(18, 18));
}

TEST_F(FileAppenderTest, BytesInTheBufferCountIntoTheSize) {
    FileAppender appender(path_, 1, 10, kTruncate);
    Log64(appender, 1, 16);  // ten in the file, six in the buffer

    EXPECT_EQ(CallsOf([&] { Log64(appender, 17, 17); }),
              (Strings{"lseek", "write " + Lines64(11, 16), "close", "stat app.log",
                       "remove app.log", "open app.log to truncate"}));
    appender.Flush();
    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, FileAboveTheLimitIsAppendedToOnceBeforeItIsMadeAnew) {
    WriteWholeFile(path_, std::string(5000, 'x'));
    WatchedAppender appender(path_, 1, 0, kAppend);

    Log(appender, "first");
    EXPECT_EQ(Content(), std::string(5000, 'x') + Line("first"));
    EXPECT_EQ(appender.exceeded, 0);
    Log(appender, "second");

    EXPECT_EQ(Content(), Line("second"));
    EXPECT_EQ(appender.exceeded, 1);
}

TEST_F(FileAppenderTest, FirstRecordAfterAReopeningIsNeverStoppedByTheLimit) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);
    EXPECT_TRUE(appender.Reopen());

    Log64(appender, 17, 17);
    EXPECT_EQ(Content(), Lines64(1, 17));
    Log64(appender, 18, 18);
    EXPECT_EQ(Content(), Lines64(18, 18));
}

TEST_F(FileAppenderTest, With64BufferedRecordsALimitOf4KiBIsNeverNoticed) {
    WatchedAppender appender(path_, 4, 64, kTruncate);
    for (int i = 0; i < 640; ++i) {
        Log(appender, "short");
    }

    EXPECT_EQ(appender.exceeded, 0);
    EXPECT_EQ(Content().size(), 640 * Line("short").size());
}

TEST_F(FileAppenderTest, With63BufferedRecordsALimitOf4KiBIsNoticed) {
    WatchedAppender appender(path_, 4, 63, kTruncate);
    for (int i = 0; i < 128; ++i) {
        Log(appender, "short");
    }

    EXPECT_EQ(appender.exceeded, 1);  // at the 64th record: no position, and too little
}

TEST_F(FileAppenderTest, LimitBelowTheBufferTripsBeforeAnythingIsWritten) {
    FileAppender appender(path_, 1, 64, kTruncate);
    Log64(appender, 1, 16);
    EXPECT_EQ(Content(), "");

    Log64(appender, 17, 17);
    appender.Flush();

    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, LimitThatNoFileReachesIsNone) {
    for (long long const limitKiB : {1LL << 53, 1LL << 54, (1LL << 54) + 1, LLONG_MAX}) {
        SCOPED_TRACE(limitKiB);
        FileAppender appender(path_, limitKiB, 0, kTruncate);
        Journal journal;
        journal.Answer("lseek", LLONG_MAX - 1, 0, 1);
        Log(appender, "text");
        EXPECT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls(), (Strings{"lseek", kWriteHeader, "write text", "write \n"}));
    }
}

TEST_F(FileAppenderTest, LargestLimitInBytesCounts) {
    for (long long const position : {LLONG_MAX - 1023, LLONG_MAX - 1024}) {
        SCOPED_TRACE(position);
        WatchedAppender appender(path_, LLONG_MAX / 1024, 0, kTruncate);
        Journal journal;
        journal.Answer("lseek", position, 0, 1);
        Log(appender, "text");
        EXPECT_EQ(journal.Hits(), 1);
        EXPECT_EQ(appender.exceeded, position == LLONG_MAX - 1023 ? 1 : 0);
    }
}

TEST_F(FileAppenderTest, SubclassThatDoesNotControlTheSizeHasNoLimit) {
    struct Unlimited : FileAppender {
        using FileAppender::FileAppender;
        void PreAppendControl() override {}
    };
    Unlimited appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 1);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 2, 2); }).size(), 3U);
    Log64(appender, 3, 40);
    EXPECT_EQ(Content(), Lines64(1, 40));
}

TEST_F(FileAppenderTest, RecordIsLostWhenASubclassClosesTheFileBeforeIt) {
    struct Closing : FileAppender {
        using FileAppender::FileAppender;
        void OnFileLimitSizeExceed() override { DoClose(); }
    };
    Closing appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);

    EXPECT_EQ(CallsOf([&] { Log(appender, "lost"); }), (Strings{"lseek", "close"}));
    Log64(appender, 17, 17);

    EXPECT_EQ(Content(), Lines64(1, 17));
}

// Faults. What was lost is lost, and logging goes on.

TEST_F(FileAppenderTest, FileThatCannotBeOpenedIsTriedAgainAtEachRecordToAppend) {
    Journal journal;
    journal.Fail("open", EMFILE, 1, 3);
    {
        FileAppender appender(path_, 1, 0, kTruncate);
        Log(appender, "lost");
        Log(appender, "lost too");
        Log(appender, "kept");
    }

    EXPECT_EQ(journal.Hits(), 3);
    EXPECT_EQ(journal.Calls(), (Strings{"open app.log to truncate", "open app.log to append",
                                        "open app.log to append", "open app.log to append", "lseek",
                                        kWriteHeader, "write kept", "write \n", "close"}));
}

TEST_F(FileAppenderTest, FileThatCannotBeOpenedAfterThePeriodicCloseIsTriedAgain) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log64(appender, 1, 64);
    {
        Journal journal;
        journal.Fail("open", EMFILE, 1, 2);
        Log(appender, "lost");
        Log(appender, "lost too");
        EXPECT_EQ(journal.Hits(), 2);
    }
    Log64(appender, 65, 74);

    EXPECT_EQ(Content(), Lines64(1, 74));
}

/// How a write may take nothing.
struct WriteFault {
    long long result;
    int error;
};
WriteFault const kWriteFaults[] = {{-1, EINTR}, {-1, EIO}, {-1, ENOSPC}, {0, 0}};

TEST_F(FileAppenderTest, UnbufferedRecordThatFailsLeavesItsFirstPiecesAndTheNextFollows) {
    std::string const leftOf[] = {"", kHeader, std::string(kHeader) + "lost"};
    for (WriteFault const& fault : kWriteFaults) {
        for (int nth = 1; nth <= 3; ++nth) {
            SCOPED_TRACE(std::to_string(fault.error) + " at write " + std::to_string(nth));
            FileAppender appender(path_, 0, 0, kTruncate);
            Log(appender, "first");
            {
                Journal journal;
                journal.Answer("write", fault.result, fault.error, nth);
                Log(appender, "lost");
                ASSERT_EQ(journal.Hits(), 1);
                EXPECT_EQ(journal.Calls().size(), static_cast<std::size_t>(nth) + 1);
                EXPECT_EQ(journal.Calls().back(), "close");
            }
            EXPECT_EQ(CallsOf([&] { Log(appender, "next"); }).front(), "open app.log to append");
            EXPECT_EQ(Content(), Line("first") + leftOf[nth - 1] + Line("next"));
        }
    }
}

TEST_F(FileAppenderTest, WriteThatTakesAPartIsContinued) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log(appender, "first");
    {
        Journal journal;
        journal.Answer("write", 10, 0, 1);
        journal.Answer("write", 2, 0, 3);
        Log(appender, "text");
        ASSERT_EQ(journal.Hits(), 2);
        EXPECT_EQ(journal.Calls(), (Strings{kWriteHeader, "write " + std::string(kHeader + 10),
                                            "write text", "write xt", "write \n"}));
    }

    EXPECT_EQ(Content(), Lines({"first", "text"}));
}

TEST_F(FileAppenderTest, WriteThatTakesAPartAndThenFailsLeavesThatPart) {
    FileAppender appender(path_, 0, 0, kAppend);
    {
        Journal journal;
        journal.Answer("write", 2, 0, 2);
        journal.Fail("write", ENOSPC, 3);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 2);
    }
    Log(appender, "next");

    EXPECT_EQ(Content(), std::string(kHeader) + "lo" + Line("next"));
}

TEST_F(FileAppenderTest, FullBufferThatCannotBeWrittenIsLostWhole) {
    for (WriteFault const& fault : kWriteFaults) {
        SCOPED_TRACE(fault.error);
        FileAppender appender(path_, 0, 3, kTruncate);
        Log64(appender, 1, 3);
        {
            Journal journal;
            journal.Answer("write", fault.result, fault.error, 1);
            Log64(appender, 4, 6);
            ASSERT_EQ(journal.Hits(), 1);
            EXPECT_EQ(journal.Calls(), (Strings{"write " + Lines64(4, 6), "close"}));
        }
        EXPECT_EQ(CallsOf([&] { Log64(appender, 7, 9); }),
                  (Strings{"open app.log to append", "write " + Lines64(7, 9)}));
        EXPECT_EQ(Content(), Lines64(1, 3) + Lines64(7, 9));
    }
}

TEST_F(FileAppenderTest, BufferThatIsCutOffLosesTheRest) {
    FileAppender appender(path_, 0, 3, kAppend);
    {
        Journal journal;
        journal.Answer("write", 100, 0, 1);
        journal.Fail("write", ENOSPC, 2);
        Log64(appender, 1, 3);
        ASSERT_EQ(journal.Hits(), 2);
    }
    Log64(appender, 4, 6);

    EXPECT_EQ(Content(), Lines64(1, 3).substr(0, 100) + Lines64(4, 6));
}

TEST_F(FileAppenderTest, UrgentRecordIsLostWithTheBufferBeforeIt) {
    for (WriteFault const& fault : kWriteFaults) {
        SCOPED_TRACE(fault.error);
        FileAppender appender(path_, 0, 10, kTruncate);
        Log64(appender, 1, 2);
        {
            Journal journal;
            journal.Answer("write", fault.result, fault.error, 1);
            Log(appender, "lost", kError | kInfo);
            ASSERT_EQ(journal.Hits(), 1);
            EXPECT_EQ(journal.Calls(), (Strings{"write " + Lines64(1, 2), "close"}));
        }
        Log(appender, "next", kError | kInfo);
        EXPECT_EQ(Content(), Line("next"));
    }
}

TEST_F(FileAppenderTest, UrgentRecordThatFailsLeavesTheBufferBeforeItInTheFile) {
    std::string const leftOf[] = {"", kHeader, std::string(kHeader) + "lost"};
    for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        FileAppender appender(path_, 0, 10, kTruncate);
        Log64(appender, 1, 2);
        {
            Journal journal;
            journal.Fail("write", ENOSPC, nth + 1);
            Log(appender, "lost", kError | kInfo);
            ASSERT_EQ(journal.Hits(), 1);
            EXPECT_EQ(journal.Calls().back(), "close");
        }
        Log64(appender, 3, 3);
        appender.Flush();
        EXPECT_EQ(Content(), Lines64(1, 2) + leftOf[nth - 1] + Lines64(3, 3));
    }
}

TEST_F(FileAppenderTest, AfterALostRecordTheBufferTakesItsFullNumberAgain) {
    FileAppender appender(path_, 0, 3, kTruncate);
    Log64(appender, 1, 2);
    {
        Journal journal;
        journal.Fail("write", EIO);
        Log(appender, "lost", kError);
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(CallsOf([&] { Log64(appender, 4, 6); }),
              (Strings{"open app.log to append", "write " + Lines64(4, 6)}));
}

TEST_F(FileAppenderTest, PeriodicCloseThatCannotWriteLosesTheBufferAlone) {
    FileAppender appender(path_, 0, 100, kAppend);
    Log64(appender, 1, 64);
    {
        Journal journal;
        journal.Fail("write", ENOSPC);
        Log64(appender, 65, 128);
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls().back(), "close");
    }
    Log64(appender, 129, 192);

    EXPECT_EQ(Content(), Lines64(1, 64) + Lines64(129, 192));
}

TEST_F(FileAppenderTest, FileSystemThatIsFullForAWhileLosesTheRecordsOfThatWhile) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log64(appender, 1, 3);
    {
        Journal journal;
        journal.Fail("write", ENOSPC, 1, 5);
        Log64(appender, 4, 8);
        ASSERT_EQ(journal.Hits(), 5);
    }
    Log64(appender, 9, 10);

    EXPECT_EQ(Content(), Lines64(1, 3) + Lines64(9, 10));
}

TEST_F(FileAppenderTest, FailedCloseIsPassedOver) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("close", EIO);
        Log64(appender, 17, 17);
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, RecordWithoutAPositionIsLostAndTheBufferBeforeItIsNot) {
    WatchedAppender appender(path_, 1, 10, kTruncate);
    Log64(appender, 1, 2);
    {
        Journal journal;
        journal.Fail("lseek", EIO);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls(), (Strings{"lseek", "write " + Lines64(1, 2), "close"}));
    }
    EXPECT_EQ(appender.exceeded, 0);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 3, 3); }),
              (Strings{"open app.log to append", "lseek"}));
    appender.Flush();
    EXPECT_EQ(Content(), Lines64(1, 3));
}

TEST_F(FileAppenderTest, SizeThatNoNumberHoldsIsNoSize) {
    WatchedAppender appender(path_, LLONG_MAX, 10, kTruncate);
    Log64(appender, 1, 1);
    {
        Journal journal;
        journal.Answer("lseek", LLONG_MAX - 63, 0, 1);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls(), (Strings{"lseek", "write " + Lines64(1, 1), "close"}));
    }

    EXPECT_EQ(appender.exceeded, 0);
    EXPECT_EQ(RecordsUntilClose(appender), 64);
}

TEST_F(FileAppenderTest, LargestSizeThatANumberHoldsIsASize) {
    WatchedAppender appender(path_, LLONG_MAX, 10, kTruncate);
    Log64(appender, 1, 1);
    Journal journal;
    journal.Answer("lseek", LLONG_MAX - 64, 0, 1);
    Log(appender, "text");

    ASSERT_EQ(journal.Hits(), 1);
    EXPECT_EQ(appender.exceeded, 1);
}

TEST_F(FileAppenderTest, FileThatCannotBeRemovedIsEmptiedAllTheSame) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("remove", EACCES);
        Log64(appender, 17, 17);
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, RecordIsLostWhenTheNewFileCannotBeMade) {
    FileAppender appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("open", ENOSPC);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls(), (Strings{"lseek", "close", "stat app.log", "remove app.log",
                                            "open app.log to truncate"}));
    }

    EXPECT_EQ(CallsOf([&] { Log64(appender, 17, 17); }).front(), "open app.log to append");
    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, ExceptionOfASubclassPassesThroughAndLoggingGoesOn) {
    struct Throwing : FileAppender {
        using FileAppender::FileAppender;
        void OnFileLimitSizeExceed() override {
            FileAppender::OnFileLimitSizeExceed();
            throw std::runtime_error("limit");
        }
    };
    Throwing appender(path_, 1, 0, kTruncate);
    Log64(appender, 1, 16);

    EXPECT_THROW(Log(appender, "lost"), std::runtime_error);
    EXPECT_TRUE(IsFree(appender.Mutex()));
    Log64(appender, 17, 17);

    EXPECT_EQ(Content(), Lines64(17, 17));
}

// Names.

TEST_F(FileAppenderTest, NameIsBytesAndKeptAsGiven) {
    for (std::string const name : {"with blanks .log", "gr\xc3\xbc\xc3\x9f.log", "\xff\xfe\n%s",
                                   "-", "a.b.c", "./././app.log", "//app.log"}) {
        SCOPED_TRACE(name);
        std::string const path = directory_.File(name);
        RollingFileAppender appender(path, 1, 2, 0);
        Log64(appender, 1, 17);
        EXPECT_EQ(appender.GetFilename(), path);
        EXPECT_EQ(ReadWholeFile(path + ".1"), Lines64(1, 16));
        EXPECT_EQ(ReadWholeFile(path), Lines64(17, 17));
        std::filesystem::remove(path + ".1");
        std::filesystem::remove(path);
    }
}

TEST_F(FileAppenderTest, NameMayHaveAsManyBytesAsThePathsOfTheSystem) {
    std::string path = directory_.Path();
    path += std::string(PATH_MAX - 1 - path.size() - 7, '/') + "app.log";
    FileAppender appender(path, 1, 0, kAppend);

    Log64(appender, 1, 17);

    EXPECT_EQ(Content(), Lines64(17, 17));
}

TEST_F(FileAppenderTest, NameThatTheSystemRefusesLosesTheRecordsQuietly) {
    for (std::string const& path :
         {directory_.Path() + std::string(PATH_MAX, '/') + "app.log", std::string(),
          directory_.Path(), directory_.File(std::string(300, 'x'))}) {
        SCOPED_TRACE(path.substr(0, 100));
        RollingFileAppender appender(path, 1, 3, 10);
        EXPECT_NO_THROW(Log64(appender, 1, 100));
        EXPECT_NO_THROW(Log(appender, "lost", kFatal));
    }
    EXPECT_EQ(Files(), (std::map<std::string, std::string>()));
}

TEST_F(FileAppenderTest, RecordsFlowOnceTheDirectoryIsThere) {
    std::string const path = directory_.File("later/app.log");
    FileAppender appender(path, 0, 0, kTruncate);
    Log(appender, "lost");
    std::filesystem::create_directory(directory_.File("later"));

    Log(appender, "kept");

    EXPECT_EQ(ReadWholeFile(path), Line("kept"));
}

// Many threads.

TEST_F(FileAppenderTest, LinesOfManyThreadsStayWholeWhileOthersClose) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 500;
    {
        FileAppender appender(path_, 0, 7, kAppend);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (int number = 0; number < kRecords; ++number) {
                    Log(appender, std::to_string(thread) + ' ' + std::to_string(number),
                        number % 9 == 0 ? kWarning : kInfo);
                    if (number % 50 == 0) {
                        appender.Close();
                    }
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    std::vector<int> next(kThreads, 0);
    std::istringstream lines(Content());
    for (std::string line; std::getline(lines, line);) {
        auto const thread = static_cast<std::size_t>(line.at(42) - '0');
        ASSERT_LT(thread, next.size()) << line;
        int const number = next[thread]++;
        std::string const letter = number % 9 == 0 ? "W" : "I";
        ASSERT_EQ(line,
                  letter + (kHeader + 1) + std::to_string(thread) + ' ' + std::to_string(number));
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kRecords));
}

// Rolling.

TEST_F(RollingFileAppenderTest, FullFileBecomesTheFirstAndTheOthersMoveUp) {
    WriteWholeFile(path_, std::string(1024, 'x'));
    WriteWholeFile(path_ + ".1", "one");
    WriteWholeFile(path_ + ".2", "two");
    WriteWholeFile(path_ + ".3", "three");
    WriteWholeFile(path_ + ".4", "four");
    RollingFileAppender appender(path_, 1, 3, 0);

    Log(appender, "full");
    Log(appender, "rolls");

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{
                           {"app.log", Line("rolls")},
                           {"app.log.1", std::string(1024, 'x') + Line("full")},
                           {"app.log.2", "one"},
                           {"app.log.3", "two"},
                           {"app.log.4", "four"}}));
}

TEST_F(RollingFileAppenderTest, RenamesGoFromTheHighestNumberDown) {
    RollingFileAppender appender(path_, 1, 3, 10);
    Log64(appender, 1, 16);

    EXPECT_EQ(CallsOf([&] { Log64(appender, 17, 17); }),
              (Strings{"lseek", "write " + Lines64(11, 16), "close", "rename app.log.2 app.log.3",
                       "rename app.log.1 app.log.2", "rename app.log app.log.1",
                       "open app.log to truncate"}));
}

TEST_F(RollingFileAppenderTest, FirstRollLeavesTheFirstNumberAlone) {
    RollingFileAppender appender(path_, 1, 3, 0);

    Log64(appender, 1, 17);

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(17, 17)},
                                                           {"app.log.1", Lines64(1, 16)}}));
}

TEST_F(RollingFileAppenderTest, OneKeptFileIsReplaced) {
    RollingFileAppender appender(path_, 1, 1, 0);

    Log64(appender, 1, 33);

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(33, 33)},
                                                           {"app.log.1", Lines64(17, 32)}}));
}

TEST_F(RollingFileAppenderTest, NoKeptFileOrFewerRestartsTheFileEmpty) {
    for (int const keptFiles : {0, -1, -9, INT_MIN}) {
        SCOPED_TRACE(keptFiles);
        std::filesystem::remove(path_);
        RollingFileAppender appender(path_, 1, keptFiles, 0);
        Log64(appender, 1, 16);
        EXPECT_EQ(
            CallsOf([&] { Log64(appender, 17, 17); }),
            (Strings{"lseek", "close", "stat app.log", "remove app.log", "open app.log to truncate",
                     kWriteHeader, "write " + Text64(17), "write \n"}));
        EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(17, 17)}}));
    }
}

TEST_F(RollingFileAppenderTest, NineFilesAreKeptAtMost) {
    for (int const keptFiles : {9, 10, 20, INT_MAX}) {
        SCOPED_TRACE(keptFiles);
        std::filesystem::remove(path_);
        RollingFileAppender appender(path_, 1, keptFiles, 0);
        Log64(appender, 1, 12 * 16 + 1);
        std::map<std::string, std::string> expected = {
            {"app.log", Lines64(12 * 16 + 1, 12 * 16 + 1)}};
        for (int number = 1; number <= 9; ++number) {
            int const last = (13 - number) * 16;
            expected["app.log." + std::to_string(number)] = Lines64(last - 15, last);
        }
        EXPECT_EQ(Files(), expected);
    }
}

TEST_F(RollingFileAppenderTest, EightFilesAreKeptWhereEightAreAsked) {
    RollingFileAppender appender(path_, 1, 8, 0);
    Log64(appender, 1, 12 * 16 + 1);

    EXPECT_EQ(Files().size(), 9U);
    EXPECT_EQ(ReadWholeFile(path_ + ".8"), Lines64(65, 80));
}

TEST_F(RollingFileAppenderTest, WithoutALimitNothingRolls) {
    RollingFileAppender appender(path_, 0, 3, 0);
    Log64(appender, 1, 100);

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(1, 100)}}));
}

TEST_F(RollingFileAppenderTest, ExistingFileIsContinued) {
    WriteWholeFile(path_, "before\n");
    RollingFileAppender appender(path_, 1, 3, 0);
    Log(appender, "after");

    EXPECT_EQ(Content(), "before\n" + Line("after"));
}

TEST_F(RollingFileAppenderTest, FailedRenameLeavesTheOthersToGoOn) {
    WriteWholeFile(path_ + ".1", "one");
    WriteWholeFile(path_ + ".2", "two");
    WriteWholeFile(path_ + ".3", "three");
    RollingFileAppender appender(path_, 1, 3, 0);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("rename", EACCES);
        Log64(appender, 17, 17);
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(17, 17)},
                                                           {"app.log.1", Lines64(1, 16)},
                                                           {"app.log.2", "one"},
                                                           {"app.log.3", "three"}}));
}

TEST_F(RollingFileAppenderTest, FullFileThatCannotBeRenamedIsEmptied) {
    RollingFileAppender appender(path_, 1, 1, 0);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("rename", EACCES);
        Log64(appender, 17, 17);
        ASSERT_EQ(journal.Hits(), 1);
    }

    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(17, 17)}}));
}

TEST_F(RollingFileAppenderTest, RecordIsLostWhenTheNewFileCannotBeMade) {
    RollingFileAppender appender(path_, 1, 1, 0);
    Log64(appender, 1, 16);
    {
        Journal journal;
        journal.Fail("open", EMFILE);
        Log(appender, "lost");
        ASSERT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls().back(), "open app.log to truncate");
    }

    EXPECT_EQ(CallsOf([&] { Log64(appender, 17, 17); }).front(), "open app.log to append");
    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(17, 17)},
                                                           {"app.log.1", Lines64(1, 16)}}));
}

TEST_F(RollingFileAppenderTest, RollWithoutMemoryThrowsAndLoggingGoesOn) {
    RollingFileAppender appender(path_, 1, 1, 0);
    Log64(appender, 1, 16);
    TaggedRecord const lost(kInfo, "lost", {"core"});
    bool thrown = false;
    {
        AllocationLimit const limit(0);
        try {
            appender.Append(lost);
        } catch (std::bad_alloc const&) {
            thrown = true;
        }
        ASSERT_EQ(limit.Refused(), 1U);
    }
    EXPECT_TRUE(thrown);
    EXPECT_TRUE(IsFree(appender.Mutex()));

    Log64(appender, 17, 17);
    EXPECT_EQ(Content(), Lines64(1, 17));
    Log64(appender, 18, 18);
    EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"app.log", Lines64(18, 18)},
                                                           {"app.log.1", Lines64(1, 17)}}));
}

TEST_F(RollingFileAppenderTest, DestructorWritesTheBufferOutAndCloses) {
    auto appender = std::make_unique<RollingFileAppender>(path_, 1, 3, 10);
    Log64(*appender, 1, 2);

    EXPECT_EQ(CallsOf([&] { appender.reset(); }), (Strings{"write " + Lines64(1, 2), "close"}));
}

}  // namespace
}  // namespace tarqlog
