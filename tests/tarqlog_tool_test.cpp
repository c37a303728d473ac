#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/routing_oracle.h"
#include "support/temporary_directory.h"
#include "support/tool.h"
#include "support/udp_port.h"
#include "tarqlog/severity.h"

namespace tarqlog {
namespace {

/// Each run of digits becomes one '#'.
std::string WithoutNumbers(std::string const& text) {
    std::string masked;
    for (char const character : text) {
        bool const isDigit = std::isdigit(static_cast<unsigned char>(character)) != 0;
        if (!isDigit) {
            masked += character;
        } else if (masked.empty() || masked.back() != '#') {
            masked += '#';
        }
    }
    return masked;
}

std::string Repeat(std::string const& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

// Lines and files

TEST(TarqlogToolTest, EachLineOfStandardInputIsARecordOnStandardErrorUnlessToldOtherwise) {
    ChildResult const result = RunTool({}, "one\ntwo words\n");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "I (stdin):one\nI (stdin):two words\n");
}

TEST(TarqlogToolTest, RecordHasTheFullHeaderOfTheConsole) {
    std::string const line = RunProgram(kTool, {"-o", "stdout"}, "one\n").output;

    EXPECT_EQ(WithoutNumbers(line), "I [#-#-# #:#:#.#][t:#](stdin):one\n");
}

TEST(TarqlogToolTest, LastLineWithoutLineFeedCounts) {
    EXPECT_EQ(Output({}, "one\ntwo"), "I (stdin):one\nI (stdin):two\n");
}

TEST(TarqlogToolTest, NulInsideALineStays) {
    std::string const input("a\0b\n\0\n", 6);

    EXPECT_EQ(Output({}, input), std::string("I (stdin):a\0b\nI (stdin):\0\n", 26));
}

TEST(TarqlogToolTest, OneCarriageReturnBeforeTheLineFeedGoes) {
    EXPECT_EQ(Output({}, "a\r\nb\r\r\nc\rd\n"), "I (stdin):a\nI (stdin):b\r\nI (stdin):c\rd\n");
}

TEST(TarqlogToolTest, CarriageReturnAtTheEndOfTheInputStays) {
    EXPECT_EQ(Output({}, "a\r"), "I (stdin):a\r\n");
}

TEST(TarqlogToolTest, EmptyLinesAreNoRecords) {
    EXPECT_EQ(Output({}, "\na\n\r\n\nb\n\n"), "I (stdin):a\nI (stdin):b\n");
}

TEST(TarqlogToolTest, EmptyInputGivesNothing) {
    EXPECT_EQ(Output({}, ""), "");
}

TEST(TarqlogToolTest, FilesAreReadInOrderAndADashIsStandardInput) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");
    WriteWholeFile(directory.File("b"), "from b\n");

    EXPECT_EQ(Output({directory.File("b"), "-", directory.File("a")}, "from input\n"),
              "I (stdin):from b\nI (stdin):from input\nI (stdin):from a\n");
}

TEST(TarqlogToolTest, LineEndsWithItsFile) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "unfinished");
    WriteWholeFile(directory.File("b"), "next\n");

    EXPECT_EQ(Output({directory.File("a"), directory.File("b")}, ""),
              "I (stdin):unfinished\nI (stdin):next\n");
}

TEST(TarqlogToolTest, StandardInputIsLeftAloneWhenThereAreFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");

    EXPECT_EQ(Output({directory.File("a")}, "from input\n"), "I (stdin):from a\n");
}

TEST(TarqlogToolTest, FileMayHaveAnyName) {
    TemporaryDirectory const directory;
    for (std::string const name : {"[a,b]", "-x", "--to", "{}", "a=b"}) {
        SCOPED_TRACE(name);
        WriteWholeFile(directory.File(name), "text\n");
        ChildResult const result =
            RunShell("cd '" + directory.Path() + "' && \"$0\" -o stdout -- '" + name + "'");
        EXPECT_EQ(result.output, "I (stdin):text\n");
        EXPECT_EQ(result.errors, "");
    }
}

TEST(TarqlogToolTest, LinesOfEveryLengthComeThroughWhole) {
    std::string input;
    std::string expected;
    for (int size = 1; size < 1000; ++size) {  // half a MiB: many reads, cut anywhere
        std::string const line(static_cast<std::string::size_type>(size), 'x');
        input += line + "\n";
        expected += "I (stdin):" + line + "\n";
    }

    EXPECT_TRUE(Output({}, input) == expected);
}

// Long lines

TEST(TarqlogToolTest, LineAboveTheLimitIsSplit) {
    struct {
        char const* input;
        char const* output;
    } const kCases[] = {
        {"abcd\n", "I (stdin):abcd\n"},
        {"abcd\r\n", "I (stdin):abcd\n"},
        {"abcd", "I (stdin):abcd\n"},
        {"abcde\n", "I (stdin):abcd\nI (stdin):e\n"},
        {"abcde\r\n", "I (stdin):abcd\nI (stdin):e\n"},
        {"abcd\r", "I (stdin):abcd\nI (stdin):\r\n"},
        {"abcd\r\r\n", "I (stdin):abcd\nI (stdin):\r\n"},
        {"abcd\rx\n", "I (stdin):abcd\nI (stdin):\rx\n"},
        {"abcdefgh\n", "I (stdin):abcd\nI (stdin):efgh\n"},
        {"abcdefghi", "I (stdin):abcd\nI (stdin):efgh\nI (stdin):i\n"},
        {"abcdefgh\nxy\n", "I (stdin):abcd\nI (stdin):efgh\nI (stdin):xy\n"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.input);
        EXPECT_EQ(Output({"--max-line", "4"}, row.input), row.output);
    }
}

TEST(TarqlogToolTest, CarriageReturnAtTheLimitWaitsForWhatFollows) {
    RunningTool tool({"-o", "stdout", "--max-line", "4"});
    tool.Write("x\nabcd\r");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):x\n");
    tool.Write("\nabcd\r");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):abcd\n");
    tool.Write("e");
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().output, "I (stdin):abcd\nI (stdin):\re\n");
}

TEST(TarqlogToolTest, LimitIsAMebibyteUnlessToldOtherwise) {
    std::string const mebibyte(1 << 20, 'x');

    std::string const atLimit =
        "tarqlog: lines=1 delivered=1 trace=0 debug=0 info=1 warning=0 "
        "error=0 fatal=0 filtered=0 empty=0 split=0 parent_tag=0 cut=0 lost=0 "
        "bytes=1048577";
    EXPECT_EQ(Stats({"-o", "stdout"}, mebibyte + "\n"), atLimit);
    std::string const aboveLimit =
        "tarqlog: lines=1 delivered=2 trace=0 debug=0 info=2 warning=0 "
        "error=0 fatal=0 filtered=0 empty=0 split=1 parent_tag=0 cut=0 lost=0 "
        "bytes=1048578";
    EXPECT_EQ(Stats({"-o", "stdout"}, mebibyte + "y\n"), aboveLimit);
}

TEST(TarqlogToolTest, LimitMayBeGivenInKibibytesOrMebibytes) {
    std::string const line(2049, 'x');

    for (std::string const size : {"2K", "2k", "2048"}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(Output({"--max-line", size}, line),
                  "I (stdin):" + line.substr(1) + "\nI (stdin):x\n");
    }
    for (std::string const size : {"1M", "1m", "1024M"}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(Output({"--max-line", size}, line), "I (stdin):" + line + "\n");
    }
}

TEST(TarqlogToolTest, LaterPiecesHaveTheLevelAndTheTagOfTheFirst) {
    EXPECT_EQ(
        Output({"--max-line", "10", "--prio-prefix", "--sub-tags"}, "<3>db: abcd<4>io: x\nnext"),
        "E (stdin.db):db: abc\nE (stdin.db):d<4>io: x\nI (stdin):next\n");
}

TEST(TarqlogToolTest, ColonAtTheEndOfAPieceIsNotAtTheEndOfTheLine) {
    EXPECT_EQ(Output({"--max-line", "4", "--sub-tags"}, "abc:\nabc:x"),
              "I (stdin.abc):abc:\nI (stdin):abc:\nI (stdin):x\n");
}

// Tags and levels

TEST(TarqlogToolTest, TagIsTheOneGivenLast) {
    EXPECT_EQ(Output({"-t", "web"}, "x\n"), "I (web):x\n");
    EXPECT_EQ(Output({"--tag=a", "-t", "web.api"}, "x\n"), "I (web.api):x\n");
}

TEST(TarqlogToolTest, EmptyTagIsTheRoot) {
    EXPECT_EQ(Output({"-t", "", "--sub-tags"}, "x\ndb: y\n"), "I ):x\nI (db):db: y\n");
    EXPECT_EQ(Output({"--tag=", "--prio-prefix"}, "<4>x\n"), "W ):x\n");
}

TEST(TarqlogToolTest, ValueOfAnOptionMayLookLikeAnOption) {
    EXPECT_EQ(Output({"-t", "--tag="}, "x\n"), "I (--tag=):x\n");
    EXPECT_EQ(Output({"--tag", "--escape=1"}, "x\n"), "I (--escape=1):x\n");
    EXPECT_EQ(Output({"-t", "--", "--tag="}, "x\n"), "I ):x\n");
    EXPECT_EQ(Output({"-tweb", "--tag="}, "x\n"), "I ):x\n");
}

TEST(TarqlogToolTest, LevelMayBeSpeltInManyWays) {
    struct {
        char letter;
        Arguments spellings;
    } const kCases[] = {
        {'T', {"trace", "t", "T", "Trace", "TRACE"}},
        {'D', {"debug", "d", "D", "7"}},
        {'I', {"info", "i", "I", "notice", "6", "5"}},
        {'W', {"warning", "warn", "w", "W", "4", "WARN"}},
        {'E', {"error", "err", "e", "E", "3"}},
        {'F', {"fatal", "f", "F", "crit", "alert", "emerg", "panic", "2", "1", "0"}},
    };
    for (auto const& row : kCases) {
        for (std::string const& spelling : row.spellings) {
            SCOPED_TRACE(spelling);
            EXPECT_EQ(Output({"-p", spelling}, "x\n"), std::string(1, row.letter) + " (stdin):x\n");
        }
    }
}

