#include "tarqlog/appender_base.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/logcore.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/logger.h"
#include "tarqlog/logsink.h"
#include "tarqlog/scoped_lock.h"

#include "support/allocations.h"
#include "support/header_callables.h"
#include "support/installed_hooks.h"
#include "support/is_free.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/rwlock_watch.h"

namespace tarqlog {
namespace {

void WriteStar(std::string& header, LogRecord const&) {
    header += '*';
}

/// Counts its records, and does with each what the test asks for.
class ScriptedAppender : public AppenderBase {
public:
    typedef std::function<void(ScriptedAppender&, LogRecord const&)> Script;

    explicit ScriptedAppender(FormatHeaderFunc const& formatHeader, Script const& script = Script())
        : AppenderBase(formatHeader), script_(script) {}

    int Count() const { return count_; }

protected:
    void DoAppend(LogRecord const& record) override {
        ++count_;
        if (script_) {
            script_(*this, record);
        }
    }

private:
    Script const script_;
    int count_ = 0;  // guarded by Mutex(): it is a race unless the base holds it
};

class AppenderBaseTest : public testing::Test {
protected:
    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TaggedRecord const record_{kInfo, "ready", {"core"}};
};

TEST_F(AppenderBaseTest, AcceptedRecordIsHandedOverWithItsHeader) {
    NotingAppender appender;

    appender.Append(record_);

    EXPECT_EQ(appender.Headers(), std::vector<std::string>{"[t:4242](core):"});
    EXPECT_EQ(appender.Texts(), std::vector<std::string>{"ready"});
}

TEST_F(AppenderBaseTest, RecordIsHandedOverAsItselfAndOnce) {
    LogRecord const& record = record_;
    std::vector<LogRecord const*> formatted;
    std::vector<LogRecord const*> written;
    ScriptedAppender appender(
        [&](std::string&, LogRecord const& given) { formatted.push_back(&given); },
        [&](ScriptedAppender&, LogRecord const& given) { written.push_back(&given); });

    appender.Append(record);

    EXPECT_EQ(formatted, std::vector<LogRecord const*>{&record});
    EXPECT_EQ(written, std::vector<LogRecord const*>{&record});
}

TEST_F(AppenderBaseTest, AppenderIsAbstractAndNeverCopied) {
    EXPECT_TRUE(std::is_abstract<AppenderBase>::value);
    EXPECT_TRUE(std::has_virtual_destructor<AppenderBase>::value);
    EXPECT_TRUE((std::is_base_of<log_utils::Noncopyable, AppenderBase>::value));
    EXPECT_FALSE((std::is_convertible<AppenderBase*, log_utils::Noncopyable*>::value));
    EXPECT_FALSE(std::is_copy_constructible<NotingAppender>::value);
    EXPECT_FALSE(std::is_move_constructible<NotingAppender>::value);
    EXPECT_FALSE(std::is_copy_assignable<NotingAppender>::value);
    EXPECT_FALSE(std::is_move_assignable<NotingAppender>::value);
}

TEST_F(AppenderBaseTest, PointerThatIsNoHeaderFunctionIsNotTakenForTrue) {
    struct Appender : AppenderBase {
        using AppenderBase::AppenderBase;
        void DoAppend(LogRecord const&) override {}
    };
    EXPECT_TRUE((std::is_constructible<Appender, bool>::value));
    EXPECT_TRUE((std::is_constructible<Appender, decltype(&WriteStar)>::value));
    EXPECT_TRUE((std::is_constructible<Appender, std::nullptr_t>::value));

    EXPECT_FALSE((std::is_constructible<Appender, const char*>::value));
    EXPECT_FALSE((std::is_constructible<Appender, const char(&)[5]>::value));
    EXPECT_FALSE((std::is_constructible<Appender, void (*)(std::string&)>::value));
    EXPECT_FALSE((std::is_constructible<Appender, FormatHeaderFunc*>::value));
}

// What is accepted.

TEST_F(AppenderBaseTest, RecordWithoutTextIsIgnored) {
    NotingAppender appender;

    for (std::string const& data : {std::string(), std::string("\0", 1)}) {
        SCOPED_TRACE(data.size());
        LogRecord record(kInfo);
        record.WriteData(data.data(), static_cast<int>(data.size()));
        appender.Append(record);
        EXPECT_EQ(appender.Texts(), std::vector<std::string>());
    }
}

TEST_F(AppenderBaseTest, RecordWhoseTextDoesNotEndWithANulIsIgnored) {
    NotingAppender appender;

    for (std::string const& data : {std::string("a"), std::string("ab"), std::string("a\0b", 3)}) {
        SCOPED_TRACE(data);
        LogRecord record(kInfo);
        record.WriteData(data.data(), static_cast<int>(data.size()));
        appender.Append(record);
        EXPECT_EQ(appender.Texts(), std::vector<std::string>());
    }
}

TEST_F(AppenderBaseTest, OneCharacterIsText) {
    NotingAppender appender;

    appender.Append(TaggedRecord(kInfo, "a"));
    appender.Append(TaggedRecord(kInfo, std::string("\0", 1)));

    EXPECT_EQ(appender.Texts(), (std::vector<std::string>{"a", std::string("\0", 1)}));
}

TEST_F(AppenderBaseTest, NewAppenderAcceptsTheSixLevelsAndNoOtherBit) {
    NotingAppender appender;

    for (std::uint32_t bit = 0x80000000U; bit != 0; bit /= 2) {
        appender.Append(TaggedRecord(static_cast<Severity>(bit), std::to_string(bit)));
    }

    EXPECT_EQ(appender.GetSevertiy(), 63U);
    EXPECT_EQ(appender.Texts(), (std::vector<std::string>{"32", "16", "8", "4", "2", "1"}));
}

TEST_F(AppenderBaseTest, RecordIsAcceptedWhenItSharesALevelWithTheMask) {
    NotingAppender appender;
    appender.SetSeverity(kWarning | kError);

    appender.Append(TaggedRecord(kInfo, "info"));
    appender.Append(TaggedRecord(kWarning, "warning"));
    appender.Append(TaggedRecord(kInfo | kError, "info and error"));
    appender.Append(TaggedRecord(kTrace | kFatal, "trace and fatal"));

    EXPECT_EQ(appender.Texts(), (std::vector<std::string>{"warning", "info and error"}));
}

TEST_F(AppenderBaseTest, EmptyMaskAcceptsNothing) {
    NotingAppender appender;
    appender.SetSeverity(static_cast<Severity>(0));

    appender.Append(TaggedRecord(kAllSeverities, "all"));
    appender.Append(TaggedRecord(static_cast<Severity>(UINT_MAX), "every bit"));

    EXPECT_EQ(appender.Texts(), std::vector<std::string>());
}

TEST_F(AppenderBaseTest, RecordOfNoSeverityIsNeverAccepted) {
    NotingAppender appender;

    for (std::uint32_t const mask : {0U, 63U, 0xffffffffU}) {
        SCOPED_TRACE(mask);
        appender.SetSeverity(static_cast<Severity>(mask));
        appender.Append(TaggedRecord(static_cast<Severity>(0), "none"));
        EXPECT_EQ(appender.Texts(), std::vector<std::string>());
    }
}

TEST_F(AppenderBaseTest, AnyMaskIsKeptAsItIs) {
    NotingAppender appender;

    for (std::uint32_t const mask : {0U, 1U, 64U, 0x80000000U, 0xffffffc0U, 0xffffffffU}) {
        SCOPED_TRACE(mask);
        appender.SetSeverity(static_cast<Severity>(mask));
        EXPECT_EQ(appender.GetSevertiy(), mask);
    }
}

TEST_F(AppenderBaseTest, BitBeyondTheLevelsCountsWhereMaskAndRecordShareIt) {
    ScriptedAppender appender(DefaultFormatHeaderFunc(true),
                              [](ScriptedAppender& self, LogRecord const&) {
                                  EXPECT_EQ(self.Header(), "U [2023-11-14 22:13:20.123][t:4242]):");
                              });
    appender.SetSeverity(static_cast<Severity>(64 + 128));

    appender.Append(TaggedRecord(static_cast<Severity>(64), "shared"));
    appender.Append(TaggedRecord(static_cast<Severity>(256), "not shared"));

    EXPECT_EQ(appender.Count(), 1);
}

TEST_F(AppenderBaseTest, RecordOfTwoLevelsShowsTheLowerOne) {
    std::string header;
    ScriptedAppender appender(
        DefaultFormatHeaderFunc(true),
        [&](ScriptedAppender& self, LogRecord const&) { header = self.Header(); });

    appender.Append(TaggedRecord(static_cast<Severity>(6), "debug and info", {"core"}));

    EXPECT_EQ(header, "D [2023-11-14 22:13:20.123][t:4242](core):");
}

// The lock.

TEST_F(AppenderBaseTest, RejectedRecordTakesNoLockAndBuildsNoHeader) {
    int formatted = 0;
    ScriptedAppender appender([&](std::string&, LogRecord const&) { ++formatted; });
    long const beforeProof = mutexLocks.Calls();
    appender.Append(record_);
    ASSERT_EQ(mutexLocks.Calls(), beforeProof + 1);  // an accepted record takes one
    ASSERT_EQ(formatted, 1);
    LogRecord const withoutText(kInfo);
    TaggedRecord const outsideTheMask(static_cast<Severity>(64), "ready");

    long const before = mutexLocks.Calls();
    appender.Append(withoutText);
    appender.Append(outsideTheMask);
    long const after = mutexLocks.Calls();

    EXPECT_EQ(after, before);
    EXPECT_EQ(formatted, 1);
}

TEST_F(AppenderBaseTest, MaskIsReadAndReplacedWithoutTheLock) {
    NotingAppender appender;
    long const beforeProof = mutexLocks.Calls();
    appender.Mutex().Lock();
    appender.Mutex().Unlock();
    ASSERT_EQ(mutexLocks.Calls(), beforeProof + 1);

    long const before = mutexLocks.Calls();
    appender.SetSeverity(kError);
    Severity const mask = appender.GetSevertiy();
    long const after = mutexLocks.Calls();

    EXPECT_EQ(after, before);
    EXPECT_EQ(mask, kError);
}

TEST_F(AppenderBaseTest, MutexIsHeldFromTheHeaderThroughTheWriting) {
    ScriptedAppender* self = nullptr;
    std::vector<bool> free;
    ScriptedAppender appender(
        [&](std::string&, LogRecord const&) { free.push_back(IsFree(self->Mutex())); },
        [&](ScriptedAppender& inside, LogRecord const&) {
            free.push_back(IsFree(inside.Mutex()));
        });
    self = &appender;

    appender.Append(record_);
    free.push_back(IsFree(appender.Mutex()));

    EXPECT_EQ(free, (std::vector<bool>{false, false, true}));
}

TEST_F(AppenderBaseTest, EachAppenderHasAMutexOfItsOwn) {
    NotingAppender const first;
    NotingAppender const second;

    threads::ScopedLock<threads::ThreadMutex> const lock(first.Mutex());

    EXPECT_FALSE(IsFree(first.Mutex()));
    EXPECT_TRUE(IsFree(second.Mutex()));
    EXPECT_EQ(&first.Mutex(), &first.Mutex());
}

TEST_F(AppenderBaseTest, HolderOfTheMutexMayLog) {
    NotingAppender appender;

    threads::ScopedLock<threads::ThreadMutex> const lock(appender.Mutex());
    appender.Append(record_);

    EXPECT_EQ(appender.Texts(), std::vector<std::string>{"ready"});
    EXPECT_FALSE(IsFree(appender.Mutex()));
}

TEST_F(AppenderBaseTest, RecordsOfManyThreadsAreWrittenOneAtATime) {
    std::vector<std::string> headers;  // guarded by the appender's mutex
    ScriptedAppender appender(
        [](std::string& header, LogRecord const& record) {
            for (int i = 0; i < 20; ++i) {
                header += TextOf(record);
            }
        },
        [&](ScriptedAppender& self, LogRecord const&) { headers.push_back(self.Header()); });

    std::vector<std::thread> threads;
    for (char const* const letter : {"a", "b", "c", "d"}) {
        threads.emplace_back([&appender, letter] {
            for (int i = 0; i < 500; ++i) {
                appender.Append(TaggedRecord(kInfo, letter));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(appender.Count(), 2000);
    std::multiset<std::string> const counted(headers.begin(), headers.end());
    for (char const letter : {'a', 'b', 'c', 'd'}) {
        EXPECT_EQ(counted.count(std::string(20, letter)), 500U) << letter;
    }
}

TEST_F(AppenderBaseTest, MaskMayBeReplacedWhileOthersLog) {
    ScriptedAppender appender(WriteStar);
    std::thread logging([&] {
        for (int i = 0; i < 2000; ++i) {
            appender.Append(record_);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        appender.SetSeverity(i % 2 == 0 ? kError : kInfo);
    }
    logging.join();

    int const count = appender.Count();
    appender.Append(TaggedRecord(kError, "outside the last mask"));
    appender.Append(TaggedRecord(kInfo, "inside the last mask"));
    EXPECT_EQ(appender.Count(), count + 1);
}

// The header.

TEST_F(AppenderBaseTest, HeaderIsEmptyBeforeEachRecordAndKeepsItsMemory) {
    std::vector<std::string::size_type> sizes;
    std::vector<std::string::size_type> capacities;
    ScriptedAppender appender([&](std::string& header, LogRecord const&) {
        sizes.push_back(header.size());
        header.resize(header.size() + 1000, '*');
        capacities.push_back(header.capacity());
    });

    appender.Append(record_);
    appender.Append(record_);
    appender.Append(record_);

    EXPECT_EQ(sizes, (std::vector<std::string::size_type>{0, 0, 0}));
    EXPECT_GE(capacities[0], 1000U);
    EXPECT_EQ(capacities[1], capacities[0]);
    EXPECT_EQ(capacities[2], capacities[0]);
}

TEST_F(AppenderBaseTest, RecordCostsNoAllocationOnceTheHeaderHasGrown) {
    ScriptedAppender appender(DefaultFormatHeaderFunc(true));
    TaggedRecord const longTag(kInfo, "ready", {std::string(300, 'c'), "io"});
    unsigned long const before = AllocationCount();
    appender.Append(longTag);
    ASSERT_GT(AllocationCount(), before);  // the header grows

    unsigned long const grown = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        appender.Append(longTag);
        appender.Append(record_);
    }

    EXPECT_EQ(AllocationCount(), grown);
    EXPECT_EQ(appender.Count(), 201);
}

TEST_F(AppenderBaseTest, AppenderKeepsACopyOfTheHeaderFunction) {
    FormatHeaderFunc function = WriteStar;
    std::string header;
    ScriptedAppender appender(
        function, [&](ScriptedAppender& self, LogRecord const&) { header = self.Header(); });

    function.clear();
    appender.Append(record_);

    EXPECT_EQ(header, "*");
}

TEST_F(AppenderBaseTest, HeaderFunctionCanBeReplacedByACopy) {
    FormatHeaderFunc function = WriteStar;
    std::vector<std::string> headers;
    ScriptedAppender appender(
        DefaultFormatHeaderFunc(false),
        [&](ScriptedAppender& self, LogRecord const&) { headers.push_back(self.Header()); });

    appender.Append(record_);
    appender.SetHeaderFunc(function);
    function.clear();
    appender.Append(record_);
    appender.SetHeaderFunc([](std::string& header, LogRecord const&) { header += '+'; });
    appender.Append(record_);

    EXPECT_EQ(headers, (std::vector<std::string>{"[t:4242](core):", "*", "+"}));
}

TEST_F(AppenderBaseTest, ReplacedHeaderFunctionEndsWithoutTheLock) {
    struct Ending {
        ~Ending() { *wasFree = IsFree(*mutex); }
        threads::ThreadMutex* mutex;
        bool* wasFree;
    };
    bool wasFree = false;
    NotingAppender appender;
    boost::shared_ptr<Ending> ending(new Ending{&appender.Mutex(), &wasFree});
    appender.SetHeaderFunc([ending](std::string&, LogRecord const&) {});
    ending.reset();
    ASSERT_FALSE(wasFree);

    appender.SetHeaderFunc(WriteStar);

    EXPECT_TRUE(wasFree);
}

TEST_F(AppenderBaseTest, HeaderFunctionIsReplacedUnderTheLock) {
    ScriptedAppender appender(WriteStar);
    long const beforeProof = mutexLocks.Calls();
    appender.Append(record_);
    ASSERT_EQ(mutexLocks.Calls(), beforeProof + 1);

    long const before = mutexLocks.Calls();
    appender.SetHeaderFunc(WriteStar);
    long const after = mutexLocks.Calls();

    EXPECT_EQ(after, before + 1);
    EXPECT_TRUE(IsFree(appender.Mutex()));
}

TEST_F(AppenderBaseTest, EmptyHeaderFunctionSetLaterThrowsUntilAnotherIsSet) {
    NotingAppender appender;

    appender.SetHeaderFunc(FormatHeaderFunc());
    EXPECT_THROW(appender.Append(record_), boost::bad_function_call);
    EXPECT_TRUE(IsFree(appender.Mutex()));

    appender.SetHeaderFunc(WriteStar);
    appender.Append(record_);
    EXPECT_EQ(appender.Headers(), std::vector<std::string>{"*"});
}

TEST_F(AppenderBaseTest, RecordLoggedWhileWritingTakesOverTheHeader) {
    std::vector<std::string> headers;
    ScriptedAppender appender(DefaultFormatHeaderFunc(false),
                              [&](ScriptedAppender& self, LogRecord const& record) {
                                  headers.push_back(self.Header());
                                  if (TextOf(record) == "outer") {
                                      self.Append(TaggedRecord(kInfo, "inner", {"inner"}));
                                      headers.push_back(self.Header());
                                  }
                              });

    appender.Append(TaggedRecord(kInfo, "outer", {"outer"}));

    EXPECT_EQ(headers, (std::vector<std::string>{
                           "[t:4242](outer):", "[t:4242](inner):", "[t:4242](inner):"}));
    EXPECT_TRUE(IsFree(appender.Mutex()));
}

// What throws.

TEST_F(AppenderBaseTest, WhatTheHeaderFunctionThrowsPassesUnchanged) {
    bool throws = true;
    ScriptedAppender appender([&](std::string& header, LogRecord const&) {
        header += "begun";
        if (throws) {
            throw std::out_of_range("header");
        }
    });

    try {
        appender.Append(record_);
        FAIL() << "nothing was thrown";
    } catch (std::out_of_range const& error) {
        EXPECT_STREQ(error.what(), "header");
    }
    EXPECT_EQ(appender.Count(), 0);
    EXPECT_TRUE(IsFree(appender.Mutex()));

    throws = false;
    appender.Append(record_);
    EXPECT_EQ(appender.Count(), 1);
    EXPECT_EQ(appender.Header(), "begun");
}

TEST_F(AppenderBaseTest, WhatTheWritingThrowsPassesUnchanged) {
    bool throws = true;
    ScriptedAppender appender(WriteStar, [&](ScriptedAppender&, LogRecord const&) {
        if (throws) {
            throw 17;
        }
    });

    try {
        appender.Append(record_);
        FAIL() << "nothing was thrown";
    } catch (int const number) {
        EXPECT_EQ(number, 17);
    }
    EXPECT_TRUE(IsFree(appender.Mutex()));

    throws = false;
    appender.Append(record_);
    EXPECT_EQ(appender.Count(), 2);
    EXPECT_EQ(appender.Header(), "*");
}

TEST_F(AppenderBaseTest, RefusedMemoryForTheHeaderPassesAndTheNextRecordIsWritten) {
    NotingAppender appender;
    TaggedRecord const longTag(kInfo, "ready", {std::string(300, 'c')});
    {
        AllocationLimit const limit(0);
        EXPECT_THROW(appender.Append(longTag), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), 1U);
    }
    EXPECT_TRUE(IsFree(appender.Mutex()));

    appender.Append(record_);

    EXPECT_EQ(appender.Headers(), std::vector<std::string>{"[t:4242](core):"});
}

TEST_F(AppenderBaseTest, EmptyHeaderFunctionThrowsAtEachAcceptedRecord) {
    ScriptedAppender appender((FormatHeaderFunc()));

    for (int i = 0; i < 3; ++i) {
        EXPECT_THROW(appender.Append(record_), boost::bad_function_call);
        EXPECT_TRUE(IsFree(appender.Mutex()));
    }
    EXPECT_EQ(appender.Count(), 0);
}

TEST_F(AppenderBaseTest, EmptyHeaderFunctionIsNoMatterForARejectedRecord) {
    ScriptedAppender appender((FormatHeaderFunc()));

    EXPECT_NO_THROW(appender.Append(TaggedRecord(kInfo, "")));
    EXPECT_NO_THROW(appender.Append(TaggedRecord(static_cast<Severity>(64), "ready")));
}

TEST_F(AppenderBaseTest, AfterAThrowTheCoreCanBeConfiguredAndLoggedTo) {
    auto const throwing = boost::make_shared<ScriptedAppender>(FormatHeaderFunc());
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(throwing);
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
    Logger logger("core");
    LogRecord lost(kInfo);
    lost.WriteData("lost", 4);
    ASSERT_TRUE(logger.HasSink(kInfo));
    EXPECT_THROW(logger.PushRecord(lost), boost::bad_function_call);

    auto const noting = boost::make_shared<NotingAppender>();
    auto const second = boost::make_shared<LogSink>();
    second->AddAppender(noting);
    LogCore::Get()->RemoveAllSinks();
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, second);
    ASSERT_TRUE(logger.HasSink(kInfo));
    LogRecord record(kInfo);
    record.WriteData("ready", 5);
    logger.PushRecord(record);

    EXPECT_EQ(noting->Texts(), std::vector<std::string>{"ready"});
    LogCore::Get()->RemoveAllSinks();
}

TEST_F(AppenderBaseTest, AppenderIsDestroyedThroughItsBaseWithItsHeaderFunction) {
    auto const captured = boost::make_shared<int>(0);
    std::unique_ptr<AppenderBase> appender(
        new ScriptedAppender([captured](std::string&, LogRecord const&) {},
                             [captured](ScriptedAppender&, LogRecord const&) {}));
    ASSERT_GT(captured.use_count(), 2);

    appender.reset();

    EXPECT_EQ(captured.use_count(), 1);
}

// What an appender can be built from.

void ExpectEachKindToBeTaken(std::vector<HeaderCallable> const& callables) {
    for (HeaderCallable const& callable : callables) {
        SCOPED_TRACE(callable.kind);
        EXPECT_EQ(callable.headers, callable.expected);
    }
}

TEST_F(AppenderBaseTest, AnyCallableIsTakenForTheHeaderFunctionInCxx11) {
    std::vector<HeaderCallable> const callables = HeaderCallablesInCxx11(record_);

    EXPECT_EQ(callables.size(), 52U);
    ExpectEachKindToBeTaken(callables);
}

TEST_F(AppenderBaseTest, AnyCallableIsTakenForTheHeaderFunctionInCxx17) {
    std::vector<HeaderCallable> const callables = HeaderCallablesInCxx17(record_);

    EXPECT_EQ(callables.size(), 54U);
    ExpectEachKindToBeTaken(callables);
}

}  // namespace
}  // namespace tarqlog
