#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "../tools/system_log.h"
#include "collectors/isolation.h"
#include "support/child.h"
#include "support/temporary_directory.h"
#include "support/terminal.h"
#include "support/tool.h"
#include "support/udp_port.h"

namespace tarqlog {
namespace {

/// Takes time and thread id out of JSON objects, where they are of the right form.
std::string MaskedJson(std::string const& output) {
    static std::regex const kMasked(
        R"re("time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z",("severity":"[a-z]+",)"thread":\d+,)re");
    return std::regex_replace(output, kMasked, "$1");
}

/// The line of a JSON destination.
std::string Object(std::string const& severity, std::string const& tag, std::string const& text) {
    return R"({"severity":")" + severity + R"(","tag":")" + tag + R"(","text":")" + text + "\"}\n";
}

std::string Repeat(std::string const& text, std::string::size_type times) {
    std::string repeated;
    for (std::string::size_type i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

std::string To(UdpPort const& port) {
    return "udp:127.0.0.1:" + std::to_string(port.Number());
}

// JSON

TEST(TarqlogDestinationsTest, JsonDestinationGetsAnObjectForEachRecord) {
    EXPECT_EQ(MaskedJson(RunProgram(kTool,
                                    {"--sub-tags", "--prio-prefix", "-t", "we\"b", "-o",
                                     "stdout,format=json"},
                                    "<3>db: a \"b\"\t\x1b\\\nplain\n")
                             .output),
              Object("error", R"(we\"b.db)", R"(db: a \"b\"\t\u001b\\)") +
                  Object("info", R"(we\"b)", "plain"));
}

TEST(TarqlogDestinationsTest, TextIsTheFormatUnlessToldOtherwise) {
    EXPECT_EQ(RunTool({"-o", "stdout,format=text"}, "a\tb\n").output, "I (stdin):a\tb\n");
}

TEST(TarqlogDestinationsTest, EachDestinationHasItsOwnFormat) {
    TemporaryDirectory const directory;
    ListeningPort const port;

    ChildResult const result =
        RunProgram(kTool,
                   {"-o", "stderr,format=json", "-o", "stdout", "-o",
                    "file:" + directory.File("file") + ",format=json,buffer=9", "-o",
                    "roll:" + directory.File("roll") + ",size=1M,format=json", "-o",
                    "file:" + directory.File("plain"), "-o", To(port) + ",format=json"},
                   "one\n");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(Masked(result.output), "I (stdin):one\n");
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("plain"))), "I (stdin):one\n");
    std::string const object = Object("info", "stdin", "one");
    EXPECT_EQ(MaskedJson(result.errors), object);
    EXPECT_EQ(MaskedJson(ReadWholeFile(directory.File("file"))), object);
    EXPECT_EQ(MaskedJson(ReadWholeFile(directory.File("roll"))), object);
    EXPECT_EQ(MaskedJson(port.Receive()), object);
}

TEST(TarqlogDestinationsTest, LevelsAndRulesOfAJsonDestinationCount) {
    ChildResult const result = RunTool({"--prio-prefix", "--sub-tags", "--stats", "-o",
                                        "stdout,format=json,levels=W", "-r", "stdin.mute=none"},
                                       "<4>one\n<6>two\n<4>mute: three\n");

    EXPECT_EQ(MaskedJson(result.output), Object("warning", "stdin", "one"));
    EXPECT_NE(result.errors.find(" delivered=1 trace=0 debug=0 info=0 warning=1 error=0 fatal=0 "
                                 "filtered=2 "),
              std::string::npos)
        << result.errors;
}

