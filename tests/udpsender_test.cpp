#include "tarqlog/udpsender.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/thread_mutex.h"

#include "support/allocations.h"
#include "support/child.h"
#include "support/socket_watch.h"
#include "support/udp_port.h"

namespace tarqlog {
namespace {

using Strings = std::vector<std::string>;

static_assert(sizeof(UdpSender) == sizeof(int), "a descriptor and nothing else");
static_assert(!std::is_copy_constructible<UdpSender>::value, "one owner");
static_assert(!std::is_copy_assignable<UdpSender>::value, "one owner");
static_assert(std::is_same<decltype(&UdpSender::Create),
                           bool (UdpSender::*)(char const*, unsigned short)>::value,
              "a promise");
static_assert(
    std::is_same<decltype(&UdpSender::Send),
                 bool (UdpSender::*)(char const**, unsigned long*, unsigned short)>::value,
    "a promise");
static_assert(std::is_same<decltype(&UdpSender::Close), void (UdpSender::*)()>::value, "a promise");

constexpr unsigned short kPort = 5140;  // for what is never sent

bool Send(UdpSender& sender, Strings const& pieces) {
    std::vector<char const*> parts;
    std::vector<unsigned long> sizes;
    for (std::string const& piece : pieces) {
        parts.push_back(piece.data());
        sizes.push_back(piece.size());
    }
    return sender.Send(parts.data(), sizes.data(), static_cast<unsigned short>(pieces.size()));
}

TEST(UdpSenderTest, JournalSeesTheCallsAndItsAnswersAreGiven) {
    SocketJournal journal;
    journal.Answer("sendmsg", -1, ENOBUFS, 2);
    {
        UdpSender sender;
        sender.Create("127.0.0.1", kPort);
        journal.Answer("connect", -1, ENETUNREACH);
        sender.Create("127.0.0.2", kPort);
        journal.Answer("connect", 0);
        sender.Create("127.0.0.3", kPort);
        journal.Answer("sendmsg", 3);
        Send(sender, {"a", "bc"});
        EXPECT_FALSE(Send(sender, {std::string(101, 'x'), "bc"}));
        EXPECT_EQ(errno, ENOBUFS);
        journal.Answer("close", -1, EIO);
    }

    EXPECT_EQ(journal.Hits(), 5);
    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", "connect 1 to 127.0.0.1:5140", "close 1", "socket 2",
                       "connect 2 to 127.0.0.2:5140 fails", "close 2", "socket 3",
                       "connect 3 to 127.0.0.3:5140", "sendmsg 3: a|bc",
                       "sendmsg 3: 101 bytes|bc fails", "close 3 fails"}));
}

// Without a socket.

TEST(UdpSenderTest, NewSenderHasNoSocketAndSendsNothing) {
    SocketJournal const journal;
    {
        UdpSender sender;

        EXPECT_FALSE(sender.IsOpen());
        EXPECT_FALSE(Send(sender, {"lost"}));
        EXPECT_FALSE(sender.Send(nullptr, nullptr, 0));
        sender.Close();
    }

    EXPECT_EQ(journal.Calls(), Strings());
}

// Making the socket.

TEST(UdpSenderTest, CreateConnectsOneSocketAndSendsNothing) {
    SocketJournal const journal;
    UdpSender sender;

    EXPECT_TRUE(sender.Create("127.0.0.1", 5140));

    EXPECT_TRUE(sender.IsOpen());
    EXPECT_EQ(journal.Calls(), (Strings{"socket 1", "connect 1 to 127.0.0.1:5140"}));
}

TEST(UdpSenderTest, EveryPortButZeroIsTaken) {
    constexpr unsigned short kPorts[] = {1, 255, 256, 32768, 65535};
    for (unsigned short const port : kPorts) {
        SCOPED_TRACE(port);
        SocketJournal const journal;
        UdpSender sender;

        EXPECT_TRUE(sender.Create("127.0.0.1", port));

        EXPECT_EQ(journal.Calls(),
                  (Strings{"socket 1", "connect 1 to 127.0.0.1:" + std::to_string(port)}));
    }
}

TEST(UdpSenderTest, SocketDoesNotSurviveAnExec) {
    SocketJournal const journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));

    EXPECT_EQ(::fcntl(journal.LastSocket(), F_GETFD), FD_CLOEXEC);
}

