#include "../tools/progress.h"

#include <sys/stat.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../tools/complaint.h"
#include "support/captured_stream.h"
#include "support/temporary_directory.h"

namespace tarqlog::tool {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Manner = Progress::Manner;

/// A clock that stands still, and a standard error that is taken down.
struct World {
    std::chrono::steady_clock::time_point time;
    std::size_t columns = 80;
    std::string written;

    Progress::Surroundings Surroundings() {
        return {[this] { return time; }, [this](std::string const& text) { written += text; },
                [this] { return columns; }};
    }

    /// What has been written since the last time.
    std::string Take() {
        std::string taken;
        taken.swap(written);
        return taken;
    }
};

std::string Blanks(std::size_t count) {
    return std::string(count, ' ');
}

// What is told

TEST(TarqlogProgressTest, LineTellsBytesLinesSpeedAndTimeLeft) {
    World world;
    Progress progress(Manner::kLine, 8 << 20, world.Surroundings());

    world.time += seconds(2);
    progress.Update(2 << 20, 1000);

    EXPECT_EQ(world.written,
              "\rtarqlog: 2.0 MiB of 8.0 MiB (25%), 1000 lines, 1.0 MiB/s, 0:06 left");
}

TEST(TarqlogProgressTest, WithoutAKnownSizeThereIsNoTimeLeft) {
    World world;
    Progress progress(Manner::kLine, 0, world.Surroundings());

    world.time += seconds(2);
    progress.Update(2 << 20, 1000);

    EXPECT_EQ(world.written, "\rtarqlog: 2.0 MiB, 1000 lines, 1.0 MiB/s");
}

TEST(TarqlogProgressTest, SizeThatIsExceededIsNoLongerKnown) {
    World world;
    Progress progress(Manner::kLine, 1023, world.Surroundings());

    world.time += seconds(1);
    progress.Update(1023, 7);
    EXPECT_EQ(world.Take(), "\rtarqlog: 1023 B of 1023 B (100%), 7 lines, 1023 B/s");
    world.time += seconds(1);
    progress.Update(1024, 8);
    EXPECT_EQ(world.Take(), "\rtarqlog: 1.0 KiB, 8 lines, 512 B/s" + Blanks(17));
}

TEST(TarqlogProgressTest, NothingDoneHasNoSpeed) {
    World world;
    Progress progress(Manner::kLine, 10, world.Surroundings());

    progress.Update(0, 0);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B of 10 B (0%), 0 lines");
    world.time += seconds(1);
    progress.Update(0, 0);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B of 10 B (0%), 0 lines");
}

TEST(TarqlogProgressTest, BytesHaveTheLargestUnitThatFits) {
    struct {
        unsigned long long bytes;
        char const* text;
    } const kCases[] = {
        {1023, "1023 B"},
        {1024, "1.0 KiB"},
        {1536, "1.5 KiB"},
        {1ULL << 20U, "1.0 MiB"},
        {5ULL << 30U, "5.0 GiB"},
        {3ULL << 40U, "3.0 TiB"},
        {2048ULL << 40U, "2048.0 TiB"},
    };
    for (auto const& row : kCases) {
        World world;
        Progress progress(Manner::kLine, 0, world.Surroundings());
        progress.Update(row.bytes, 0);
        EXPECT_EQ(world.written, "\rtarqlog: " + std::string(row.text) + ", 0 lines");
    }
}

TEST(TarqlogProgressTest, TimeLeftIsRoundedUpAndHasHoursWhereThereAreAny) {
    struct {
        unsigned long long size;
        char const* left;
    } const kCases[] = {
        {10, ""},
        {11, ", 0:01 left"},
        {20, ", 0:01 left"},
        {21, ", 0:02 left"},
        {10 + 35990, ", 59:59 left"},
        {10 + 36000, ", 1:00:00 left"},
        {10 + 37230, ", 1:02:03 left"},
        {10 + 3599990, ", 99:59:59 left"},
        {10 + 3600000, ""},  // too far to tell
        {1ULL << 62U, ""},
    };
    for (auto const& row : kCases) {
        SCOPED_TRACE(row.size);
        World world;
        Progress progress(Manner::kLine, row.size, world.Surroundings());
        world.time += seconds(1);
        progress.Update(10, 0);
        std::string const speed = "10 B/s";
        EXPECT_EQ(world.written.substr(world.written.find(speed) + speed.size()), row.left);
    }
}

// When it is told

TEST(TarqlogProgressTest, LineIsThereAtOnceAndRewrittenFourTimesASecondAtMost) {
    World world;
    Progress progress(Manner::kLine, 0, world.Surroundings());

    progress.Update(0, 1);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 1 lines");
    world.time += milliseconds(249);
    progress.Update(0, 2);
    EXPECT_EQ(world.Take(), "");
    world.time += milliseconds(1);
    progress.Update(0, 3);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 3 lines");
    world.time += milliseconds(249);
    progress.Update(0, 4);
    EXPECT_EQ(world.Take(), "");
}

TEST(TarqlogProgressTest, LineOfLongWorkComesAfterTwoSeconds) {
    World world;
    Progress progress(Manner::kLineIfLong, 0, world.Surroundings());

    progress.Update(0, 0);
    world.time += milliseconds(1999);
    progress.Update(0, 1);
    EXPECT_EQ(world.Take(), "");
    world.time += milliseconds(1);
    progress.Update(0, 2);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 2 lines");
    world.time += milliseconds(250);
    progress.Update(0, 3);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 3 lines");
}

TEST(TarqlogProgressTest, WorkThatIsSoonOverIsNotTold) {
    World world;
    {
        Progress progress(Manner::kLineIfLong, 0, world.Surroundings());
        world.time += milliseconds(1999);
        progress.Update(1, 1);
        progress.End(1, 1);
    }
    EXPECT_EQ(world.written, "");
}

TEST(TarqlogProgressTest, WholeLinesComeEachTenSecondsAndAtTheEnd) {
    World world;
    Progress progress(Manner::kLines, 100, world.Surroundings());

    progress.Update(0, 0);
    world.time += milliseconds(9999);
    progress.Update(9, 1);
    EXPECT_EQ(world.Take(), "");
    world.time += milliseconds(1);
    progress.Update(10, 2);
    EXPECT_EQ(world.Take(), "tarqlog: 10 B of 100 B (10%), 2 lines, 1 B/s, 1:30 left\n");
    world.time += milliseconds(9999);
    progress.Update(20, 3);
    EXPECT_EQ(world.Take(), "");
    world.time += milliseconds(1);
    progress.End(100, 4);
    EXPECT_EQ(world.Take(), "tarqlog: 100 B of 100 B (100%), 4 lines, 5 B/s\n");
}

TEST(TarqlogProgressTest, NothingIsToldWhereNobodyWantsToKnow) {
    World world;
    {
        Progress progress(Manner::kNone, 100, world.Surroundings());
        world.time += hours(1);
        progress.Update(10, 1);
        progress.End(100, 1);
    }
    EXPECT_EQ(world.written, "");
}

// The terminal's line

TEST(TarqlogProgressTest, ShorterLineLeavesNothingOfTheLongerBehind) {
    World world;
    Progress progress(Manner::kLine, 0, world.Surroundings());

    progress.Update(1023, 100);
    world.Take();
    world.time += seconds(1023);
    progress.Update(1023, 7);
    EXPECT_EQ(world.Take(), "\rtarqlog: 1023 B, 7 lines, 1 B/s");
    world.time += seconds(1);
    progress.Update(0, 7);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 7 lines" + Blanks(10));
    progress.End(0, 7);
    EXPECT_EQ(world.Take(), "\r" + Blanks(22 - 1) + "\r");
}

TEST(TarqlogProgressTest, LineIsGoneWhenTheWorkIsGivenUp) {
    World world;
    {
        Progress progress(Manner::kLine, 0, world.Surroundings());
        progress.Update(0, 0);
        EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 0 lines");
    }
    EXPECT_EQ(world.Take(), "\r" + Blanks(21) + "\r");
}

TEST(TarqlogProgressTest, LineIsClearedOnceAndComesBackWithTheNextUpdate) {
    World world;
    Progress progress(Manner::kLine, 0, world.Surroundings());
    progress.Clear();
    EXPECT_EQ(world.Take(), "");
    progress.Update(0, 0);
    world.Take();

    progress.Clear();
    EXPECT_EQ(world.Take(), "\r" + Blanks(21) + "\r");
    progress.Clear();
    EXPECT_EQ(world.Take(), "");
    world.time += seconds(1);
    progress.Update(0, 0);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 0 lines");
}

TEST(TarqlogProgressTest, LineLeavesTheLastColumnOfTheTerminalFree) {
    World world;
    world.columns = 18;
    Progress progress(Manner::kLine, 0, world.Surroundings());

    progress.Update(0, 0);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 0 l");
    world.columns = 11;  // the window was made smaller
    progress.Clear();
    EXPECT_EQ(world.Take(), "\r" + Blanks(10) + "\r");
}

TEST(TarqlogProgressTest, NothingIsWrittenToATerminalThatIsNotOurs) {
    World world;
    world.columns = 0;
    Progress progress(Manner::kLine, 0, world.Surroundings());

    progress.Update(0, 0);
    progress.Clear();
    EXPECT_EQ(world.Take(), "");

    world.columns = 80;
    world.time += seconds(1);
    progress.Update(0, 0);
    EXPECT_EQ(world.Take(), "\rtarqlog: 0 B, 0 lines");
    world.columns = 0;
    progress.End(0, 0);
    EXPECT_EQ(world.Take(), "");
}

TEST(TarqlogProgressTest, ComplaintFindsTheLineCleared) {
    World world;
    CapturedStream const errors(stderr);
    {
        Progress progress(Manner::kLine, 0, world.Surroundings());
        progress.Update(0, 0);
        world.Take();

        Complain("no such file");

        EXPECT_EQ(world.Take(), "\r" + Blanks(21) + "\r");
    }
    EXPECT_EQ(errors.Text(), "tarqlog: no such file\n");
}

TEST(TarqlogProgressTest, ComplaintAfterTheWorkIsOnItsOwn) {
    World world;
    CapturedStream const errors(stderr);
    {
        Progress progress(Manner::kLine, 0, world.Surroundings());
        progress.Update(0, 0);
        world.Take();
        world.columns = 0;  // the line is left to whoever has the terminal now
    }
    world.columns = 80;

    Complain("no such file");

    EXPECT_EQ(world.Take(), "");
}

// How much there is to do

TEST(TarqlogProgressTest, BytesToReadAreThoseOfAllFiles) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "12345");
    WriteWholeFile(directory.File("b"), "123");

    EXPECT_EQ(BytesToRead({directory.File("a"), directory.File("b"), directory.File("a"),
                           directory.File("missing")}),
              13U);
    EXPECT_EQ(BytesToRead({}), 0U);
}

TEST(TarqlogProgressTest, BytesToReadAreUnknownWhereOneIsNoFile) {
    TemporaryDirectory const directory;
    WriteWholeFile(directory.File("a"), "12345");
    ASSERT_EQ(::mkfifo(directory.File("fifo").c_str(), 0600), 0);

    EXPECT_EQ(BytesToRead({directory.File("a"), directory.File("fifo")}), std::nullopt);
    EXPECT_EQ(BytesToRead({"/dev/null", directory.File("a")}), std::nullopt);
}

}  // namespace
}  // namespace tarqlog::tool