TEST(TarqlogDestinationsTest, RollingJsonFileRollsAtItsSize) {
    TemporaryDirectory const directory;

    RunTool({"-o", "roll:" + directory.File("log") + ",size=1K,keep=1,format=json"},
            Repeat("x", 1024) + "\n" + Repeat("y", 1024) + "\n");

    EXPECT_EQ(MaskedJson(ReadWholeFile(directory.File("log.1"))),
              Object("info", "stdin", Repeat("x", 1024)));
    EXPECT_EQ(MaskedJson(ReadWholeFile(directory.File("log"))),
              Object("info", "stdin", Repeat("y", 1024)));
}

TEST(TarqlogDestinationsTest, HangUpWritesTheBufferAndReopensAJsonFile) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    RunningTool tool({"-o", "file:" + log + ",buffer=9,format=json", "-o", "stdout"});
    tool.Write("one\n");
    tool.ReadOutputLine();
    ASSERT_EQ(std::rename(log.c_str(), directory.File("old").c_str()), 0);
    tool.Signal(SIGHUP);
    WaitUntil("the file is there anew", [&] { return ::access(log.c_str(), F_OK) == 0; });
    tool.Write("two\n");
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().exitStatus, 0);
    EXPECT_EQ(MaskedJson(ReadWholeFile(directory.File("old"))), Object("info", "stdin", "one"));
    EXPECT_EQ(MaskedJson(ReadWholeFile(log)), Object("info", "stdin", "two"));
}

TEST(TarqlogDestinationsTest, LossesCountWhateverTheForm) {
    for (std::string const destination :
         {"file:/dev/full,format=json", "file:/dev/full", "file:/dev/full,format=json,buffer=9"}) {
        SCOPED_TRACE(destination);
        ChildResult const result =
            RunTool({"--escape", "-o", destination, "--stats"}, "one\ntwo\n");

        EXPECT_EQ(result.exitStatus, 1);
        std::string const expected = "tarqlog: " + destination +
                                     ": lines lost: 2 (not opened 0, not written 2, not sent 0)\n"
                                     "tarqlog: lines=2 ";
        EXPECT_EQ(result.errors.substr(0, expected.size()), expected);
        EXPECT_NE(result.errors.find(" lost=2 "), std::string::npos) << result.errors;
    }
}

TEST(TarqlogDestinationsTest, UnknownFormatIsAnErrorThatNamesTheKnownOnes) {
    struct {
        char const* setting;
        char const* error;
    } const kCases[] = {
        {"format=xml", "format 'xml' is unknown, known are json and text"},
        {"format=JSON", "format 'JSON' is unknown, known are json and text"},
        {"format=", "format '' is unknown, known are json and text"},
        {"format", "setting 'format' needs = and a value behind it"},
    };
    for (auto const& row : kCases) {
        for (std::string const kind : {"stdout", "file:x", "udp:127.0.0.1:9", "syslog"}) {
            std::string const destination = kind + "," + row.setting;
            SCOPED_TRACE(destination);
            ChildResult const result = RunTool({"-o", destination}, "one\n");
            EXPECT_EQ(result.exitStatus, 2);
            EXPECT_EQ(result.output, "");
            EXPECT_EQ(result.errors,
                      "tarqlog: --to '" + destination + "': " + row.error + "; see --help\n");
        }
    }
}

TEST(TarqlogDestinationsTest, EachKindOfDestinationMayHaveAFormat) {
    for (std::string const destination :
         {"stdout,format=json", "stderr,format=text", "file:x,format=json",
          "roll:x,size=1K,format=json", "udp:localhost:9,format=json", "syslog,format=json",
          "syslog:web,format=text"}) {
        EXPECT_EQ(RunTool({"-n", "--escape", "-o", destination}).output,
                  "1 " + destination + "\n  rule =all\n");
    }
}

// A system log that nobody reads

/// Takes what comes to a socket of the file system while it lives.
class LocalListener {
public:
    LocalListener(std::string const& path, int type)
        : descriptor_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        bool const isBound =
            ::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        if (!isBound || (type == SOCK_STREAM && ::listen(descriptor_, 0) != 0)) {
            throw std::runtime_error("cannot listen at " + path);
        }
    }
    ~LocalListener() { ::close(descriptor_); }

    LocalListener(LocalListener const&) = delete;
    LocalListener& operator=(LocalListener const&) = delete;