TEST(UdpSenderTest, AddressIsAnyThatTheSystemReads) {
    for (char const* const host : {"127.0.0.1", "127.1", "127.0.1", "2130706433", "0x7f000001",
                                   "0177.0.0.1", "127.0.0.1 ", "127.0.0.1\n"}) {
        SCOPED_TRACE(host);
        SocketJournal const journal;
        UdpSender sender;

        EXPECT_TRUE(sender.Create(host, kPort));

        EXPECT_EQ(journal.Calls(), (Strings{"socket 1", "connect 1 to 127.0.0.1:5140"}));
    }
}

TEST(UdpSenderTest, WhatIsNoAddressGoesToTheSystemAsTheHighestOne) {
    for (char const* const host :
         {"localhost", "example.invalid", "::1", "256.0.0.1", "1.2.3.4.5", "127.0.0.1x",
          " 127.0.0.1", "-1", "255.255.255.255", "0xffffffff"}) {
        for (int const answer : {0, -1}) {
            SCOPED_TRACE(host);
            SocketJournal journal;
            journal.Answer("connect", answer, EACCES);
            UdpSender sender;

            EXPECT_EQ(sender.Create(host, kPort), answer == 0);

            EXPECT_EQ(sender.IsOpen(), answer == 0);
            Strings calls{"socket 1", "connect 1 to 255.255.255.255:5140"};
            if (answer != 0) {
                calls.back() += " fails";
                calls.push_back("close 1");
            }
            EXPECT_EQ(journal.Calls(), calls);
        }
    }
}

struct Destination {
    char const* host;
    unsigned short port;
};

/// What is refused before any socket is made.
constexpr Destination kRefused[] = {
    {nullptr, kPort}, {"", kPort},    {"127.0.0.1", 0}, {nullptr, 0},
    {"", 0},          {"0.0.0.0", 0}, {"localhost", 0}, {"0.0.0.0", kPort},
    {"0", kPort},     {"0.0", kPort}, {"0x0", kPort},   {"00.0.0.0 ", kPort},
};

TEST(UdpSenderTest, NoHostNoPortAndTheZeroAddressAreRefusedWithoutACall) {
    for (Destination const& refused : kRefused) {
        SCOPED_TRACE(refused.host != nullptr ? refused.host : "null");
        SocketJournal const journal;
        UdpSender sender;

        EXPECT_FALSE(sender.Create(refused.host, refused.port));

        EXPECT_FALSE(sender.IsOpen());
        EXPECT_EQ(journal.Calls(), Strings());
    }
}

TEST(UdpSenderTest, OldSocketIsClosedBeforeAnythingIsRefused) {
    for (Destination const& refused : kRefused) {
        SCOPED_TRACE(refused.host != nullptr ? refused.host : "null");
        SocketJournal journal;
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.ForgetCalls();

        EXPECT_FALSE(sender.Create(refused.host, refused.port));

        EXPECT_FALSE(sender.IsOpen());
        EXPECT_FALSE(Send(sender, {"lost"}));
        EXPECT_EQ(journal.Calls(), Strings{"close 1"});
    }
}

TEST(UdpSenderTest, OldSocketIsClosedBeforeTheNewOneIsMade) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    journal.ForgetCalls();

    EXPECT_TRUE(sender.Create("127.0.0.1", kPort));

    EXPECT_TRUE(sender.IsOpen());
    EXPECT_EQ(journal.Calls(), (Strings{"close 1", "socket 2", "connect 2 to 127.0.0.1:5140"}));
}

TEST(UdpSenderTest, RefusedSocketLeavesNone) {
    SocketJournal journal;
    {
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.Answer("socket", -1, EMFILE);

        EXPECT_FALSE(sender.Create("127.0.0.1", kPort));

        EXPECT_FALSE(sender.IsOpen());
        EXPECT_FALSE(Send(sender, {"lost"}));
    }
    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", "connect 1 to 127.0.0.1:5140", "close 1", "socket 2 fails"}));
}

TEST(UdpSenderTest, RefusedConnectionClosesTheSocketOnce) {
    SocketJournal journal;
    journal.Answer("connect", -1, EINTR);
    {
        UdpSender sender;

        EXPECT_FALSE(sender.Create("127.0.0.1", kPort));

        EXPECT_FALSE(sender.IsOpen());
        EXPECT_FALSE(Send(sender, {"lost"}));
    }
    EXPECT_EQ(journal.Calls(),
              (Strings{"socket 1", "connect 1 to 127.0.0.1:5140 fails", "close 1"}));
}

// Closing.

TEST(UdpSenderTest, SocketIsClosedOnceHoweverOftenItIsAsked) {
    SocketJournal journal;
    {
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.ForgetCalls();

        sender.Close();
        EXPECT_FALSE(sender.IsOpen());
        sender.Close();
    }
    EXPECT_EQ(journal.Calls(), Strings{"close 1"});
}

