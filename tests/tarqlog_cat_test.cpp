#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "../tools/calendar.h"
#include "../tools/line_format.h"
#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/temporary_directory.h"
#include "support/tool.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/format_func.h"
#include "tarqlog/logsysinfo.h"
#include "tarqlog/wrappers.h"

namespace tarqlog {
namespace {

using tool::FindHeader;
using tool::HeaderFound;
using tool::LineHeader;

// What the hooks answer.
long long timeMs = 0;
unsigned int threadId = 7;

long long GetTime() {
    return timeMs;
}

unsigned int GetThreadId() {
    return threadId;
}

/// A record of some second, in the default format.
std::string At(int second, std::string const& text, std::string const& tag = "(job)",
               char letter = 'I') {
    char header[64];
    std::snprintf(header, sizeof header, "%c [2026-11-21 16:49:%02d.000][t:7]", letter, second);
    return header + tag + ":" + text + "\n";
}

/// Runs `tarqlog cat`; nothing is masked.
ChildResult RunCat(Arguments arguments, std::string const& input = "") {
    arguments.insert(arguments.begin(), "cat");
    return RunProgram(kTool, arguments, input);
}

/// What `tarqlog cat` prints when it ends well and has nothing to complain about.
std::string Printed(Arguments const& arguments, std::string const& input = "") {
    ChildResult const result = RunCat(arguments, input);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

/// What it makes of `content` in a file.
std::string PrintedOf(std::string const& content, Arguments arguments = {}) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("log"), content);
    arguments.push_back(directory.File("log"));
    return Printed(arguments);
}

void Append(std::string const& path, std::string const& content) {
    int const file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(::write(file, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    ::close(file);
}

/// What a terminal shows of `content` in a file.
std::string ShownOf(std::string const& content, Arguments arguments = {},
                    char const* noColour = nullptr) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("log"), content);
    arguments.insert(arguments.begin(), "cat");
    arguments.push_back(directory.File("log"));
    return OnTerminal(arguments, "", noColour);
}

/// The tool as it follows files.
class Follower {
public:
    explicit Follower(Arguments arguments) : tool_(WithCommand(std::move(arguments))) {}

    std::string ReadLine() { return tool_.ReadOutputLine(); }

    ChildResult Stop() {
        tool_.Signal(SIGTERM);
        return tool_.Finish();
    }

    RunningTool& Tool() { return tool_; }

private:
    static Arguments WithCommand(Arguments arguments) {
        arguments.insert(arguments.begin(), {"cat", "--follow"});
        return arguments;
    }

    RunningTool tool_;
};

// The header

class Random {
public:
    unsigned int Below(unsigned int bound) { return static_cast<unsigned int>(engine_() % bound); }
    bool Chance(unsigned int of) { return Below(of) == 0; }

    /// A number of any size.
    long long Number() {
        auto const high = static_cast<unsigned long long>(engine_());
        auto const bits = high << 32 | static_cast<unsigned long long>(engine_());
        long long const number = static_cast<long long>(bits >> 1U >> Below(63));
        return Chance(2) ? number : -number;
    }

    /// Bytes of all kinds.
    std::string Bytes(unsigned int size) {
        static std::string const kOdd("\n\r\t\0\x1b\x7f\xc3\xa9\xff()[]:.\\\" ", 18);
        std::string bytes;
        for (unsigned int i = 0; i < size; ++i) {
            bytes += Chance(3) ? kOdd[Below(static_cast<unsigned int>(kOdd.size()))]
                               : static_cast<char>(Below(256));
        }
        return bytes;
    }

    /// Tag parts as a logger has them; what is shown of them can be told from the text.
    std::vector<std::string> TagParts() {
        std::vector<std::string> parts(Below(4));
        for (std::string& part : parts) {
            part = Chance(2) ? "web" : Bytes(1 + Below(8));
            for (char& character : part) {
                bool const isOdd = character == '\0' || character == '.' || character == ')';
                character = isOdd ? 'x' : character;
            }
        }
        return parts;
    }

private:
    std::mt19937 engine_{20261121};  // the same run each time
};

std::string Joined(std::vector<std::string> const& parts) {
    std::string joined;
    for (std::string const& part : parts) {
        joined += (joined.empty() ? "" : ".") + part;
    }
    return joined;
}

TEST(TarqlogCatTest, EveryHeaderThatTheLibraryWritesIsFoundAndUnderstood) {
    InstalledHooks const hooks(&GetTime, &GetThreadId);
    FormatHeaderFunc const format = DefaultFormatHeaderFunc(true);
    constexpr bool kIsLongShort = sizeof(long) == 4;  // then the header's years end in 2038
    Random random;
    for (int i = 0; i < 3000; ++i) {
        timeMs = kIsLongShort ? random.Number() % (1LL << 31) : random.Number();
        threadId = static_cast<unsigned int>(random.Number());
        auto const severity = static_cast<Severity>(1U << random.Below(7));
        std::vector<std::string> const parts = random.TagParts();
        std::string text;
        format(text, TaggedRecord(severity, "text", parts));
        std::size_t const size = text.size();
        SCOPED_TRACE(text);
        LineHeader header;
        for (std::size_t cut = 0; cut < size; ++cut) {
            ASSERT_EQ(FindHeader(text.substr(0, cut), header), HeaderFound::kCut) << cut;
        }
        text += random.Bytes(random.Below(3));
        ASSERT_EQ(FindHeader(text, header), HeaderFound::kYes);
        ASSERT_EQ(header.size, size);
        ASSERT_EQ(header.severity, severity);
        ASSERT_EQ(header.timeMs, timeMs);
        ASSERT_EQ(header.threadId, threadId);
        ASSERT_EQ(header.tag, Joined(parts));
    }
}

TEST(TarqlogCatTest, TimesFromTheFirstToTheLastAreUnderstood) {
    struct {
        char const* header;
        long long timeMs;
    } const kCases[] = {
        {"I [1970-01-01 00:00:00.000][t:0]):", 0},
        {"I [1970-01-01 00:00:00.-01][t:0]):", -1},
        {"I [1970-01-01 00:00:00.-999][t:0]):", -999},
        {"I [1969-12-31 23:59:59.000][t:0]):", -1000},
        {"I [1969-12-31 23:59:59.-01][t:0]):", -1001},
        {"I [2000-02-29 00:00:00.000][t:0]):", 951782400000},
        {"I [10000-01-01 00:00:00.000][t:0]):", 253402300800000},
        {"I [0000-03-01 00:00:00.000][t:0]):", -62162035200000},
        {"I [-001-12-31 23:59:59.000][t:0]):", -62167219201000},
        {"I [-12345-06-07 08:09:10.-11][t:0]):", -451724140250011},
        {"I [292278994-08-17 07:12:55.807][t:0]):", std::numeric_limits<long long>::max()},
        {"I [-292275055-05-16 16:47:05.-808][t:0]):", std::numeric_limits<long long>::min()},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.header);
        LineHeader header;
        EXPECT_EQ(FindHeader(row.header, header), HeaderFound::kYes);
        EXPECT_EQ(header.timeMs, row.timeMs);
    }
}

