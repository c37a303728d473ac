#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include "tarqlog/syslog_appender.h"

#include "collectors/daemon.h"
#include "collectors/isolation.h"
#include "collectors/numbered.h"
#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

constexpr Severity kNoneOfTheSix = static_cast<Severity>(64);
constexpr Severity kAnything = static_cast<Severity>(~0U);

void Bind(std::string const& from, std::string const& to) {
    if (::mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot bind " + from + " to " + to);
    }
}

bool IsSameFile(std::string const& one, std::string const& other) {
    struct stat first = {};
    struct stat second = {};
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// Puts a directory in the place of /dev, with what programs need of it and without /dev/log.
/// Throws unless that has come true: nothing of what a test logs may get to the machine's own
/// system log, which shows emergencies on every terminal.
void ReplaceDev(std::string const& directory) {
    std::filesystem::create_directory(directory);
    for (std::string const name : {"null", "zero", "random", "urandom"}) {
        WriteWholeFile(directory + "/" + name, "");
        Bind("/dev/" + name, directory + "/" + name);
    }
    bool const wasOther = !IsSameFile("/dev", directory);
    if (::mount(directory.c_str(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot replace /dev");
    }
    if (!wasOther || !IsSameFile("/dev", directory) || ::access("/dev/log", F_OK) == 0) {
        throw std::runtime_error("/dev is not the test's own");
    }
}

/// Writes what comes to /dev/log in full to `file` and nowhere else: no terminal sees any of it.
std::string WritesSystemLog(std::string const& file) {
    return R"(global(net.enableDNS="off" processInternalMessages="on")
module(load="imuxsock" SysSock.Name="/dev/log" SysSock.RateLimit.Interval="0")
template(name="line" type="string"
    string="<%pri%> %syslogfacility-text%.%syslogseverity-text% %syslogtag%%msg%\n")
if $inputname == "imuxsock" then action(type="omfile" template="line" file=")" +
           file + "\")\n";
}

/// As a program of the name "collected" logs.
class SystemLogTest : public OwnNamespacesTest {
protected:
    SystemLogTest() : OwnNamespacesTest(CLONE_NEWNS) {}

    Daemon MakeDaemon() const { return {Collector::kRsyslog, Place(), WritesSystemLog(File())}; }

    void Start(Daemon& daemon) const {
        daemon.Start();
        Introduce(daemon);
        if (!IsSameFile("/dev/log", Place() + "/dev/log")) {
            throw std::runtime_error("/dev/log is not the test's own");
        }
    }

    std::string const& Place() const { return directory_.Path(); }
    std::string File() const { return directory_.File("lines"); }

    static std::string Tag() { return "collected[" + std::to_string(::getpid()) + "]: "; }

private:
    TemporaryDirectory const directory_;
    InstalledHooks const hooks_{nullptr, [] { return 7U; }};
};

TEST_F(SystemLogTest, EachKindOfRecordArrivesWithItsPriorityAndTheProcessId) {
    Run([this] {
        ReplaceDev(Place() + "/dev");
        Daemon daemon = MakeDaemon();
        Start(daemon);
        SyslogAppender appender("collected");
        appender.SetSeverity(kAnything);
        for (Severity const severity :
             {kTrace, kDebug, kInfo, kWarning, kError, kFatal, kNoneOfTheSix}) {
            appender.Append(TaggedRecord(severity, "100% %s %n of " + std::to_string(severity),
                                         {"disk%d", "io"}));
        }
        std::string const text = " " + Tag() + "[t:7](disk%d.io):100% %s %n of ";
        std::string expected;
        for (std::string const line :
             {"<15> user.debug@1", "<15> user.debug@2", "<14> user.info@4", "<12> user.warning@8",
              "<11> user.err@16", "<8> user.emerg@32", "<8> user.emerg@64"}) {
            std::string::size_type const place = line.find('@');
            expected += line.substr(0, place) + text + line.substr(place + 1) + "\n";
        }
        EXPECT_EQ(WaitForLines(File(), 7), expected);
        daemon.Stop();
    });
}

TEST_F(SystemLogTest, RecordsFlowOnceThereIsADaemonAndAgainWhenAKilledOneIsBack) {
    Run([this] {
        ReplaceDev(Place() + "/dev");
        Daemon daemon = MakeDaemon();
        SyslogAppender appender("collected");
        appender.Append(TaggedRecord(kInfo, "to nobody"));
        Start(daemon);
        appender.Append(TaggedRecord(kInfo, "to the first"));
        std::string const first = "<14> user.info " + Tag() + "[t:7]):to the first\n";
        EXPECT_EQ(WaitForLines(File(), 1), first);
        daemon.Kill();
        appender.Append(TaggedRecord(kInfo, "to nobody any more"));
        Start(daemon);
        appender.Append(TaggedRecord(kInfo, "to the second"));
        EXPECT_EQ(WaitForLines(File(), 2),
                  first + "<14> user.info " + Tag() + "[t:7]):to the second\n");
        daemon.Stop();
    });
}

TEST_F(SystemLogTest, ToolHasAnIdentityAndWarnsOfEmergenciesOnce) {
    Run([this] {
        ReplaceDev(Place() + "/dev");
        Daemon daemon = MakeDaemon();
        Start(daemon);
        ChildResult const result = RunProgram(
            TARQLOG_TOOL, {"-t", "disk", "--prio-prefix", "-o", "syslog:loader,levels=WF"},
            "<4>100% %s\n<6>not taken\n<0>gone\n<0>again\n");
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(
            result.errors,
            "tarqlog: a fatal line is an emergency in the system log, and daemons write those "
            "to every terminal; syslog,levels=TDIWE leaves them out\n");
        std::string const lines = WaitForLines(File(), 3);
        std::string const identity = "loader[";
        std::string::size_type const pid = lines.find(identity) + identity.size();
        std::string const tool = lines.substr(pid, lines.find(']') - pid);
        std::string const header = " loader[" + tool + "]: [t:" + tool + "](disk):";
        EXPECT_EQ(lines, "<12> user.warning" + header + "100% %s\n<8> user.emerg" + header +
                             "gone\n<8> user.emerg" + header + "again\n");
        daemon.Stop();
    });
}

}  // namespace
}  // namespace tarqlog