TEST(UdpSenderTest, SocketWhoseClosingFailsIsGoneAllTheSame) {
    SocketJournal journal;
    journal.Answer("close", -1, EINTR);
    {
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.ForgetCalls();

        sender.Close();
        EXPECT_FALSE(sender.IsOpen());
    }
    EXPECT_EQ(journal.Calls(), Strings{"close 1 fails"});
}

TEST(UdpSenderTest, DestructorClosesTheSocket) {
    SocketJournal journal;
    {
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.ForgetCalls();
    }
    EXPECT_EQ(journal.Calls(), Strings{"close 1"});
}

// Sending.

TEST(UdpSenderTest, PiecesArriveAsOneDatagram) {
    ListeningPort const port;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", port.Number()));

    EXPECT_TRUE(Send(sender, {"one"}));
    EXPECT_TRUE(Send(sender, {"t", "w", std::string("o\0", 2)}));
    EXPECT_TRUE(Send(sender, {"th", "r", "e", "e\n"}));

    EXPECT_EQ(port.Receive(), "one");
    EXPECT_EQ(port.Receive(), std::string("two\0", 4));
    EXPECT_EQ(port.Receive(), "three\n");
    EXPECT_FALSE(port.Has(0));
}

TEST(UdpSenderTest, PiecesAreHandedOverInOneCallWhereTheyLie) {
    ListeningPort const port;
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", port.Number()));
    journal.ForgetCalls();
    char const* parts[] = {"first", "second", "third", "fourth"};
    unsigned long sizes[] = {5, 6, 4, 6};

    EXPECT_TRUE(sender.Send(parts, sizes, 4));

    EXPECT_EQ(journal.Calls(), Strings{"sendmsg 1: first|second|thir|fourth"});
    ASSERT_EQ(journal.LastPieces().size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(journal.LastPieces()[i].iov_base, parts[i]);
        EXPECT_EQ(journal.LastPieces()[i].iov_len, sizes[i]);
    }
}

TEST(UdpSenderTest, EmptyPiecesAreLeftOutWhereverTheyAreAndMayBeNull) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    struct {
        std::vector<unsigned long> sizes;
        std::string sent;
    } const cases[] = {
        {{0, 1, 2, 3}, "b|cc|ddd"}, {{1, 0, 2, 3}, "a|cc|ddd"}, {{1, 2, 0, 3}, "a|bb|ddd"},
        {{1, 2, 3, 0}, "a|bb|ccc"}, {{0, 0, 0, 4}, "dddd"},     {{1, 0, 0, 1}, "a|d"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.sent);
        char const* parts[] = {"aaaa", "bbbb", "cccc", "dddd"};
        std::vector<unsigned long> sizes = row.sizes;
        for (std::size_t i = 0; i < 4; ++i) {
            parts[i] = sizes[i] == 0 ? nullptr : parts[i];
        }
        journal.ForgetCalls();
        journal.Answer("sendmsg", 6);

        EXPECT_TRUE(sender.Send(parts, sizes.data(), 4));

        EXPECT_EQ(journal.Calls(), Strings{"sendmsg 1: " + row.sent});
    }
}

TEST(UdpSenderTest, NothingToSendIsSentAllTheSame) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    journal.ForgetCalls();
    journal.Answer("sendmsg", 0, 0, 1);
    journal.Answer("sendmsg", 0, 0, 2);

    EXPECT_TRUE(sender.Send(nullptr, nullptr, 0));
    EXPECT_TRUE(Send(sender, {"", "", "", ""}));

    EXPECT_EQ(journal.Calls(), (Strings{"sendmsg 1: ", "sendmsg 1: "}));
}

#ifndef TARQLOG_TEST_EMULATED  // qemu-user makes no call of a sendmsg() without pieces
TEST(UdpSenderTest, NothingToSendIsAnEmptyDatagram) {
    ListeningPort const port;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", port.Number()));

    EXPECT_TRUE(sender.Send(nullptr, nullptr, 0));
    EXPECT_TRUE(Send(sender, {"", "", "", ""}));
    EXPECT_TRUE(Send(sender, {"end"}));

    EXPECT_EQ(port.Receive(), "");
    EXPECT_EQ(port.Receive(), "");
    EXPECT_EQ(port.Receive(), "end");
}
#endif

