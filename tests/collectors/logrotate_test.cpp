// Log files that a real logrotate rotates.

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/file_appender.h"

#include "collectors/daemon.h"
#include "collectors/page.h"
#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

constexpr int kRotations = 20;
constexpr int kKept = 99;

std::string Line(int number) {
    return "I [2023-11-14 22:13:20.123][t:4242](core):record " + std::to_string(number) + "\n";
}

void Log(AppenderBase& appender, int first, int last) {
    for (int number = first; number <= last; ++number) {
        appender.Append(TaggedRecord(kInfo, "record " + std::to_string(number), {"core"}));
    }
}

/// The lines from `first` to `last`.
std::string Lines(int first, int last) {
    std::string lines;
    for (int number = first; number <= last; ++number) {
        lines += Line(number);
    }
    return lines;
}

class LogrotateTest : public testing::Test {
protected:
    /// Rotates app.log, whatever its size, as logrotate's `directives` say.
    void Rotate(std::string const& directives) const {
        RotateAs("\"" + path_ + "\" {\nrotate " + std::to_string(kKept) + "\n" + directives +
                 "\n}\n");
    }

    /// Rotates what is due or not, as the whole `configuration` says.
    void RotateAs(std::string const& configuration) const {
        WriteWholeFile(directory_.File("logrotate.conf"), configuration);
        ChildResult const result = RunUnpacked(
            "logrotate",
            {"--force", "--state", directory_.File("state"), directory_.File("logrotate.conf")});
        ASSERT_EQ(result.exitStatus, 0) << result.errors;
    }

    /// What the files hold, the oldest first.
    std::vector<std::string> Contents() const {
        std::vector<std::string> contents;
        for (int number = kKept; number >= 0; --number) {
            std::string const path = number > 0 ? path_ + "." + std::to_string(number) : path_;
            if (std::filesystem::exists(path)) {
                contents.push_back(ReadWholeFile(path));
            }
        }
        return contents;
    }

    /// Logs on a thread of its own while logrotate rotates; returns the last record's number.
    int LogWhileRotating(AppenderBase& appender, std::string const& directives) {
        std::atomic<bool> isDone{false};
        int last = 0;
        std::thread logging([&] {
            while (!isDone) {
                ++last;
                Log(appender, last, last);
            }
        });
        for (int rotation = 0; rotation < kRotations; ++rotation) {
            Rotate(directives);
        }
        isDone = true;
        logging.join();
        return last;
    }

    /// The tool, to be written to, with app.log for its file. Its process id is in the file "pid".
    std::FILE* OpenTool() const {
        // The shell notes the number that the tool has after it.
        std::string const command = "echo $$ >'" + directory_.File("pid") +
                                    "'; exec " TARQLOG_TOOL " -o 'file:" + path_ + ",buffer=9'";
        return ::popen(command.c_str(), "w");
    }

    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TemporaryDirectory const directory_;
    std::string const path_ = directory_.File("app.log");
};

TEST_F(LogrotateTest, RenamedFileTakesTheRestOf64RecordsAndTheNewOneWhatFollows) {
    FileAppender appender(path_, 0, 0, FileAppender::kAppendMode);
    Log(appender, 1, 10);
    Rotate("create");
    EXPECT_EQ(ReadWholeFile(path_), "");

    Log(appender, 11, 70);

    EXPECT_EQ(ReadWholeFile(path_ + ".1"), Lines(1, 64));
    EXPECT_EQ(ReadWholeFile(path_), Lines(65, 70));
}

TEST_F(LogrotateTest, CopiedAndEmptiedFileIsWrittenFromItsBeginning) {
    FileAppender appender(path_, 0, 0, FileAppender::kAppendMode);
    Log(appender, 1, 10);
    Rotate("copytruncate");
    EXPECT_EQ(ReadWholeFile(path_), "");

    Log(appender, 11, 12);

    EXPECT_EQ(ReadWholeFile(path_ + ".1"), Lines(1, 10));
    EXPECT_EQ(ReadWholeFile(path_), Lines(11, 12));
}

TEST_F(LogrotateTest, FileTruncatedAtTheStartHasAHoleUntilItIsReopened) {
    FileAppender appender(path_, 0, 0, FileAppender::kTruncateMode);
    Log(appender, 1, 10);
    Rotate("copytruncate");

    Log(appender, 11, 64);
    Log(appender, 65, 66);

    std::string const hole(Lines(1, 10).size(), '\0');
    EXPECT_EQ(ReadWholeFile(path_), hole + Lines(11, 66));
}

