#include "tarqlog/assertion.h"

#include <cstdio>
#include <cstdlib>

namespace tarqlog {

void AssertionFailed(char const* expression, char const* function, char const* file,
                     int line) noexcept {
    std::fprintf(stderr, "%s:%d: %s: Assertion '%s' failed.\n", file, line, function, expression);
    std::fflush(stderr);  // which the application may have buffered
    std::abort();
}

}  // namespace tarqlog
