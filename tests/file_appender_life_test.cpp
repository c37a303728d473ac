// What happens to log files in the wild, with the system's own faults.

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/file_appender.h"

#include "support/child.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

constexpr auto kAppend = FileAppender::kAppendMode;

std::string Line(std::string const& text) {
    return "I [2023-11-14 22:13:20.123][t:4242](core):" + text + "\n";
}

std::string Text(int number) {
    return "record " + std::to_string(number);
}

std::string Lines(int first, int last) {
    std::string lines;
    for (int number = first; number <= last; ++number) {
        lines += Line(Text(number));
    }
    return lines;
}

void Log(AppenderBase& appender, int first, int last) {
    for (int number = first; number <= last; ++number) {
        appender.Append(TaggedRecord(kInfo, Text(number), {"core"}));
    }
}

class FileAppenderLifeTest : public testing::Test {
protected:
    InstalledHooks const hooks_{[] { return 1700000000123LL; }, [] { return 4242U; }};
    TemporaryDirectory const directory_;
    std::string const path_ = directory_.File("app.log");
    std::string const moved_ = directory_.File("moved.log");
};

TEST_F(FileAppenderLifeTest, MovedFileGetsTheRestOf64Records) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log(appender, 1, 10);
    std::filesystem::rename(path_, moved_);

    Log(appender, 11, 70);

    EXPECT_EQ(ReadWholeFile(moved_), Lines(1, 64));
    EXPECT_EQ(ReadWholeFile(path_), Lines(65, 70));
}

TEST_F(FileAppenderLifeTest, ReopenedFileLeavesTheMovedOneAlone) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log(appender, 1, 10);
    std::filesystem::rename(path_, moved_);

    EXPECT_TRUE(appender.Reopen());
    Log(appender, 11, 12);

    EXPECT_EQ(ReadWholeFile(moved_), Lines(1, 10));
    EXPECT_EQ(ReadWholeFile(path_), Lines(11, 12));
}

TEST_F(FileAppenderLifeTest, DeletedFileIsMadeAgainWithin64Records) {
    FileAppender appender(path_, 0, 10, kAppend);
    Log(appender, 1, 10);
    std::filesystem::remove(path_);

    Log(appender, 11, 64);
    EXPECT_FALSE(std::filesystem::exists(path_));
    Log(appender, 65, 74);

    EXPECT_EQ(ReadWholeFile(path_), Lines(65, 74));
}

TEST_F(FileAppenderLifeTest, DeletedDirectoryLosesRecordsUntilItIsBack) {
    std::string const folder = directory_.File("logs");
    std::filesystem::create_directory(folder);
    FileAppender appender(folder + "/app.log", 0, 0, kAppend);
    Log(appender, 1, 10);
    std::filesystem::remove_all(folder);
    Log(appender, 11, 70);
    std::filesystem::create_directory(folder);

    Log(appender, 71, 72);

    EXPECT_EQ(ReadWholeFile(folder + "/app.log"), Lines(71, 72));
}

TEST_F(FileAppenderLifeTest, FileCutByOthersIsAppendedTo) {
    FileAppender appender(path_, 0, 0, kAppend);
    Log(appender, 1, 10);
    std::filesystem::resize_file(path_, 0);

    Log(appender, 11, 12);

    EXPECT_EQ(ReadWholeFile(path_), Lines(11, 12));
}

TEST_F(FileAppenderLifeTest, RollOfAFileThatWasDeletedMovesTheOthersUp) {
    RollingFileAppender appender(path_, 1, 2, 0);
    WriteWholeFile(path_ + ".1", "one");
    Log(appender, 1, 20);  // a KiB
    std::filesystem::remove(path_);

    Log(appender, 21, 21);

    EXPECT_EQ(ReadWholeFile(path_), Lines(21, 21));
    EXPECT_FALSE(std::filesystem::exists(path_ + ".1"));
    EXPECT_EQ(ReadWholeFile(path_ + ".2"), "one");
}