TEST_F(LogrotateTest, RenamingLosesNothingThatIsWrittenMeanwhile) {
    RollingFileAppender appender(path_, 0, 5, 10);  // without a limit it leaves rolling to others

    // Not "create": logrotate puts a file aside that we were quicker to make.
    int const last = LogWhileRotating(appender, "nocreate\nmissingok");
    appender.Close();

    std::vector<std::string> const contents = Contents();
    EXPECT_GT(contents.size(), 1U);
    std::string const lines = std::accumulate(contents.begin(), contents.end(), std::string());
    EXPECT_TRUE(lines == Lines(1, last));  // too much to be shown
}

TEST_F(LogrotateTest, CopyingLosesWhatIsWrittenBeforeTheTruncationAndNothingElse) {
    FileAppender appender(path_, 0, 10, FileAppender::kAppendMode);

    int const last = LogWhileRotating(appender, "copytruncate");
    appender.Close();

    int next = 1;
    int lost = 0;
    std::vector<std::string> const contents = Contents();
    EXPECT_EQ(contents.size(), kRotations + 1U);
    for (std::string const& content : contents) {
        // The copy may end within a line.
        std::istringstream lines(content.substr(0, content.rfind('\n') + 1));
        bool isFirst = true;
        for (std::string line; std::getline(lines, line); isFirst = false) {
            std::string::size_type const word = line.rfind(' ') + 1;
            int const number = std::stoi(line.substr(word));
            ASSERT_EQ(line + '\n', Line(number));
            ASSERT_TRUE(number == next || (isFirst && number > next)) << number << ", not " << next;
            lost += number - next;
            next = number + 1;
        }
    }
    EXPECT_EQ(next, last + 1);
    std::printf("%d of %d lines are lost to %d truncations\n", lost, last, kRotations);
}

TEST_F(LogrotateTest, ToolReopensItsFileWhenLogrotateTellsIt) {
    std::FILE* const tool = OpenTool();
    ASSERT_NE(tool, nullptr);
    std::fputs("before\n", tool);
    std::fflush(tool);
    WaitForLines(path_, 1);

    Rotate("nocreate\npostrotate\nkill -HUP $(cat " + directory_.File("pid") + ")\nendscript");
    WaitUntil("the tool reopens " + path_, [&] { return std::filesystem::exists(path_); });
    std::fputs("after\n", tool);
    EXPECT_EQ(::pclose(tool), 0);

    EXPECT_NE(ReadWholeFile(path_ + ".1").find(":before\n"), std::string::npos);
    EXPECT_NE(ReadWholeFile(path_).find(":after\n"), std::string::npos);
    EXPECT_EQ(ReadWholeFile(path_).find(":before\n"), std::string::npos);
}

TEST_F(LogrotateTest, ConfigurationOfTheRecipeKeepsEachLineAndCompressesTheOlderFile) {
    std::string configuration = Block(TARQLOG_RECIPES_PAGE, "logrotate gate");
    configuration = Replaced(configuration, "/var/log/shop/*.log", "\"" + path_ + "\"");
    configuration = Replaced(configuration, "/run/shop.pid", directory_.File("pid"));
    std::FILE* const tool = OpenTool();
    ASSERT_NE(tool, nullptr);
    for (char const* const text : {"first\n", "second\n"}) {
        std::fputs(text, tool);
        std::fflush(tool);
        WaitForLines(path_, 1);
        RotateAs(configuration);
        WaitUntil("the tool reopens " + path_, [&] { return std::filesystem::exists(path_); });
    }
    std::fputs("third\n", tool);
    EXPECT_EQ(::pclose(tool), 0);

    ChildResult const older = RunProgram("/usr/bin/env", {"gzip", "-dc", path_ + ".2.gz"});
    EXPECT_NE(older.output.find(":first\n"), std::string::npos) << older.errors;
    EXPECT_NE(ReadWholeFile(path_ + ".1").find(":second\n"), std::string::npos);
    EXPECT_NE(ReadWholeFile(path_).find(":third\n"), std::string::npos);
}

}  // namespace
}  // namespace tarqlog
