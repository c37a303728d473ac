#ifndef TARQLOG_ASSERTION_H_
#define TARQLOG_ASSERTION_H_

#include "tarqlog/export.h"

namespace tarqlog {

/// Prints one line on standard error, "`file`:`line`: `function`: Assertion '`expression`' failed."
/// and aborts. Called by the macros below.
[[noreturn]] TARQLOG_API void AssertionFailed(char const* expression, char const* function,
                                              char const* file, int line) noexcept;

}  // namespace tarqlog

/// Stops the process when `expression` is false, in every build type.
#define TARQLOG_ASSERT(expression) TARQLOG_ASSERT_AS(__FILE__, expression, #expression)

/// The same for public headers, which name themselves: in a user's build __FILE__ is the path of
/// the installed copy.
#define TARQLOG_ASSERT_IN(file, expression) TARQLOG_ASSERT_AS(file, expression, #expression)

/// What both come to: the text is taken before macros in the expression are replaced.
#define TARQLOG_ASSERT_AS(file, expression, text) \
    ((expression) ? static_cast<void>(0)          \
                  : ::tarqlog::AssertionFailed(text, __func__, file, __LINE__))

#endif  // TARQLOG_ASSERTION_H_
