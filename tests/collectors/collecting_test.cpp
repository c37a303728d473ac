// What docs/collecting.md says, held to the daemons that it speaks of.

#include <arpa/inet.h>
#include <regex.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "collectors/daemon.h"
#include "collectors/page.h"
#include "support/installed_hooks.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/temporary_directory.h"
#include "tarqlog/file_appender.h"

namespace tarqlog {
namespace {

/// A block of the page.
std::string Block(std::string const& title) {
    return tarqlog::Block(TARQLOG_COLLECTING_PAGE, title);
}

std::string Name(Collector collector) {
    return collector == Collector::kRsyslog ? "rsyslog" : "syslog-ng";
}

/// Where a configuration of the page does its work instead of on the machine: below a directory,
/// and on an address of the test's own.
class Site {
public:
    Site() : udp_(FreeUdpEndpoint()), tcp_(FreeUdpEndpoint()) {
        std::filesystem::create_directories(directory_.File("var/log/shop"));
        std::filesystem::create_directories(directory_.File("var/spool/rsyslog"));
        std::filesystem::create_directories(directory_.File("daemon"));
    }

    /// What Debian's own configuration has, as far as it matters, with these blocks of the page in
    /// it, which are named without the collector.
    std::string Configuration(Collector collector, std::vector<std::string> const& blocks) const {
        std::string text = collector == Collector::kRsyslog
                               ? R"(global(processInternalMessages="on")
module(load="imuxsock" SysSock.Use="off")
input(type="imuxsock" Socket="/var/log/socket")
global(workDirectory="/var/spool/rsyslog")
)"
                               : R"(@version: 3.38
options { chain_hostnames(off); flush_lines(0); use_dns(no); use_fqdn(no); stats_freq(0); };
source s_src { unix-dgram("/var/log/socket"); };
)";
        for (std::string const& block : blocks) {
            text += Block(Name(collector) + " " + block);
        }
        if (collector == Collector::kRsyslog) {
            text += "*.* action(type=\"omfile\" file=\"/var/log/syslog\")\n";
        }
        return Here(text);
    }

    /// The daemon with such a configuration.
    Daemon Run(Collector collector, std::vector<std::string> const& blocks) const {
        return Daemon(collector, directory_.File("daemon"), Configuration(collector, blocks));
    }

    /// `text` of the page with the places that it names moved here.
    std::string Here(std::string text) const {
        text = Replaced(text, "/var/", directory_.Path() + "/var/");
        text = Replaced(text, "5514", std::to_string(udp_.port));
        text = Replaced(text, "127.0.0.1", udp_.address);
        text = Replaced(text, "type=\"imtcp\"", "type=\"imtcp\" address=\"" + tcp_.address + "\"");
        text = Replaced(text, "collector.example.net", tcp_.address);
        return Replaced(text, "6514", std::to_string(tcp_.port));
    }

    Endpoint const& Udp() const { return udp_; }
    std::string File(std::string const& path) const { return directory_.Path() + path; }
    std::string Records() const { return File("/var/log/tarqlog.json"); }
    std::string Followed() const { return File("/var/log/shop/shop.log"); }

    /// Hands a message to the daemon as syslog() does.
    void Log(std::string const& message) const {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::string const path = File("/var/log/socket");
        std::memcpy(address.sun_path, path.data(), path.size());
        int const descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ssize_t const sent = ::sendto(descriptor, message.data(), message.size(), 0,
                                      reinterpret_cast<sockaddr const*>(&address), sizeof address);
        ::close(descriptor);
        if (sent != static_cast<ssize_t>(message.size())) {
            throw std::runtime_error("nobody listens at " + path);
        }
    }

private:
    TemporaryDirectory const directory_;
    Endpoint const udp_;
    Endpoint const tcp_;  // nobody else uses the address, so a port free for UDP is free for TCP
};

// What is logged.

long long now = 0;
unsigned int thread = 0;

struct Record {
    Severity severity;
    long long time;
    unsigned int thread;
    std::vector<std::string> tag;
    std::string text;
};

