#include "terminal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "descriptor.h"

namespace tarqlog::tool {

bool IsTerminal(int descriptor) {
    return ::isatty(descriptor) != 0;
}

bool IsTerminal(std::string const& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) {
        return false;  // and not opened: whoever writes to a FIFO would take us for its reader
    }
    Descriptor const device(::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    return IsTerminal(device.Number());
}

bool WantsColour() {
    char const* const noColour =
        std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): one thread
    return noColour == nullptr || *noColour == '\0';
}

}  // namespace tarqlog::tool
