#include "tarqlog/udp_appender.h"

#include <cerrno>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/socket_watch.h"
#include "support/udp_port.h"

namespace tarqlog {
namespace {

using Strings = std::vector<std::string>;

static_assert(std::is_convertible<UdpAppender*, AppenderBase*>::value, "for any sink");
static_assert(!std::is_copy_constructible<UdpAppender>::value, "never copied");

constexpr unsigned short kPort = 5140;  // for what is never sent
constexpr char kHost[] = "127.0.0.1";
constexpr char kHeader[] = "I [2023-11-14 22:13:20.123][t:4242](core):";

std::string Line(std::string const& text) {
    return kHeader + text + "\n";
}

/// The call that sends a record of `text` on the socket of that number.
std::string Sendmsg(int socket, std::string const& text) {
    return "sendmsg " + std::to_string(socket) + ": " + kHeader + '|' + text + "|\n";
}

std::string Connect(int socket, unsigned short port = kPort) {
    return "connect " + std::to_string(socket) + " to 127.0.0.1:" + std::to_string(port);
}

void Log(AppenderBase& appender, std::string const& text, Severity severity = kInfo) {
    appender.Append(TaggedRecord(severity, text, {"core"}));
}

class UdpAppenderTest : public testing::Test {
protected:
    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
};

// What is sent.

TEST_F(UdpAppenderTest, DatagramIsFullHeaderTextAndLineFeed) {
    ListeningPort const port;
    UdpAppender appender(kHost, port.Number());

    appender.Append(TaggedRecord(kInfo, "text of the record", {"core", "io"}));
    appender.Append(TaggedRecord(kFatal, "x"));

    EXPECT_EQ(port.Receive(), "I [2023-11-14 22:13:20.123][t:4242](core.io):text of the record\n");
    EXPECT_EQ(port.Receive(), "F [2023-11-14 22:13:20.123][t:4242]):x\n");
    EXPECT_FALSE(port.Has(0));
}

TEST_F(UdpAppenderTest, TextIsSentByteByByteAsItIs) {
    ListeningPort const port;
    UdpAppender appender(kHost, port.Number());
    for (std::string const& text :
         {std::string("two\nlines\n"), std::string("a\0b", 3), std::string("\0", 1),
          std::string("%s%n \xc3\xa9\xff\r"), std::string(60000, 'x')}) {
        SCOPED_TRACE(text.substr(0, 20));
        Log(appender, text);
        EXPECT_TRUE(port.Receive() == Line(text));
    }
}

TEST_F(UdpAppenderTest, RecordWithoutTextOrOutsideTheMaskMakesNoCall) {
    SocketJournal const journal;
    UdpAppender appender(kHost, kPort);
    appender.SetSeverity(kError);

    Log(appender, "", kError);
    Log(appender, "text", kInfo);

    EXPECT_EQ(journal.Calls(), Strings());
}

// The calls.

TEST_F(UdpAppenderTest, JournalSeesTheCallsAndItsAnswersAreGiven) {
    SocketJournal journal;
    journal.Answer("sendmsg", 1);
    {
        UdpAppender appender(kHost, kPort);
        Log(appender, "text");
    }

    EXPECT_EQ(journal.Hits(), 1);
    EXPECT_EQ(journal.Calls(), (Strings{"socket 1", "connect 1 to 127.0.0.1:5140",
                                        "sendmsg 1: I [2023-11-14 22:13:20.123][t:4242](core):|"
                                        "text|\n",
                                        "close 1"}));
}

TEST_F(UdpAppenderTest, AppenderWithoutARecordMakesNoCall) {
    SocketJournal const journal;
    { UdpAppender const appender(kHost, kPort); }

    EXPECT_EQ(journal.Calls(), Strings());
}

TEST_F(UdpAppenderTest, FirstRecordMakesTheSocketAndEachIsOneCall) {
    ListeningPort const port;
    SocketJournal const journal;
    {
        UdpAppender appender(kHost, port.Number());
        Log(appender, "first");
        Log(appender, "second");
        Log(appender, "third");
    }

    EXPECT_EQ(journal.Calls(), (Strings{"socket 1", Connect(1, port.Number()), Sendmsg(1, "first"),
                                        Sendmsg(1, "second"), Sendmsg(1, "third"), "close 1"}));
}

TEST_F(UdpAppenderTest, PiecesAreHandedOverWhereTheyLie) {
    ListeningPort const port;
    UdpAppender appender(kHost, port.Number());
    TaggedRecord const tagged(kInfo, "text", {"core"});
    LogRecord const& record = tagged;
    SocketJournal const journal;

    appender.Append(record);

    ASSERT_EQ(journal.LastPieces().size(), 3U);
    EXPECT_EQ(journal.LastPieces()[0].iov_base, appender.Header().data());
    EXPECT_EQ(journal.LastPieces()[1].iov_base, record.GetData().data());
}

TEST_F(UdpAppenderTest, HostIsCopiedAndAnyKindOfStringWillDo) {
    char characters[] = "127.0.0.1";
    std::string string = "127.0.0.1";
    UdpAppender ofCharacters(characters, kPort);
    UdpAppender ofString(string, kPort);
    characters[0] = string[0] = 'x';
    for (UdpAppender* const appender : {&ofCharacters, &ofString}) {
        SocketJournal journal;
        journal.Answer("sendmsg", 1);

        Log(*appender, "text");

        EXPECT_EQ(journal.Calls(), (Strings{"socket 1", Connect(1), Sendmsg(1, "text")}));
    }
}

TEST_F(UdpAppenderTest, RecordCostsNoAllocationOnceTheHeaderHasGrown) {
    ListeningPort const port;
    UdpAppender appender(kHost, port.Number());
    TaggedRecord const record(kInfo, "text", {"core"});
    unsigned long const before = AllocationCount();
    appender.Append(record);
    ASSERT_GT(AllocationCount(), before);  // the header grows
    port.Receive();

    unsigned long const grown = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        appender.Append(record);
    }
    unsigned long const after = AllocationCount();