void Append(AppenderBase& appender, Record const& record) {
    now = record.time;
    thread = record.thread;
    InstalledHooks const hooks([] { return now; }, [] { return thread; });
    appender.Append(TaggedRecord(record.severity, record.text, record.tag));
}

/// The full line as the library writes it.
std::string LineOf(Record const& record) {
    TemporaryDirectory const directory;
    std::string const path = directory.File("log");
    FileAppender appender(path, 0, 0, FileAppender::kAppendMode);
    Append(appender, record);
    return ReadWholeFile(path);
}

Record Plain(std::string const& text) {
    return {kInfo, 1795206009433, 17286, {"core", "io"}, text};
}

// What was collected.

using Fields = std::map<std::string, std::string>;

std::string Unescaped(std::istream& json) {
    std::string text;
    for (char c = '\0'; json.get(c) && c != '"';) {
        if (c == '\\' && json.get(c)) {
            static std::string const kShort = "bfnrt";
            std::string::size_type const index = kShort.find(c);
            if (index != std::string::npos) {
                c = "\b\f\n\r\t"[index];
            } else if (c == 'u') {
                std::array<char, 5> digits = {};
                json.read(digits.data(), 4);
                c = static_cast<char>(std::stoi(digits.data(), nullptr, 16));  // control characters
            }
        }
        text += c;
    }
    return text;
}

/// The members of a JSON object that holds nothing but strings.
Fields FieldsOf(std::string const& line) {
    std::istringstream json(line);
    Fields fields;
    char separator = '\0';
    while (json >> separator && separator != '}') {
        if (char quote = '\0'; !(json >> quote) || quote != '"') {
            throw std::runtime_error("this is no JSON: " + line);
        }
        std::string const name = Unescaped(json);
        char colon = '\0';
        char quote = '\0';
        if (!(json >> colon >> quote) || colon != ':' || quote != '"') {
            throw std::runtime_error("this is no JSON: " + line);
        }
        fields[name] = Unescaped(json);
    }
    return fields;
}

/// The first `count` records that the file gets, without the field `host`, which is to be this one.
std::vector<Fields> Collected(std::string const& path, std::size_t count) {
    std::string host(256, '\0');
    ::gethostname(host.data(), host.size());
    host.resize(std::strlen(host.c_str()));
    std::vector<Fields> records;
    std::string const content = WaitForLines(path, count);
    std::istringstream lines(content.substr(0, content.rfind('\n') + 1));  // the whole ones
    for (std::string line; std::getline(lines, line);) {
        records.push_back(FieldsOf(line));
        // Neither the domain nor capital letters are sure to stay.
        EXPECT_EQ(records.back()["host"].compare(0, host.find('.'), host, 0, host.find('.')), 0)
            << line;
        records.back().erase("host");
    }
    return records;
}

std::string OnlyText(std::string const& path) {
    std::vector<Fields> const records = Collected(path, 1);
    EXPECT_EQ(records.size(), 1u);
    return records.front().at("text");
}

/// The texts as they came.
std::vector<std::string> Texts(std::string const& path, std::size_t count) {
    std::vector<std::string> texts;
    for (Fields const& fields : Collected(path, count)) {
        texts.push_back(fields.at("text"));
    }
    return texts;
}

Fields Full(std::string const& severity, std::string const& time, std::string const& threadId,
            std::string const& tag, std::string const& text) {
    return {
        {"severity", severity}, {"time", time}, {"thread", threadId}, {"tag", tag}, {"text", text}};
}

/// A record of one line, and what is to be collected of it.
struct Case {
    Record record;
    Fields fields;
};