TEST(TarqlogCatTest, WhatTheLibraryCannotHaveWrittenIsNoHeader) {
    for (std::string const text : {
             "X [2026-11-21 16:49:11.406][t:7](job):",
             " I [2026-11-21 16:49:11.406][t:7](job):",
             "I  [2026-11-21 16:49:11.406][t:7](job):",
             "I [2026-11-21T16:49:11.406][t:7](job):",
             "I [026-11-21 16:49:11.406][t:7](job):",
             "I [02026-11-21 16:49:11.406][t:7](job):",
             "I [-000-11-21 16:49:11.406][t:7](job):",
             "I [2026-13-21 16:49:11.406][t:7](job):",
             "I [2026-00-21 16:49:11.406][t:7](job):",
             "I [2026-11-31 16:49:11.406][t:7](job):",
             "I [2026-11-00 16:49:11.406][t:7](job):",
             "I [2026-02-29 16:49:11.406][t:7](job):",
             "I [1900-02-29 16:49:11.-06][t:7](job):",
             "I [2026-11-21 24:49:11.406][t:7](job):",
             "I [2026-11-21 16:60:11.406][t:7](job):",
             "I [2026-11-21 16:49:60.406][t:7](job):",
             "I [2026-11-21 16:49:11.40][t:7](job):",
             "I [2026-11-21 16:49:11.4060][t:7](job):",
             "I [2026-11-21 16:49:11.-06][t:7](job):",
             "I [1969-11-21 16:49:11.406][t:7](job):",
             "I [1970-01-01 00:00:00.-00][t:7](job):",
             "I [292278994-08-17 07:12:55.808][t:7](job):",
             "I [999999999-01-01 00:00:00.000][t:7](job):",
             "I [2026-11-21 16:49:11.406] [t:7](job):",
             "I [2026-11-21 16:49:11.406][t:](job):",
             "I [2026-11-21 16:49:11.406][t:07](job):",
             "I [2026-11-21 16:49:11.406][t:-7](job):",
             "I [2026-11-21 16:49:11.406][t:4294967296](job):",
             "I [2026-11-21 16:49:11.406][t:7]job):",
             "I [2026-11-21 16:49:11.406][t:7]:",
             "I [2026-11-21 16:49:11.406][t:7])x",
             "I [2026-11-21 16:49:11.406][t:7]):"  // to be spoilt below
         }) {
        SCOPED_TRACE(text);
        LineHeader header;
        bool const isOne = text.back() == ':' && text.find("7]):") != std::string::npos;
        EXPECT_EQ(FindHeader(text + "text\n", header),
                  isOne ? HeaderFound::kYes : HeaderFound::kNo);
    }
    std::string const fields = "I [2026-11-21 16:49:11.406][t:7]";
    for (std::string const tag :
         {"():", "(.a):", "(a.):", "(a..b):", "(.):", "(a\nI [2026-11-21 16:49:11.406][t:7](b):"}) {
        SCOPED_TRACE(tag);
        LineHeader header;
        EXPECT_EQ(FindHeader(fields + tag + "text\n", header), HeaderFound::kNo);
    }
    LineHeader header;
    EXPECT_EQ(FindHeader(fields + std::string("(a\0b):x", 7), header), HeaderFound::kNo);
}

TEST(TarqlogCatTest, TagEndsAtTheFirstBracketBeforeAColon) {
    LineHeader header;
    std::string const text = "I [2026-11-21 16:49:11.406][t:7](f(x)\n):y):text";

    ASSERT_EQ(FindHeader(text, header), HeaderFound::kYes);
    EXPECT_EQ(header.tag, "f(x)\n");
    EXPECT_EQ(text.substr(header.size), "y):text");
}

TEST(TarqlogCatTest, HeaderHasAtMost64KiB) {
    LineHeader header;
    std::string const text = "I [2026-11-21 16:49:11.406][t:7](";
    std::string const tag(65536 - text.size() - 2, 'x');

    EXPECT_EQ(FindHeader(text + tag + "):", header), HeaderFound::kYes);
    EXPECT_EQ(FindHeader(text + tag + "x):", header), HeaderFound::kNo);
}

// Records

TEST(TarqlogCatTest, RecordsArePrintedAsTheyStandInTheFile) {
    std::string const log =
        At(1, "one") + At(2, "\x1b[31mtwo\r\t\xff", "(a.\x1b b)", 'W') + At(3, "x", ")", 'U');

    EXPECT_EQ(PrintedOf(log), log);
}

TEST(TarqlogCatTest, LinesWithoutHeaderBelongToTheRecordBeforeThem) {
    std::string const log =
        At(1, "one\n  two\n\nI [2026-11-21 16:49:02.000]", "(a)") + At(3, "three", "(b)");

    EXPECT_EQ(PrintedOf(log), log);
    EXPECT_EQ(PrintedOf(log, {"-r", "a=none"}), At(3, "three", "(b)"));
    EXPECT_EQ(PrintedOf(log, {"-r", "b=none"}),
              At(1, "one\n  two\n\nI [2026-11-21 16:49:02.000]", "(a)"));
}