TEST(TarqlogToolTest, LeadingPriorityIsTakenOffAndGivesTheLevel) {
    struct {
        char const* input;
        char const* output;
    } const kCases[] = {
        {"<0>x", "F (stdin):x\n"},
        {"<1>x", "F (stdin):x\n"},
        {"<2>x", "F (stdin):x\n"},
        {"<3>x", "E (stdin):x\n"},
        {"<4>x", "W (stdin):x\n"},
        {"<5>x", "I (stdin):x\n"},
        {"<6>x", "I (stdin):x\n"},
        {"<7>x", "D (stdin):x\n"},
        {"<8>x", "F (stdin):x\n"},
        {"<30>x", "I (stdin):x\n"},
        {"<191>x", "D (stdin):x\n"},
        {"<00000000000000000000000000000003>x", "E (stdin):x\n"},
        {"<4> x", "W (stdin): x\n"},
        {"<4><3>x", "W (stdin):<3>x\n"},
        {"<99999999999999999999999999999999995>x", "E (stdin):x\n"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.input);
        EXPECT_EQ(Output({"--prio-prefix"}, row.input), row.output);
    }
}

TEST(TarqlogToolTest, LineWithoutAPriorityStaysAsItIs) {
    for (std::string const line :
         {"x", "<>x", "<3x", "<a>x", "<3a>x", " <3>x", "<-3>x", "<3", "3>x", "<"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Output({"--prio-prefix", "-p", "trace"}, line), "T (stdin):" + line + "\n");
    }
}

TEST(TarqlogToolTest, LeadingPriorityIsTextUnlessAskedFor) {
    EXPECT_EQ(Output({}, "<3>x\n"), "I (stdin):<3>x\n");
}

TEST(TarqlogToolTest, LineOfAPriorityAloneIsEmpty) {
    EXPECT_EQ(Output({"--prio-prefix"}, "<3>\n<4>x\n"), "W (stdin):x\n");
}

TEST(TarqlogToolTest, SubTagExtendsTheTagAndStaysInTheText) {
    struct {
        char const* line;
        char const* tag;
    } const kCases[] = {
        {"db.pool: timeout", "web.db.pool"},
        {"db:\ttimeout", "web.db"},
        {"db:", "web.db"},
        {"a-b_C9: x", "web.a-b_C9"},
        {"0: x", "web.0"},
        {"[    1.303539] usb: x", "web.usb"},
        {"[12345.678901] usb.core: x", "web.usb.core"},
        {"[1.0] usb:", "web.usb"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(Output({"--sub-tags", "-t", "web"}, row.line),
                  "I (" + std::string(row.tag) + "):" + row.line + "\n");
    }
}

TEST(TarqlogToolTest, WhatIsNoSubTagIsText) {
    for (
        std::string const line :
        {"http://host/x", "12:30:01 up",  "db:x",       "two words: x", "a..b: x",   ".a: x",
         "a.: x",         ": x",          "db",         "db :x",        " db: x",    "d\xc3\xa4: x",
         "usb 1-1: x",    "[1.0]db: x",   "[1.] db: x", "[.1] db: x",   "[1] db: x", "[a.0] db: x",
         "[1.0 ] db: x",  "[1.0]\tdb: x", "[ ",         "[1.0",         "["}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Output({"--sub-tags"}, line), "I (stdin):" + line + "\n");
    }
}

TEST(TarqlogToolTest, SubTagIsTextUnlessAskedFor) {
    EXPECT_EQ(Output({}, "db: x\n"), "I (stdin):db: x\n");
}

TEST(TarqlogToolTest, SubTagOfMoreThan256BytesIsText) {
    std::string const word(256, 'w');

    EXPECT_EQ(Output({"--sub-tags", "-t", ""}, word + ": x"), "I (" + word + "):" + word + ": x\n");
    EXPECT_EQ(Output({"--sub-tags"}, word + "w: x"), "I (stdin):" + word + "w: x\n");
}

TEST(TarqlogToolTest, SubTagIsLookedForAfterThePriority) {
    EXPECT_EQ(Output({"--prio-prefix", "--sub-tags", "-t", "kernel"}, "<4>[    0.5] usb: x\n"),
              "W (kernel.usb):[    0.5] usb: x\n");
}

TEST(TarqlogToolTest, BeyondTenThousandSubTagsLinesHaveTheTagOfTheTool) {
    std::string input;
    for (int i = 0; i < 10002; ++i) {
        input += std::to_string(i) + ": x\n";
    }
    input += "9999: y\n0: y\nplain\n";

    ChildResult const result = RunTool({"-o", "stdout", "--sub-tags", "--stats"}, input);

    EXPECT_EQ(result.output.substr(result.output.find("I (stdin.9999)")),
              "I (stdin.9999):9999: x\nI (stdin):10000: x\nI (stdin):10001: x\n"
              "I (stdin.9999):9999: y\nI (stdin.0):0: y\nI (stdin):plain\n");
    EXPECT_NE(result.errors.find(" parent_tag=2 "), std::string::npos) << result.errors;
}

// Levels in the text

TEST(TarqlogToolTest, FirstLevelWordGivesTheLevelAndStaysInTheText) {
    struct {
        char letter;
        Arguments lines;
    } const kCases[] = {
        {'T', {"TRACE x", "trace x", "x trace"}},
        {'D', {"DEBUG x", "[debug] x", "12:30:01 Debug: x", "level=debug"}},
        {'I', {"INFO x", "<Info> x", "info", "INFO ERROR FATAL", "\xc2\xbbinfo\xc2\xab"}},
        {'W', {"WARN x", "(warn) x", "WARNING: x", "[Warning]: x", "no WARNING, no ERROR"}},
        {'E',
         {"ERROR x", "eRRoR:x", "x|ERROR|x", "X-ERROR", "@error[1]", "`error{",
          "errors or error_code or ERROR"}},
        {'F', {"FATAL x", "fatal: x", "CRITICAL x", "[critical]", "x\tCritical\tx"}},
    };
    for (auto const& row : kCases) {
        for (std::string const& line : row.lines) {
            SCOPED_TRACE(line);
            EXPECT_EQ(Output({"--detect"}, line),
                      std::string(1, row.letter) + " (stdin):" + line + "\n");
        }
    }
}

TEST(TarqlogToolTest, WordOfProseGivesTheLevelWhereItStandsAsLevelsDo) {
    struct {
        char letter;
        Arguments lines;
    } const kCases[] = {
        {'T', {"VERBOSE x", "[verbose] x", "11:22:33 TRC x"}},
        {'D', {"DBG x", "11:22:33 [DBG] x", "level=dbg error=none"}},
        {'I',
         {"NOTICE x", "[notice] 31#31: exit", "2026-11-21T16:49:11.123Z notice: an error page",
          "NOTICE:  relation exists, error ignored", "[php7:notice] [pid 9] error_log",
          "[Note] Error log is here", "INF x", R"({"level":"notice","error":""})"}},
        {'W', {"11:22:33 WRN x", "[wrn] x", "level=wrn"}},
        {'E',
         {"ERR x", "[err] x", "<err> x", "(err) x", "|err|", "err: x", "db: err: x", "[1] err: x",
          "12 err: x", "level=err x", "level=\"err\" x", "lvl=ERR", "severity=err", "Priority: err",
          R"({"msg":"x","log_level": "err"})", "[core:err] [pid 3] x", "SEVERE: x", "[severe]",
          "Nov 21 16:49:11 host app[7]: err: x"}},
        {'F',
         {"CRIT x", "[crit] 7#7: x", "level=crit", "ALERT x", "[alert] x", "EMERG", "[emerg] x",
          "PANIC: x", "panic: runtime error: index out of range", "EMERGENCY x", "app.EMERGENCY: x",
          "app.ALERT: error", R"("severity": "ALERT")", "FTL x", "\talert: x", "app - alert: x"}},
    };
    for (auto const& row : kCases) {
        for (std::string const& line : row.lines) {
            SCOPED_TRACE(line);
            std::string const otherLevel = row.letter == 'I' ? "debug" : "info";
            EXPECT_EQ(Output({"--detect", "-p", otherLevel}, line),
                      std::string(1, row.letter) + " (stdin):" + line + "\n");
        }
    }
}

TEST(TarqlogToolTest, ProseGivesNoLevel) {
    for (std::string const line : {"to err is human",
                                   "if err != nil",
                                   "no reason to panic",
                                   "Kernel panic - not syncing",
                                   "please take notice",
                                   "Please take notice: closed on Monday",
                                   "note that",
                                   "a note: x",
                                   "alert the admins",
                                   "Security alert: 3 logins",
                                   "crit chance 20%",
                                   "a severe winter",
                                   "/var/log/err: is gone",
                                   "file.err: gone",
                                   "std-err: x",
                                   "Stop. Alert: x",
                                   "so, panic: now",
                                   "file.err",
                                   "action=alert",
                                   R"({"event_type":"alert"})",
                                   "GET /alert/7",
                                   "(to err) is human",
                                   "[an err]",
                                   "level err",
                                   "err",
                                   "notice",
                                   "Panic",
                                   "an alert.",
                                   "level=fine err",
                                   "levels=err",
                                   "verbose"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Output({"--detect", "-p", "debug"}, line), "D (stdin):" + line + "\n");
    }
}

TEST(TarqlogToolTest, WhatIsNoLevelWordLeavesTheLevelAlone) {
    for (std::string const line :
         {"x", "errors", "INFORMATION", "error_code", "_error", "error1", "3error", "terror",
          "warnings", "ERRNO", "CRITS", "[notices]", "E", "e r r o r", "[ ]: "}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Output({"--detect", "-p", "debug"}, line), "D (stdin):" + line + "\n");
    }
}

TEST(TarqlogToolTest, LevelWordIsTextUnlessAskedFor) {
    EXPECT_EQ(Output({}, "ERROR x\n"), "I (stdin):ERROR x\n");
}

TEST(TarqlogToolTest, PriorityGoesBeforeTheLevelWordAndTheOptionComesLast) {
    EXPECT_EQ(Output({"--detect", "--prio-prefix", "-p", "trace"},
                     "<7>ERROR x\n<4>x\nERROR <4>x\n<x>fatal\nx\n"),
              "D (stdin):ERROR x\nW (stdin):x\nE (stdin):ERROR <4>x\nF (stdin):<x>fatal\n"
              "T (stdin):x\n");
    EXPECT_EQ(Output({"--detect"}, "<4>error\n"), "E (stdin):<4>error\n");
}

