// `make faults` in its quick form, with our own library alone: that each fault strikes and that we
// keep what we promise under it; and that a writer with a flaw would be noticed.

#include "faults/rows.h"

#include <sched.h>

#include <string>

#include <gtest/gtest.h>

#include "collectors/isolation.h"
#include "support/child.h"

namespace tarqlog::faults {

namespace {

class PlantedWriterTest : public testing::Test {
protected:
    Verdict With(std::string const& flaw) const { return JudgePlanted(planted_, flaw); }

private:
    Peer const planted_ = AskPeer(TARQLOG_PLANTED_WRITER);
};

TEST_F(PlantedWriterTest, WithoutAFlawIsFoundWhole) {
    Verdict const verdict = With("");
    EXPECT_EQ(verdict.found, 10000);
    EXPECT_EQ(verdict.lost, 0);
    EXPECT_EQ(verdict.doubled, 0);
    EXPECT_EQ(verdict.reordered, 0);
    EXPECT_EQ(verdict.torn, 0);
}

TEST_F(PlantedWriterTest, ThatLosesIsNoticed) {
    EXPECT_EQ(With("loses").lost, 10);
}

TEST_F(PlantedWriterTest, ThatDoublesIsNoticed) {
    EXPECT_EQ(With("doubles").doubled, 10);
}

TEST_F(PlantedWriterTest, ThatTearsIsNoticed) {
    EXPECT_EQ(With("tears").torn, 10);
}

TEST_F(PlantedWriterTest, ThatReordersIsNoticed) {
    EXPECT_GT(With("reorders").reordered, 0);
}

TEST(FaultsTest, MissedGoalEndsWithStatus1) {
    // As if the planted writer were ours; it opens its file once and for all.
    ChildResult const result = RunProgram(
        TARQLOG_FAULTS, {"-r", "log removed", TARQLOG_PLANTED_WRITER, TARQLOG_PLANTED_WRITER});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.errors.find("faults: log removed: lost 4000, goal 63"), std::string::npos)
        << result.errors;
    EXPECT_NE(result.output.find("| log removed | lost 4000 ("), std::string::npos)
        << result.output;
}

TEST(FaultsTest, LineMissingInTheAccountIsNoticed) {
    Row const& row = Rows().front();
    Outcome outcome = RunRow(row, AskPeer(TARQLOG_TARQLOG_WRITER), true);
    ASSERT_EQ(row.miss(outcome), "") << ToText(outcome);

    AccountNote& account = outcome.account;
    account.lines = account.atLeast - 1;
    EXPECT_EQ(row.miss(outcome), "accounts for " + std::to_string(account.lines) + " of " +
                                     std::to_string(account.atLeast) + " to " +
                                     std::to_string(account.atMost) + "; ");
    account.lines = account.atMost + 1;
    EXPECT_NE(row.miss(outcome), "");
    account.lines = account.atMost;
    account.lost = 1;
    outcome.verdict.unended = 1;
    EXPECT_EQ(row.miss(outcome), "");
    outcome.verdict.unended = 0;
    EXPECT_EQ(row.miss(outcome), "has counted 1 lost instead of 0; ");
    account.lost = 0;
    outcome.verdict.lost = 1;
    EXPECT_EQ(row.miss(outcome), "has counted 0 lost instead of 1; lost 1, goal 0; ");
    outcome.verdict.lost = 0;
    outcome.isAccounted = false;
    EXPECT_EQ(row.miss(outcome), "has no account; ");
}

TEST(FaultsTest, WhatIsNoWriterIsRefused) {
    ChildResult const result = RunProgram(TARQLOG_FAULTS, {"/bin/true", "/bin/true"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "faults: /bin/true is no writer\n");
}

class RowTest : public testing::TestWithParam<Row> {};

TEST_P(RowTest, IsAsWePromise) {
    std::string const refusal = GetParam().mounts ? RefusalOfNamespaces(CLONE_NEWNS) : "";
    if (!refusal.empty()) {
        GTEST_SKIP() << refusal;
    }
    Outcome const outcome = RunRow(GetParam(), AskPeer(TARQLOG_TARQLOG_WRITER), true);
    EXPECT_EQ(outcome.cannot, "");
    EXPECT_GT(outcome.hits, 0) << "the fault has not struck";
    EXPECT_EQ(GetParam().miss(outcome), "") << ToText(outcome);
}

INSTANTIATE_TEST_SUITE_P(Under, RowTest, testing::ValuesIn(Rows()),
                         [](auto const& row) { return IdOf(row.param); });

}  // namespace
}  // namespace tarqlog::faults
