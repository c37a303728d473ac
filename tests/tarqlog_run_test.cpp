#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temporary_directory.h"
#include "support/terminal.h"
#include "support/tool.h"
#include "support/udp_port.h"

namespace tarqlog {
namespace {

/// The arguments that have the tool run a script of the shell.
Arguments RunOf(Arguments const& options, std::string const& script) {
    Arguments arguments = {"run"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"--", "sh", "-c", script});
    return arguments;
}

ChildResult RunScript(Arguments const& options, std::string const& script,
                      std::string const& input = "") {
    return RunTool(RunOf(options, script), input);
}

/// A script that says "ready", and its last words when it gets one of the `signals`.
std::string ScriptUntil(std::string const& signals) {
    return "trap 'kill -9 $!; echo last words; printf unfinished >&2; exit 5' " + signals +
           "; sleep 600 & echo ready; wait";
}

/// As the tool finds the signals when nobody has asked for anything else.
void ResetSignals() {
    for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2}) {
        ::signal(signal, SIG_DFL);
    }
}

void WaitUntilItIsThere(std::string const& path) {
    WaitUntil(path + " is there", [&] { return ::access(path.c_str(), F_OK) == 0; });
}

/// The lines from 1 to `last`, each behind `header`.
std::string Counted(std::string const& header, int last) {
    std::string lines;
    for (int number = 1; number <= last; ++number) {
        lines += header + std::to_string(number) + "\n";
    }
    return lines;
}

// Lines

TEST(TarqlogRunTest, OutputIsLoggedAtInfoAndErrorsAsWarnings) {
    ChildResult const result =
        RunScript({"-o", "stdout,levels=I", "-o", "stderr,levels=W"}, "echo one; echo two >&2");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "I (sh):one\n");
    EXPECT_EQ(result.errors, "W (sh):two\n");
}

TEST(TarqlogRunTest, PriorityIsForTheOutputAlone) {
    ChildResult const result =
        RunScript({"-p", "error", "-o", "stdout,levels=E", "-o", "stderr,levels=W"},
                  "echo one; echo two >&2");

    EXPECT_EQ(result.output, "E (sh):one\n");
    EXPECT_EQ(result.errors, "W (sh):two\n");
}

TEST(TarqlogRunTest, LinesMayCarryTheirLevelsAndTagsOnBothStreams) {
    ChildResult const result =
        RunScript({"--prio-prefix", "--detect", "--sub-tags", "-t", "web", "-o", "stdout,levels=D",
                   "-o", "stderr,levels=EF"},
                  "echo '<7>db: one'; echo ui: ERROR two; echo '<0>three' >&2");

    EXPECT_EQ(result.output, "D (web.db):db: one\n");
    EXPECT_EQ(result.errors, "E (web.ui):ui: ERROR two\nF (web):three\n");
}

TEST(TarqlogRunTest, TagIsTheLastPartOfTheCommandUnlessOneIsGiven) {
    EXPECT_EQ(RunTool({"run", "-o", "stdout", "--", "/bin/echo", "x"}).output, "I (echo):x\n");
    EXPECT_EQ(RunTool({"run", "-o", "stdout", "--", "echo", "x"}).output, "I (echo):x\n");
    EXPECT_EQ(RunTool({"run", "-o", "stdout", "-t", "a.b", "--", "echo", "x"}).output,
              "I (a.b):x\n");
}

TEST(TarqlogRunTest, LastLinesWithoutLineFeedCount) {
    ChildResult const result =
        RunScript({"-o", "stdout,levels=I", "-o", "stderr,levels=W"}, "printf one; printf two >&2");

    EXPECT_EQ(result.output, "I (sh):one\n");
    EXPECT_EQ(result.errors, "W (sh):two\n");
}