std::vector<Case> SingleLines() {
    std::string const kTime = "2026-11-20T20:20:09.433Z";
    long long const kNow = 1795206009433;
    return {
        {{kTrace, kNow, 17286, {"core", "io"}, "text"},
         Full("trace", kTime, "17286", "core.io", "text")},
        {{kDebug, kNow, 1, {"core"}, "text"}, Full("debug", kTime, "1", "core", "text")},
        {{kInfo, kNow, 0, {"a", "", "b"}, "text"}, Full("info", kTime, "0", "a..b", "text")},
        {{kWarning, kNow, 4294967295, {"c d"}, "text"},
         Full("warning", kTime, "4294967295", "c d", "text")},
        {{kError, kNow, 7, {}, "no tag"}, Full("error", kTime, "7", "", "no tag")},
        {{kFatal, 0, 7, {}, "x](a):y"},
         Full("fatal", "1970-01-01T00:00:00.000Z", "7", "", "x](a):y")},
        {{kInfo, -1, 7, {"a"}, "before"},
         Full("info", "1970-01-01T00:00:00.-01Z", "7", "a", "before")},
        {{kInfo, kNow, 7, {"a"}, "):("}, Full("info", kTime, "7", "a", "):(")},
        {{kInfo, kNow, 7, {"a"}, "] [t:8](b):c"}, Full("info", kTime, "7", "a", "] [t:8](b):c")},
        {{kInfo, kNow, 7, {"a"}, ":"}, Full("info", kTime, "7", "a", ":")},
        {{kInfo, kNow, 7, {"a"}, " "}, Full("info", kTime, "7", "a", " ")},
        {{kInfo, kNow, 7, {"a"}, " \t in blanks \t "},
         Full("info", kTime, "7", "a", " \t in blanks \t ")},
        {{kInfo, kNow, 7, {"a"}, "%s %d %msg% $MSG ${MSG} %%"},
         Full("info", kTime, "7", "a", "%s %d %msg% $MSG ${MSG} %%")},
        {{kInfo, kNow, 7, {"a"}, "\"\\/'\\n#011#"},
         Full("info", kTime, "7", "a", "\"\\/'\\n#011#")},
        {{kInfo, kNow, 7, {"a"}, "\x01\x1B[1m\x7F gr\xC3\xBC\xC3\x9F"},
         Full("info", kTime, "7", "a", "\x01\x1B[1m\x7F gr\xC3\xBC\xC3\x9F")},
        {{kInfo, kNow, 7, {"a"}, "<14>I [x]"}, Full("info", kTime, "7", "a", "<14>I [x]")},
        {{kInfo, kNow, 7, {"a"}, std::string(60000, 'x')},
         Full("info", kTime, "7", "a", std::string(60000, 'x'))},
    };
}

Fields Unlabelled(std::string const& text) {
    return {{"severity", ""}, {"time", ""}, {"thread", ""}, {"tag", ""}, {"text", text}};
}

void ExpectCollected(std::string const& path, std::vector<Case> const& cases) {
    std::vector<Fields> const records = Collected(path, cases.size());
    ASSERT_EQ(records.size(), cases.size());
    for (std::size_t i = 0; i != cases.size(); ++i) {
        SCOPED_TRACE(cases[i].record.text.substr(0, 100));
        EXPECT_EQ(records[i], cases[i].fields);
    }
}

class CollectingTest : public testing::TestWithParam<Collector> {
protected:
    /// The blocks of the page that the collector needs for this input.
    static std::vector<std::string> With(std::string const& input) {
        if (GetParam() == Collector::kRsyslog) {
            return {"parser", "out", input};
        }
        return {"parser", input};
    }
};

INSTANTIATE_TEST_SUITE_P(With, CollectingTest,
                         testing::Values(Collector::kRsyslog, Collector::kSyslogNg),
                         [](testing::TestParamInfo<Collector> const& parameter) {
                             return parameter.param == Collector::kRsyslog ? "Rsyslog" : "SyslogNg";
                         });

