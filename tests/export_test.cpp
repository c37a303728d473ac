#include "tarqlog/export.h"

#include <dlfcn.h>

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tarqlog/logsysinfo.h"

#include "support/child.h"

namespace tarqlog {
namespace {

/// Whether a library that this program has loaded exports a symbol.
bool IsExported(char const* symbol) {
    return ::dlsym(RTLD_DEFAULT, symbol) != nullptr;
}

TEST(ExportTest, MarkedFunctionIsExported) {
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "_ZN7tarqlog15GetThisThreadIdEv"),
              reinterpret_cast<void*>(&GetThisThreadId));
}

TEST(ExportTest, HiddenMemberOfAMarkedClassIsNotExported) {
    EXPECT_TRUE(IsExported("_ZN7tarqlog10LogSysInfo14SetGetTimeFuncEPFxvE"));
    EXPECT_FALSE(IsExported("_ZN7tarqlog10LogSysInfo12getTimeFunc_E"));
}

TEST(ExportTest, LibraryExportsItsOwnNamesAlone) {
    ChildResult const listed =
        RunProgram(TARQLOG_NM, {"--dynamic", "--defined-only", "--demangle", TARQLOG_LIBRARY});
    ASSERT_EQ(listed.exitStatus, 0) << listed.errors;
    testing::Matcher<std::string const&> const isOwn = testing::MatchesRegex(
        "[0-9a-f]+ [A-Za-z] "
        "(((typeinfo|typeinfo name|vtable|VTT) for |(non-virtual|virtual) thunk to )?tarqlog::.*|"
        "typeinfo (name )?for boost::bad_function_call)");  // which users catch

    std::istringstream lines(listed.output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_TRUE(isOwn.Matches(line)) << line;
    }
    EXPECT_GT(count, 50);
}

}  // namespace
}  // namespace tarqlog