TEST(TarqlogCatTest, HeaderWithinALineIsText) {
    std::string const log = At(1, "x " + At(2, "y", "(b)"), "(a)");

    EXPECT_EQ(PrintedOf(log, {"-r", "b=none"}), log);
    EXPECT_EQ(PrintedOf(log, {"-r", "a=none"}), "");
}

TEST(TarqlogCatTest, LinesBeforeTheFirstHeaderAreCountedInstead) {
    TemporaryDirectory const directory;
    std::string const one = directory.File("one");
    std::string const three = directory.File("three");
    WriteWholeFile(one, "x\n" + At(1, "one"));
    WriteWholeFile(three, std::string(200000, 'a') + "\n\nb");
    ChildResult const result = RunCat({three, one});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, At(1, "one"));
    EXPECT_EQ(result.errors, "tarqlog: " + three + ": 3 lines were not in our format\ntarqlog: " +
                                 one + ": 1 line was not in our format\n");
}

TEST(TarqlogCatTest, HeadersWithoutATextAreCountedTooButForOneWhoseTextMayBeAboutToCome) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "") + At(2, "two") + At(3, "").substr(0, At(3, "").size() - 1));
    ChildResult const result = RunCat({log});

    EXPECT_EQ(result.output, At(2, "two"));
    EXPECT_EQ(result.errors, "tarqlog: " + log + ": 1 line was not in our format\n");
}

TEST(TarqlogCatTest, LastLineWithoutLineFeedGetsOne) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), At(1, "one") + "more");
    WriteWholeFile(directory.File("b"), At(2, "two") + "more");

    EXPECT_EQ(Printed({directory.File("a"), directory.File("b")}),
              At(1, "one\nmore") + At(2, "two\nmore"));
}

TEST(TarqlogCatTest, HeadersOfAllSizesAreFoundWhereverReadsEnd) {
    std::string log;
    for (unsigned int size = 1; size < 1500; ++size) {  // a MiB and more, cut anywhere
        log += At(1, std::string(size, 'x') + "\nI [2026-", "(a)") + At(2, "y", "(b)");
    }
    std::string const text = PrintedOf(log, {"-r", "a=none"});

    EXPECT_TRUE(PrintedOf(log) == log);
    EXPECT_EQ(text.size(), 1499 * At(2, "y", "(b)").size());
}

TEST(TarqlogCatTest, DashIsStandardInput) {
    EXPECT_EQ(Printed({"-"}, At(1, "one")), At(1, "one"));
    EXPECT_EQ(RunCat({"-"}, "x\n").errors,
              "tarqlog: standard input: 1 line was not in our format\n");
}

TEST(TarqlogCatTest, InputThatDoesNotBlockIsWaitedFor) {
    RunningTool tool({"cat", "-"}, [] { ::fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK); });
    tool.WaitUntilItSleeps();
    tool.Write(At(1, "one"));
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().output, "I (job):one\n");
}

// The order

TEST(TarqlogCatTest, RecordsOfSeveralFilesAreInTheOrderOfTime) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), At(1, "a1") + At(4, "a4\nmore") + At(5, "a5"));
    WriteWholeFile(directory.File("b"), At(2, "b2") + At(3, "b3") + At(6, "b6"));
    WriteWholeFile(directory.File("c"), At(0, "c0") + At(7, "c7"));

    EXPECT_EQ(Printed({directory.File("a"), directory.File("b"), directory.File("c")}),
              At(0, "c0") + At(1, "a1") + At(2, "b2") + At(3, "b3") + At(4, "a4\nmore") +
                  At(5, "a5") + At(6, "b6") + At(7, "c7"));
}

TEST(TarqlogCatTest, OfOneTimeTheFileThatWasNamedFirstComesFirst) {
    TemporaryDirectory const directory;
    std::string const a = directory.File("a");
    std::string const b = directory.File("b");
    WriteWholeFile(a, At(1, "a") + At(1, "A"));
    WriteWholeFile(b, At(1, "b") + At(1, "B"));

    EXPECT_EQ(Printed({a, b}), At(1, "a") + At(1, "A") + At(1, "b") + At(1, "B"));
    EXPECT_EQ(Printed({b, a}), At(1, "b") + At(1, "B") + At(1, "a") + At(1, "A"));
}

TEST(TarqlogCatTest, ClockThatWasSetBackChangesNoOrderWithinAFile) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), At(5, "first") + At(2, "second") + At(6, "third"));
    WriteWholeFile(directory.File("b"), At(3, "b3") + At(5, "b5"));

    EXPECT_EQ(Printed({directory.File("a"), directory.File("b")}),
              At(3, "b3") + At(5, "first") + At(2, "second") + At(5, "b5") + At(6, "third"));
}

TEST(TarqlogCatTest, FileStandsForThoseThatItHasRolledIntoAsWell) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(5, "five"));
    WriteWholeFile(log + ".1", At(4, "four"));
    WriteWholeFile(log + ".3", At(3, "three"));  // there may be gaps
    WriteWholeFile(log + ".9", At(7, "one") + "more");
    WriteWholeFile(log + ".10", At(1, "of somebody else"));

    EXPECT_EQ(Printed({log}), At(7, "one\nmore") + At(3, "three") + At(4, "four") + At(5, "five"));
}

TEST(TarqlogCatTest, EachFileIsReadOnceHoweverOftenItIsNamed) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    std::string const all = At(1, "one") + At(2, "two") + At(3, "three");
    WriteWholeFile(log, At(3, "three"));
    WriteWholeFile(log + ".1", At(2, "two"));
    WriteWholeFile(log + ".2", At(1, "one"));

    EXPECT_EQ(Printed({log, log + ".1", log + ".2"}), all);
    EXPECT_EQ(Printed({log + ".2", log, log}), all);
    EXPECT_EQ(Printed({log + ".1", log + ".2"}), At(1, "one") + At(2, "two"));
}