TEST(CollectingPageTest, EachBlockIsRunByATestOrSaysThatItIsNot) {
    std::set<std::string> titles;
    for (auto const& block : Blocks(TARQLOG_COLLECTING_PAGE)) {
        titles.insert(block.first);
    }
    EXPECT_EQ(titles, (std::set<std::string>{
                          "expression",
                          "lines",
                          "not run: fluent-bit",
                          "not run: journald",
                          "rsyslog central",
                          "rsyslog file",
                          "rsyslog joined file",
                          "rsyslog out",
                          "rsyslog parser",
                          "rsyslog relay",
                          "rsyslog system log",
                          "rsyslog udp",
                          "syslog-ng file",
                          "syslog-ng joined file",
                          "syslog-ng parser",
                          "syslog-ng system log",
                          "syslog-ng udp",
                      }));
    std::string const page = ReadWholeFile(TARQLOG_COLLECTING_PAGE);
    for (std::string const& title : titles) {
        if (title.compare(0, 9, "not run: ") == 0) {
            std::string::size_type const block = page.find("<!-- " + title);
            std::string::size_type const paragraph = page.rfind("\n\n", block - 3);
            EXPECT_NE(page.substr(paragraph, block - paragraph).find("not run by our tests"),
                      std::string::npos)
                << title;
        }
    }
}

TEST(CollectingPageTest, ShowsTheLinesThatTheLibraryWrites) {
    NotingAppender shortHeader;
    Append(shortHeader, Plain("text"));
    EXPECT_EQ(Block("lines"), LineOf(Plain("text")) + shortHeader.Headers().front() + "text\n");
}

TEST(CollectingPageTest, ExpressionTakesAnyRecord) {
    std::string expression = Block("expression");
    expression.pop_back();
    regex_t compiled;
    ASSERT_EQ(::regcomp(&compiled, expression.c_str(), REG_EXTENDED), 0);
    std::vector<Case> cases = SingleLines();
    cases.push_back(
        {Plain("one\n two\n\nthree\n"),
         Full("info", "2026-11-20T20:20:09.433Z", "17286", "core.io", "one\n two\n\nthree\n")});
    for (Case const& expected : cases) {
        SCOPED_TRACE(expected.record.text.substr(0, 100));
        std::string line = LineOf(expected.record);
        line.pop_back();
        std::array<regmatch_t, 7> groups;
        ASSERT_EQ(::regexec(&compiled, line.c_str(), groups.size(), groups.data(), 0), 0);
        auto const group = [&](std::size_t index) {
            regmatch_t const& match = groups.at(index);
            return match.rm_so < 0
                       ? ""
                       : line.substr(static_cast<std::size_t>(match.rm_so),
                                     static_cast<std::size_t>(match.rm_eo - match.rm_so));
        };
        std::string const& severity = expected.fields.at("severity");
        EXPECT_EQ(group(1), std::string(1, static_cast<char>(std::toupper(severity.front()))));
        EXPECT_EQ(Replaced(group(2), " ", "T") + "Z", expected.fields.at("time"));
        EXPECT_EQ(group(3), expected.fields.at("thread"));
        EXPECT_EQ(group(5), expected.fields.at("tag"));
        EXPECT_EQ(group(6), expected.fields.at("text"));
    }
    ::regfree(&compiled);
}

TEST(CollectingPageTest, ConfigurationsAreTakenWithoutComplaint) {
    std::vector<std::pair<Collector, std::vector<std::string>>> const configurations = {
        {Collector::kRsyslog, {"parser", "out", "udp", "file", "system log"}},
        {Collector::kRsyslog, {"parser", "out", "udp", "joined file"}},
        {Collector::kRsyslog, {"parser", "relay", "udp", "file", "system log"}},
        {Collector::kRsyslog, {"central"}},
        {Collector::kSyslogNg, {"parser", "udp", "file", "system log"}},
        {Collector::kSyslogNg, {"parser", "udp", "joined file"}},
    };
    Site const site;
    for (auto const& [collector, blocks] : configurations) {
        SCOPED_TRACE(Name(collector) + " " + blocks.back());
        ChildResult const checked =
            CheckConfiguration(collector, site.Configuration(collector, blocks));
        EXPECT_EQ(checked.exitStatus, 0);
        // One daemon tells when it begins and ends, the other nothing.
        EXPECT_EQ(std::count(checked.errors.begin(), checked.errors.end(), '\n'),
                  collector == Collector::kRsyslog ? 2 : 0)
            << checked.errors;
    }
}

TEST_P(CollectingTest, FieldsOfADatagramAreThoseOfTheRecord) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    for (Case const& one : SingleLines()) {
        SendDatagram(site.Udp(), LineOf(one.record));
    }
    ExpectCollected(site.Records(), SingleLines());
}

