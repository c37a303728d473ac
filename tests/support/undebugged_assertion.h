#ifndef TARQLOG_TESTS_SUPPORT_UNDEBUGGED_ASSERTION_H_
#define TARQLOG_TESTS_SUPPORT_UNDEBUGGED_ASSERTION_H_

namespace tarqlog {

/// Asserts that `holds` in a source that is compiled with NDEBUG. How often the asserted expression
/// was evaluated.
int UndebuggedAssertion(bool holds);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_UNDEBUGGED_ASSERTION_H_