private:
    int const descriptor_;
};

TEST(TarqlogDestinationsTest, SystemLogListensAtASocketOfEitherType) {
    TemporaryDirectory const directory;
    LocalListener const datagrams(directory.File("datagrams"), SOCK_DGRAM);
    LocalListener const stream(directory.File("stream"), SOCK_STREAM);

    EXPECT_EQ(tool::SystemLogFailure(directory.File("datagrams")), "");
    for (int i = 0; i < 9; ++i) {  // more than wait in line there
        EXPECT_EQ(tool::SystemLogFailure(directory.File("stream")), "");
    }
}

TEST(TarqlogDestinationsTest, NobodyListensAtWhatIsMissingOrLeftBehindOrNoSocket) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("file"), "");
    { LocalListener const listener(directory.File("datagrams"), SOCK_DGRAM); }
    { LocalListener const listener(directory.File("stream"), SOCK_STREAM); }

    EXPECT_EQ(tool::SystemLogFailure(directory.File("missing")), "No such file or directory");
    for (char const* const name : {"file", "datagrams", "stream"}) {
        EXPECT_EQ(tool::SystemLogFailure(directory.File(name)), "Connection refused") << name;
    }
}

/// With a /dev of the test's own, so that nothing gets to the machine's system log.
class TarqlogSystemLogTest : public OwnNamespacesTest {
protected:
    TarqlogSystemLogTest() : OwnNamespacesTest(CLONE_NEWNS) {}

    std::string Log() const { return directory_.File("log"); }  // in the place of /dev/log

    /// What the tool says of `line` when its /dev is that of the test.
    void ExpectErrors(Arguments const& arguments, std::string const& line,
                      std::string const& errors) const {
        Run([&] {
            ASSERT_EQ(::mount(directory_.Path().c_str(), "/dev", nullptr, MS_BIND, nullptr), 0);
            ChildResult const result = RunTool(arguments, line);
            EXPECT_EQ(result.exitStatus, 0);
            EXPECT_EQ(result.errors, errors);
        });
    }

private:
    TemporaryDirectory const directory_;
};

TEST_F(TarqlogSystemLogTest, NobodyAtTheSystemLogIsOneLineAndTheOthersGoOn) {
    ExpectErrors({"-o", "syslog:web,format=json", "-o", "stderr", "-o", "syslog:web"}, "one\n",
                 "tarqlog: syslog:web,format=json: nobody listens at /dev/log (No such file or "
                 "directory), lines are lost until somebody does\nI (stdin):one\n");
}

TEST_F(TarqlogSystemLogTest, SomebodyAtTheSystemLogIsNotWorthALine) {
    LocalListener const listener(Log(), SOCK_DGRAM);
    ExpectErrors({"-o", "syslog:web"}, "one\n", "");
}

TEST_F(TarqlogSystemLogTest, SystemLogThatGetsNothingMayBeAnywhere) {
    ExpectErrors({"-o", "syslog,levels=none", "-o", "stdout"}, "one\n", "");
    ExpectErrors({"-n", "-o", "syslog"}, "", "");
    ExpectErrors({"explain", "web", "-o", "syslog"}, "", "");
}

// Datagrams that are too small

/// What the tool sends of one line, where the whole of it does not fit, without the line feed.
std::string SentOf(std::string const& line, Arguments arguments, std::string const& settings) {
    ListeningPort const port;
    arguments.insert(arguments.end(), {"--stats", "-o", To(port) + settings});
    ChildResult const result = RunTool(arguments, line + "\nshort\n");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.errors.find(" cut=1 lost=0 "), std::string::npos) << result.errors;
    std::string const sent = port.Receive();
    EXPECT_NE(port.Receive().find("short"), std::string::npos);
    EXPECT_EQ(sent.back(), '\n');
    return sent.substr(0, sent.size() - 1);
}

