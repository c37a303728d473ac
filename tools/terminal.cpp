#include "terminal.h"

#include <unistd.h>

#include <cstdlib>

namespace tarqlog::tool {

bool IsTerminal(int descriptor) {
    return ::isatty(descriptor) != 0;
}

bool WantsColour(int descriptor) {
    char const* const noColour =
        std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): one thread
    return IsTerminal(descriptor) && (noColour == nullptr || *noColour == '\0');
}

}  // namespace tarqlog::tool