TEST(TarqlogRunTest, MegabytesOnBothStreamsComeThroughInTheOrderOfEach) {
    ChildResult const result = RunScript({"-o", "stdout,levels=I", "-o", "stderr,levels=W"},
                                         "seq 1 150000 & seq 1 150000 >&2; wait");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.output == Counted("I (sh):", 150000));
    EXPECT_TRUE(result.errors == Counted("W (sh):", 150000));
}

TEST(TarqlogRunTest, LineIsVisibleWhileTheCommandGoesOn) {
    RunningTool tool(RunOf({"-o", "stdout"}, "echo one; read -r go; echo $go >&2"));

    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):one\n");
    tool.Write("two\n");
    EXPECT_EQ(tool.Finish().output, "W (sh):two\n");
}

TEST(TarqlogRunTest, PiecesOfALongLineKeepItsLevelWhateverTheOtherStreamBringsMeanwhile) {
    RunningTool tool(RunOf({"-o", "stdout", "--prio-prefix", "--max-line", "7"},
                           "printf '<2>aaaabbbbbbbb'; read -r go; echo '<7>d' >&2; read -r go; "
                           "echo cc"));

    EXPECT_EQ(tool.ReadOutputLine(), "F (sh):aaaa\n");
    tool.Write("\n");
    EXPECT_EQ(tool.ReadOutputLine(), "F (sh):bbbbbbb\n");
    EXPECT_EQ(tool.ReadOutputLine(), "D (sh):d\n");
    tool.Write("\n");
    EXPECT_EQ(tool.Finish().output, "F (sh):bcc\n");
}

TEST(TarqlogRunTest, StreamThatEndsDoesNotStopTheOther) {
    RunningTool tool(RunOf({"-o", "stdout"}, "echo one; exec >&-; read -r go; echo two >&2"));
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):one\n");
    tool.Write("go\n");

    EXPECT_EQ(tool.Finish().output, "W (sh):two\n");
}

TEST(TarqlogRunTest, ToolWaitsForACommandThatHasClosedBothStreams) {
    RunningTool tool(RunOf({"-o", "stdout"}, "echo one; exec >&- 2>&-; read -r go; exit 6"));
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):one\n");
    tool.WaitUntilItSleeps();
    EXPECT_FALSE(tool.HasEnded());
    tool.Write("go\n");

    EXPECT_EQ(tool.Finish().exitStatus, 6);
}

TEST(TarqlogRunTest, StatisticsAreThoseOfBothStreams) {
    std::string const errors =
        RunScript({"--stats", "--max-line", "4", "--prio-prefix", "-o", "stdout,levels=WE"},
                  "printf 'one\\n\\n<3>12\\n'; printf 'three\\n\\n<5>x\\n' >&2")
            .errors;

    EXPECT_EQ(errors.substr(0, errors.find(" seconds=")),
              "tarqlog: lines=6 delivered=4 trace=0 debug=0 info=0 warning=2 error=2 fatal=0 "
              "filtered=2 empty=2 split=2 parent_tag=0 cut=0 lost=0 bytes=23");
}

TEST(TarqlogRunTest, BufferedLinesAreWrittenWhenTheCommandIsQuiet) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("log");
    RunningTool tool(RunOf({"-o", "stdout", "-o", "file:" + file + ",buffer=100"},
                           "echo one; read -r go; echo two"));
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):one\n");
    WaitUntil("the line is written", [&] { return !ReadWholeFile(file).empty(); });
    tool.Write("go\n");

    EXPECT_EQ(tool.Finish().exitStatus, 0);
    EXPECT_EQ(Masked(ReadWholeFile(file)), "I (sh):one\nI (sh):two\n");
}

// The command

TEST(TarqlogRunTest, WhatIsBehindTheDashesIsTheCommands) {
    EXPECT_EQ(
        RunTool({"run", "-o", "stdout", "--", "printf", "%s|", "-n", "--", "--help", ""}).output,
        "I (printf):-n|--|--help||\n");
}