TEST(TarqlogToolTest, LevelWordMayBeTheSubTagAsWell) {
    EXPECT_EQ(Output({"--detect", "--sub-tags"}, "error: x\ndb: warn: x\n"),
              "E (stdin.error):error: x\nW (stdin.db):db: warn: x\n");
}

TEST(TarqlogToolTest, LevelWordOfALongLineIsLookedForInItsFirstPieceAlone) {
    EXPECT_EQ(Output({"--detect", "--max-line", "10"}, "warn: abcdefghijk\n0123456789 error\nx\n"),
              "W (stdin):warn: abcd\nW (stdin):efghijk\n"
              "I (stdin):0123456789\nI (stdin): error\nI (stdin):x\n");
}

TEST(TarqlogToolTest, WordAtTheEndOfAPieceIsNoLevelSinceItMayGoOn) {
    EXPECT_EQ(Output({"--detect", "--max-line", "5"}, "errors\nerror\nerror\r\nerror"),
              "I (stdin):error\nI (stdin):s\n"
              "E (stdin):error\nE (stdin):error\nE (stdin):error\n");
}

TEST(TarqlogToolTest, LevelWordIsFoundAtTheEndOfALongLine) {
    std::string const line = Repeat("errors ", 100000) + "ERROR";

    EXPECT_TRUE(Output({"--detect"}, line) == "E (stdin):" + line + "\n");
}

// Destinations

TEST(TarqlogToolTest, EachDestinationGetsEachLine) {
    ChildResult const result = RunTool({"-o", "stdout", "--to", "stderr", "--to=stdout"}, "x\n");

    EXPECT_EQ(result.output, "I (stdin):x\nI (stdin):x\n");
    EXPECT_EQ(result.errors, "I (stdin):x\n");
}

TEST(TarqlogToolTest, DestinationTakesItsLevelsAlone) {
    ChildResult const result =
        RunTool({"--prio-prefix", "-o", "stderr,levels=warning+", "-o", "stdout,levels=info"},
                "<3>e\n<4>w\n<6>i\n<7>d\n");

    EXPECT_EQ(result.errors, "E (stdin):e\nW (stdin):w\n");
    EXPECT_EQ(result.output, "I (stdin):i\n");
}

TEST(TarqlogToolTest, LevelsMayBeSpeltInManyWays) {
    struct {
        char const* levels;
        char const* letters;
    } const kCases[] = {
        {"all", "TDIWEF"}, {"ALL", "TDIWEF"},   {"none", ""},         {"trace", "T"},
        {"d", "D"},        {"Info", "I"},       {"notice", "I"},      {"4", "W"},
        {"error", "E"},    {"panic", "F"},      {"trace+", "TDIWEF"}, {"debug+", "DIWEF"},
        {"i+", "IWEF"},    {"warning+", "WEF"}, {"WARN+", "WEF"},     {"3+", "EF"},
        {"fatal+", "F"},   {"WEF", "WEF"},      {"FED", "DEF"},       {"TDIWEF", "TDIWEF"},
        {"TT", "T"},       {"W", "W"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.levels);
        std::string expected;
        for (char const letter : std::string(row.letters)) {
            expected += std::string(1, letter) + " (stdin):x\n";
        }
        std::string const destination = "stdout,levels=" + std::string(row.levels);
        ChildResult const result = RunTool({"-p", "trace", "--prio-prefix", "-o", destination},
                                           "x\n<7>x\n<6>x\n<4>x\n<3>x\n<2>x\n");
        EXPECT_EQ(result.output, expected);
        EXPECT_EQ(result.errors, "");
    }
}

TEST(TarqlogToolTest, ThirtyTwoDestinationsAreTaken) {
    Arguments arguments;
    for (int i = 0; i < 32; ++i) {
        arguments.insert(arguments.end(), {"-o", "stdout"});
    }

    EXPECT_EQ(RunTool(arguments, "x\n").output, Repeat("I (stdin):x\n", 32));
}

TEST(TarqlogToolTest, ThirtyThirdDestinationIsAnError) {
    Arguments arguments;
    for (int i = 0; i < 32; ++i) {
        arguments.insert(arguments.end(), {"-o", "stdout"});
    }
    arguments.insert(arguments.end(), {"-o", "stderr"});

    ChildResult const result = RunTool(arguments, "x\n");

    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "tarqlog: --to 'stderr': more than 32 destinations; see --help\n");
}

TEST(TarqlogToolTest, DestinationLeavesTheNextArgumentToTheFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");

    EXPECT_EQ(RunTool({"-o", "stdout", directory.File("a")}).output, "I (stdin):from a\n");
}

// Rules

TEST(TarqlogToolTest, RuleIsForTheDestinationBeforeIt) {
    ChildResult const result = RunTool({"-o", "stdout", "-r", "stdin=none", "-o", "stderr"}, "x\n");

    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "I (stdin):x\n");
}

TEST(TarqlogToolTest, RuleBeforeAnyDestinationIsForAll) {
    ChildResult const result =
        RunTool({"--sub-tags", "--rule", "stdin.db=none", "-o", "stdout", "-o", "stderr"},
                "db: x\nio: x\n");

    EXPECT_EQ(result.output, "I (stdin.io):io: x\n");
    EXPECT_EQ(result.errors, "I (stdin.io):io: x\n");
}

TEST(TarqlogToolTest, RuleIsForTheDefaultDestinationToo) {
    EXPECT_EQ(RunTool({"--sub-tags", "-r", "stdin.db=none"}, "db: x\nio: x\n").errors,
              "I (stdin.io):io: x\n");
}

TEST(TarqlogToolTest, LaterRuleForATagReplacesTheEarlier) {
    EXPECT_EQ(Output({"-r", "stdin=none", "-r", "stdin=all"}, "x\n"), "I (stdin):x\n");
    EXPECT_EQ(Output({"-r", "stdin=all", "-r", "..stdin.=none"}, "x\n"), "");
}

TEST(TarqlogToolTest, RuleOfADestinationReplacesTheOneForAll) {
    ChildResult const result =
        RunTool({"-r", "stdin=none", "-o", "stdout", "-r", "stdin=all", "-o", "stderr"}, "x\n");

    EXPECT_EQ(result.output, "I (stdin):x\n");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, RuleWithoutATagIsTheRootRule) {
    for (Arguments const& arguments :
         {Arguments{"-r", "=warning+"}, Arguments{"-r=warning+"}, Arguments{"--rule", "=warning+"},
          Arguments{"-r", ".=warning+"}}) {
        Arguments all = {"--prio-prefix"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(Output(all, "<6>i\n<4>w\n"), "W (stdin):w\n");
    }
}

TEST(TarqlogToolTest, MostSpecificRuleWins) {
    EXPECT_EQ(Output({"--sub-tags", "-t", "web", "-r", "=none", "-r", "web.db=all", "-r",
                      "web.db.pool=none"},
                     "x\ndb: x\ndb.pool: x\ndb.pool.a: x\ndb.disk: x\ndbx: x\n"),
              "I (web.db):db: x\nI (web.db.disk):db.disk: x\n");
}

TEST(TarqlogToolTest, TagOfARuleMayHoldAnEqualsSign) {
    EXPECT_EQ(Output({"-t", "a=b", "-r", "a=b=none"}, "x\n"), "");
}

TEST(TarqlogToolTest, RecordPassesTheRuleAndThenTheLevelsOfTheDestination) {
    EXPECT_EQ(
        RunTool({"--prio-prefix", "-o", "stdout,levels=IW", "-r", "stdin=WE"}, "<6>i\n<4>w\n<3>e\n")
            .output,
        "W (stdin):w\n");
}

TEST(TarqlogToolTest, EndOfOptionsIsNoValue) {
    EXPECT_EQ(Output({"-r", "stdin=none", "--", "-"}, "x\n"), "");
}

// Dry run

TEST(TarqlogToolTest, DryRunPrintsTheDestinationsWithTheirRules) {
    for (std::string const option : {"-n", "--dry-run"}) {
        SCOPED_TRACE(option);
        ChildResult const result =
            RunTool({option, "-r", "web=warning+", "-o", "stdout", "-r", "web.db=none", "-r",
                     "web.api.v1=DE", "-o", "stderr,levels=info+", "-r", "..=e", "-r", "web.=all"});

        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.output,
                  "1 stdout\n"
                  "  rule =all\n"
                  "  rule web=WEF\n"
                  "  rule web.api.v1=DE\n"
                  "  rule web.db=none\n"
                  "2 stderr,levels=info+\n"
                  "  rule =E\n"
                  "  rule web=all\n");
        EXPECT_EQ(result.errors, "");
    }
}

TEST(TarqlogToolTest, DryRunPrintsTheDestinationThatIsThereWithoutOptions) {
    EXPECT_EQ(RunTool({"-n"}).output, "1 stderr\n  rule =all\n");
}

TEST(TarqlogToolTest, DryRunReadsNothing) {
    RunningTool tool({"-n", "-o", "stdout", "--stats", "-", "/no/such/file"});

    ChildResult const result = tool.Finish();  // with its input still open

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "1 stdout\n  rule =all\n");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, ErrorInTheOptionsIsOneInADryRunToo) {
    for (Arguments const& arguments :
         {Arguments{"-n", "-o", "tape"}, Arguments{"-n", "-r", "stdin"}, Arguments{"-n", "--loud"},
          Arguments{"-n", "-p", "loud"}, Arguments{"explain", "-n"}}) {
        ChildResult const result = RunTool(arguments);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.output, "");
    }
}

TEST(TarqlogToolTest, DryRunPrintsARuleOnOneLineWhateverItsTag) {
    EXPECT_EQ(RunTool({"-n", "-r", "a\n\x1b=W"}).output, "1 stderr\n  rule =all\n  rule a?\?=W\n");
}

// Explanations