TEST(TarqlogCatTest, EachFileIsReadOnceByWhateverWayItIsNamed) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(2, "two"));
    WriteWholeFile(log + ".1", At(1, "one"));
    ASSERT_EQ(::symlink(log.c_str(), directory.File("link").c_str()), 0);
    ASSERT_EQ(::symlink("log.1", directory.File("old").c_str()), 0);

    EXPECT_EQ(Printed({directory.Path() + "/./log", log, directory.File("link")}),
              At(1, "one") + At(2, "two"));
    EXPECT_EQ(Printed({directory.File("old"), log}), At(1, "one") + At(2, "two"));
}

TEST(TarqlogCatTest, LinesAtTheStartOfARolledFileBelongToNoRecord) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log + ".1", At(1, "one"));
    WriteWholeFile(log, "more\n" + At(2, "two"));
    ChildResult const result = RunCat({log});

    EXPECT_EQ(result.output, At(1, "one") + At(2, "two"));
    EXPECT_EQ(result.errors, "tarqlog: " + log + ": 1 line was not in our format\n");
}

TEST(TarqlogCatTest, RolledFilesAreNotOpenAtOnce) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    std::string all;
    for (int number = 9; number > 0; --number) {
        WriteWholeFile(log + "." + std::to_string(number), At(10 - number, "x"));
        all += At(10 - number, "x");
    }
    WriteWholeFile(log, At(10, "y"));
    ChildResult const result =
        RunProgram("/bin/sh", {"-c", "ulimit -n 12; exec \"$0\" cat " + log, kTool});

    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, all + At(10, "y"));
}

/// The most memory in KiB that `tarqlog cat` has had in use for `file`, with what starts it.
long MemoryFor(std::string const& file) {
    ChildResult const result =
        RunProgram("/bin/sh", {"-c", "\"$0\" cat \"$1\" >/dev/null 2>&1", kTool, file});
    EXPECT_EQ(result.exitStatus, 0);
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
}

TEST(TarqlogCatTest, FilesOfAnySizeTakeTheMemoryOfAFewRecords) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    long const little = MemoryFor(log);
    constexpr long kMebibyte = 1024;
    constexpr off_t kHoleBytes = off_t{100} << 20;

    ASSERT_EQ(::truncate(log.c_str(), kHoleBytes), 0);  // a record of one endless line
    EXPECT_LT(MemoryFor(log), little + 30 * kMebibyte);
    WriteWholeFile(log, "not ours");
    ASSERT_EQ(::truncate(log.c_str(), kHoleBytes), 0);
    EXPECT_LT(MemoryFor(log), little + 30 * kMebibyte);
}

// Choosing

TEST(TarqlogCatTest, RuleForTheLongestTagDecides) {
    std::string const log = At(1, "job", "(job)", 'D') + At(2, "job", "(job)", 'W') +
                            At(3, "db", "(job.db)", 'D') + At(4, "net", "(net)", 'I') +
                            At(5, "none", ")", 'E');

    EXPECT_EQ(PrintedOf(log, {"-r", "job=warning+", "--rule", "job.db=all", "-r", "=E"}),
              At(2, "job", "(job)", 'W') + At(3, "db", "(job.db)", 'D') + At(5, "none", ")", 'E'));
    EXPECT_EQ(PrintedOf(log, {"-r", "job=all", "-r", "job=none"}),
              At(4, "net", "(net)", 'I') + At(5, "none", ")", 'E'));
}

TEST(TarqlogCatTest, RecordWithoutLevelIsAmongAllAndAmongNoOthers) {
    std::string const log = At(1, "x", "(job)", 'U');

    EXPECT_EQ(PrintedOf(log, {"-r", "job=all"}), log);
    EXPECT_EQ(PrintedOf(log, {"-r", "job=TDIWE"}), "");
    EXPECT_EQ(PrintedOf(log, {"-r", "job=none"}), "");
}

TEST(TarqlogCatTest, ThousandsOfTagsKeepTheirRules) {
    std::string log;
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        std::string const number = std::to_string(i % 1500);
        log += At(1, number, "(job." + number + ")");
        expected += i % 1500 == 7 ? "" : At(1, number, "(job." + number + ")");
    }

    EXPECT_TRUE(PrintedOf(log, {"-r", "job.7=none"}) == expected);
}

TEST(TarqlogCatTest, SinceIsIncludedAndUntilIsNot) {
    std::string const log = At(1, "one") + At(2, "two") + At(3, "three");

    EXPECT_EQ(PrintedOf(log, {"--since", "2026-11-21 16:49:02"}), At(2, "two") + At(3, "three"));
    EXPECT_EQ(PrintedOf(log, {"--until", "2026-11-21 16:49:02"}), At(1, "one"));
    EXPECT_EQ(PrintedOf(log, {"--until", "2026-11-21T16:49:02.001Z", "--since",
                              "2026-11-21 16:49:01.001"}),
              At(2, "two"));
}

TEST(TarqlogCatTest, TimeMayBeSoLongAgo) {
    InstalledHooks const hooks(&GetTime, &GetThreadId);
    TemporaryDirectory const directory;
    FileAppender log(directory.File("log"), 0, 0, FileAppender::kAppendMode);
    long long const now = GetLocalTimeInMs();
    for (long long const minutes : {180, 1, -60}) {
        timeMs = now - minutes * 60 * 1000;
        log.Append(TaggedRecord(kInfo, std::to_string(minutes), {"job"}));
    }

    EXPECT_EQ(Masked(Printed({"--since", "2h", directory.File("log")})),
              "I (job):1\nI (job):-60\n");
    EXPECT_EQ(Masked(Printed({"--until", "120m", directory.File("log")})), "I (job):180\n");
    EXPECT_EQ(Masked(Printed({"--since", "1d", "--until", "0s", directory.File("log")})),
              "I (job):180\nI (job):1\n");
}