/// How often `sent` has `unit`, of which all between `begin` and `end` must be made.
std::string::size_type CountOf(std::string const& unit, std::string const& sent,
                               std::string const& begin, std::string const& end) {
    std::string::size_type const first = sent.find(begin) + begin.size();
    std::string::size_type const count = (sent.size() - end.size() - first) / unit.size();
    EXPECT_EQ(sent.substr(first), Repeat(unit, count) + end);
    return count;
}

TEST(TarqlogDestinationsTest, JsonObjectTooLongForADatagramStaysOneWithItsTextCut) {
    struct {
        std::string character;
        std::string escape;
    } const kCases[] = {
        {"x", "x"}, {"\"", "\\\""}, {"\\", "\\\\"}, {"\x01", "\\u0001"}, {"\u00e4", "\u00e4"},
    };
    for (auto const& row : kCases) {
        for (std::string const start : {"", "a", "ab", "abc", "abcd", "abcde"}) {
            SCOPED_TRACE(row.escape + " behind " + start);
            std::string const sent =
                SentOf(start + Repeat(row.character, 70000), {}, ",format=json");

            CountOf(row.escape, sent, R"("text":")" + start, R"( [cut]"})");
            EXPECT_LE(sent.size(), 65506U);
            EXPECT_GT(sent.size(), 65506U - row.escape.size());
        }
    }
}

TEST(TarqlogDestinationsTest, JsonObjectThatFillsADatagramIsSentWhole) {
    ListeningPort const port;
    RunningTool tool({"--stats", "-o", To(port) + ",format=json"});
    tool.Write("x\n");
    std::string::size_type const room = 65507 - (port.Receive().size() - 1);
    tool.Write(Repeat("x", room) + "\n");
    EXPECT_EQ(port.Receive().size(), 65507U);
    tool.Write(Repeat("x", room + 1) + "\n");
    tool.CloseInput();

    std::string const cut = port.Receive();
    EXPECT_EQ(cut.size(), 65507U);
    EXPECT_EQ(cut.substr(cut.size() - 11), "xx [cut]\"}\n");
    std::string const errors = tool.Finish().errors;
    EXPECT_NE(errors.find(" cut=1 "), std::string::npos) << errors;
}

TEST(TarqlogDestinationsTest, EscapedTextTooLongForADatagramIsCutBetweenEscapes) {
    struct {
        std::string character;
        std::string escape;
    } const kCases[] = {
        {"x", "x"}, {"\\", "\\\\"}, {"\x01", "\\x01"}, {"\u00e4", "\u00e4"}, {"\xff", "\\xff"},
    };
    for (auto const& row : kCases) {
        for (std::string const start : {"", "a", "ab", "abc"}) {
            SCOPED_TRACE(row.escape + " behind " + start);
            std::string const sent = SentOf(start + Repeat(row.character, 70000), {"--escape"}, "");

            CountOf(row.escape, sent, "(stdin):" + start, " [cut]");
            EXPECT_LE(sent.size(), 65506U);
            EXPECT_GT(sent.size(), 65506U - row.escape.size());
        }
    }
}

TEST(TarqlogDestinationsTest, BackslashesOfAPlainTextAreNoEscapes) {
    for (std::string const start : {"", "a"}) {
        std::string const sent = SentOf(start + Repeat("\\", 70000), {}, "");

        CountOf("\\", sent, "(stdin):" + start, " [cut]");
        EXPECT_EQ(sent.size(), 65506U);
    }
}

TEST(TarqlogDestinationsTest, LongestTagLeavesRoomForEscapedText) {
    std::string const tag(4096, '\x01');
    for (std::string const format : {"text", "json"}) {
        std::string const sent =
            SentOf(Repeat("x", 70000), {"--escape", "-t", tag}, ",format=" + format);

        EXPECT_NE(sent.find("xxx [cut]"), std::string::npos);
    }
}