TEST(TarqlogRunTest, StandardInputIsTheCommands) {
    EXPECT_EQ(RunTool({"run", "-o", "stdout", "--", "cat"}, "one\ntwo\n").output,
              "I (cat):one\nI (cat):two\n");
}

TEST(TarqlogRunTest, CommandIsLookedForAlongThePath) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("greet"), "echo hello\n");
    ::chmod(directory.File("greet").c_str(), 0755);

    EXPECT_EQ(
        RunShell("PATH=\"" + directory.Path() + ":$PATH\" \"$0\" run -o stdout -- greet").output,
        "I (greet):hello\n");
}

TEST(TarqlogRunTest, CommandHasNoDescriptorOfTheTool) {
    TemporaryDirectory const directory;
    UdpPort const port;
    std::string const list = RunShell("ls /proc/self/fd").output;
    std::string const open = " -o file:" + directory.File("a") + " -o roll:" + directory.File("b") +
                             ",size=1M,buffer=9 -o syslog,levels=none " +
                             "-o udp:127.0.0.1:" + std::to_string(port.Number()) + ",levels=none";

    std::string const withTool =
        RunShell("\"$0\" run" + open + " -- sh -c 'exec ls /proc/self/fd >\"$0\"' " +
                 directory.File("list"))
            .errors;

    EXPECT_EQ(withTool, "");
    EXPECT_NE(list, "");
    EXPECT_EQ(ReadWholeFile(directory.File("list")), list);
}

#ifndef TARQLOG_TEST_EMULATED  // qemu-user has signals of its own

/// As somebody may have left the signals who starts the tool.
void DisturbSignals() {
    for (int const signal : {SIGHUP, SIGCHLD, SIGUSR1}) {
        ::signal(signal, SIG_IGN);
    }
    ::signal(SIGPIPE, SIG_DFL);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGCHLD);
    ::sigaddset(&blocked, SIGUSR2);
    ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

TEST(TarqlogRunTest, CommandHasTheSignalsThatTheToolWasStartedWith) {
    char const* const pattern = "^Sig(Blk|Ign)";
    TemporaryDirectory const directory;
    for (auto const& prepare : {std::function<void()>(ResetSignals), {DisturbSignals}}) {
        std::string const expected =
            RunInChild([&] {
                ::signal(SIGPIPE, SIG_DFL);
                prepare();
                ::execlp("grep", "grep", "-E", pattern, "/proc/self/status", nullptr);
                return 127;
            }).output;
        for (std::string const destination : {"stdout", "file"}) {
            SCOPED_TRACE(destination + "\n" + expected);
            std::string const file = directory.File("log");
            bool const isFile = destination == "file";
            RunningTool tool({"run", "-o", isFile ? "file:" + file + ",truncate" : "stdout", "--",
                              "grep", "-E", pattern, "/proc/self/status"},
                             prepare);
            ChildResult const result = tool.Finish();

            std::istringstream lines(expected);
            std::string logged;
            for (std::string line; std::getline(lines, line);) {
                logged += "I (grep):" + line + "\n";
            }
            EXPECT_EQ(result.exitStatus, 0);
            EXPECT_EQ(isFile ? Masked(ReadWholeFile(file)) : result.output, logged);
        }
    }
}

#endif

// The status

TEST(TarqlogRunTest, StatusIsTheCommands) {
    for (int const status : {0, 1, 7, 255}) {
        EXPECT_EQ(RunScript({}, "exit " + std::to_string(status)).exitStatus, status);
    }
}

TEST(TarqlogRunTest, StatusIs128MoreThanTheSignalThatEndedTheCommand) {
    EXPECT_EQ(RunScript({}, "kill -KILL $$").exitStatus, 128 + SIGKILL);
    EXPECT_EQ(RunScript({}, "kill -TERM $$").exitStatus, 128 + SIGTERM);
}

