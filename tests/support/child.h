#ifndef TARQLOG_TESTS_SUPPORT_CHILD_H_
#define TARQLOG_TESTS_SUPPORT_CHILD_H_

#include <functional>
#include <string>
#include <vector>

namespace tarqlog {

/// How a child process ended and what it wrote.
struct ChildResult {
    int exitStatus = -1;  // -1 when a signal ended it
    int signal = 0;       // 0 when it exited by itself
    std::string output;
    std::string errors;
};

/// Runs `program` (a path) with `arguments`, feeds it `input` and waits for its end.
ChildResult RunProgram(std::string const& program, std::vector<std::string> const& arguments = {},
                       std::string const& input = "");

/// Runs `body` in a forked child, which leaves with what `body` returns.
ChildResult RunInChild(std::function<int()> const& body);

/// Ends a forked child as it is, without exit handlers.
[[noreturn]] void LeaveChild(int status);

/// For a child that becomes a program: permissions hold for that one, even if it is root.
void ForgoPower();

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_CHILD_H_