TEST_P(CollectingTest, FieldsOfALineInAFileAreThoseOfTheRecord) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    for (Case const& one : SingleLines()) {
        Append(appender, one.record);
    }
    ExpectCollected(site.Records(), SingleLines());
}

TEST_P(CollectingTest, DatagramOfSeveralLinesIsOneRecord) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    std::string const text = "one\n  two\n\nI [x]\r\nthree";
    SendDatagram(site.Udp(), LineOf(Plain(text)));
    EXPECT_EQ(OnlyText(site.Records()), text);
}

TEST_P(CollectingTest, BytesThatAreNoTextShowInADatagramAsThePageSays) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    SendDatagram(site.Udp(), LineOf(Plain(std::string("a\0b\xFF\tz", 6))));
    EXPECT_EQ(OnlyText(site.Records()),
              GetParam() == Collector::kRsyslog ? "a#000b\xFFz" : "a\\x00b\\xff\tz");
}

TEST_P(CollectingTest, NulInAFileEndsTheTextAsThePageSays) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    Append(appender, Plain(std::string("a\0b", 3)));
    Append(appender, Plain("next"));
    EXPECT_EQ(Texts(site.Records(), GetParam() == Collector::kRsyslog ? 2 : 3),
              GetParam() == Collector::kRsyslog ? (std::vector<std::string>{"a", "next"})
                                                : (std::vector<std::string>{"a", "b", "next"}));
}

TEST_P(CollectingTest, LineFeedsAtTheEndOfATextStayOrGoAsThePageSays) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    SendDatagram(site.Udp(), LineOf(Plain("end\n\n")));
    EXPECT_EQ(OnlyText(site.Records()), GetParam() == Collector::kRsyslog ? "end\n\n" : "end");
}

TEST_P(CollectingTest, DatagramThatIsNotOursIsKeptAsText) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    SendDatagram(site.Udp(), "<14>Nov 20 20:20:09 shop: text\n");
    EXPECT_EQ(Collected(site.Records(), 1),
              std::vector<Fields>{Unlabelled("<14>Nov 20 20:20:09 shop: text")});
}

TEST_P(CollectingTest, LinesWithoutAHeaderAreRecordsWithATextOnly) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    Append(appender, Plain("one\n  two\n\nthree"));
    EXPECT_EQ(Collected(site.Records(), 3),
              (std::vector<Fields>{
                  Full("info", "2026-11-20T20:20:09.433Z", "17286", "core.io", "one"),
                  Unlabelled("  two"),
                  Unlabelled("three"),
              }));
}

/// The daemon that joins lines, and as good as never thinks that a record without a next one is
/// whole.
Daemon RunPatiently(Site const& site, Collector collector, std::vector<std::string> const& blocks) {
    std::string const configuration = site.Configuration(collector, blocks);
    std::string const patient =
        Replaced(Replaced(configuration, "readTimeout=\"2\"", "readTimeout=\"600\""),
                 "multi-line-timeout(2)", "multi-line-timeout(600)");
    if (patient == configuration) {
        throw std::runtime_error("there is no limit to waiting:\n" + configuration);
    }
    return Daemon(collector, site.File("/daemon"), patient);
}

TEST_P(CollectingTest, JoinedLinesAreOneRecordAsSoonAsTheNextOneBegins) {
    Site const site;
    Daemon daemon = RunPatiently(site, GetParam(), With("joined file"));
    daemon.Start();
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    std::vector<std::string> const texts = {"one\n  two\n\nthree", "I [x]\nW [y]", "plain"};
    for (std::string const& text : texts) {
        Append(appender, Plain(text));
    }
    Append(appender, Plain("next"));
    EXPECT_EQ(Texts(site.Records(), texts.size()), texts);
}

// rsyslog takes at times much longer than it is told.
TEST(CollectingSyslogNgTest, NewestOfJoinedRecordsWaitsForTwoSeconds) {
    Site const site;
    Daemon daemon = site.Run(Collector::kSyslogNg, {"parser", "joined file"});
    daemon.Start();
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    Append(appender, Plain("one\ntwo"));
    EXPECT_EQ(OnlyText(site.Records()), "one\ntwo");
}