TEST(TarqlogRunTest, CommandThatIsNotFoundIsOneLineAnd127) {
    for (std::string const command : {"no-such-command-anywhere", "/no/such/file"}) {
        ChildResult const result = RunTool({"run", "--stats", "--", command, "x"});
        EXPECT_EQ(result.exitStatus, 127);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tarqlog: " + command + ": No such file or directory\n");
    }
}

TEST(TarqlogRunTest, CommandThatCannotBeRunIsOneLineAnd126) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("text"), "echo x\n");
    for (std::string const& command : {directory.File("text"), directory.Path()}) {
        ChildResult const result = RunTool({"run", "--", command});
        EXPECT_EQ(result.exitStatus, 126);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tarqlog: " + command + ": Permission denied\n");
    }
}

/// What the tool makes of `command` when PATH is `path`, whose permissions hold for it.
ChildResult RunOnPath(std::string const& command, std::string const& path) {
    RunningTool tool({"run", "--", command}, [&] {
        ForgoPower();
        ::setenv("PATH", path.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): a child has one thread
    });
    return tool.Finish();
}

TEST(TarqlogRunTest, FolderOfThePathThatMayNotBeSearchedHasNoCommands) {
    TemporaryDirectory const directory;
    ASSERT_EQ(::mkdir(directory.File("locked").c_str(), 0), 0);

    ChildResult const result = RunOnPath("no-such-command", directory.File("locked") + ":/bin");

    EXPECT_EQ(result.exitStatus, 127);
    EXPECT_EQ(result.errors, "tarqlog: no-such-command: No such file or directory\n");
}

TEST(TarqlogRunTest, FileOnThePathThatCannotBeRunIs126) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("text"), "echo x\n");

    for (std::string const& path : {directory.Path() + ":/bin", "/bin:" + directory.Path()}) {
        ChildResult const result = RunOnPath("text", path);

        EXPECT_EQ(result.exitStatus, 126);
        EXPECT_EQ(result.errors, "tarqlog: text: Permission denied\n");
    }
}

TEST(TarqlogRunTest, EmptyElementOfThePathIsTheCurrentFolder) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("text"), "echo x\n");
    for (std::string const path : {":/bin", "/bin:", "/bin::/usr/bin"}) {
        SCOPED_TRACE(path);
        RunningTool tool({"run", "--", "text"}, [&] {
            ForgoPower();
            bool const isThere = ::chdir(directory.Path().c_str()) == 0;
            ::setenv("PATH", isThere ? path.c_str() : "/", 1);  // NOLINT(concurrency-mt-unsafe)
        });
        ChildResult const result = tool.Finish();

        EXPECT_EQ(result.exitStatus, 126);
        EXPECT_EQ(result.errors, "tarqlog: text: Permission denied\n");
    }
}

// Signals

TEST(TarqlogRunTest, SignalGoesToTheCommandWhoseLastWordsAreLogged) {
    struct {
        char const* name;
        int signal;
    } const kCases[] = {{"HUP", SIGHUP},   {"INT", SIGINT},    {"QUIT", SIGQUIT},
                        {"ALRM", SIGALRM}, {"TERM", SIGTERM},  {"USR1", SIGUSR1},
                        {"USR2", SIGUSR2}, {"WINCH", SIGWINCH}};
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.name);
        RunningTool tool(
            RunOf({"-o", "stdout,levels=I", "-o", "stderr,levels=W"}, ScriptUntil(row.name)),
            ResetSignals);
        EXPECT_EQ(tool.ReadOutputLine(), "I (sh):ready\n");
        tool.Signal(row.signal);

        ChildResult const result = tool.Finish();

        EXPECT_EQ(result.exitStatus, 5);
        EXPECT_EQ(result.output, "I (sh):last words\n");
        EXPECT_EQ(result.errors, "W (sh):unfinished\n");
    }
}

