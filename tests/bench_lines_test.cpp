#include "../bench/lines.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../bench/request.h"

namespace tarqlog::bench {
namespace {

std::string Line(long index) {
    return "I [2026-11-20 20:20:09.433][t:17286](core.io):" + TextOf(index) + "\n";
}

std::string Lines(std::vector<long> const& indices) {
    std::string lines;
    for (long const index : indices) {
        lines += Line(index);
    }
    return lines;
}

Expected Records(long records, int threads = 1, bool isRolling = false) {
    return {"core.io", records, 0, threads, isRolling};
}

/// Line(0) with `from` replaced by `to`.
std::string Spoilt(std::string const& from, std::string const& to) {
    std::string line = Line(0);
    return line.replace(line.find(from), from.size(), to);
}

TEST(BenchLinesTest, SaysNothingOfTheLinesThatAreDue) {
    EXPECT_EQ(FirstComplaint(Lines({0, 1, 2}), Records(3)), "");
}

TEST(BenchLinesTest, TextOfARecordIsThatOfTheStatements) {
    EXPECT_EQ(TextOf(7), "request 10007 took 359 us path /api/v1/orders status 404");
}

TEST(BenchLinesTest, RefusesEveryOtherHeader) {
    std::vector<std::string> const spoilt = {
        Spoilt("I [", "W ["),         Spoilt("2026-11-20 ", "2026-11-2 "),
        Spoilt(".433]", ".4330]"),    Spoilt("[t:17286]", "[t:0x7f86]"),
        Spoilt("[t:17286]", "[t:]"),  Spoilt("(core.io)", "(core.iq)"),
        Spoilt("(core.io)", "(core)")};
    for (std::string const& line : spoilt) {
        EXPECT_EQ(FirstComplaint(line, Records(1)).substr(0, 24), "another header in line 1")
            << line;
    }
}

TEST(BenchLinesTest, RefusesAnotherText) {
    for (std::string const& line : {Spoilt("took", "look"), Spoilt("200\n", "200 \n"),
                                    Spoilt("request 10000", "request 10001")}) {
        EXPECT_EQ(FirstComplaint(line, Records(1)).substr(0, 37),
                  "another text than is due in line 1: I")
            << line;
    }
}

TEST(BenchLinesTest, RefusesLinesThatAreMissingDoubledOrOutOfOrder) {
    EXPECT_NE(FirstComplaint(Lines({0, 2}), Records(3)), "");
    EXPECT_NE(FirstComplaint(Lines({1, 2}), Records(3)), "");
    EXPECT_NE(FirstComplaint(Lines({0, 1, 1, 2}), Records(3)), "");
    EXPECT_NE(FirstComplaint(Lines({0, 2, 1}), Records(3)), "");
    EXPECT_NE(FirstComplaint(Lines({0, 1, 2, 3}), Records(3)), "");
    EXPECT_EQ(FirstComplaint(Lines({0, 1}), Records(3)), "records are missing at the end");
    EXPECT_EQ(FirstComplaint("", Records(3)), "records are missing at the end");
}

TEST(BenchLinesTest, RefusesALineThatDoesNotEnd) {
    EXPECT_EQ(FirstComplaint(Line(0) + "I [", Records(1)), "no line feed in line 2: I [");
}

TEST(BenchLinesTest, LinesOfThreadsMayMixEachInItsOrder) {
    EXPECT_EQ(FirstComplaint(Lines({2, 0, 3, 1}), Records(4, 2)), "");
    EXPECT_NE(FirstComplaint(Lines({3, 0, 2, 1}), Records(4, 2)), "");
}

TEST(BenchLinesTest, FilesThatRollHoldTheNewestLines) {
    EXPECT_EQ(FirstComplaint(Lines({1, 2}), Records(3, 1, true)), "");
    EXPECT_NE(FirstComplaint(Lines({0, 1}), Records(3, 1, true)), "");
    EXPECT_NE(FirstComplaint(Lines({0, 2}), Records(3, 1, true)), "");
}

}  // namespace
}  // namespace tarqlog::bench