TEST(TarqlogCatTest, TimesAreUnderstoodInEachForm) {
    struct {
        char const* text;
        long long timeMs;
    } const kCases[] = {
        {"1970-01-02", 86400000},
        {"1970-01-02Z", 86400000},
        {"1970-01-01 00:01", 60000},
        {"1970-01-01T00:01Z", 60000},
        {"1970-01-01T00:00:01", 1000},
        {"1970-01-01 00:00:00.123", 123},
        {"1970-01-01T00:00:00.009Z", 9},
        {"1969-12-31 23:59:59.999", -1},
        {"2026-11-21 16:49:11.406", 1795279751406},
        {"90s", 1000000000 - 90000},
        {"10m", 1000000000 - 600000},
        {"2h", 1000000000 - 7200000},
        {"3d", 1000000000 - 259200000},
        {"9223372036854775s", 1000000000 - 9223372036854775000},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(tool::ToTimeMs(row.text, 1000000000), row.timeMs);
    }
    for (std::string const text : {"",
                                   "Z",
                                   "now",
                                   "10",
                                   "m",
                                   "10w",
                                   "-10m",
                                   "+10m",
                                   " 10m",
                                   "1 0m",
                                   "9223372036854776s",
                                   "2026-11",
                                   "2026-11-2",
                                   "2026-11-21 ",
                                   "2026-11-21 16",
                                   "2026-11-21 16:4",
                                   "2026-11-21 16:49:",
                                   "2026-11-21 16:49:1",
                                   "2026-11-21 16:49:11.",
                                   "2026-11-21 16:49:11.4",
                                   "2026-11-21 16:49:11.4061",
                                   "2026-11-21t16:49",
                                   "2026-11-21  6:49",
                                   "2026-11-31",
                                   "2026-11-21 24:00",
                                   "2026-11-21 16:60",
                                   "2026-11-21 16:49:60",
                                   "2026/11/21",
                                   "ZZ",
                                   "2026-11-21ZZ",
                                   "1970-01-01 00:00:00.-01"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(tool::ToTimeMs(text, 0), std::nullopt);
    }
    EXPECT_EQ(tool::ToTimeMs("9223372036854775s", -1000), std::nullopt);
}

// Showing

TEST(TarqlogCatTest, JsonIsThatOfTheLibrary) {
    EXPECT_EQ(PrintedOf(At(1, "say \"x\"\n\ttwo\x1b \xff", "(a.b)", 'W') + At(2, "y", ")", 'U') +
                            "F [-001-12-31 23:59:59.000][t:4294967295](\n\"):z\n",
                        {"--json"}),
              R"({"time":"2026-11-21T16:49:01.000Z","severity":"warning","thread":7,"tag":"a.b",)"
              R"("text":"say \"x\"\n\ttwo\u001b \ufffd"})"
              "\n"
              R"({"time":"2026-11-21T16:49:02.000Z","severity":"unknown","thread":7,"tag":"",)"
              R"("text":"y"})"
              "\n"
              R"({"time":"-001-12-31T23:59:59.000Z","severity":"fatal","thread":4294967295,)"
              R"("tag":"\n\"","text":"z"})"
              "\n");
}

TEST(TarqlogCatTest, JsonOfAVeryLongTextIsSeveralObjects) {
    std::string const header = At(1, "").substr(0, At(1, "").size() - 1);
    std::string const text((4 << 20) + 1 - header.size(), 'x');
    std::string const output = PrintedOf(At(1, text + "\ny") + At(2, "z"), {"--json"});

    std::string const start =
        R"({"time":"2026-11-21T16:49:01.000Z","severity":"info","thread":7,"tag":"job","text":")";
    EXPECT_TRUE(output == start + text.substr(1) + "\"}\n" + start + "x\\ny\"}\n" +
                              R"({"time":"2026-11-21T16:49:02.000Z","severity":"info",)"
                              R"("thread":7,"tag":"job","text":"z"})"
                              "\n");
}

TEST(TarqlogCatTest, VeryLongTextIsPrintedWhole) {
    std::string const log = At(1, std::string(5 << 20, 'x') + "\ny") + At(2, "z");

    EXPECT_TRUE(PrintedOf(log) == log);
}

TEST(TarqlogCatTest, TerminalShowsOneEscapedLineARecordColouredByItsSeverity) {
    EXPECT_EQ(
        ShownOf(At(1, "one\ntwo\x1b[2J", "(a\x1b\x07)", 'W') + At(2, "\xc3\xa9\\", "(b)", 'U')),
        "\x1b[33mW [2026-11-21 16:49:01.000][t:7](a\\x1b\\x07):\x1b[0mone\\ntwo\\x1b[2J\n"
        "\x1b[35mU [2026-11-21 16:49:02.000][t:7](b):\x1b[0m\xc3\xa9\\\\\n");
}

TEST(TarqlogCatTest, TerminalIsNotColouredWhenTheUserSaysSo) {
    EXPECT_EQ(ShownOf(At(1, "\x1b"), {}, "1"), At(1, "\\x1b"));
    EXPECT_EQ(ShownOf(At(1, "x"), {}, ""),
              "\x1b[32mI [2026-11-21 16:49:01.000][t:7](job):\x1b[0mx\n");
}

TEST(TarqlogCatTest, RawBytesGoToATerminalToo) {
    EXPECT_EQ(ShownOf(At(1, "one\ntwo\x1b[2J"), {"--raw"}), At(1, "one\ntwo\x1b[2J"));
    EXPECT_EQ(PrintedOf(At(1, "one\ntwo\x1b[2J"), {"--raw"}), At(1, "one\ntwo\x1b[2J"));
}

TEST(TarqlogCatTest, WhatIsNoTerminalGetsEscapesWithoutColoursWhenAskedFor) {
    EXPECT_EQ(PrintedOf(At(1, "one\ntwo\x1b[2J", "(a\x07)"), {"--escape"}),
              "I [2026-11-21 16:49:01.000][t:7](a\\x07):one\\ntwo\\x1b[2J\n");
}

TEST(TarqlogCatTest, JsonIsTheSameOnATerminal) {
    EXPECT_EQ(ShownOf(At(1, "\x1b"), {"--json"}), PrintedOf(At(1, "\x1b"), {"--json"}));
}

// There and back

/// Appends records of all kinds and notes what is to come back, each as one JSON object.
class RoundTrip {
public:
    explicit RoundTrip(std::string const& expected)
        : file_(boost::make_shared<FileAppender>(expected, 0, 0, FileAppender::kAppendMode)),
          json_(file_) {
        file_->SetSeverity(~Severity());
        json_.SetSeverity(~Severity());
    }

