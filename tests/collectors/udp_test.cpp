#include <algorithm>
#include <fstream>
#include <future>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "collectors/daemon.h"
#include "collectors/numbered.h"
#include "collectors/pace.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

void Append(std::string const& file, std::string const& text) {
    std::ofstream(file, std::ios::app | std::ios::binary) << text;
}

/// Up to the end of the last whole line: the one after it was being written when its writer died.
std::string WholeLines(std::string const& content) {
    return content.substr(0, content.rfind('\n') + 1);
}

int FirstNumber(std::string const& content) {
    return std::stoi(content.substr(content.find("record ") + 7));
}

TEST(GrowingFileTest, CountsWholeLinesThatHaveTheMarkAsTheyCome) {
    TemporaryDirectory const directory;
    std::string const path = directory.File("lines");
    GrowingFile file(path, "ours");
    EXPECT_EQ(file.CountLines(), 0);
    Append(path, "one of ours\nnone\nan");
    EXPECT_EQ(file.CountLines(), 1);
    Append(path, "other of ou");
    EXPECT_EQ(file.CountLines(), 1);
    Append(path, "rs\nours\n" + std::string(100000, '\n') + "ours\n");
    EXPECT_EQ(file.CountLines(), 4);
}

TEST(NumberedLinesTest, FaultIsTold) {
    std::string const a1 = NumberedLine(1, 1) + "\n";
    std::string const a2 = NumberedLine(1, 2) + "\n";
    std::string const b1 = NumberedLine(2, 1) + "\n";
    std::string const b2 = NumberedLine(2, 2) + "\n";
    ExpectedLines const expected = {2, 1, 2};
    EXPECT_EQ(FaultOf(a1 + b1 + a2 + b2, expected), "");
    EXPECT_EQ(FaultOf(b1 + b2 + a1 + a2, expected), "");
    EXPECT_EQ(FaultOf(a1 + b1 + b2, expected), "missing: record 2 of sender 1");
    EXPECT_EQ(FaultOf("", expected), "missing: record 1 of sender 1");
    for (std::string const& faulty :
         {a1 + a1 + a2 + b1 + b2, a2 + a1 + b1 + b2, a1 + a2 + b2, a1 + a2 + b1 + b2 + b2,
          a1 + a2 + b1.substr(1) + b2, a1 + a2 + b1 + b2.substr(0, b2.size() - 1),
          a1 + a2 + b1.substr(0, 40) + b2, a1 + a2 + "\n" + b1 + b2}) {
        SCOPED_TRACE(faulty);
        EXPECT_EQ(FaultOf(faulty, expected).find("no sender's next line: "), 0U);
    }
}

TEST(UdpTest, EveryRecordOfEightThreadsReachesTheCollectorWholeAndInOrder) {
    constexpr int kThreads = 8;
    constexpr int kRecords = 100000 / kThreads;
    TemporaryDirectory const directory;
    std::string const file = directory.File("lines");
    Endpoint const collector = FreeUdpEndpoint();
    Daemon daemon(Collector::kRsyslog, directory.Path(),
                  WritesDatagrams(collector, file, kRoomForWindow));
    daemon.Start();
    Introduce(daemon);

    Sending sending(collector);
    Pace pace(file, kWindow);
    std::vector<std::future<void>> threads;
    for (int sender = 1; sender <= kThreads; ++sender) {
        threads.push_back(std::async(std::launch::async, [&, sender] {
            for (int number = 1; number <= kRecords; ++number) {
                pace.Await();
                sending.Send(sender, NumberedText(number));
            }
        }));
    }
    for (std::future<void>& thread : threads) {
        thread.get();
    }
    pace.AwaitAll();
    daemon.Stop();
    EXPECT_EQ(FaultOf(ReadWholeFile(file), {kThreads, 1, kRecords}), "");
}

/// How many records are logged while there is no collector: the last of them is refused, or it is
/// one whose refusal the next record learns of.
class KilledCollectorTest : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Unheard, KilledCollectorTest, testing::Values(999, 1000));

TEST_P(KilledCollectorTest, LinesResumeByThemselvesAndOneStretchIsLost) {
    constexpr int kRecords = 5000;  // before the kill, and again after the return
    TemporaryDirectory const directory;
    std::string const fileBefore = directory.File("before");
    std::string const fileAfter = directory.File("after");
    Endpoint const collector = FreeUdpEndpoint();
    Sending sending(collector);
    int number = 0;

    Daemon first(Collector::kRsyslog, directory.Path(),
                 WritesDatagrams(collector, fileBefore, kRoomForWindow));
    first.Start();
    Introduce(first);
    Pace paceBefore(fileBefore, kWindow);
    while (number < kRecords) {
        paceBefore.Await();
        sending.Send(1, NumberedText(++number));
    }
    first.Kill();  // with as many on their way as there happen to be
    for (int i = 0; i < GetParam(); ++i) {
        sending.Send(1, NumberedText(++number));
    }

    Daemon second(Collector::kRsyslog, directory.Path(),
                  WritesDatagrams(collector, fileAfter, kRoomForWindow));
    second.Start();
    Introduce(second);
    int const atReturn = number + 1;
    Pace paceAfter(fileAfter, kWindow);
    for (int i = 0; i < 2; ++i) {
        paceAfter.Await();
        sending.Send(1, NumberedText(++number));
    }
    int const resumed = FirstNumber(WaitForLines(fileAfter, 1));
    if (resumed == atReturn + 1) {
        paceAfter.GiveUpOne();
    }
    while (number < atReturn + kRecords) {
        paceAfter.Await();
        sending.Send(1, NumberedText(++number));
    }
    paceAfter.AwaitAll();
    second.Stop();

    std::string const before = WholeLines(ReadWholeFile(fileBefore));
    int const heard = static_cast<int>(std::count(before.begin(), before.end(), '\n'));
    std::cout << "killed after record " << kRecords << ", back before record " << atReturn << ": "
              << resumed - heard - 1 << " are lost, " << heard + 1 << " to " << resumed - 1
              << std::endl;
    EXPECT_EQ(FaultOf(before, {1, 1, heard}), "");
    EXPECT_GE(heard, kRecords - kWindow);
    EXPECT_LE(heard, kRecords);
    EXPECT_GE(resumed, atReturn);
    EXPECT_LE(resumed, atReturn + 1);  // it may be told that nobody heard the one before it
    EXPECT_EQ(FaultOf(ReadWholeFile(fileAfter), {1, resumed, number}), "");
}

}  // namespace
}  // namespace tarqlog