TEST(TarqlogRunTest, SignalMayComeAsOftenAsTheCommandTakesIt) {
    RunningTool tool(
        RunOf({"-o", "stdout"},
              "n=0; trap 'n=$((n+1)); echo $n; [ $n = 3 ] && kill -9 $! && exit 0' TERM; "
              "sleep 600 & echo ready; while :; do wait; done"),
        ResetSignals);
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):ready\n");
    for (std::string const number : {"1", "2", "3"}) {
        tool.Signal(SIGTERM);
        EXPECT_EQ(tool.ReadOutputLine(), "I (sh):" + number + "\n");
    }
    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

#if !defined(TARQLOG_TEST_TSAN)  // which keeps a signal back until the write is over
TEST(TarqlogRunTest, SignalReachesTheCommandWhileTheToolCannotWrite) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("told");
    RunningTool tool(RunOf({"-o", "stdout"}, "trap 'echo x >" + file +
                                                 "; kill -9 $!; exit' TERM; sleep 600 & "
                                                 "seq 1 10000; wait"),
                     ResetSignals);
    tool.WaitUntilItsOutputIsFull();
    tool.WaitUntilItSleeps();
    tool.Signal(SIGTERM);
    WaitUntilItIsThere(file);

    EXPECT_EQ(tool.Finish().output, Counted("I (sh):", 10000));
}

/// The tool as nobody reads its output and the command is over.
class HeldUpTool {
public:
    HeldUpTool()
        : tool_(RunOf({"-o", "stdout"}, "echo $$ >" + file_ + "; seq 1 10000"), ResetSignals) {
        tool_.WaitUntilItsOutputIsFull();
        std::string const pid = std::to_string(std::stoi(ReadWholeFile(file_)));
        WaitUntil("the command is over", [&] { return ProcessState(pid) == 'Z'; });
        tool_.WaitUntilItSleeps();
    }

    RunningTool& Tool() { return tool_; }

private:
    TemporaryDirectory const directory_;
    std::string const file_ = directory_.File("pid");
    RunningTool tool_;
};

TEST(TarqlogRunTest, FirstStopAfterTheCommandLetsTheToolFinish) {
    HeldUpTool heldUp;
    heldUp.Tool().Signal(SIGTERM);
    ChildResult const result = heldUp.Tool().Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.output == Counted("I (sh):", 10000));
}

TEST(TarqlogRunTest, SecondStopEndsAToolThatADestinationHoldsUpAfterTheCommand) {
    for (auto const& [first, second] : {std::pair(SIGTERM, SIGINT), {SIGHUP, SIGQUIT}}) {
        SCOPED_TRACE(first);
        HeldUpTool heldUp;
        heldUp.Tool().Signal(first);
        heldUp.Tool().Signal(second);
        int const end = heldUp.Tool().Finish().signal;

        EXPECT_TRUE(end == first || end == second) << end;  // they may come in either order
    }
}

TEST(TarqlogRunTest, OtherSignalsEndNoToolThatIsHeldUp) {
    HeldUpTool heldUp;
    for (int const signal : {SIGUSR1, SIGUSR2, SIGALRM, SIGWINCH}) {
        heldUp.Tool().Signal(signal);
        heldUp.Tool().Signal(signal);
    }

    EXPECT_EQ(heldUp.Tool().Finish().exitStatus, 0);
}
#endif

TEST(TarqlogRunTest, HangUpReopensTheFilesAndGoesToTheCommand) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("log");
    RunningTool tool(RunOf({"-o", "file:" + file + ",levels=I", "-o", "stdout"},
                           "trap 'kill -9 $!; echo hung up; read -r go; echo two; exit 5' HUP; "
                           "sleep 600 & echo one; wait"),
                     ResetSignals);
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):one\n");
    ASSERT_EQ(::rename(file.c_str(), (file + ".old").c_str()), 0);
    tool.Signal(SIGHUP);
    EXPECT_EQ(tool.ReadOutputLine(), "I (sh):hung up\n");
    WaitUntilItIsThere(file);
    tool.Write("go\n");

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 5);
    EXPECT_EQ(result.output, "I (sh):two\n");
    std::string const old = Masked(ReadWholeFile(file + ".old"));
    EXPECT_EQ(old + Masked(ReadWholeFile(file)), "I (sh):one\nI (sh):hung up\nI (sh):two\n");
}