    EXPECT_EQ(after, grown);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(port.Receive(), Line("text"));
    }
}

// What fails.

TEST_F(UdpAppenderTest, ConstructionWithoutMemoryThrowsAndLeavesNothingBehind) {
    std::string const longHost(100, '1');
    auto const build = [&] { UdpAppender const appender(longHost, kPort); };

    EXPECT_GE(FailuresUntilBuilt(build), 3U);  // base, own part, host
}

TEST_F(UdpAppenderTest, UnusableDestinationLosesEveryRecordWithoutACall) {
    struct {
        char const* host;
        unsigned short port;
    } const cases[] = {{"0.0.0.0", kPort}, {kHost, 0}, {"", kPort}, {"", 0}};
    for (auto const& destination : cases) {
        SCOPED_TRACE(destination.host);
        SocketJournal const journal;
        UdpAppender appender(destination.host, destination.port);

        EXPECT_NO_THROW(Log(appender, "lost"));
        EXPECT_NO_THROW(Log(appender, "lost too"));

        EXPECT_EQ(journal.Calls(), Strings());
    }
}

TEST_F(UdpAppenderTest, EachRecordTriesOnceToMakeTheSocket) {
    ListeningPort const port;
    SocketJournal journal;
    UdpAppender appender(kHost, port.Number());
    journal.Answer("socket", -1, EMFILE);
    Log(appender, "no socket");
    journal.Answer("connect", -1, ENETUNREACH);
    Log(appender, "no connection");
    Log(appender, "arrives");

    EXPECT_EQ(journal.Hits(), 2);
    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1 fails", "socket 2", Connect(2, port.Number()) + " fails",
                       "close 2", "socket 3", Connect(3, port.Number()), Sendmsg(3, "arrives")}));
    EXPECT_EQ(port.Receive(), Line("arrives"));
    EXPECT_FALSE(port.Has(0));
}

TEST_F(UdpAppenderTest, FailedRecordIsLostAndTheNextOneMakesANewSocket) {
    for (int const error : {EINTR, EAGAIN, ENOBUFS, ECONNREFUSED, EMSGSIZE, ENETUNREACH, EPIPE}) {
        SCOPED_TRACE(error);
        ListeningPort const port;
        SocketJournal journal;
        UdpAppender appender(kHost, port.Number());
        journal.Answer("sendmsg", -1, error, 2);

        Log(appender, "first");
        EXPECT_NO_THROW(Log(appender, "lost"));
        Log(appender, "third");

        EXPECT_EQ(journal.Hits(), 1);
        EXPECT_EQ(journal.Calls(),
                  (Strings{"socket 1", Connect(1, port.Number()), Sendmsg(1, "first"),
                           Sendmsg(1, "lost") + " fails", "close 1", "socket 2",
                           Connect(2, port.Number()), Sendmsg(2, "third")}));
        EXPECT_EQ(port.Receive(), Line("first"));
        EXPECT_EQ(port.Receive(), Line("third"));
        EXPECT_FALSE(port.Has(0));
    }
}