/// Logs 300 records to a file that is full at each 60th or so, never far ahead of what was
/// collected.
void AppendAtPace(AppenderBase& appender, std::string const& collected) {
    constexpr std::size_t kRecords = 300;
    constexpr std::size_t kAhead = 40;
    for (std::size_t i = 0; i != kRecords; ++i) {
        if (i > kAhead) {
            WaitForLines(collected, i - kAhead);
        }
        Append(appender, Plain(std::to_string(i)));
    }
    WaitForLines(collected, kRecords);
}

constexpr long long kLimitKiB = 3;
constexpr int kKept = 3;

std::vector<std::string> Numbers(int count) {
    std::vector<std::string> numbers;
    for (int i = 0; i != count; ++i) {
        numbers.push_back(std::to_string(i));
    }
    return numbers;
}

TEST_P(CollectingTest, FileThatRollsIsReadToTheEndAndNoLineTwice) {
    Site const site;
    RollingFileAppender appender(site.Followed(), kLimitKiB, kKept, 0);
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    AppendAtPace(appender, site.Records());
    EXPECT_TRUE(std::filesystem::exists(site.Followed() + ".3"));
    daemon.Stop();
    EXPECT_EQ(Texts(site.Records(), 300), Numbers(300));
}

TEST_P(CollectingTest, FileThatIsDeletedAndBegunAnewIsReadToTheEndAndNoLineTwice) {
    Site const site;
    FileAppender appender(site.Followed(), kLimitKiB, 0, FileAppender::kAppendMode);
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    AppendAtPace(appender, site.Records());
    EXPECT_LT(std::filesystem::file_size(site.Followed()), 2 * kLimitKiB * 1024);
    daemon.Stop();
    EXPECT_EQ(Texts(site.Records(), 300), Numbers(300));
}

TEST_P(CollectingTest, JoiningLosesTheLastRecordOfAFileThatRolls) {
    Site const site;
    RollingFileAppender appender(site.Followed(), 1, kKept, 0);
    Daemon daemon = RunPatiently(site, GetParam(), With("joined file"));
    daemon.Start();
    Append(appender, Plain("first"));
    Append(appender, Plain("last" + std::string(2000, '.')));  // the file is full now
    EXPECT_EQ(OnlyText(site.Records()), "first");
    Append(appender, Plain("first of the next file"));
    Append(appender, Plain("end"));
    EXPECT_EQ(Texts(site.Records(), 2),
              (std::vector<std::string>{"first", "first of the next file"}));
}

TEST_P(CollectingTest, RestartReadsOnInTheFile) {
    Site const site;
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    Daemon daemon = site.Run(GetParam(), With("file"));
    daemon.Start();
    Append(appender, Plain("0"));
    WaitForLines(site.Records(), 1);
    daemon.Stop();
    Append(appender, Plain("1"));
    daemon.Start();
    Append(appender, Plain("2"));
    EXPECT_EQ(Texts(site.Records(), 3), Numbers(3));
}

TEST(CollectingRsyslogTest, CrashRepeatsAtMostAHundredRecords) {
    Site const site;
    FileAppender appender(site.Followed(), 0, 0, FileAppender::kAppendMode);
    Daemon daemon = site.Run(Collector::kRsyslog, {"parser", "out", "file"});
    daemon.Start();
    for (int i = 0; i != 250; ++i) {
        Append(appender, Plain(std::to_string(i)));
    }
    WaitForLines(site.Records(), 250);
    daemon.Kill();
    daemon.Start();
    Append(appender, Plain("250"));
    WaitUntil("the record after the crash",
              [&] { return ReadWholeFile(site.Records()).find("\"250\"") != std::string::npos; });
    std::vector<std::string> const texts = Texts(site.Records(), 251);
    std::vector<std::string> const expected = Numbers(251);
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()),
              std::set<std::string>(expected.begin(), expected.end()));
    EXPECT_LE(texts.size(), 251u + 100u);
}