TEST(TarqlogToolTest, ExplanationTellsWhichDestinationsATagReachesAndWhy) {
    ChildResult const result = RunTool(
        {"explain", "web.db.pool",      "--rule", "web=info+",          "-o", "stdout",
         "-o",      "stderr,levels=EF", "-o",     "stdout,levels=TD",   "-o", "stderr",
         "-r",      "web.db=none",      "-o",     "stdout,levels=none", "-r", "web.db.pool=D",
         "-o",      "stderr",           "-r",     "web.db.pool.x=none", "-r", "web=all"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(
        result.output,
        "tag 'web.db.pool'\n"
        "  1 stdout: reached with IWEF, through rule web=IWEF and levels=all\n"
        "  2 stderr,levels=EF: reached with EF, through rule web=IWEF and levels=EF\n"
        "  3 stdout,levels=TD: not reached, rule web=IWEF and levels=TD have no level in common\n"
        "  4 stderr: not reached, rule web.db=none lets nothing through\n"
        "  5 stdout,levels=none: not reached, rule web.db.pool=D and levels=none have no level in "
        "common\n"
        "  6 stderr: reached with all, through rule web=all and levels=all\n");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, EachTagIsExplainedAsLoggersTakeIt) {
    EXPECT_EQ(RunTool({"explain", "b", "", "-r", "a=W", "..a..b.", "--", "-x\n"}).output,
              "tag 'b'\n"
              "  1 stderr: reached with all, through rule =all and levels=all\n"
              "tag ''\n"
              "  1 stderr: reached with all, through rule =all and levels=all\n"
              "tag 'a.b'\n"
              "  1 stderr: reached with W, through rule a=W and levels=all\n"
              "tag '-x?'\n"
              "  1 stderr: reached with all, through rule =all and levels=all\n");
}

TEST(TarqlogToolTest, ExplanationReadsNothing) {
    RunningTool tool({"explain", "-", "-o", "stdout"});

    ChildResult const result = tool.Finish();  // with its input still open

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output,
              "tag '-'\n  1 stdout: reached with all, through rule =all and levels=all\n");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, DryRunOfAnExplanationPrintsTheDestinations) {
    EXPECT_EQ(RunTool({"explain", "web", "-n"}).output, "1 stderr\n  rule =all\n");
}

TEST(TarqlogToolTest, ExplainIsAFileUnlessItIsTheFirstArgument) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("explain"), "text\n");
    for (std::string const arguments :
         {"./explain -o stdout", "-o stdout explain", "-- explain", "-o stdout -- explain"}) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(RunShell("cd '" + directory.Path() + "' && \"$0\" " + arguments + " 2>&1").output,
                  "I (stdin):text\n");
    }
}

// Explanations and deliveries against the routing's meaning, for many rules and tags

using Tag = std::vector<std::string>;

struct TagRule {
    Tag tag;
    std::string levels;
    Severity mask;  // unlike that of every other rule
};

TagRule const kRootRule = {{}, "all", kAllSeverities};  // the one that the tool adds

std::vector<TagRule> const kTagRules = {
    {{}, "IWE", kInfo | kWarning | kError},
    {{"a"}, "none", Severity()},
    {{"a", "b"}, "WEF", kWarning | kError | kFatal},
    {{"a", "b", "a"}, "TD", kTrace | kDebug},
    {{"b", "a"}, "I", kInfo},
    {{"ab"}, "F", kFatal},
};

std::string Join(Tag const& tag) {
    std::string joined;
    for (std::string const& part : tag) {
        joined += (joined.empty() ? "" : ".") + part;
    }
    return joined;
}

/// "all", "none" or letters.
std::string LevelsText(Severity levels) {
    std::string letters;
    for (unsigned int bit = 0; bit < 6; ++bit) {
        letters += (levels >> bit & 1U) != 0 ? std::string(1, "TDIWEF"[bit]) : "";
    }
    return letters.empty() ? "none" : letters == "TDIWEF" ? "all" : letters;
}

constexpr unsigned int kDestinations = 32;  // as many as the tool takes

/// Destinations on standard output, each with another choice of the rules.
struct RoutingCase {
    Severity levels;  // of each destination
    Arguments options;
    RoutingOracle oracle;

    /// The mask of the rule that decides for `tag`.
    Severity RuleMask(unsigned int sink, Tag const& tag) const {
        return oracle.MasksOnPath(sink, tag).back();
    }
};

/// @param first  the choices count from here; a bit stands for a rule
RoutingCase MakeRoutingCase(unsigned int first, Severity levels) {
    RoutingCase made = {levels, {}, {}};
    for (unsigned int sink = 0; sink < kDestinations; ++sink) {
        made.options.insert(made.options.end(), {"-o", "stdout,levels=" + LevelsText(levels)});
        unsigned int const choice = first + sink;
        if ((choice & 1U) == 0) {
            made.oracle.Add(sink, kRootRule.tag, kRootRule.mask);
        }
        for (unsigned int i = 0; i < kTagRules.size(); ++i) {
            TagRule const& rule = kTagRules[i];
            if ((choice >> i & 1U) != 0) {
                made.options.insert(made.options.end(), {"-r", Join(rule.tag) + "=" + rule.levels});
                made.oracle.Add(sink, rule.tag, rule.mask);
            }
        }
    }
    return made;
}

std::vector<RoutingCase> RoutingCases() {
    return {MakeRoutingCase(0, kAllSeverities), MakeRoutingCase(32, kAllSeverities),
            MakeRoutingCase(0, kDebug | kInfo), MakeRoutingCase(32, kWarning)};
}

std::vector<Tag> RoutingTags() {
    std::vector<Tag> tags = {{}};
    for (std::size_t i = 0; tags[i].size() < 4; ++i) {
        for (std::string const part : {"a", "b"}) {
            tags.push_back(tags[i]);
            tags.back().push_back(part);
        }
    }
    tags.insert(tags.end(), {{"ab"}, {"a", "bb"}, {"ab", "a"}, {"abc"}});
    return tags;
}

/// What the tool has to say of a destination and a tag.
std::string Explanation(Severity ruleMask, Severity levels) {
    TagRule deciding = kRootRule;
    for (TagRule const& rule : kTagRules) {
        deciding = rule.mask == ruleMask ? rule : deciding;
    }
    std::string const rule = "rule " + Join(deciding.tag) + "=" + deciding.levels;
    if (ruleMask == 0) {
        return "not reached, " + rule + " lets nothing through";
    }
    std::string const both = rule + " and levels=" + LevelsText(levels);
    if ((ruleMask & levels) == 0) {
        return "not reached, " + both + " have no level in common";
    }
    return "reached with " + LevelsText(ruleMask & levels) + ", through " + both;
}

TEST(TarqlogToolTest, ExplanationIsRightForEveryTagWhateverTheRules) {
    for (RoutingCase const& routing : RoutingCases()) {
        Arguments arguments = {"explain"};
        std::string expected;
        for (Tag const& tag : RoutingTags()) {
            arguments.push_back(Join(tag));
            expected += "tag '" + Join(tag) + "'\n";
            for (unsigned int sink = 0; sink < kDestinations; ++sink) {
                expected += "  " + std::to_string(sink + 1) +
                            " stdout,levels=" + LevelsText(routing.levels) + ": " +
                            Explanation(routing.RuleMask(sink, tag), routing.levels) + "\n";
            }
        }
        arguments.insert(arguments.end(), routing.options.begin(), routing.options.end());

        EXPECT_EQ(RunTool(arguments).output, expected);
    }
}

TEST(TarqlogToolTest, LinesReachTheDestinationsThatTheExplanationNames) {
    struct {
        Severity level;
        char const* letter;
        char const* prefix;
    } const kLevels[] = {
        {kTrace, "T", ""},      {kDebug, "D", "<7>"}, {kInfo, "I", "<6>"},
        {kWarning, "W", "<4>"}, {kError, "E", "<3>"}, {kFatal, "F", "<2>"},
    };
    for (RoutingCase const& routing : RoutingCases()) {
        Arguments arguments = {"-t", "", "--sub-tags", "--prio-prefix", "-p", "trace"};
        arguments.insert(arguments.end(), routing.options.begin(), routing.options.end());
        std::string input;
        std::string expected;
        for (Tag const& tag : RoutingTags()) {
            std::string const text = tag.empty() ? "x\n" : Join(tag) + ": x\n";
            for (auto const& [level, letter, prefix] : kLevels) {
                input += prefix + text;
                std::string const header = tag.empty() ? " ):" : " (" + Join(tag) + "):";
                for (unsigned int sink = 0; sink < kDestinations; ++sink) {
                    bool const isTaken =
                        (routing.RuleMask(sink, tag) & routing.levels & level) != 0;
                    expected += isTaken ? letter + header + text : "";
                }
            }
        }

        EXPECT_EQ(RunTool(arguments, input).output, expected);
    }
}

// Statistics

TEST(TarqlogToolTest, StatisticsAccountForEachLine) {
    std::string const input = "<7>d\n<6>i\n<5>i\n<4>w\n<3>e\n<2>f\nt\n\n<6>\n0123456789\n";

    EXPECT_EQ(
        Stats({"-p", "trace", "--prio-prefix", "--max-line", "4", "-o", "stdout,levels=TDIWE"},
              input),
        "tarqlog: lines=10 delivered=9 trace=4 debug=1 info=2 warning=1 error=1 fatal=0 "
        "filtered=1 empty=2 split=2 parent_tag=0 cut=0 lost=0 bytes=48");
}

TEST(TarqlogToolTest, StatisticsAreOneLineWithTheTimeAtItsEnd) {
    std::string const errors = RunTool({"-o", "stdout", "--stats"}, "x\n").errors;

    EXPECT_EQ(WithoutNumbers(errors),
              "tarqlog: lines=# delivered=# trace=# debug=# info=# warning=# error=# fatal=# "
              "filtered=# empty=# split=# parent_tag=# cut=# lost=# bytes=# seconds=#.# "
              "lines_per_second=#\n");
}

TEST(TarqlogToolTest, LineIsDeliveredOnceWhateverTheNumberOfItsDestinations) {
    EXPECT_EQ(Stats({"-o", "stdout", "-o", "stdout", "-o", "stdout,levels=none"}, "x\n"),
              "tarqlog: lines=1 delivered=1 trace=0 debug=0 info=1 warning=0 error=0 fatal=0 "
              "filtered=0 empty=0 split=0 parent_tag=0 cut=0 lost=0 bytes=2");
}

TEST(TarqlogToolTest, LineIsFilteredByRulesAndByLevels) {
    std::string const expected =
        "tarqlog: lines=3 delivered=1 trace=0 debug=0 info=0 warning=1 error=0 fatal=0 "
        "filtered=2 empty=0 split=0 parent_tag=0 cut=0 lost=0 bytes=16";
    std::string const input = "<4>w\n<6>i\ndb: x\n";

    EXPECT_EQ(Stats({"--prio-prefix", "-o", "stdout", "-r", "=W"}, input), expected);
    EXPECT_EQ(Stats({"--prio-prefix", "-o", "stdout,levels=W"}, input), expected);
    EXPECT_EQ(Stats({"--prio-prefix", "-o", "stdout,levels=W", "-r", "=all", "-o", "stdout", "-r",
                     "=none"},
                    input),
              expected);
}