TEST(TarqlogRunTest, HangUpThatIsIgnoredIsNotSentOnEvenToACommandThatTakesIt) {
    Arguments arguments = RunOf({"-o", "stdout"}, ScriptUntil("USR1"));
    arguments.insert(arguments.end() - 3, {"env", "--default-signal=HUP"});
    RunningTool tool(arguments, [] {
        ResetSignals();
        ::signal(SIGHUP, SIG_IGN);
    });
    EXPECT_EQ(tool.ReadOutputLine(), "I (env):ready\n");
    tool.Signal(SIGHUP);
    tool.Signal(SIGUSR1);  // would come second

    EXPECT_EQ(tool.Finish().exitStatus, 5);
}

TEST(TarqlogRunTest, KeyOfTheTerminalIsNotSentOnSinceTheTerminalSendsItToAll) {
    Terminal const terminal;
    // In a session of its own the command gets from the tool alone what it gets.
    RunningTool tool({"run", "-o", "stdout", "--", "setsid", "sh", "-c",
                      "trap 'echo interrupted' INT; trap 'kill -9 $!; exit 5' TERM; sleep 600 & "
                      "echo ready; wait; wait"},
                     [&] {
                         ResetSignals();
                         terminal.Adopt();
                     });
    EXPECT_EQ(tool.ReadOutputLine(), "I (setsid):ready\n");
    tool.Signal(SIGSTOP);  // so that the tool finds both signals
    terminal.PressInterrupt();
    tool.Signal(SIGTERM);
    tool.Signal(SIGCONT);

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 5) << result.signal;
    EXPECT_EQ(result.output, "");
}

// The end

TEST(TarqlogRunTest, WhatIsInThePipesWhenTheCommandIsOverIsLogged) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("pid");
    RunningTool tool(
        RunOf({"-o", "stdout"}, "echo $$ >" + file + "; seq 1 10000; read -r go; printf last"));
    tool.WaitUntilItsOutputIsFull();
    tool.WaitUntilItSleeps();  // as it writes
    std::string const pid = std::to_string(std::stoi(ReadWholeFile(file)));
    tool.Write("go\n");
    WaitUntil("the command is over", [&] { return ProcessState(pid) == 'Z'; });

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.output == Counted("I (sh):", 10000) + "I (sh):last\n");
}

TEST(TarqlogRunTest, ProcessThatTheCommandLeavesBehindIsNotWaitedFor) {
    ChildResult const result = RunScript({"-o", "stdout"}, "sleep 600 & printf $!; exit 3");

    std::string const pid = result.output.substr(7, result.output.size() - 8);
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.output, "I (sh):" + pid + "\n");
    EXPECT_EQ(::kill(std::stoi(pid), SIGKILL), 0);
}

TEST(TarqlogRunTest, ProcessThatIsLeftBehindAndWritesForEverDoesNotHoldTheToolUp) {
    ChildResult const result = RunScript({"-o", "stdout,levels=none"}, "yes & exit 3");

    EXPECT_EQ(result.exitStatus, 3);
}

// Destinations that fail

TEST(TarqlogRunTest, DestinationThatCannotBeOpenedIsAnErrorBeforeTheCommandStarts) {
    TemporaryDirectory const directory;
    std::string const missing = directory.File("no/log");

    ChildResult const result =
        RunScript({"-o", "file:" + missing}, "echo x >" + directory.File("ran"));

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, RunTool({"-o", "file:" + missing}).errors);
    EXPECT_NE(result.errors, "");
    EXPECT_NE(::access(directory.File("ran").c_str(), F_OK), 0);
}

