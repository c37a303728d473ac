#include <sched.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "collectors/daemon.h"
#include "collectors/isolation.h"
#include "collectors/loss.h"
#include "collectors/numbered.h"
#include "collectors/pace.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

class HostsTest : public OwnNamespacesTest {
protected:
    HostsTest() : OwnNamespacesTest(CLONE_NEWNET) {}
};

TEST_F(HostsTest, EveryRecordOfTwoHostsReachesAThirdWholeAndInOrder) {
    TemporaryDirectory const directory;
    Run([&] {
        constexpr int kHosts = 2;
        constexpr int kRecords = 10000;
        std::string const file = directory.File("lines");
        Endpoint const collector = {kCollectorAddress, 514};
        std::vector<std::unique_ptr<Host>> hosts;
        std::vector<std::string> before;
        for (int number = 1; number <= kHosts; ++number) {
            before.push_back(Host::Address(number) + " ");
            hosts.push_back(std::make_unique<Host>(number, [&, number, mark = before.back()] {
                Sending sending(collector);
                Pace pace(file, kWindow / kHosts, mark);  // the hosts have their files in common
                for (int record = 1; record <= kRecords; ++record) {
                    pace.Await();
                    sending.Send(number, NumberedText(record));
                }
                pace.AwaitAll();
            }));
        }
        Daemon daemon(Collector::kRsyslog, directory.Path(),
                      WritesDatagrams(collector, file, kRoomForWindow, "%fromhost-ip% "));
        daemon.Start();
        Introduce(daemon);
        for (auto const& host : hosts) {
            host->Begin();
        }
        for (auto const& host : hosts) {
            host->Join();
        }
        daemon.Stop();
        EXPECT_EQ(FaultOf(ReadWholeFile(file), {kHosts, 1, kRecords}, before), "");
    });
}

using LossTest = HostsTest;

TEST_F(LossTest, EachRecordIsReceivedOrDropped) {
    Run([] {
        Loss const loss = MeasureLoss({2, 1000, 0, 8, true});
        EXPECT_EQ(loss.sent, 2000);
        EXPECT_GT(loss.received, 0);
        EXPECT_LT(loss.received, 100);  // the kernel takes more than 160 bytes for each
        EXPECT_EQ(loss.received + loss.dropped, 2000);
    });
}

TEST_F(LossTest, NothingIsDroppedWhereThereIsRoomForAll) {
    Run([] {
        Loss const loss = MeasureLoss({2, 50, 500, 200, true});
        EXPECT_EQ(loss.sent, 100);
        EXPECT_EQ(loss.received, 100);
        EXPECT_EQ(loss.dropped, 0);
    });
}

}  // namespace
}  // namespace tarqlog