TEST(TarqlogToolTest, RuleAndLevelsOfTwoDestinationsAreNotMixed) {
    // The rules of the one and the levels of the other would let the line through.
    EXPECT_EQ(Stats({"-o", "stdout,levels=W", "-o", "stdout", "-r", "=W"}, "x\n"),
              "tarqlog: lines=1 delivered=0 trace=0 debug=0 info=0 warning=0 error=0 fatal=0 "
              "filtered=1 empty=0 split=0 parent_tag=0 cut=0 lost=0 bytes=2");
}

TEST(TarqlogToolTest, LinesThatAFileDoesNotTakeAreCountedAndTold) {
    ChildResult const result = RunTool({"-o", "file:/dev/full", "-o", "file:/dev/full,buffer=9",
                                        "-o", "file:/dev/null", "--stats"},
                                       "one\ntwo\n");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(
        result.errors.find("tarqlog: file:/dev/full: lines lost: 2 (not opened 0, not written "
                           "2, not sent 0)\n"
                           "tarqlog: file:/dev/full,buffer=9: lines lost: 2 (not opened 0, "
                           "not written 2, not sent 0)\n"
                           "tarqlog: lines=2 "),
        0U)
        << result.errors;
    EXPECT_NE(result.errors.find(" lost=4 "), std::string::npos) << result.errors;
}

TEST(TarqlogToolTest, StatisticsAddUpOverAllFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "1\n2\n");

    EXPECT_EQ(Stats({"-o", "stdout", directory.File("a"), "-", directory.File("a")}, "3"),
              "tarqlog: lines=5 delivered=5 trace=0 debug=0 info=5 warning=0 error=0 fatal=0 "
              "filtered=0 empty=0 split=0 parent_tag=0 cut=0 lost=0 bytes=9");
}

// When lines become visible, and where

TEST(TarqlogToolTest, LineIsVisibleBeforeTheToolWaitsForMoreInput) {
    RunningTool tool({"-o", "stdout", "-o", "stderr"});
    for (std::string const line : {"one\n", "two\n", "three\n"}) {
        tool.Write(line);
        EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):" + line);
        EXPECT_EQ(tool.ReadErrorLine(), "I (stdin):" + line);
    }
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

TEST(TarqlogToolTest, LinesOfTwoDestinationsInOneFileStayWholeAndInOrder) {
    std::string input;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        std::string const line = std::to_string(i) + "\n";
        input += line;
        expected += "I (stdin):" + line + "I (stdin):" + line;
    }

    EXPECT_TRUE(RunShell("\"$0\" -o stdout -o stderr 2>&1", input).output == expected);
}

TEST(TarqlogToolTest, LinesOfTwoDestinationsStayInOrderInAFileAboveTwoGiBToo) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("a");
    WriteWholeFile(file, "");
    ASSERT_EQ(::truncate(file.c_str(), off_t(3) << 30U), 0);  // a hole

    ChildResult const result =
        RunShell("cd '" + directory.Path() + "' && \"$0\" -o stdout -o stderr >>a 2>&1 && " +
                     "tail -c +3221225473 a",
                 "one\ntwo\n");

    EXPECT_EQ(result.output, "I (stdin):one\nI (stdin):one\nI (stdin):two\nI (stdin):two\n");
}

// Files as destinations

TEST(TarqlogToolTest, FileTakesTheLinesBehindWhatItHolds) {
    TemporaryDirectory const directory;
    std::string const path = directory.File("with \xC3\xA4, blank");
    WriteWholeFile(path, "before\n");

    ChildResult const result =
        RunTool({"-o", "file:" + directory.File("with \xC3\xA4\\, blank")}, "one\ntwo\n");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(Masked(ReadWholeFile(path)), "before\nI (stdin):one\nI (stdin):two\n");
}

TEST(TarqlogToolTest, TruncatedFileHoldsTheNewLinesAlone) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("log"), "before\n");

    RunTool({"-o", "file:" + directory.File("log") + ",truncate"}, "one\n");

    EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))), "I (stdin):one\n");
}

/// `count` lines of 1024 bytes with their header, number `first` the first. Their texts are short
/// enough for any thread id.
std::string Lines(int first, int count) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        std::string const number = std::to_string(first + i);
        lines += number + std::string(900 - number.size(), '.') + '\n';
    }
    return lines;
}

/// The numbers at the beginning of the texts in a log of Lines().
std::vector<int> Numbers(std::string const& path) {
    std::istringstream log(ReadWholeFile(path));
    std::vector<int> numbers;
    for (std::string line; std::getline(log, line);) {
        numbers.push_back(std::stoi(line.substr(line.find("):") + 2)));
    }
    return numbers;
}

TEST(TarqlogToolTest, FileBeginsAnewAtItsSize) {
    TemporaryDirectory const directory;

    RunTool({"-o", "file:" + directory.File("log") + ",size=2K"}, Lines(1, 7));

    EXPECT_EQ(Numbers(directory.File("log")), (std::vector<int>{7}));
}

TEST(TarqlogToolTest, SizeOfAFileIsRoundedUpToKiB) {
    TemporaryDirectory const directory;

    RunTool({"-o", "file:" + directory.File("log") + ",size=1025"}, Lines(1, 3));

    EXPECT_EQ(Numbers(directory.File("log")), (std::vector<int>{1, 2, 3}));
}

TEST(TarqlogToolTest, RolledFilesAreKeptAsManyAsAskedFor) {
    TemporaryDirectory const directory;

    RunTool({"-o", "roll:" + directory.File("log") + ",size=2k,keep=2"}, Lines(1, 11));

    EXPECT_EQ(Numbers(directory.File("log")), (std::vector<int>{10, 11}));
    EXPECT_EQ(Numbers(directory.File("log.1")), (std::vector<int>{7, 8, 9}));
    EXPECT_EQ(Numbers(directory.File("log.2")), (std::vector<int>{4, 5, 6}));
    EXPECT_NE(::access(directory.File("log.3").c_str(), F_OK), 0);
}

TEST(TarqlogToolTest, FiveRolledFilesAreKeptUnlessToldOtherwise) {
    TemporaryDirectory const directory;

    RunTool({"-o", "roll:" + directory.File("log") + ",size=1K"}, Lines(1, 20));

    EXPECT_EQ(::access(directory.File("log.5").c_str(), F_OK), 0);
    EXPECT_NE(::access(directory.File("log.6").c_str(), F_OK), 0);
}

TEST(TarqlogToolTest, LevelsAndRulesOfAFileCount) {
    TemporaryDirectory const directory;

    RunTool({"--prio-prefix", "--sub-tags", "-o", "file:" + directory.File("log") + ",levels=W",
             "-r", "stdin.mute=none"},
            "<4>one\n<6>two\n<4>mute: three\n");

    EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))), "W (stdin):one\n");
}

TEST(TarqlogToolTest, FileThatCannotBeOpenedEndsTheToolBeforeItReads) {
    TemporaryDirectory const directory;
    for (std::string const destination : {"file:", "roll:"}) {
        std::string const path = directory.File("missing/log");

        ChildResult const result =
            RunTool({"-o", "stdout", "-o", destination + path + ",size=1M"}, "one\n");

        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tarqlog: cannot open " + path + ": No such file or directory\n");
    }
}

TEST(TarqlogToolTest, DryRunAndExplainLeaveFilesAlone) {
    TemporaryDirectory const directory;
    std::string const path = directory.File("log");
    std::string const destination = "file:" + path + ",truncate,levels=E";

    EXPECT_EQ(RunTool({"-n", "-o", destination}).output, "1 " + destination + "\n  rule =all\n");
    EXPECT_EQ(
        RunTool({"explain", "web", "-o", destination}).output,
        "tag 'web'\n  1 " + destination + ": reached with E, through rule =all and levels=E\n");
    EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

/// Waits until the file at `path` holds `content`, times and thread ids left out.
void AwaitContent(std::string const& path, std::string const& content) {
    while (::access(path.c_str(), F_OK) != 0 || Masked(ReadWholeFile(path)) != content) {
        std::this_thread::yield();
    }
}

TEST(TarqlogToolTest, BufferedLinesAreWrittenTogether) {
    TemporaryDirectory const directory;
    RunningTool tool({"-o", "file:" + directory.File("log") + ",buffer=3", "-o", "stdout"});
    tool.Write("one\ntwo\n");
    tool.ReadOutputLine();
    tool.ReadOutputLine();
    EXPECT_EQ(ReadWholeFile(directory.File("log")), "");

    tool.Write("three\n");

    AwaitContent(directory.File("log"), "I (stdin):one\nI (stdin):two\nI (stdin):three\n");
}

TEST(TarqlogToolTest, BufferedLinesAreWrittenWhenTheInputIsQuiet) {
    TemporaryDirectory const directory;
    RunningTool tool({"-o", "file:" + directory.File("log") + ",buffer=9"});

    tool.Write("one\n");
    AwaitContent(directory.File("log"), "I (stdin):one\n");
    tool.Write("two\n");
    AwaitContent(directory.File("log"), "I (stdin):one\nI (stdin):two\n");
}

TEST(TarqlogToolTest, BufferedLinesAreWrittenAtEachCleanEnd) {
    for (int const signal : {0, SIGTERM, SIGINT}) {
        SCOPED_TRACE(signal);
        TemporaryDirectory const directory;
        RunningTool tool({"-o", "file:" + directory.File("log") + ",buffer=9", "-o", "stdout"});
        tool.Write("one\n");
        tool.ReadOutputLine();
        if (signal != 0) {
            tool.Signal(signal);
        } else {
            tool.CloseInput();
        }

        EXPECT_EQ(tool.Finish().exitStatus, 0);
        EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))), "I (stdin):one\n");
    }
}