TEST(UdpSenderTest, OnlyTheFirstCountPiecesAreSent) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    char const* parts[] = {"a", "b", "c"};
    unsigned long sizes[] = {1, 1, 1};
    journal.ForgetCalls();
    journal.Answer("sendmsg", 2);

    EXPECT_TRUE(sender.Send(parts, sizes, 2));

    EXPECT_EQ(journal.Calls(), Strings{"sendmsg 1: a|b"});
}

TEST(UdpSenderTest, MoreThanFourPiecesAreRefusedEvenEmptyOnes) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    journal.ForgetCalls();
    constexpr unsigned short kCounts[] = {5, 6, 255, 256, 260, 32767, 32768, 65535};
    for (unsigned short const count : kCounts) {
        SCOPED_TRACE(count);
        EXPECT_FALSE(Send(sender, Strings(count, "x")));
        EXPECT_FALSE(Send(sender, Strings(count)));
        EXPECT_TRUE(sender.IsOpen());
    }

    EXPECT_EQ(journal.Calls(), Strings());
}

TEST(UdpSenderTest, FailureIsToldAndTheSocketKeptWithoutASecondTry) {
    for (int const error : {EINTR, EAGAIN, ENOBUFS, ECONNREFUSED, EMSGSIZE, ENETUNREACH, EPIPE}) {
        SCOPED_TRACE(error);
        SocketJournal journal;
        UdpSender sender;
        ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
        journal.ForgetCalls();
        journal.Answer("sendmsg", -1, error);

        EXPECT_FALSE(Send(sender, {"lost"}));

        EXPECT_TRUE(sender.IsOpen());
        EXPECT_EQ(journal.Calls(), Strings{"sendmsg 1: lost fails"});
    }
}

TEST(UdpSenderTest, AnyAnswerButMinusOneIsSuccess) {
    SocketJournal journal;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", kPort));
    for (int const answer : {0, 1, 3, 4, 5, -2}) {
        SCOPED_TRACE(answer);
        journal.ForgetCalls();
        journal.Answer("sendmsg", answer);

        EXPECT_TRUE(Send(sender, {"text"}));

        EXPECT_EQ(journal.Calls(), Strings{"sendmsg 1: text"});
    }
}

TEST(UdpSenderTest, LargestDatagramArrivesAndOneByteMoreIsRefused) {
    ListeningPort const port;
    UdpSender sender;
    ASSERT_TRUE(sender.Create("127.0.0.1", port.Number()));
    std::string const largest(65507, 'x');

    EXPECT_TRUE(Send(sender, {largest}));
    EXPECT_FALSE(Send(sender, {largest, "y"}));
    EXPECT_EQ(errno, EMSGSIZE);

    EXPECT_TRUE(port.Receive() == largest);
    EXPECT_FALSE(port.Has(0));
}

TEST(UdpSenderTest, NothingIsAllocated) {
    ListeningPort const port;
    char const* parts[] = {"text"};
    unsigned long sizes[] = {4};
    unsigned long const beforeProof = AllocationCount();
    threads::ThreadMutex const proof;
    unsigned long const before = AllocationCount();
    ASSERT_EQ(before, beforeProof + 1);

    UdpSender sender;
    bool const sent = sender.Create("127.0.0.1", port.Number()) && sender.Send(parts, sizes, 1);

    EXPECT_EQ(AllocationCount(), before);
    EXPECT_TRUE(sent);
}

// Which numbers are sockets.

TEST(UdpSenderTest, DescriptorZeroIsASocket) {
    ListeningPort const port;
    ChildResult const result = RunInChild([&] {
        ::close(0);
        SocketJournal journal;
        UdpSender sender;
        bool const sent = sender.Create("127.0.0.1", port.Number()) && sender.IsOpen() &&
                          Send(sender, {"from zero"});
        sender.Close();
        return sent && journal.LastSocket() == 0 && journal.Calls().back() == "close 1" ? 0 : 1;
    });

    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    EXPECT_EQ(port.Receive(), "from zero");
}

TEST(UdpSenderTest, OnlyMinusOneIsNoSocket) {
    SocketJournal journal;
    journal.Answer("socket", -2);
    journal.Answer("connect", 0);
    journal.Answer("sendmsg", 4);
    {
        UdpSender sender;

        EXPECT_TRUE(sender.Create("127.0.0.1", kPort));

        EXPECT_TRUE(sender.IsOpen());
        EXPECT_TRUE(Send(sender, {"text"}));
    }
    EXPECT_EQ(journal.Calls(), (Strings{"socket 1", "connect 1 to 127.0.0.1:5140",
                                        "sendmsg 1: text", "close 1 fails"}));
}

}  // namespace
}  // namespace tarqlog