// Escapes

std::string const kOdd = "a\tb\x1b[31m\\\x9b\n";
std::string const kOddEscaped = R"(a\x09b\x1b[31m\\\x9b)";

TEST(TarqlogDestinationsTest, ControlBytesAreEscapedWhereAskedFor) {
    TemporaryDirectory const directory;
    ListeningPort const port;

    ChildResult const result =
        RunTool({"--escape", "-o", "stdout", "-o", "stderr", "-o",
                 "file:" + directory.File("file") + ",buffer=9", "-o", To(port)},
                kOdd);

    std::string const expected = "I (stdin):" + kOddEscaped + "\n";
    EXPECT_EQ(result.output, expected);
    EXPECT_EQ(result.errors, expected);
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("file"))), expected);
    EXPECT_EQ(Masked(port.Receive()), expected);
}

TEST(TarqlogDestinationsTest, BytesStayAsTheyAreUnlessAskedFor) {
    TemporaryDirectory const directory;
    ListeningPort const port;

    ChildResult const result = RunTool({"-t", "a\x1b", "-o", "stdout", "-o", "stderr", "-o",
                                        "file:" + directory.File("file"), "-o", To(port)},
                                       kOdd);

    std::string const expected = "I (a\x1b):" + kOdd;
    EXPECT_EQ(result.output, expected);
    EXPECT_EQ(result.errors, expected);
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("file"))), expected);
    EXPECT_EQ(Masked(port.Receive()), expected);
}

TEST(TarqlogDestinationsTest, TagIsEscapedAsTheTextIs) {
    EXPECT_EQ(
        RunTool({"--escape", "-t", "web\n\x1b[31m\\.\u009b\u00e4", "-o", "stdout"}, "x\n").output,
        "I (web\\n\\x1b[31m\\\\.\\xc2\\x9b\u00e4):x\n");
}

TEST(TarqlogDestinationsTest, JsonIsNotEscapedTwice) {
    EXPECT_EQ(MaskedJson(RunTool({"--escape", "-o", "stdout,format=json"}, "\x1b\\\n").output),
              Object("info", "stdin", R"(\u001b\\)"));
}

// Terminals

std::string MaskedOnTerminal(Arguments const& arguments, std::string const& input,
                             char const* noColour = nullptr) {
    return Masked(OnTerminal(arguments, input, noColour));
}

TEST(TarqlogDestinationsTest, OnATerminalTextIsEscapedAndTheHeaderHasTheColourOfItsLevel) {
    for (std::string const stream : {"stdout", "stderr"}) {
        EXPECT_EQ(MaskedOnTerminal({"-p", "trace", "--prio-prefix", "-o", stream},
                                   "t\n<7>\x1b[2J\n<6>i\n<4>w\n<3>e\n<2>f\n"),
                  "\x1b[90mT (stdin):\x1b[0mt\n"
                  "\x1b[36mD (stdin):\x1b[0m\\x1b[2J\n"
                  "\x1b[32mI (stdin):\x1b[0mi\n"
                  "\x1b[33mW (stdin):\x1b[0mw\n"
                  "\x1b[31mE (stdin):\x1b[0me\n"
                  "\x1b[1;31mF (stdin):\x1b[0mf\n");
    }
}

TEST(TarqlogDestinationsTest, WhoWantsNoColourGetsNoneAndIsProtectedAllTheSame) {
    EXPECT_EQ(MaskedOnTerminal({}, kOdd, "1"), "I (stdin):" + kOddEscaped + "\n");
}

