#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "collectors/daemon.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

std::string const kWrong = "# one\nnowhere { nowhere; };\n";

std::string WritesDatagrams(Collector collector, Endpoint const& from, std::string const& file) {
    std::ostringstream text;
    if (collector == Collector::kRsyslog) {
        text << R"(global(processInternalMessages="on")
module(load="imudp")
template(name="whole" type="string" string="%rawmsg%\n")
ruleset(name="udp") { action(type="omfile" template="whole" file=")"
             << file << R"(") }
input(type="imudp" ruleset="udp" address=")"
             << from.address << R"(" port=")" << from.port << "\")\n";
    } else {
        text << R"(@version: 3.38
log {
    source { network(transport("udp") flags(no-parse) ip()"
             << from.address << ") port(" << from.port << R"()); };
    destination { file(")"
             << file << R"(" template("$MSG\n")); };
};
)";
    }
    return text.str();
}

bool IsAlive(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

/// Has processes whose parent ends become children of this one, which then can wait for them.
void AdoptOrphans() {
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
}

void AwaitOrphan(pid_t pid) {
    WaitUntil("the orphan ends", [&] { return ::waitpid(pid, nullptr, WNOHANG) == pid; });
}

class DaemonTest : public testing::TestWithParam<Collector> {};

std::string NameOf(testing::TestParamInfo<Collector> const& parameter) {
    return parameter.param == Collector::kRsyslog ? "Rsyslog" : "SyslogNg";
}

INSTANTIATE_TEST_SUITE_P(With, DaemonTest,
                         testing::Values(Collector::kRsyslog, Collector::kSyslogNg), NameOf);

TEST_P(DaemonTest, TellsItsVersion) {
    std::string const line = VersionLine(GetParam());
    std::cout << line << std::endl;
    EXPECT_EQ(line.find(GetParam() == Collector::kRsyslog ? "rsyslogd  " : "syslog-ng "), 0u);
}

TEST_P(DaemonTest, TakesWhatIsSentAsSoonAsItHasStartedAlsoAfterAKill) {
    TemporaryDirectory const directory;
    Endpoint const endpoint = FreeUdpEndpoint();
    std::string const file = directory.File("records");
    Daemon daemon(GetParam(), directory.Path(), WritesDatagrams(GetParam(), endpoint, file));
    daemon.Start();
    pid_t const first = daemon.Pid();
    SendDatagram(endpoint, "before");
    EXPECT_EQ(WaitForLines(file, 1), "before\n");
    daemon.Kill();
    EXPECT_FALSE(IsAlive(first));
    daemon.Start();
    EXPECT_NE(daemon.Pid(), first);
    SendDatagram(endpoint, "after");
    EXPECT_EQ(WaitForLines(file, 2), "before\nafter\n");
    daemon.Stop();
    EXPECT_EQ(daemon.Pid(), 0);
}

TEST_P(DaemonTest, IsGoneAtTheEndOfTheScope) {
    TemporaryDirectory const directory;
    pid_t pid = 0;
    {
        Daemon daemon(GetParam(), directory.Path(),
                      WritesDatagrams(GetParam(), FreeUdpEndpoint(), directory.File("records")));
        daemon.Start();
        pid = daemon.Pid();
        EXPECT_TRUE(IsAlive(pid));
    }
    EXPECT_FALSE(IsAlive(pid));
}

TEST_P(DaemonTest, EndsWithTheProcessThatStartedIt) {
    TemporaryDirectory const directory;
    Daemon daemon(GetParam(), directory.Path(),
                  WritesDatagrams(GetParam(), FreeUdpEndpoint(), directory.File("records")));
    AdoptOrphans();
    ChildResult const child = RunInChild([&] {
        daemon.Start();
        std::cout << daemon.Pid() << std::flush;
        return ::raise(SIGKILL);
    });
    EXPECT_EQ(child.signal, SIGKILL);
    AwaitOrphan(std::stoi(child.output));
}

TEST(DaemonRsyslogTest, TakesItsChildrenAlong) {
    TemporaryDirectory const directory;
    Endpoint const endpoint = FreeUdpEndpoint();
    std::string const script = directory.File("script");
    std::string const noted = directory.File("child");
    WriteWholeFile(script, "#!/bin/sh\necho $$ >" + noted + "\nexec sleep 60\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    Daemon daemon(Collector::kRsyslog, directory.Path(),
                  WritesDatagrams(Collector::kRsyslog, endpoint, directory.File("records")) +
                      "module(load=\"omprog\")\n*.* action(type=\"omprog\" binary=\"" + script +
                      "\")\n");
    AdoptOrphans();
    daemon.Start();
    pid_t const child = std::stoi(WaitForLines(noted, 1));
    EXPECT_TRUE(IsAlive(child));
    daemon.Kill();
    AwaitOrphan(child);
}

TEST_P(DaemonTest, SaysWhyItDoesNotStart) {
    TemporaryDirectory const directory;
    Daemon daemon(GetParam(), directory.Path(), kWrong);
    try {
        daemon.Start();
        FAIL() << "it has started";
    } catch (std::runtime_error const& error) {
        EXPECT_NE(std::string(error.what()).find("configuration"), std::string::npos)
            << error.what();
    }
    EXPECT_EQ(daemon.Pid(), 0);
}

TEST_P(DaemonTest, SaysWhichLineOfAConfigurationIsWrong) {
    ChildResult const checked = CheckConfiguration(GetParam(), kWrong);
    EXPECT_NE(checked.exitStatus, 0);
    EXPECT_NE(checked.errors.find("configuration"), std::string::npos) << checked.errors;
    EXPECT_NE(checked.errors.find('2'), std::string::npos) << checked.errors;
}

}  // namespace
}  // namespace tarqlog