    void Append(AppenderBase& appender) {
        Fields const fields = MakeFields();
        std::vector<Fields> parts = {fields};
        std::string text = parts.back().text = MakeText();
        while (random_.Chance(10)) {  // a header at the start of a line: it cannot be told apart
            parts.push_back(MakeFields());
            parts.back().text = MakeText();
            std::string header;
            timeMs = parts.back().time;
            threadId = parts.back().thread;
            format_(header, TaggedRecord(parts.back().severity, "x", parts.back().tag));
            text += "\n" + header + parts.back().text;
        }
        timeMs = fields.time;
        threadId = fields.thread;
        appender.Append(TaggedRecord(fields.severity, text, fields.tag));
        for (Fields const& part : parts) {
            timeMs = part.time;
            threadId = part.thread;
            json_.Append(TaggedRecord(part.severity, part.text, part.tag));
        }
    }

private:
    struct Fields {
        long long time;
        unsigned int thread;
        Severity severity;
        std::vector<std::string> tag;
        std::string text;
    };

    long long Time() {
        long long const now = 1795279751406;
        long long const any = random_.Number() % (1LL << 40);  // a header of 32 bits has it, too
        return random_.Chance(5) ? any : now + random_.Below(100000);
    }

    Fields MakeFields() {
        Fields fields;
        fields.time = Time();
        fields.thread = random_.Chance(2) ? 7 : static_cast<unsigned int>(random_.Number());
        fields.severity = static_cast<Severity>(1U << random_.Below(7));
        fields.tag = random_.TagParts();
        return fields;
    }

    std::string MakeText() {
        static char const* const kPieces[] = {
            "\n",
            "\n\n",
            "\r\n",
            "I [2026-11-21 16:49:11.406][t:7](",
            "):",
            "\n I [2026-11-21 16:49:11.406][t:7](job):x",
            "\nI [2026-11-21 16:49:11.406][t:7]",
            "\nI [2026-11-31 16:49:11.406][t:7](job):x",
            "\nI [2026",
            "\x1b[31m",
            "x",
            "\nX",
            "\nI [2026-11-21 16:49:11.406][t:7](..):",
        };
        std::string text = random_.Bytes(1 + random_.Below(20));
        for (unsigned int pieces = random_.Below(4); pieces > 0; --pieces) {
            text += kPieces[random_.Below(std::size(kPieces))];
            text += random_.Bytes(random_.Below(20));
        }
        if (random_.Chance(300)) {
            text += std::string(10000 + random_.Below(150000), random_.Chance(2) ? 'x' : '\n');
        }
        // A header that is no more than begun ends where it likes, or not at all.
        for (std::string::size_type at = 0; (at = text.find("7](", at)) != std::string::npos;) {
            bool const isHeader =
                at >= 30 && (at == 30 || text[at - 31] == '\n') && text[at - 1] == ':';
            at += 3;
            if (isHeader && text.compare(at, 2, "..") != 0) {
                text[at - 1] = '<';
            }
        }
        return text;
    }

    Random random_;
    InstalledHooks const hooks_{&GetTime, &GetThreadId};
    FormatHeaderFunc const format_ = DefaultFormatHeaderFunc(true);
    boost::shared_ptr<FileAppender> const file_;
    JsonLinesAppender json_;
};

/// The number of the line at which two texts begin to differ, and both lines; empty when none.
std::string Difference(std::string const& left, std::string const& right) {
    std::istringstream lefts(left);
    std::istringstream rights(right);
    std::string leftLine;
    std::string rightLine;
    for (int number = 1; left != right; ++number) {
        bool const isLeft = static_cast<bool>(std::getline(lefts, leftLine));
        bool const isRight = static_cast<bool>(std::getline(rights, rightLine));
        if (isLeft != isRight || leftLine != rightLine || !isLeft) {
            return std::to_string(number) + "\n" + leftLine + "\n" + rightLine;
        }
    }
    return "";
}

TEST(TarqlogCatTest, WhatWasPushedComesBackFromAFile) {
    TemporaryDirectory const directory;
    std::string const expected = directory.File("expected");
    std::string const log = directory.File("log");
    {
        FileAppender appender(log, 0, 30, FileAppender::kAppendMode);
        appender.SetSeverity(~Severity());
        RoundTrip trip(expected);
        for (int i = 0; i < 3000; ++i) {
            trip.Append(appender);
        }
    }

    EXPECT_EQ(Difference(Printed({"--json", log}), ReadWholeFile(expected)), "");
    EXPECT_TRUE(Printed({"--raw", log}) == ReadWholeFile(log));
}

TEST(TarqlogCatTest, WhatWasPushedComesBackFromRolledFiles) {
    TemporaryDirectory const directory;
    std::string const expected = directory.File("expected");
    std::string const log = directory.File("log");
    {
        RollingFileAppender appender(log, 64, 9, 0);
        appender.SetSeverity(~Severity());
        RoundTrip trip(expected);
        while (::access((log + ".9").c_str(), F_OK) != 0) {
            trip.Append(appender);
        }
    }
    std::string all;
    for (int number = 9; number > 0; --number) {
        all += ReadWholeFile(log + "." + std::to_string(number));
    }

    EXPECT_EQ(Difference(Printed({"--json", log}), ReadWholeFile(expected)), "");
    EXPECT_TRUE(Printed({"--raw", log}) == all + ReadWholeFile(log));
}

// Following

TEST(TarqlogCatTest, WhatIsAppendedFollowsUntilAStop) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    for (int const signal : {SIGTERM, SIGINT}) {
        Follower follower({log});
        EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
        Append(log, At(2, "two") + At(3, "three"));
        EXPECT_EQ(follower.ReadLine(), "I (job):two\n");
        EXPECT_EQ(follower.ReadLine(), "I (job):three\n");
        WriteWholeFile(log, At(1, "one"));
        EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
        follower.Tool().Signal(signal);
        ChildResult const result = follower.Tool().Finish();

        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "");
    }
}