TEST(TarqlogToolTest, HangUpWritesTheBuffersAndReopensTheFilesByName) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    // Also where a hang-up is ignored, as under nohup.
    for (auto const before : {SIG_DFL, SIG_IGN}) {
        RunningTool tool({"-o", "file:" + log + ",truncate,buffer=9", "-o", "stdout"},
                         [=] { ::signal(SIGHUP, before); });
        for (std::string const name : {"first", "second"}) {
            tool.Write(name + "\n");
            tool.ReadOutputLine();
            ASSERT_EQ(std::rename(log.c_str(), directory.File(name).c_str()), 0);
            tool.Signal(SIGHUP);
            AwaitContent(log, "");

            EXPECT_EQ(Masked(ReadWholeFile(directory.File(name))), "I (stdin):" + name + "\n");
        }
        tool.Write("third\n");
        tool.CloseInput();

        EXPECT_EQ(tool.Finish().exitStatus, 0);
        EXPECT_EQ(Masked(ReadWholeFile(log)), "I (stdin):third\n");
    }
}

TEST(TarqlogToolTest, HangUpKeepsAFileThatNobodyMoved) {
    TemporaryDirectory const directory;
    RunningTool tool({"-o", "file:" + directory.File("log"), "-o", "stdout"});
    tool.Write("one\n");
    tool.ReadOutputLine();
    tool.Signal(SIGHUP);
    tool.Write("two\n");
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().exitStatus, 0);
    EXPECT_EQ(Masked(ReadWholeFile(directory.File("log"))), "I (stdin):one\nI (stdin):two\n");
}

TEST(TarqlogToolTest, FileThatCannotBeReopenedIsComplainedOfAndTriedAgain) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("logs/log");
    ASSERT_EQ(::mkdir(directory.File("logs").c_str(), 0700), 0);
    RunningTool tool({"-o", "file:" + log, "-o", "stdout"});
    tool.Write("before\n");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):before\n");
    ASSERT_EQ(std::rename(directory.File("logs").c_str(), directory.File("old").c_str()), 0);
    tool.Signal(SIGHUP);
    EXPECT_EQ(tool.ReadErrorLine(),
              "tarqlog: cannot open " + log + ": No such file or directory\n");
    ASSERT_EQ(::mkdir(directory.File("logs").c_str(), 0700), 0);

    tool.Write("one\n");
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().exitStatus, 0);
    EXPECT_EQ(Masked(ReadWholeFile(log)), "I (stdin):one\n");
}

// Datagrams and the system log

std::string To(UdpPort const& port, std::string const& host = "127.0.0.1") {
    return "udp:" + host + ":" + std::to_string(port.Number());
}

TEST(TarqlogToolTest, UdpDestinationGetsEachLineAsADatagram) {
    for (std::string const host : {"127.0.0.1", "localhost"}) {
        SCOPED_TRACE(host);
        ListeningPort const port;

        ChildResult const result = RunTool({"-o", To(port, host) + ",levels=WEF", "--prio-prefix"},
                                           "<4>one\nnot taken\n<3>two\n");

        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(Masked(port.Receive()), "W (stdin):one\n");
        EXPECT_EQ(Masked(port.Receive()), "E (stdin):two\n");
        EXPECT_FALSE(port.Has(0));
    }
}

TEST(TarqlogToolTest, LineThatFillsADatagramIsSentWhole) {
    ListeningPort const port;
    RunningTool tool({"-o", To(port), "--stats"});  // one, since a thread id may have more digits
    tool.Write("x\n");
    std::string::size_type const room = 65507 - (port.Receive().size() - 1);

    tool.Write(std::string(room, 'x') + "\n");
    tool.CloseInput();

    EXPECT_EQ(Masked(port.Receive()), "I (stdin):" + std::string(room, 'x') + "\n");
    std::string const errors = tool.Finish().errors;
    EXPECT_NE(errors.find(" cut=0 "), std::string::npos) << errors;
}

TEST(TarqlogToolTest, LineTooLongForADatagramIsCutBetweenCharactersMarkedAndCounted) {
    for (int const odd : {0, 1}) {
        SCOPED_TRACE(odd);
        ListeningPort const port;
        std::string const start(static_cast<std::string::size_type>(odd), 'x');

        std::string const errors =
            RunTool({"-o", To(port), "--stats"},
                    start + Repeat("\u00e4", 40000) + "\nshort\n" + Repeat("x", 70000))
                .errors;

        std::string const first = port.Receive();
        std::string const mark = " [cut]\n";
        EXPECT_GE(first.size(), 65506U);
        EXPECT_LE(first.size(), 65507U);
        std::string::size_type const text = first.find(':', first.find("(stdin)")) + 1;
        std::string::size_type const umlauts = first.size() - text - start.size() - mark.size();
        EXPECT_EQ(first.substr(text),
                  start + Repeat("\u00e4", static_cast<int>(umlauts / 2)) + mark);
        EXPECT_EQ(Masked(port.Receive()), "I (stdin):short\n");
        EXPECT_EQ(port.Receive().size(), 65507U);
        EXPECT_NE(errors.find(" cut=2 "), std::string::npos) << errors;
    }
}

TEST(TarqlogToolTest, DatagramsThatAreRefusedAreCountedAndTold) {
    UdpPort const port;  // nobody listens

    ChildResult const result = RunTool({"-o", To(port), "--stats"}, "1\n2\n3\n4\n5\n6\n");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors.find("tarqlog: " + To(port) + ": lines lost: "), 0U) << result.errors;
    EXPECT_EQ(result.errors.find(" lost=0 "), std::string::npos) << result.errors;
}

TEST(TarqlogToolTest, HostThatCannotBeSentToIsAnErrorAtTheStart) {
    std::string const tooLong(64, 'x');
    struct {
        std::string host;
        std::string errors;
    } const kCases[] = {
        // Neither asks a server: the one cannot be a name, the other is an address of another kind.
        {tooLong, "cannot find an IPv4 address of " + tooLong + ": "},
        {"::1", "cannot find an IPv4 address of ::1: "},
        {"0.0.0.0", "cannot send to 0.0.0.0: Cannot assign requested address\n"},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.host);
        ChildResult const result =
            RunTool({"-o", "stdout", "-o", "udp:" + row.host + ":514"}, "one\n");
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.output, "");
        std::string const expected = "tarqlog: " + row.errors;
        EXPECT_EQ(result.errors.substr(0, expected.size()), expected);
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
    }
}

TEST(TarqlogToolTest, LongestTagLeavesRoomForTextInADatagram) {
    ListeningPort const port;
    std::string const tag(4096, 't');

    EXPECT_EQ(RunTool({"-t", tag, "-o", To(port)}, "one\n").exitStatus, 0);
    EXPECT_EQ(Masked(port.Receive()), "I (" + tag + "):one\n");

    ChildResult const result = RunTool({"-t", tag + "t", "-n"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors,
              "tarqlog: --tag '" + tag + "t': a tag has at most 4096 bytes; see --help\n");
}

TEST(TarqlogToolTest, PortAndIdentityMayBeAsLargeAsTheyCan) {
    std::string const identity(32, 'x');

    EXPECT_EQ(RunTool({"-n", "-o", "udp:host:65535", "-o", "syslog:" + identity, "-o",
                       "syslog:" + identity + ",levels=E"})
                  .exitStatus,
              0);
}

TEST(TarqlogToolTest, DryRunLooksUpNoHost) {
    ChildResult const result = RunTool({"-n", "-o", "udp:" + std::string(64, 'x') + ":514"});

    EXPECT_EQ(result.exitStatus, 0);
}

// Errors

/// Expects that `arguments` end the tool with one line that says `error` and leads to `help`.
void ExpectUsageError(Arguments const& arguments, std::string const& error,
                      std::string const& help = "--help") {
    SCOPED_TRACE(error);
    ChildResult const result = RunTool(arguments, "x\n");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "tarqlog: " + error + "; see " + help + "\n");
}

std::string const kKnownLevel =
    ", known are trace, debug, info, warning, error, fatal, T to F, emerg to debug and 0 to 7";
std::string const kKnownLevels =
    ", known are all, none, a level, a level and + for all from it up, or letters as in WEF";