TEST(TarqlogRunTest, CommandGoesOnToItsEndWhenNothingCanBeWrittenAndThatIsToldOnce) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("end");

    ChildResult const result =
        RunShell("\"$0\" run -o stdout -o file:" + directory.File("log") +
                 " -- sh -c 'seq 1 50000 && echo end >" + file + "; exit 4' >/dev/full");

    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_EQ(result.errors, "tarqlog: standard output: No space left on device\n");
    EXPECT_EQ(ReadWholeFile(file), "end\n");
    EXPECT_TRUE(Masked(ReadWholeFile(directory.File("log"))) == Counted("I (sh):", 50000));
}

TEST(TarqlogRunTest, FailureToWriteIsToldWhileTheCommandGoesOn) {
    RunningTool tool(RunOf({"-o", "stdout"}, "echo one; read -r go"), [] {
        int const full = ::open("/dev/full", O_WRONLY);
        ::dup2(full, STDOUT_FILENO);
        ::close(full);
    });

    EXPECT_EQ(tool.ReadErrorLine(), "tarqlog: standard output: No space left on device\n");
    tool.Write("go\n");
    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

TEST(TarqlogRunTest, ReaderThatHasGoneLeavesTheCommandAlone) {
    RunningTool tool(RunOf({"-o", "stdout"}, "read -r go; seq 1 50000 || exit 1; exit 4"));
    tool.CloseOutput();
    tool.Write("go\n");

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_EQ(result.errors, "");
}

// The command line

TEST(TarqlogRunTest, ErrorInTheOptionsIsOneLineAndNothingRuns) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("ran");
    struct {
        Arguments arguments;
        char const* errors;
    } const kCases[] = {
        {{"run"}, "run needs a COMMAND, as in run -- ls -l"},
        {{"run", "-o", "stdout", "--"}, "run needs a COMMAND, as in run -- ls -l"},
        {{"run", "touch", file}, "run: -- is missing before 'touch'"},
        {{"run", "ls", "-l"}, "run: -- is missing before 'ls'"},
        {{"run", "x", "--", "touch", file}, "run: 'x' stands before --, COMMAND behind it"},
        {{"run", "--loud", "--", "touch", file}, "run has no option --loud"},
        {{"run", "-p", "loud", "--", "touch", file},
         "--priority 'loud': level 'loud' is unknown, known are trace, debug, info, warning, "
         "error, fatal, T to F, emerg to debug and 0 to 7"},
        {{"run", "-t", "--", "touch", file}, "--tag needs a TAG behind it"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.errors);
        ChildResult const result = RunTool(row.arguments);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tarqlog: " + std::string(row.errors) + "; see run --help\n");
        EXPECT_NE(::access(file.c_str(), F_OK), 0);
    }
}

TEST(TarqlogRunTest, DryRunPrintsTheDestinationsAndRunsNothing) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("ran");

    EXPECT_EQ(RunTool({"run", "-n", "-o", "stdout", "--", "touch", file}).output,
              "1 stdout\n  rule =all\n");
    EXPECT_NE(::access(file.c_str(), F_OK), 0);
}

TEST(TarqlogRunTest, RunIsAFileUnlessItIsTheFirstArgument) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("run"), "text\n");
    for (std::string const arguments :
         {"./run -o stdout", "-o stdout run", "-- run", "-o stdout -- run"}) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(RunShell("cd '" + directory.Path() + "' && \"$0\" " + arguments + " 2>&1").output,
                  "I (stdin):text\n");
    }
}

TEST(TarqlogRunTest, HelpOfItsOwnFitsOneScreenAndNamesEachOption) {
    ExpectHelp({"run", "--help"},
               {"tarqlog run [OPTIONS] -- COMMAND [ARG...]", "-t,--tag", "-p,--priority",
                "--prio-prefix", "--detect", "--sub-tags", "--max-line", "-o,--to", "-r,--rule",
                "-n,--dry-run", "--stats", "-h,--help", "128+N", "127", "126", "SIGHUP"});
}

}  // namespace
}  // namespace tarqlog