TEST(TarqlogCatTest, UnfinishedLineWaitsForItsEndOrTheStop) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    std::string const other = directory.File("other");
    WriteWholeFile(log, At(1, "one") + "I [2026-11-21 16:49:02.000][t:7](job):be");
    WriteWholeFile(other, At(3, "three"));
    Follower follower({log, other});
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
    EXPECT_EQ(follower.ReadLine(), "I (job):three\n");  // which does not wait for long
    Append(log, "gun\n" + At(4, "four").substr(0, 40));
    EXPECT_EQ(follower.ReadLine(), "I (job):begun\n");

    EXPECT_EQ(follower.Stop().output, "I (job):fo\n");
}

TEST(TarqlogCatTest, LinesThatComeLateFollowUnderTheSameHeader) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    Follower follower({log, "--json", "-r", "job=none", "-r", "job.db=all"});
    Append(log, At(2, "two", "(job.db)") + "la");
    std::string const start =
        R"({"time":"2026-11-21T16:49:02.000Z","severity":"info","thread":7,"tag":"job.db",)";
    EXPECT_EQ(follower.ReadLine(), start + "\"text\":\"two\"}\n");
    Append(log, "te\n");
    EXPECT_EQ(follower.ReadLine(), start + "\"text\":\"late\"}\n");
}

TEST(TarqlogCatTest, RollsAreFollowed) {
    InstalledHooks const hooks(&GetTime, &GetThreadId);
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    RollingFileAppender appender(log, 1, 9, 0);
    Follower follower({log});
    std::string const padding(300, 'x');
    int number = 0;
    for (int const records : {1, 3, 25, 2}) {  // with up to seven rolls between two looks
        for (int i = 0; i < records; ++i) {
            appender.Append(TaggedRecord(kInfo, std::to_string(number + i) + padding, {"job"}));
        }
        for (int i = 0; i < records; ++i) {
            ASSERT_EQ(follower.ReadLine(), "I (job):" + std::to_string(number++) + padding + "\n");
        }
    }
    ChildResult const result = follower.Stop();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "");
}

TEST(TarqlogCatTest, RollsAreFollowedWhenTheFileInHandIsNotKept) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log + ".2", At(1, "older"));
    WriteWholeFile(log + ".1", At(2, "old"));
    WriteWholeFile(log, At(3, "one"));
    Follower follower({log});
    EXPECT_EQ(follower.ReadLine(), "I (job):older\n");
    EXPECT_EQ(follower.ReadLine(), "I (job):old\n");
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
    Append(log, At(4, "two"));
    EXPECT_EQ(follower.ReadLine(), "I (job):two\n");
    // As one look finds it after two rolls, of which the second replaced the file in hand.
    timespec const past[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (log + ".2").c_str(), past, 0), 0);
    WriteWholeFile(directory.File("three"), At(5, "three"));
    WriteWholeFile(directory.File("four"), At(6, "four"));
    ::rename(directory.File("three").c_str(), (log + ".1").c_str());
    ::rename(directory.File("four").c_str(), log.c_str());

    EXPECT_EQ(follower.ReadLine(), "I (job):three\n");
    EXPECT_EQ(follower.ReadLine(), "I (job):four\n");
}

TEST(TarqlogCatTest, RenamedFileIsFollowedUntilTheNewOneHasALine) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    Follower follower({log});
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
    ::rename(log.c_str(), (log + ".1").c_str());
    WriteWholeFile(log, "");
    Append(log + ".1", At(2, "two"));
    EXPECT_EQ(follower.ReadLine(), "I (job):two\n");
    Append(log + ".1", At(3, "three"));
    EXPECT_EQ(follower.ReadLine(), "I (job):three\n");
    Append(log + ".1", At(4, "four"));
    Append(log, At(5, "five"));
    EXPECT_EQ(follower.ReadLine(), "I (job):four\n");
    EXPECT_EQ(follower.ReadLine(), "I (job):five\n");
}

TEST(TarqlogCatTest, FileThatBeginsAnewAtItsLimitIsFollowed) {
    InstalledHooks const hooks(&GetTime, &GetThreadId);
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    FileAppender appender(log, 1, 0, FileAppender::kAppendMode);
    Follower follower({log});
    std::string const padding(600, 'x');
    for (int number = 0; number < 4; ++number) {
        appender.Append(TaggedRecord(kInfo, std::to_string(number) + padding, {"job"}));
        ASSERT_EQ(follower.ReadLine(), "I (job):" + std::to_string(number) + padding + "\n");
    }
}

TEST(TarqlogCatTest, FileThatIsNotThereIsWaitedFor) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    Follower follower({log});
    EXPECT_EQ(follower.Tool().ReadErrorLine(),
              "tarqlog: " + log + ": No such file or directory; waiting for it\n");
    Append(log, At(1, "one"));
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
    ChildResult const result = follower.Stop();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogCatTest, RecordsThatAreThereAtOneLookAreInTheOrderOfTime) {
    TemporaryDirectory const directory;
    std::string const a = directory.File("a");
    std::string const b = directory.File("b");
    WriteWholeFile(a, At(1, "a1") + At(3, "a3"));
    WriteWholeFile(b, At(2, "b2") + At(4, "b4"));
    Follower follower({b, a});
    for (std::string const text : {"a1", "b2", "a3", "b4"}) {
        EXPECT_EQ(follower.ReadLine(), "I (job):" + text + "\n");
    }
}

TEST(TarqlogCatTest, LinesThatWereNotRecordsAreToldAtTheStop) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, "x\ny\n" + At(1, "one"));
    Follower follower({log});
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");

    EXPECT_EQ(follower.Stop().errors, "tarqlog: " + log + ": 2 lines were not in our format\n");
}

TEST(TarqlogCatTest, FollowingEndsWhenNobodyReads) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    Follower follower({log});
    EXPECT_EQ(follower.ReadLine(), "I (job):one\n");
    follower.Tool().CloseOutput();
    ChildResult const result = follower.Tool().Finish();

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "");
}

// Failures