TEST(CollectingRsyslogTest, WithoutItsFirstLineItCutsAndEscapes) {
    Site const site;
    std::string configuration = site.Configuration(Collector::kRsyslog, {"parser", "out", "udp"});
    std::string::size_type const begin = configuration.find("global(maxMessageSize");
    ASSERT_NE(begin, std::string::npos);
    configuration.erase(begin, configuration.find('\n', begin) - begin);
    Daemon daemon(Collector::kRsyslog, site.File("/daemon"), configuration);
    daemon.Start();
    std::string const line = LineOf(Plain("tab\tline\n" + std::string(9000, 'x')));
    SendDatagram(site.Udp(), line);
    std::string const text = OnlyText(site.Records());
    EXPECT_EQ(text.substr(0, 16), "tab#011line#012x");
    EXPECT_LT(text.size(), 8192u);
}

TEST_P(CollectingTest, SeverityIsTheCollectorsOwnToo) {
    Site const site;
    std::string const levels = site.File("/var/log/levels");
    std::string configuration;
    if (GetParam() == Collector::kRsyslog) {
        configuration = site.Configuration(GetParam(), {"parser", "udp"}) + site.Here(R"(
template(name="level" type="string" string="%$.priority%\n")
ruleset(name="tarqlog_out") {
    action(type="omfile" file="/var/log/levels" template="level")
}
)");
    } else {
        configuration = site.Configuration(GetParam(), {"parser", "udp"}) + site.Here(R"(
log {
    source(s_tarqlog_udp); parser(p_tarqlog);
    destination { file("/var/log/levels" template("$LEVEL_NUM\n")); };
};
)");
    }
    Daemon daemon(GetParam(), site.File("/daemon"), configuration);
    daemon.Start();
    std::vector<std::string> const letters = {"T", "D", "I", "W", "E", "F", "U", "?"};
    for (std::string const& letter : letters) {
        std::string const line = LineOf(Plain("text"));
        ASSERT_EQ(line.front(), 'I');
        SendDatagram(site.Udp(), letter + line.substr(1));
    }
    EXPECT_EQ(WaitForLines(levels, letters.size()), "7\n7\n6\n4\n3\n0\n0\n6\n");
}

TEST_P(CollectingTest, LetterUIsUnknown) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("udp"));
    daemon.Start();
    SendDatagram(site.Udp(), "U" + LineOf(Plain("text")).substr(1));
    EXPECT_EQ(Collected(site.Records(), 1).front().at("severity"), "unknown");
}

TEST_P(CollectingTest, FieldsOfASystemLogMessageAreThoseOfTheRecord) {
    Site const site;
    Daemon daemon = site.Run(GetParam(), With("system log"));
    daemon.Start();
    std::string const before = "Nov 20 20:20:09 shop[77]: ";
    site.Log("<30>" + before + "[t:7](a.b):of another facility");
    site.Log("<15>" + before + "[t:7](a.b):trace or debug");
    site.Log("<14>" + before + "[t:4294967295]):no tag");
    site.Log("<12>" + before + "[t:7](a):): ](%s\t\\\"");
    site.Log("<11>" + before + "[t:7](a):one\n two");
    site.Log("<8>" + before + "[t:7](a):fatal ");
    std::vector<Fields> records = Collected(site.Records(), 5);
    for (Fields& fields : records) {
        std::string& time = fields["time"];
        EXPECT_TRUE(time.size() >= 25 && time[4] == '-' && time[10] == 'T' && time[16] == ':')
            << time;
        time = "arrival";
    }
    EXPECT_EQ(records, (std::vector<Fields>{
                           Full("debug", "arrival", "7", "a.b", "trace or debug"),
                           Full("info", "arrival", "4294967295", "", "no tag"),
                           Full("warning", "arrival", "7", "a", "): ](%s\t\\\""),
                           Full("error", "arrival", "7", "a", "one\n two"),
                           Full("fatal", "arrival", "7", "a", "fatal "),
                       }));
}

