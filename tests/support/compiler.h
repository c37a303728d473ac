#ifndef TARQLOG_TESTS_SUPPORT_COMPILER_H_
#define TARQLOG_TESTS_SUPPORT_COMPILER_H_

#include <string>
#include <vector>

#include "support/child.h"

namespace tarqlog {

/// Has the compiler of this build check `code`, a whole source with the public headers on its path,
/// and make nothing of it. For programs that tests/CMakeLists.txt tells the compiler's path.
inline ChildResult Compile(std::string const& code, std::vector<std::string> options = {}) {
    options.insert(options.end(), {"-std=c++11", "-fsyntax-only", "-I" TARQLOG_TEST_INCLUDE_DIR,
                                   "-x", "c++", "-"});
    return RunProgram(TARQLOG_TEST_COMPILER, options, code);
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_COMPILER_H_
