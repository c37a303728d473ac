#include "syslog_severity.h"

#include <gtest/gtest.h>

namespace tarqlog {
namespace {

TEST(SyslogSeverityTest, EachLevelHasItsPriority) {
    EXPECT_EQ(SeverityToSyslogSeverity(kTrace), 7);
    EXPECT_EQ(SeverityToSyslogSeverity(kDebug), 7);
    EXPECT_EQ(SeverityToSyslogSeverity(kInfo), 6);
    EXPECT_EQ(SeverityToSyslogSeverity(kWarning), 4);
    EXPECT_EQ(SeverityToSyslogSeverity(kError), 3);
    EXPECT_EQ(SeverityToSyslogSeverity(kFatal), 0);
}

TEST(SyslogSeverityTest, OfSeveralLevelsTheLowestCounts) {
    EXPECT_EQ(SeverityToSyslogSeverity(kError | kWarning), 4);
    EXPECT_EQ(SeverityToSyslogSeverity(kAllSeverities), 7);
}

TEST(SyslogSeverityTest, ValueWithoutAnyLevelIsAnEmergency) {
    EXPECT_EQ(SeverityToSyslogSeverity(static_cast<Severity>(0U)), 0);
    EXPECT_EQ(SeverityToSyslogSeverity(static_cast<Severity>(64U)), 0);
}

TEST(SyslogSeverityTest, NoPriorityCarriesAFacility) {
    for (unsigned int value = 0; value < 128; ++value) {
        EXPECT_EQ(SeverityToSyslogSeverity(static_cast<Severity>(value)) & ~7, 0) << value;
    }
}

}  // namespace
}  // namespace tarqlog
