#ifndef TARQLOG_TESTS_SUPPORT_HEADER_CALLABLES_H_
#define TARQLOG_TESTS_SUPPORT_HEADER_CALLABLES_H_

#include <string>
#include <vector>

namespace tarqlog {

class LogRecord;

/// One kind of argument that an appender can be built from, and what came of it.
struct HeaderCallable {
    std::string kind;
    std::string expected;
    std::string headers;  // those of two records, or the exceptions instead
};

// One source, support/header_callables.cpp, built in the oldest standard of the public headers and
// in that of the library. `record` is appended twice to one appender of each kind.

std::vector<HeaderCallable> HeaderCallablesInCxx11(LogRecord const& record);
std::vector<HeaderCallable> HeaderCallablesInCxx17(LogRecord const& record);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_HEADER_CALLABLES_H_