TEST_F(FileAppenderLifeTest, FullFileSystemCutsALineAndLoggingGoesOnWhenThereIsSpace) {
    ChildResult const result = RunInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        FileAppender appender(path_, 0, 0, kAppend);
        Log(appender, 1, 2);
        limit.rlim_cur =
            102 + 45;  // two lines, the header of a third and three letters of its text
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            return 1;
        }
        Log(appender, 3, 5);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        Log(appender, 6, 6);
        return 0;
    });

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(ReadWholeFile(path_),
              Lines(1, 2) + "I [2023-11-14 22:13:20.123][t:4242](core):rec" + Lines(6, 6));
}

TEST_F(FileAppenderLifeTest, FolderThatLosesItsPermissionsLosesRecordsUntilItHasThemAgain) {
    std::filesystem::permissions(directory_.Path(), std::filesystem::perms::all);

    ChildResult const result = RunInChild([&] {
        constexpr uid_t kNobody = 65534;  // root may do everything
        if (::getuid() == 0 && (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
            return 1;
        }
        std::string const folder = directory_.File("logs");
        std::string const path = folder + "/app.log";
        std::filesystem::create_directory(folder);
        RollingFileAppender appender(path, 1, 2, 0);
        Log(appender, 1, 20);  // a KiB
        ::chmod(folder.c_str(), 0500);
        Log(appender, 21, 21);  // cannot be renamed, so it is emptied
        bool const emptied = ReadWholeFile(path) == Lines(21, 21);
        ::chmod(folder.c_str(), 0);
        appender.Close();
        Log(appender, 22, 22);  // lost
        ::chmod(folder.c_str(), 0700);
        Log(appender, 23, 23);
        return emptied && ReadWholeFile(path) == Lines(21, 21) + Lines(23, 23) ? 0 : 2;
    });

    EXPECT_EQ(result.exitStatus, 0);
}

constexpr int kRecordsOfEach = 2000;

std::string Text(char process, int number) {
    return process + std::to_string(number);
}

/// Lets the processes 'a' and 'b' write their records to one file, side by side.
void LogInTwoProcesses(std::string const& path, int bufferedRecords) {
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    std::vector<pid_t> children;
    for (char const process : {'a', 'b'}) {
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(start[1]);
            char none = 0;
            if (::read(start[0], &none, 1) != 0) {  // waits until our parent has closed the pipe
                ::_exit(1);
            }
            {
                FileAppender appender(path, 0, bufferedRecords, kAppend);
                for (int number = 0; number < kRecordsOfEach; ++number) {
                    appender.Append(TaggedRecord(kInfo, Text(process, number), {"core"}));
                }
            }
            ::_exit(0);
        }
        children.push_back(child);
    }
    ::close(start[0]);
    ::close(start[1]);
    for (pid_t const child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
}

TEST_F(FileAppenderLifeTest, BufferedLinesOfTwoProcessesStayWhole) {
    LogInTwoProcesses(path_, 3);

    int next[2] = {0, 0};
    std::istringstream lines(ReadWholeFile(path_));
    for (std::string line; std::getline(lines, line);) {
        ASSERT_GT(line.size(), 42U);
        char const process = line[42];
        int& number = next[process == 'a' ? 0 : 1];
        ASSERT_EQ(line + '\n', Line(Text(process, number++)));
    }
    EXPECT_EQ(next[0], kRecordsOfEach);
    EXPECT_EQ(next[1], kRecordsOfEach);
}

TEST_F(FileAppenderLifeTest, UnbufferedLinesOfTwoProcessesMayMixButLoseNothing) {
    LogInTwoProcesses(path_, 0);

    std::set<std::string> whole;
    std::string pieces;  // of all lines, in any order
    for (char const process : {'a', 'b'}) {
        for (int number = 0; number < kRecordsOfEach; ++number) {
            whole.insert(Line(Text(process, number)));
            pieces += Line(Text(process, number));
        }
    }
    std::string content = ReadWholeFile(path_);
    std::istringstream lines(content);
    std::size_t torn = whole.size();
    for (std::string line; std::getline(lines, line);) {
        torn -= whole.erase(line + '\n');
    }
    std::cout << torn << " of " << 2 * kRecordsOfEach << " lines are torn\n";
    std::sort(pieces.begin(), pieces.end());
    std::sort(content.begin(), content.end());
    EXPECT_EQ(content, pieces);
}

}  // namespace
}  // namespace tarqlog