TEST(TarqlogDestinationsTest, FileThatIsATerminalIsATerminal) {
    Terminal const terminal;
    RunningTool tool({"-o", "file:/dev/tty"}, [&] {
        terminal.Adopt();
        terminal.Replace(STDERR_FILENO);
        SetNoColour(nullptr);
    });
    tool.Write(kOdd);
    tool.CloseInput();

    EXPECT_EQ(Masked(terminal.ReadToEnd()), "\x1b[32mI (stdin):\x1b[0m" + kOddEscaped + "\n");
    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

TEST(TarqlogDestinationsTest, EmptyWishForNoColourIsNone) {
    EXPECT_EQ(MaskedOnTerminal({}, "x\n", ""), "\x1b[32mI (stdin):\x1b[0mx\n");
}

TEST(TarqlogDestinationsTest, TagCannotReachATerminalRaw) {
    EXPECT_EQ(MaskedOnTerminal({"-t", "\x1b[2J"}, "x\n"), "\x1b[32mI (\\x1b[2J):\x1b[0mx\n");
}

TEST(TarqlogDestinationsTest, CommandThatRunsIsEscapedOnATerminalWithItsName) {
    TemporaryDirectory const directory;
    std::string const script = directory.File("\x1b[2J");
    WriteWholeFile(script, "#!/bin/sh\nprintf 'a\\033b\\n'\n");
    ASSERT_EQ(::chmod(script.c_str(), 0700), 0);

    EXPECT_EQ(MaskedOnTerminal({"run", "--", script}, ""), "\x1b[32mI (\\x1b[2J):\x1b[0ma\\x1bb\n");
}

TEST(TarqlogDestinationsTest, JsonOnATerminalIsJson) {
    EXPECT_EQ(MaskedJson(MaskedOnTerminal({"-o", "stdout,format=json"}, "\x1b\n")),
              Object("info", "stdin", R"(\u001b)"));
}

TEST(TarqlogDestinationsTest, WhatIsNoTerminalKeepsItsBytesBesideOne) {
    Terminal const terminal;
    TemporaryDirectory const directory;
    RunningTool tool({"-o", "stderr", "-o", "stdout", "-o", "file:" + directory.File("file")}, [&] {
        SetNoColour(nullptr);
        terminal.Replace(STDOUT_FILENO);
    });
    tool.Write(kOdd);
    tool.CloseInput();

    EXPECT_EQ(Masked(terminal.ReadToEnd()), "\x1b[32mI (stdin):\x1b[0m" + kOddEscaped + "\n");
    EXPECT_EQ(tool.Finish().errors, "I (stdin):" + kOdd);
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("file"))), "I (stdin):" + kOdd);
}

// Progress

/// Takes the speed away, which is not the test's to say, and the time left.
std::string WithoutSpeed(std::string const& text) {
    return std::regex_replace(text, std::regex("[0-9.]+ ([KMGT]i)?B/s(, [0-9:]+ left)?"), "SPEED");
}

/// The tool with a terminal for its standard error.
class ToolWithTerminal {
public:
    explicit ToolWithTerminal(
        Arguments const& arguments, std::function<void()> const& prepare = [] {})
        : tool_(arguments, [&] {
              terminal_.Replace(STDERR_FILENO);
              prepare();
          }) {}

    RunningTool& Tool() { return tool_; }
    Terminal const& Screen() const { return terminal_; }

private:
    Terminal const terminal_;
    RunningTool tool_;
};

TEST(TarqlogDestinationsTest, ProgressIsALineOfTheTerminalThatIsGoneInTheEnd) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    WriteWholeFile(directory.File("b"), "two\nthree\n");
    ToolWithTerminal on({"--progress", "-o", "file:" + directory.File("log"), directory.File("a"),
                         directory.File("b")});

    std::string const screen = on.Screen().ReadToEnd();

    std::string const begin = "\rtarqlog: 0 B of 14 B (0%), 0 lines";
    EXPECT_EQ(screen.substr(0, begin.size()), begin);
    EXPECT_EQ(screen.find('\n'), std::string::npos);
    std::string::size_type const end = screen.rfind('\r', screen.size() - 2);
    EXPECT_EQ(screen.substr(end + 1), Repeat(" ", screen.size() - end - 2) + "\r");
    EXPECT_EQ(on.Tool().Finish().exitStatus, 0);
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))),
              "I (stdin):one\nI (stdin):two\nI (stdin):three\n");
}