TEST(CollectingRsyslogTest, NoOtherRuleSeesARecordFromTheSystemLog) {
    Site const site;
    Daemon daemon = site.Run(Collector::kRsyslog, {"parser", "out", "system log"});
    daemon.Start();
    site.Log("<8>Nov 20 20:20:09 shop[77]: [t:7](a):ours");
    site.Log("<8>Nov 20 20:20:09 shop[77]: [t:x](a):not ours");
    site.Log("<8>Nov 20 20:20:09 shop[77]: not ours either");
    std::string const syslog = site.File("/var/log/syslog");
    WaitUntil("the others are in the machine's file", [&] {
        return std::filesystem::exists(syslog) &&
               ReadWholeFile(syslog).find("not ours either") != std::string::npos;
    });
    EXPECT_NE(ReadWholeFile(syslog).find("[t:x](a):not ours"), std::string::npos);
    EXPECT_EQ(ReadWholeFile(syslog).find("(a):ours"), std::string::npos);
    EXPECT_EQ(OnlyText(site.Records()), "ours");
}

/// Whether whoever listens there has read all datagrams.
bool HasReadAll(Endpoint const& endpoint) {
    std::ostringstream local;
    local << std::uppercase << std::hex << std::setfill('0') << std::setw(8)
          << ::inet_addr(endpoint.address.c_str()) << ':' << std::setw(4) << endpoint.port;
    std::istringstream sockets(ReadWholeFile("/proc/net/udp"));
    for (std::string line; std::getline(sockets, line);) {
        std::string::size_type const found = line.find(local.str());
        if (found != std::string::npos) {
            return line.find(" 00000000:00000000 ", found) != std::string::npos;
        }
    }
    throw std::runtime_error("nobody listens at " + local.str());
}

TEST(CollectingRsyslogTest, RelayKeepsRecordsUntilTheCollectorIsThereEvenWhenItIsRestarted) {
    Site const site;
    Daemon relay = site.Run(Collector::kRsyslog, {"parser", "relay", "udp"});
    relay.Start();
    std::vector<std::string> texts = Numbers(100);
    texts.push_back("one\n\ttwo " + std::string(60000, 'x'));
    for (std::string const& text : texts) {
        SendDatagram(site.Udp(), LineOf(Plain(text)));
    }
    WaitUntil("the relay has read the datagrams", [&] { return HasReadAll(site.Udp()); });
    relay.Stop();
    EXPECT_FALSE(std::filesystem::is_empty(site.File("/var/spool/rsyslog")));

    Daemon central(Collector::kRsyslog, site.File("/var/spool"),
                   site.Configuration(Collector::kRsyslog, {"central"}));
    central.Start();
    relay.Start();
    std::set<std::string> const expected(texts.begin(), texts.end());
    std::set<std::string> collected;
    WaitUntil("all records are at the collector", [&] {
        if (std::filesystem::exists(site.Records())) {
            std::vector<std::string> const come = Texts(site.Records(), 0);
            collected = std::set<std::string>(come.begin(), come.end());
        }
        return collected.size() >= expected.size();
    });
    EXPECT_EQ(collected, expected);
}

TEST(CollectingRsyslogTest, RelayTellsTheCollectorSeverityAndHost) {
    Site const site;
    std::string const configuration = site.Configuration(Collector::kRsyslog, {"central"});
    std::string const told = Replaced(configuration, "%msg%",
                                      "%syslogfacility-text%.%syslogseverity-text% %programname%");
    ASSERT_NE(told, configuration);
    Daemon central(Collector::kRsyslog, site.File("/var/spool"), told);
    central.Start();
    Daemon relay = site.Run(Collector::kRsyslog, {"parser", "relay", "udp"});
    relay.Start();
    for (Severity const severity : {kTrace, kInfo, kWarning, kError}) {
        Record record = Plain("text");
        record.severity = severity;
        SendDatagram(site.Udp(), LineOf(record));
    }
    EXPECT_EQ(WaitForLines(site.Records(), 4),
              "user.debug tarqlog\nuser.info tarqlog\nuser.warning tarqlog\nuser.err tarqlog\n");
}

}  // namespace
}  // namespace tarqlog