TEST(TarqlogToolTest, ErrorInTheOptionsIsOneLineThatNamesTheArgument) {
    struct {
        Arguments arguments;
        std::string error;
    } const kCases[] = {
        {{"-o", "tape"},
         "--to 'tape': unknown destination 'tape', known are stdout, stderr, file:PATH, "
         "roll:PATH, udp:HOST:PORT or syslog[:IDENT]"},
        {{"--to="},
         "--to '': unknown destination '', known are stdout, stderr, file:PATH, roll:PATH, "
         "udp:HOST:PORT or syslog[:IDENT]"},
        {{"-o", "stdout,color=on"},
         "--to 'stdout,color=on': unknown setting 'color', known are levels and format"},
        {{"-o", "stdout,levels=W,levels=E"},
         "--to 'stdout,levels=W,levels=E': setting 'levels' is given twice"},
        {{"-o", "stdout,"}, "--to 'stdout,': a setting must stand behind each comma"},
        {{"-o", "stdout,,"}, "--to 'stdout,,': a setting must stand behind each comma"},
        {{"-o", "stdout,levels"},
         "--to 'stdout,levels': setting 'levels' needs = and a value behind it"},
        {{"-o", "stdout,levels=info,warning"},
         "--to 'stdout,levels=info,warning': unknown setting 'warning', known are levels and "
         "format; several levels are letters, as in levels=WEF, or warning+"},
        {{"-o", "file:a,b"},
         "--to 'file:a,b': unknown setting 'b', known are buffer, size, truncate, levels and "
         "format; a comma in PATH is \\,"},
        {{"-o", "stdout,levels="}, "--to 'stdout,levels=': levels '' are unknown" + kKnownLevels},
        {{"-o", "stdout,levels=loud"},
         "--to 'stdout,levels=loud': levels 'loud' are unknown" + kKnownLevels},
        {{"-o", "stdout,levels=wef"},
         "--to 'stdout,levels=wef': levels 'wef' are unknown" + kKnownLevels},
        {{"-o", "stdout,levels=8"},
         "--to 'stdout,levels=8': levels '8' are unknown" + kKnownLevels},
        {{"-o", "stdout,levels=all+"},
         "--to 'stdout,levels=all+': levels 'all+' are unknown" + kKnownLevels},
        {{"-o", "stdout,levels=+"},
         "--to 'stdout,levels=+': levels '+' are unknown" + kKnownLevels},
        {{"-o", R"(stdout,levels=a\,b\\c\d\)"},
         R"(--to 'stdout,levels=a\,b\\c\d\': levels 'a,b\c\d\' are unknown)" + kKnownLevels},
        {{"-r", "stdin"},
         "--rule 'stdin': a rule is TAG=LEVELS, as in web.db=none, or =WEF for all tags"},
        {{"-r", "stdin="}, "--rule 'stdin=': levels '' are unknown" + kKnownLevels},
        {{"-r", "stdin=loud"}, "--rule 'stdin=loud': levels 'loud' are unknown" + kKnownLevels},
        {{"-p", "loud"}, "--priority 'loud': level 'loud' is unknown" + kKnownLevel},
        {{"-p", "8"}, "--priority '8': level '8' is unknown" + kKnownLevel},
        {{"-p", "all"}, "--priority 'all': level 'all' is unknown" + kKnownLevel},
        {{"-p", ""}, "--priority '': level '' is unknown" + kKnownLevel},
        {{"--max-line", "0"}, "--max-line '0': not a number of bytes from 1 to 1024M"},
        {{"--max-line", "-1"}, "--max-line '-1': not a number of bytes from 1 to 1024M"},
        {{"--max-line", "1T"}, "--max-line '1T': not a number of bytes from 1 to 1024M"},
        {{"--max-line", "K"}, "--max-line 'K': not a number of bytes from 1 to 1024M"},
        {{"--max-line", "1025M"}, "--max-line '1025M': not a number of bytes from 1 to 1024M"},
        {{"--max-line", "99999999999999999999"},
         "--max-line '99999999999999999999': not a number of bytes from 1 to 1024M"},
        {{"--loud"}, "unknown option --loud"},
        {{"-x"}, "unknown option -x"},
        {{"-o", "stdout", "file", "--loud"}, "unknown option --loud"},
        {{"-o", "file"}, "--to 'file': it must read file:PATH"},
        {{"-o", "roll:"}, "--to 'roll:': it must read roll:PATH"},
        {{"-o", "stderr:x"},
         "--to 'stderr:x': stderr takes settings alone, each behind a comma, as in "
         "stderr,levels=WEF"},
        {{"-o", "udp"}, "--to 'udp': it must read udp:HOST:PORT"},
        {{"-o", "udp:"}, "--to 'udp:': it must read udp:HOST:PORT"},
        {{"-o", "udp:host"},
         "--to 'udp:host': it needs a host and a port from 1 to 65535, as in udp:loghost:514"},
        {{"-o", "udp:514"},
         "--to 'udp:514': it needs a host and a port from 1 to 65535, as in udp:loghost:514"},
        {{"-o", "udp::514"},
         "--to 'udp::514': it needs a host and a port from 1 to 65535, as in udp:loghost:514"},
        {{"-o", "udp:host:0"},
         "--to 'udp:host:0': it needs a host and a port from 1 to 65535, as in udp:loghost:514"},
        {{"-o", "udp:host:65536"},
         "--to 'udp:host:65536': it needs a host and a port from 1 to 65535, as in "
         "udp:loghost:514"},
        {{"-o", "udp:host:syslog"},
         "--to 'udp:host:syslog': it needs a host and a port from 1 to 65535, as in "
         "udp:loghost:514"},
        {{"-o", "udp:host:514,buffer=2"},
         "--to 'udp:host:514,buffer=2': unknown setting 'buffer', known are levels and format"},
        {{"-o", "syslog:of-33-bytes-345678901234567890123"},
         "--to 'syslog:of-33-bytes-345678901234567890123': an identity has at most 32 bytes"},
        {{"-o", "syslog:a", "-o", "stdout", "-o", "syslog:b"},
         "--to 'syslog:b': a program has one identity in the system log, and 'syslog:a' has given "
         "another"},
        {{"-o", "syslog", "-o", "syslog:b"},
         "--to 'syslog:b': a program has one identity in the system log, and 'syslog' has given "
         "another"},
        {{"-o", "roll:x"}, "--to 'roll:x': it needs the size at which files roll, as in size=10M"},
        {{"-o", "stdout,size=1K"},
         "--to 'stdout,size=1K': unknown setting 'size', known are levels and format"},
        {{"-o", "file:x,keep=1"},
         "--to 'file:x,keep=1': unknown setting 'keep', known are buffer, size, truncate, levels "
         "and format"},
        {{"-o", "roll:x,size=1K,truncate"},
         "--to 'roll:x,size=1K,truncate': unknown setting 'truncate', known are buffer, size, "
         "keep, levels and format; a comma in PATH is \\,"},
        {{"-o", "file:x,truncate=no"},
         "--to 'file:x,truncate=no': setting 'truncate' takes no value"},
        {{"-o", "file:x,size=0"},
         "--to 'file:x,size=0': setting 'size' is not a size above 0, as in 512K, 10M or 1G"},
        {{"-o", "file:x,size=1T"},
         "--to 'file:x,size=1T': setting 'size' is not a size above 0, as in 512K, 10M or 1G"},
        {{"-o", "file:x,size=-1"},
         "--to 'file:x,size=-1': setting 'size' is not a size above 0, as in 512K, 10M or 1G"},
        {{"-o", "file:x,size=99999999999G"},
         "--to 'file:x,size=99999999999G': setting 'size' is not a size above 0, as in 512K, 10M "
         "or 1G"},
        {{"-o", "roll:x,size=1K,keep=10"},
         "--to 'roll:x,size=1K,keep=10': setting 'keep' is not a number from 0 to 9"},
        {{"-o", "roll:x,size=1K,keep="},
         "--to 'roll:x,size=1K,keep=': setting 'keep' is not a number from 0 to 9"},
        {{"-o", "file:x,buffer=many"},
         "--to 'file:x,buffer=many': setting 'buffer' is not a number from 0 to 2147483647"},
        {{"-o", "file:x,buffer=2147483648"},
         "--to 'file:x,buffer=2147483648': setting 'buffer' is not a number from 0 to 2147483647"},
        {{"-o", "file:x,size=1K,buffer=64"},
         "--to 'file:x,size=1K,buffer=64': setting 'buffer' is at most 63 beside 'size': a larger "
         "buffer is written only as the file is closed, which never shows its size"},
        {{"-o"}, "--to needs a DEST behind it"},
        {{"-p", "info", "-t"}, "--tag needs a TAG behind it"},
        {{"--escape=no"}, "--escape takes no value"},
        {{"--stats="}, "--stats takes no value"},
        {{"-n=1"}, "unknown option -=1"},
        {{"--since=1h", "x"}, "option --since is for tarqlog cat alone"},
        {{"-f", "x"}, "option -f is for tarqlog cat alone"},
        {{"--lo\nud"}, "unknown option --lo?ud"},
    };
    for (auto const& row : kCases) {
        ExpectUsageError(row.arguments, row.error);
    }
}

TEST(TarqlogToolTest, ErrorInTheOptionsOfExplainLeadsToItsOwnHelp) {
    ExpectUsageError({"explain"}, "explain needs a TAG, as in explain web.db", "explain --help");
    ExpectUsageError({"explain", "-o", "stdout"}, "explain needs a TAG, as in explain web.db",
                     "explain --help");
    ExpectUsageError({"explain", "web", "-r", "web"},
                     "--rule 'web': a rule is TAG=LEVELS, as in web.db=none, or =WEF for all tags",
                     "explain --help");
    ExpectUsageError({"explain", "web", "--loud"}, "explain has no option --loud",
                     "explain --help");
}

TEST(TarqlogToolTest, ExplainTakesNoOptionForLines) {
    for (std::string const option :
         {"-t", "--tag", "-p", "--priority", "--prio-prefix", "--detect", "--sub-tags",
          "--max-line", "--escape", "--stats", "--progress", "--since", "-f"}) {
        ExpectUsageError({"explain", option, "web"}, "explain has no option " + option,
                         "explain --help");
        ExpectUsageError({"explain", "web", option}, "explain has no option " + option,
                         "explain --help");
    }
}

TEST(TarqlogToolTest, ValueOfAForeignOptionIsNotRepeated) {
    ExpectUsageError({"explain", "web", "--tag=db"}, "explain has no option --tag",
                     "explain --help");
}

TEST(TarqlogToolTest, WhatLooksLikeAnOptionWithAValueIsAFileBehindTwoDashes) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("--tag="), "one\n");
    WriteWholeFile(directory.File("--stats=1"), "two\n");

    EXPECT_EQ(RunShell("cd '" + directory.Path() + "' && \"$0\" -o stdout -- --tag= --stats=1 2>&1")
                  .output,
              "I (stdin):one\nI (stdin):two\n");
}

TEST(TarqlogToolTest, FileThatCannotBeReadIsOneLineAndTheOthersGoOn) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");
    std::string const missing = directory.File("missing");

    ChildResult const result = RunTool(
        {"-o", "stdout", missing, directory.File("a"), directory.Path(), "-"}, "from input\n");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "I (stdin):from a\nI (stdin):from input\n");
    EXPECT_EQ(result.errors, "tarqlog: " + missing + ": No such file or directory\n" +
                                 "tarqlog: " + directory.Path() + ": Is a directory\n");
}

TEST(TarqlogToolTest, InputThatIsADestinationAsWellIsAnErrorAndIsNotRead) {
    TemporaryDirectory const directory;
    std::string const log = directory.File("log");
    std::string const why = ": it is a destination as well, and its lines would come back for ever";
    for (std::string const arguments :
         {"-o file:log log", "-o stdout -o roll:./log,size=1M ./log", "log >>log -o stdout",
          "- <log -o file:log", "log 2>>log >/dev/null"}) {
        SCOPED_TRACE(arguments);
        WriteWholeFile(log, "text\n");
        ChildResult const result =
            RunShell("cd \"" + directory.Path() + "\" && \"$0\" " + arguments);

        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.output, "");
        std::string const said = result.errors + ReadWholeFile(log);
        EXPECT_NE(said.find(why + "\n"), std::string::npos) << said;
        EXPECT_EQ(ReadWholeFile(log).substr(0, 5), "text\n");
        EXPECT_EQ(Masked(ReadWholeFile(log)).find("(stdin)"), std::string::npos);
    }
}

TEST(TarqlogToolTest, FileWithoutANameIsQuoted) {
    EXPECT_EQ(RunTool({""}).errors, "tarqlog: '': No such file or directory\n");
}