TEST(TarqlogDestinationsTest, ProgressOfWhatHasNoSizeIsToldAsItComes) {
    ToolWithTerminal on({"--progress", "-o", "file:/dev/null"});
    EXPECT_EQ(on.Screen().ReadUntil("lines"), "\rtarqlog: 0 B, 0 lines");
    // The line is rewritten a quarter of a second later at the earliest.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    on.Tool().Write("x\n");
    std::string const screen = on.Screen().ReadUntil("/s");
    EXPECT_EQ(screen.substr(0, 10), "\rtarqlog: ");
    EXPECT_EQ(screen.find(" of "), std::string::npos);
}

TEST(TarqlogDestinationsTest, ProgressFitsTheTerminal) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    Terminal const terminal;
    terminal.SetColumns(20);
    RunningTool tool({"--progress", "-o", "file:/dev/null", directory.File("a")},
                     [&] { terminal.Replace(STDERR_FILENO); });

    EXPECT_EQ(terminal.ReadToEnd().substr(0, 21), "\rtarqlog: 0 B of 4 B\r");
}

TEST(TarqlogDestinationsTest, ComplaintStandsOnALineOfItsOwn) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    std::string const missing = directory.File("missing");
    ToolWithTerminal on(
        {"--progress", "-o", "file:/dev/null", directory.File("a"), missing, directory.File("a")});

    std::string const screen = on.Screen().ReadToEnd();

    EXPECT_NE(screen.find("  \rtarqlog: " + missing + ": No such file or directory\n"),
              std::string::npos)
        << screen;
}

TEST(TarqlogDestinationsTest, ProgressElsewhereThanOnATerminalIsALineAtTheEnd) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\ntwo\n");

    ChildResult const result = RunTool({"--progress", "-o", "stdout", directory.File("a")});

    EXPECT_EQ(result.output, "I (stdin):one\nI (stdin):two\n");
    EXPECT_EQ(WithoutSpeed(result.errors), "tarqlog: 8 B of 8 B (100%), 2 lines, SPEED\n");
}

TEST(TarqlogDestinationsTest, SizeOfStandardInputIsWhatIsLeftOfIt) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\ntwo\nthree\n");

    ChildResult const result = RunShell("{ read -r line; \"$0\" --progress -o stdout - - ; } <'" +
                                        directory.File("a") + "'");

    EXPECT_EQ(result.output, "I (stdin):two\nI (stdin):three\n");
    EXPECT_EQ(WithoutSpeed(result.errors), "tarqlog: 10 B of 10 B (100%), 2 lines, SPEED\n");
}

TEST(TarqlogDestinationsTest, ProgressOnATerminalThatLinesGoToIsAWholeLine) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    for (std::string const stream : {"stdout", "stderr"}) {
        std::string const screen =
            MaskedOnTerminal({"--progress", "-o", stream, directory.File("a")}, "");

        EXPECT_EQ(WithoutSpeed(screen),
                  "\x1b[32mI (stdin):\x1b[0mone\n"
                  "tarqlog: 4 B of 4 B (100%), 1 lines, SPEED\n");
    }
}

TEST(TarqlogDestinationsTest, JobInTheBackgroundWritesNoProgressToItsTerminal) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    Terminal const terminal;
    RunningTool tool({"--progress", "-o", "file:" + directory.File("log"), directory.File("a")},
                     [&] {
                         terminal.Adopt();
                         terminal.Replace(STDERR_FILENO);
                         if (pid_t const job = ::fork(); job > 0) {
                             ::waitpid(job, nullptr, 0);
                             ::_exit(0);
                         }
                         ::setpgid(0, 0);
                     });

    EXPECT_EQ(tool.Finish().exitStatus, 0);
    EXPECT_EQ(terminal.ReadToEnd(), "");
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))), "I (stdin):one\n");
}