// As the system does when nobody listens: a datagram is taken, and the next call told of it.
TEST_F(UdpAppenderTest, EverySecondRefusalIsANewSocketForEverySecondRecord) {
    SocketJournal journal;
    UdpAppender appender(kHost, kPort);
    for (int nth = 1; nth <= 4; ++nth) {
        journal.Answer("sendmsg", nth % 2 == 0 ? -1 : 1, ECONNREFUSED, nth);
    }

    for (char const* const text : {"taken", "refused", "taken", "refused"}) {
        Log(appender, text);
    }

    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", Connect(1), Sendmsg(1, "taken"),
                       Sendmsg(1, "refused") + " fails", "close 1", "socket 2", Connect(2),
                       Sendmsg(2, "taken"), Sendmsg(2, "refused") + " fails", "close 2"}));
}

TEST_F(UdpAppenderTest, SocketIsClosedOnceWhenTheLastRecordFailed) {
    SocketJournal journal;
    journal.Answer("sendmsg", -1, ENOBUFS);
    journal.Answer("close", -1, EIO);
    {
        UdpAppender appender(kHost, kPort);
        Log(appender, "lost");
    }

    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", Connect(1), Sendmsg(1, "lost") + " fails", "close 1 fails"}));
}

TEST_F(UdpAppenderTest, RecordThatIsTooLongIsLostAndTheNextOneArrivesFromANewSocket) {
    ListeningPort const port;
    SocketJournal journal;
    UdpAppender appender(kHost, port.Number());
    std::string const longest(65507 - Line("").size(), 'x');

    Log(appender, longest);
    Log(appender, longest + 'y');
    Log(appender, "short");

    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", Connect(1, port.Number()),
                       Sendmsg(1, std::to_string(longest.size()) + " bytes"),
                       Sendmsg(1, std::to_string(longest.size() + 1) + " bytes") + " fails",
                       "close 1", "socket 2", Connect(2, port.Number()), Sendmsg(2, "short")}));
    EXPECT_TRUE(port.Receive() == Line(longest));
    EXPECT_EQ(port.Receive(), Line("short"));
    EXPECT_FALSE(port.Has(0));
}

// Where nobody listens the system decides which records it refuses.
TEST_F(UdpAppenderTest, WithoutAListenerEachRefusalClosesTheSocketForANewOne) {
    UdpPort const port;
    SocketJournal journal;
    UdpAppender appender(kHost, port.Number());
    int sockets = 0;
    bool open = false;
    for (int number = 0; number < 20; ++number) {
        journal.ForgetCalls();

        EXPECT_NO_THROW(Log(appender, "text"));

        Strings expected;
        if (!open) {
            expected = {"socket " + std::to_string(++sockets), Connect(sockets, port.Number())};
        }
        open = journal.Calls().back() == Sendmsg(sockets, "text");
        expected.push_back(Sendmsg(sockets, "text") + (open ? "" : " fails"));
        if (!open) {
            expected.push_back("close " + std::to_string(sockets));
        }
        EXPECT_EQ(journal.Calls(), expected);
    }
}

TEST_F(UdpAppenderTest, RecordsArriveAgainOnceSomebodyListensAgain) {
    UdpPort port;
    port.Listen();
    UdpAppender appender(kHost, port.Number());
    Log(appender, "before");
    EXPECT_EQ(port.Receive(), Line("before"));

    port.StopListening();
    for (int number = 0; number < 3; ++number) {
        Log(appender, "lost");
    }
    port.Listen();

    // The first of them may learn what became of the last one that was lost.
    bool arrives = false;
    for (int number = 0; number < 600 && !arrives; ++number) {
        Log(appender, "after");
        arrives = port.Has(100);
    }
    ASSERT_TRUE(arrives) << "nothing for a minute";
    EXPECT_EQ(port.Receive(), Line("after"));
}

// Many threads.

TEST_F(UdpAppenderTest, DatagramsOfManyThreadsStayWhole) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 20;  // in all, few enough to wait in the listener's buffer
    ListeningPort const port;
    UdpAppender appender(kHost, port.Number());
    std::multiset<std::string> expected;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int number = 0; number < kRecords; ++number) {
            expected.insert(Line(std::to_string(thread) + ' ' + std::to_string(number)));
        }
        threads.emplace_back([&appender, thread] {
            for (int number = 0; number < kRecords; ++number) {
                Log(appender, std::to_string(thread) + ' ' + std::to_string(number));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::multiset<std::string> received;
    for (int number = 0; number < kThreads * kRecords; ++number) {
        received.insert(port.Receive());
    }
    EXPECT_EQ(received, expected);
    EXPECT_FALSE(port.Has(0));
}

}  // namespace
}  // namespace tarqlog