TEST(TarqlogCatTest, FileThatCannotBeReadIsOneLineAndTheOthersAreReadOn) {
    TemporaryDirectory const directory;
    std::string const missing = directory.File("missing");
    WriteWholeFile(directory.File("log"), At(1, "one"));
    ChildResult const result = RunCat({missing, directory.Path(), directory.File("log")});

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, At(1, "one"));
    EXPECT_EQ(result.errors, "tarqlog: " + missing + ": No such file or directory\ntarqlog: " +
                                 directory.Path() + ": Is a directory\n");
}

TEST(TarqlogCatTest, FolderThatIsFollowedIsAnErrorAndTheEnd) {
    TemporaryDirectory const directory;
    ChildResult const result = RunCat({"--follow", directory.Path()});

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "tarqlog: " + directory.Path() + ": Is a directory\n");
}

TEST(TarqlogCatTest, FileThatMayNotBeReadIsWaitedForWhenFollowing) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    ASSERT_EQ(::chmod(log.c_str(), 0), 0);
    RunningTool tool({"cat", "--follow", log}, &ForgoPower);
    EXPECT_EQ(tool.ReadErrorLine(), "tarqlog: " + log + ": Permission denied; waiting for it\n");
    ASSERT_EQ(::chmod(log.c_str(), 0644), 0);
    EXPECT_EQ(tool.ReadOutputLine(), "I (job):one\n");
    tool.Signal(SIGTERM);

    EXPECT_EQ(tool.Finish().exitStatus, 1);
}

TEST(TarqlogCatTest, FileThatIsTheOutputAsWellIsAnErrorAndIsLeftAlone) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log, At(1, "one"));
    for (std::string const& name : {log, std::string("-")}) {
        SCOPED_TRACE(name);
        ChildResult const result =
            RunShell("exec \"$0\" cat '" + name + "' <'" + log + "' >>'" + log + "'");

        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors,
                  "tarqlog: " + (name == "-" ? "standard input" : name) +
                      ": it is standard output as well, and its records would come back for "
                      "ever\n");
        EXPECT_EQ(ReadWholeFile(log), At(1, "one"));
    }
}

TEST(TarqlogCatTest, DeviceMayBeBothInputAndOutput) {
    ChildResult const result = RunShell("\"$0\" cat - /dev/null </dev/null >/dev/null");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogCatTest, RolledFileThatCannotBeReadIsPassedOver) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    WriteWholeFile(log + ".3", At(1, "one"));
    ::mkdir((log + ".2").c_str(), 0700);
    WriteWholeFile(log + ".1", At(2, "two"));
    WriteWholeFile(log, At(3, "three"));
    ChildResult const result = RunCat({log});

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, At(1, "one") + At(2, "two") + At(3, "three"));
    EXPECT_EQ(result.errors, "tarqlog: " + log + ".2: Is a directory\n");
}

TEST(TarqlogCatTest, OutputThatNobodyReadsEndsTheToolWithoutAWord) {
    TemporaryDirectory const directory;
    std::string log;
    for (int i = 0; i < 100000; ++i) {
        log += At(1, "text");
    }
    WriteWholeFile(directory.File("log"), log);
    for (std::string const option : {"--raw", "--json"}) {
        RunningTool tool({"cat", option, directory.File("log")});
        tool.ReadOutputLine();
        tool.CloseOutput();
        ChildResult const result = tool.Finish();
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors, "");
    }
}

TEST(TarqlogCatTest, OutputThatCannotBeWrittenIsAnError) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("log"), At(1, "one"));
    ChildResult const result = RunShell("\"$0\" cat " + directory.File("log") + " >/dev/full");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "tarqlog: standard output: No space left on device\n");
}

TEST(TarqlogCatTest, ErrorInTheOptionsIsOneLine) {
    struct {
        Arguments arguments;
        char const* errors;
    } const kCases[] = {
        {{}, "cat needs a FILE, or - for standard input"},
        {{"--json"}, "cat needs a FILE, or - for standard input"},
        {{"--loud", "x"}, "cat has no option --loud"},
        {{"--json", "--raw", "x"}, "cat: --json, --raw and --escape exclude each other"},
        {{"--escape", "--json", "x"}, "cat: --json, --raw and --escape exclude each other"},
        {{"--raw", "--escape", "x"}, "cat: --json, --raw and --escape exclude each other"},
        {{"--follow", "-"}, "cat: standard input cannot be followed"},
        {{"-r", "x", "x"},
         "--rule 'x': a rule is TAG=LEVELS, as in web.db=none, or =WEF for all tags"},
        {{"-r", "x=loud", "x"},
         "--rule 'x=loud': levels 'loud' are unknown, known are all, none, a level, a level and + "
         "for all from it up, or letters as in WEF"},
        {{"--since", "noon", "x"},
         "--since 'noon': not a time as in 2026-11-21 or 2026-11-21T16:49:11.406, nor so long ago "
         "as in 90s, 10m, 2h or 3d"},
        {{"--until", "", "x"},
         "--until '': not a time as in 2026-11-21 or 2026-11-21T16:49:11.406, nor so long ago as "
         "in 90s, 10m, 2h or 3d"},
        {{"-o", "stdout", "x"}, "cat has no option -o"},
        {{"-f-", "x"}, "cat has no option -f-"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.errors);
        ChildResult const result = RunCat(row.arguments);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tarqlog: " + std::string(row.errors) + "; see cat --help\n");
    }
}

TEST(TarqlogCatTest, FileMayHaveAnyName) {
    TemporaryDirectory const directory;
    for (std::string const name : {"[a,b]", "-x", "--json", "cat", "a=b", ".1", "1"}) {
        SCOPED_TRACE(name);
        WriteWholeFile(directory.File(name), At(1, "x"));
        EXPECT_EQ(RunShell("cd '" + directory.Path() + "' && \"$0\" cat -- '" + name + "'").output,
                  "I (job):x\n");
    }
}

TEST(TarqlogCatTest, HelpOfItsOwnFitsOneScreenAndNamesEachOption) {
    ExpectHelp({"cat", "--help"},
               {"tarqlog cat [OPTIONS] FILE...", "-r,--rule", "--since", "--until", "--json",
                "--raw", "--escape", "-f,--follow", "-h,--help", "--version", "not printed"});
}

}  // namespace
}  // namespace tarqlog