TEST(TarqlogDestinationsTest, RunHasNoProgressToTell) {
    EXPECT_EQ(RunTool({"run", "--progress", "--", "true"}).errors,
              "tarqlog: run has no option --progress; see run --help\n");
}

/// A file whose lines a destination cannot take before the test lets it.
class LongWork {
public:
    LongWork() {
        WriteWholeFile(Input(),
                       Repeat("a line of some length, so that the FIFO is soon full\n", 20000));
        if (::mkfifo(directory_.File("fifo").c_str(), 0600) != 0) {
            throw std::runtime_error("cannot make a FIFO");
        }
        fifo_ = ::open(directory_.File("fifo").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    ~LongWork() { ::close(fifo_); }

    LongWork(LongWork const&) = delete;
    LongWork& operator=(LongWork const&) = delete;

    std::string Input() const { return directory_.File("input"); }
    std::string Destination() const { return "file:" + directory_.File("fifo"); }

    /// Lets two seconds of the tool's time go by, which has begun when there is a line, and then
    /// takes all lines until the tool ends.
    void Finish(RunningTool& tool) const {
        pollfd wanted = {fifo_, POLLIN, 0};
        EXPECT_EQ(::poll(&wanted, 1, 60000), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(2100));
        WaitUntil("the tool has ended", [&] {
            char lines[65536];
            return ::read(fifo_, lines, sizeof lines) <= 0 && tool.HasEnded();
        });
    }

private:
    TemporaryDirectory const directory_;
    int fifo_ = -1;
};

TEST(TarqlogDestinationsTest, LongWorkOnAFileShowsItsProgressByItself) {
    LongWork const work;
    TemporaryDirectory const directory;
    ToolWithTerminal on({"-o", work.Destination(), "-o", "stdout", work.Input()}, [&] {
        int const file = ::open(directory.File("out").c_str(), O_WRONLY | O_CREAT, 0600);
        ::dup2(file, STDOUT_FILENO);  // which nobody shows
    });
    work.Finish(on.Tool());

    std::string const screen = on.Screen().ReadToEnd();
    EXPECT_EQ(screen.substr(0, 10), "\rtarqlog: ");
    EXPECT_NE(screen.find(" of 1.0 MiB ("), std::string::npos) << screen;
    EXPECT_EQ(screen.substr(screen.size() - 2), " \r");
    EXPECT_EQ(on.Tool().Finish().exitStatus, 0);
}

TEST(TarqlogDestinationsTest, InputWithoutAnEndShowsNoProgressByItself) {
    LongWork const work;
    ToolWithTerminal on({"-o", work.Destination(), work.Input(), "-"});
    on.Tool().CloseInput();
    work.Finish(on.Tool());

    EXPECT_EQ(on.Screen().ReadToEnd(), "");
}

TEST(TarqlogDestinationsTest, NoProgressComesByItselfWhereTheLinesMayBeShown) {
    LongWork const work;
    // To the terminal itself, and to a pipe whose reader may have it.
    for (std::string const stream : {"stderr", "stdout"}) {
        ToolWithTerminal on({"-o", work.Destination(), "-o", stream + ",levels=F", work.Input()});
        work.Finish(on.Tool());

        EXPECT_EQ(on.Screen().ReadToEnd(), "");
    }
}

TEST(TarqlogDestinationsTest, WorkOnAFileThatIsSoonDoneShowsNoProgress) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "one\n");
    ToolWithTerminal on({"-o", "file:/dev/null", directory.File("a")});

    EXPECT_EQ(on.Tool().Finish().exitStatus, 0);
    EXPECT_EQ(on.Screen().ReadToEnd(), "");
}

}  // namespace
}  // namespace tarqlog
