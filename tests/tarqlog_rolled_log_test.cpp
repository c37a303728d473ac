#include "../tools/rolled_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "../tools/merge.h"
#include "support/captured_stream.h"
#include "support/interpose.h"
#include "support/temporary_directory.h"

namespace tarqlog::tool {
namespace {

std::function<void()> atEnd;  // is called once, when a file is found to be at its end

}  // namespace
}  // namespace tarqlog::tool

extern "C" ssize_t read(int descriptor, void* data, std::size_t size) {
    ssize_t const result = TARQLOG_NEXT(read)(descriptor, data, size);
    if (result == 0 && tarqlog::tool::atEnd) {
        std::exchange(tarqlog::tool::atEnd, nullptr)();
    }
    return result;
}

namespace tarqlog::tool {
namespace {

using State = RolledLog::State;

std::string At(int second, std::string const& text) {
    char header[64];
    std::snprintf(header, sizeof header, "I [2026-11-21 16:49:%02d.000][t:7](job):", second);
    return header + text + "\n";
}

void Append(std::string const& path, std::string const& content) {
    std::ofstream(path, std::ios::app) << content;
}

void SetTime(std::string const& path, long seconds) {
    timespec const times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

/// A log in a folder of its own.
class TarqlogRolledLogTest : public testing::Test {
protected:
    std::string Name(int number = 0) const {
        return directory_.File(number == 0 ? "log" : "log." + std::to_string(number));
    }

    /// What there is to read for now; a record that may still grow counts as complete.
    std::string Read(RolledLog& log) {
        std::string bytes;
        for (;;) {
            State const state = log.Find();
            if (state == State::kRecord) {
                bytes += log.Front().bytes;
                log.Pop();
            } else if (state == State::kBegun) {
                log.NoteTime();
            } else {
                return bytes;
            }
        }
    }

    TemporaryDirectory const directory_;
};

TEST_F(TarqlogRolledLogTest, WhatIsAddedBeforeARollComesBeforeTheNewFile) {
    for (bool const follows : {false, true}) {
        SCOPED_TRACE(follows);
        WriteWholeFile(Name(), At(1, "one"));
        ::unlink(Name(1).c_str());
        atEnd = [this] {
            Append(Name(), At(2, "two"));
            ::rename(Name().c_str(), Name(1).c_str());
            WriteWholeFile(Name(), At(3, "three"));
        };
        RolledLog log(Name(), follows);

        EXPECT_EQ(Read(log), At(1, "one") + At(2, "two") + At(3, "three"));
        EXPECT_EQ(atEnd, nullptr);  // it was asked
    }
}

TEST_F(TarqlogRolledLogTest, EndOfTheLastFileIsTheEndUnlessFollowing) {
    WriteWholeFile(Name(), At(1, "one"));
    RolledLog log(Name(), false);
    RolledLog followed(Name(), true);
    EXPECT_EQ(Read(log), At(1, "one"));
    EXPECT_EQ(Read(followed), At(1, "one"));
    EXPECT_TRUE(log.HasStopped());
    EXPECT_FALSE(followed.HasStopped());
    Append(Name(), At(2, "two"));

    EXPECT_EQ(Read(log), "");
    EXPECT_EQ(Read(followed), At(2, "two"));
}

TEST_F(TarqlogRolledLogTest, FileThatWasReadIsNotReadAgainWhenTheOneInHandLosesItsName) {
    WriteWholeFile(Name(1), At(1, "one"));
    WriteWholeFile(Name(), At(2, "two"));
    SetTime(Name(1), 1000000000);
    SetTime(Name(), 1000000000);
    RolledLog log(Name(), true);
    EXPECT_EQ(Read(log), At(1, "one") + At(2, "two"));
    ::rename(Name().c_str(), directory_.File("away").c_str());
    WriteWholeFile(Name(), At(3, "three"));

    EXPECT_EQ(Read(log), At(3, "three"));
}

TEST_F(TarqlogRolledLogTest, FileOfTheSameTimeThatWasNotReadIsRead) {
    WriteWholeFile(Name(1), At(0, "zero"));
    WriteWholeFile(Name(), At(1, "one"));
    SetTime(Name(1), 1000000000);
    SetTime(Name(), 1000000000);
    RolledLog log(Name(), true);
    EXPECT_EQ(Read(log), At(0, "zero") + At(1, "one"));
    ::rename(Name(1).c_str(), directory_.File("further").c_str());
    ::rename(Name().c_str(), directory_.File("away").c_str());
    WriteWholeFile(Name(1), At(2, "two"));
    SetTime(Name(1), 1000000000);
    WriteWholeFile(Name(), At(3, "three"));
    CapturedStream const errors(stderr);

    EXPECT_EQ(Read(log), At(2, "two") + At(3, "three"));
}

TEST_F(TarqlogRolledLogTest, RollsThatMayHaveOutrunTheReadingAreTold) {
    WriteWholeFile(Name(), At(1, "one"));
    RolledLog log(Name(), true);
    EXPECT_EQ(Read(log), At(1, "one"));
    ::unlink(Name().c_str());
    WriteWholeFile(Name(1), At(3, "three"));
    WriteWholeFile(Name(), At(4, "four"));
    CapturedStream const errors(stderr);

    EXPECT_EQ(Read(log), At(3, "three") + At(4, "four"));
    EXPECT_EQ(errors.Text(), "tarqlog: " + Name() +
                                 ": files have rolled away before they were read; records may be "
                                 "missing\n");
    EXPECT_FALSE(log.HasFailed());
}

TEST_F(TarqlogRolledLogTest, FileThatBeginsAnewIsNoLoss) {
    WriteWholeFile(Name(), At(1, "one"));
    RolledLog log(Name(), true);
    EXPECT_EQ(Read(log), At(1, "one"));
    ::unlink(Name().c_str());
    WriteWholeFile(Name(), At(2, "two"));
    CapturedStream const errors(stderr);

    EXPECT_EQ(Read(log), At(2, "two"));
    EXPECT_EQ(errors.Text(), "");
}

TEST_F(TarqlogRolledLogTest, RecordThatGoesOnGrowingIsGivenAwayInTheEnd) {
    WriteWholeFile(Name(), At(1, "one"));
    RolledLog log(Name(), true);
    int looks = 0;
    for (; log.Find() == State::kBegun && looks < 100; ++looks) {
        Append(Name(), "more\n");
        log.NoteTime();
    }

    EXPECT_EQ(looks, 5);
    ASSERT_EQ(log.Find(), State::kRecord);
    EXPECT_EQ(log.Front().text, "one\nmore\nmore\nmore\nmore");
    log.Pop();
    EXPECT_EQ(log.Find(), State::kBegun);  // what continues it has as long
}

TEST_F(TarqlogRolledLogTest, LineWithoutEndKeepsNobodyWaiting) {
    WriteWholeFile(Name(), "I [2026-11-21 16:49:01.000][t:7](job):x");
    RolledLog log(Name(), true);
    int looks = 0;
    for (; log.Find() == State::kBegun && looks < 100; ++looks) {
        Append(Name(), "x");
        log.NoteTime();
    }

    EXPECT_EQ(looks, 5);
    EXPECT_EQ(log.Find(), State::kNone);
    Append(Name(), "\n" + At(2, "two"));
    EXPECT_EQ(Read(log), "I [2026-11-21 16:49:01.000][t:7](job):xxxxxx\n" + At(2, "two"));
}

TEST_F(TarqlogRolledLogTest, LogIsAskedAgainWhileAnotherOneFloods) {
    std::string const flood = directory_.File("flood");
    std::string records;
    for (int i = 0; i < 30000; ++i) {
        records += At(2, "x");
    }
    WriteWholeFile(flood, records);
    WriteWholeFile(Name(), At(1, "one") + At(1, "two"));
    Merge merge({flood, Name()}, true);
    ASSERT_EQ(merge.Next()->Front().text, "one");
    ASSERT_EQ(merge.Next(), nullptr);  // "two" may still grow
    merge.NoteTime();
    merge.NoteTime();
    ASSERT_EQ(merge.Next()->Front().text, "two");
    ASSERT_EQ(merge.Next()->Front().text, "x");
    Append(Name(), At(1, "three") + At(1, "four"));
    int count = 0;
    while (merge.Next()->Front().text == "x") {
        ++count;
    }

    EXPECT_LT(count, 29999);
}

}  // namespace
}  // namespace tarqlog::tool