TEST(TarqlogToolTest, ComplaintIsOneLineWhateverTheNameOfTheFile) {
    EXPECT_EQ(RunTool({"no\nsuch\x1b\x7f\u009bm\u00a0"}).errors,
              "tarqlog: no?such???m\u00a0: No such file or directory\n");
}

TEST(TarqlogToolTest, StandardInputThatCannotBeReadIsAnError) {
    ChildResult const result = RunShell("\"$0\" -o stdout </");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "tarqlog: standard input: Is a directory\n");
}

// Signals

TEST(TarqlogToolTest, StopSignalEndsTheWaitAndTheLineInHandIsLogged) {
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        RunningTool tool({"-o", "stdout", "--stats"});
        tool.Write("one\n");
        EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):one\n");
        tool.Signal(signal);

        ChildResult const result = tool.Finish();

        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors.substr(0, 28), "tarqlog: lines=1 delivered=1");
    }
}

TEST(TarqlogToolTest, UnfinishedLineIsLoggedWhenASignalStopsTheTool) {
    RunningTool tool({"-o", "stdout"});
    tool.Write("one\nunfinished");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):one\n");
    tool.Signal(SIGTERM);

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "I (stdin):unfinished\n");
}

TEST(TarqlogToolTest, SignalDoesNotHideAFileThatCouldNotBeRead) {
    RunningTool tool({"-o", "stdout", "/no/such/file", "-"});
    tool.Write("one\n");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):one\n");
    tool.Signal(SIGTERM);

    EXPECT_EQ(tool.Finish().exitStatus, 1);
}

TEST(TarqlogToolTest, StoppedToolOpensNoMoreFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");
    RunningTool tool({"-o", "stdout", "-", directory.File("a"), "/no/such/file"});
    tool.Write("one\n");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):one\n");
    tool.Signal(SIGTERM);

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, BusyToolStopsAfterTheLineInHand) {
    TemporaryDirectory const directory;
    std::string const line = "a line of some length, so that the pipe is soon full\n";
    WriteWholeFile(directory.File("a"), Repeat(line, 20000));
    RunningTool tool({"-o", "stdout", directory.File("a")});
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):" + line);
    tool.WaitUntilItSleeps();
    tool.Signal(SIGTERM);

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    int const lines =
        static_cast<int>(std::count(result.output.begin(), result.output.end(), '\n'));
    EXPECT_LT(lines, 19999);
    EXPECT_TRUE(result.output == Repeat("I (stdin):" + line, lines));
}

TEST(TarqlogToolTest, LineInHandIsReadToItsEndBeforeTheToolStops) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), Repeat("more than a small pipe holds\n", 200) + "rest");
    RunningTool tool({"-o", "stdout", directory.File("a")},
                     [] { ::fcntl(STDOUT_FILENO, F_SETPIPE_SZ, 4096); });
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):more than a small pipe holds\n");
    tool.WaitUntilItSleeps();  // it has read all, and flushes what it has logged
    tool.Signal(SIGTERM);

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output,
              Repeat("I (stdin):more than a small pipe holds\n", 199) + "I (stdin):rest\n");
}

TEST(TarqlogToolTest, WriteThatASignalInterruptsGoesOn) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), Repeat("more than a small pipe holds\n", 200));
    RunningTool tool({"-o", "stdout", directory.File("a")},
                     [] { ::fcntl(STDOUT_FILENO, F_SETPIPE_SZ, 4096); });
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):more than a small pipe holds\n");
    for (int const signal : {SIGTERM, SIGINT}) {
        tool.WaitUntilItSleeps();  // the second time in a write that has written nothing yet
        tool.Signal(signal);
    }
    tool.WaitUntilItSleeps();  // again, before there is room in the pipe

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, Repeat("I (stdin):more than a small pipe holds\n", 199));
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, SecondSignalKills) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), Repeat("more than a pipe holds\n", 20000));
    RunningTool tool({"-o", "stdout", directory.File("a")});
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):more than a pipe holds\n");
    tool.WaitUntilItSleeps();
    while (!tool.HasEnded()) {
        tool.Signal(SIGTERM);
    }

    EXPECT_EQ(tool.Finish().signal, SIGTERM);
}

TEST(TarqlogToolTest, HangUpThatIsIgnoredStaysIgnored) {
    RunningTool tool({"-o", "stdout"}, [] { ::signal(SIGHUP, SIG_IGN); });
    tool.Write("one\n");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):one\n");
    tool.Signal(SIGHUP);
    tool.Write("two\n");
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):two\n");
    tool.Write("three\n");  // "two" may have come together with the signal
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):three\n");
    tool.CloseInput();

    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

TEST(TarqlogToolTest, FifoIsReadOnceSomebodyWrites) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");
    ASSERT_EQ(::mkfifo(directory.File("fifo").c_str(), 0600), 0);
    RunningTool tool({"-o", "stdout", directory.File("a"), directory.File("fifo")});
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):from a\n");
    WriteWholeFile(directory.File("fifo"), "from the FIFO\n");

    EXPECT_EQ(tool.Finish().output, "I (stdin):from the FIFO\n");
}

TEST(TarqlogToolTest, SignalEndsTheWaitForAWriterOfAFifo) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");
    ASSERT_EQ(::mkfifo(directory.File("fifo").c_str(), 0600), 0);
    RunningTool tool({"-o", "stdout", directory.File("a"), directory.File("fifo")});
    EXPECT_EQ(tool.ReadOutputLine(), "I (stdin):from a\n");
    tool.Signal(SIGTERM);

    EXPECT_EQ(tool.Finish().exitStatus, 0);
}

// Outputs that fail

TEST(TarqlogToolTest, ReaderThatHasGoneEndsTheToolQuietly) {
    RunningTool tool({"-o", "stdout"});
    tool.CloseOutput();
    tool.Write("one\n");

    ChildResult const result = tool.Finish();

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, FullDeviceIsOneLineAndEndsTheTool) {
    ChildResult const result = RunShell("\"$0\" -o stdout --stats >/dev/full",
                                        Repeat("more than a buffer holds\n", 50000));

    EXPECT_EQ(result.exitStatus, 1);
    std::string const expected = "tarqlog: standard output: No space left on device\n";
    EXPECT_EQ(result.errors.substr(0, expected.size()), expected);
    EXPECT_EQ(result.errors.find(" lines=50000 "), std::string::npos);
}

TEST(TarqlogToolTest, LateFailureToWriteCountsToo) {
    ChildResult const result = RunShell("\"$0\" -o stdout >/dev/full", "one\n");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "tarqlog: standard output: No space left on device\n");
}

TEST(TarqlogToolTest, FailureCountsWhereTwoDestinationsShareTheOutput) {
    EXPECT_EQ(RunShell("\"$0\" -o stdout -o stderr >/dev/full 2>&1", "one\n").exitStatus, 1);
}

TEST(TarqlogToolTest, OutputClosedFromTheStartIsAnErrorWhereItIsUsed) {
    ChildResult const used = RunShell("\"$0\" -o stdout >&-", "one\n");
    EXPECT_EQ(used.exitStatus, 1);
    EXPECT_EQ(used.errors, "tarqlog: standard output: Bad file descriptor\n");

    ChildResult const unused = RunShell("\"$0\" -o stderr >&-", "one\n");
    EXPECT_EQ(unused.exitStatus, 0);
    EXPECT_EQ(unused.errors, "I (stdin):one\n");

    EXPECT_EQ(RunShell("\"$0\" 2>&-", "one\n").exitStatus, 1);
}

TEST(TarqlogToolTest, ComplaintThatNobodyHearsEndsNothing) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");

    ChildResult const result =
        RunShell("\"$0\" -o stdout /no/such/file '" + directory.File("a") + "' 2>&-");

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "I (stdin):from a\n");
}

TEST(TarqlogToolTest, InputClosedFromTheStartIsEmptyAndItsNumberIsNoFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "from a\n");

    ChildResult const result = RunShell("\"$0\" -o stdout - '" + directory.File("a") + "' - <&-");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "I (stdin):from a\n");
    EXPECT_EQ(result.errors, "");
}

// Help and version

TEST(TarqlogToolTest, HelpFitsOneScreenAndNamesEachOption) {
    for (Arguments const& arguments : {Arguments{"-h"}, Arguments{"--help"}}) {
        ExpectHelp(arguments, {"-t,--tag",
                               "-p,--priority",
                               "--prio-prefix",
                               "--detect",
                               "--sub-tags",
                               "--max-line",
                               "-o,--to",
                               "-r,--rule",
                               "-n,--dry-run",
                               "--stats",
                               "--escape",
                               "--progress",
                               "-h,--help",
                               "--version",
                               "[FILE...]",
                               "tarqlog explain TAG...",
                               "tarqlog run [OPTIONS] -- COMMAND",
                               "stdout",
                               "stderr",
                               "file:PATH",
                               "roll:PATH",
                               "udp:HOST:PORT",
                               "syslog[:IDENT]",
                               "levels=",
                               "size=",
                               "keep=",
                               "buffer=",
                               "format=json",
                               "truncate",
                               "tarqlog cat [OPTIONS] FILE..."});
    }
}

TEST(TarqlogToolTest, HelpOfExplainFitsOneScreenAndNamesItsOwnOptionsAlone) {
    ExpectHelp({"explain", "--help"},
               {"tarqlog explain TAG... [OPTIONS]", "-o,--to DEST", "-r,--rule TAG=LEVELS",
                "-n,--dry-run", "-h,--help", "--version", "tarqlog --help"});
    EXPECT_EQ(RunTool({"explain", "--help"}).output.find("--tag"), std::string::npos);
}

TEST(TarqlogToolTest, HelpIsGivenWhateverTheOtherArguments) {
    EXPECT_EQ(RunTool({"-o", "loud", "--loud", "--help"}).output, RunTool({"--help"}).output);
}

TEST(TarqlogToolTest, VersionIsOneLine) {
    ChildResult const result = RunTool({"--version"});

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "tarqlog 1.0.0\n");
    EXPECT_EQ(result.errors, "");
}

TEST(TarqlogToolTest, AnswerThatCannotBeWrittenIsAnError) {
    for (std::string const arguments : {"--help", "-n", "explain web"}) {
        SCOPED_TRACE(arguments);
        ChildResult const result = RunShell("\"$0\" " + arguments + " >/dev/full");
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors, "tarqlog: standard output: No space left on device\n");
    }
}

}  // namespace
}  // namespace tarqlog
