#include "system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>

#include "descriptor.h"

namespace tarqlog::tool {

namespace {

/// 0, or the error of the attempt. Somebody who is too busy to answer is there.
int ConnectionError(std::string const& path, int type) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    Descriptor const socket(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    bool const isConnected =
        ::connect(socket.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    return isConnected || errno == EAGAIN ? 0 : errno;
}

}  // namespace

std::string SystemLogFailure(std::string const& path) {
    int error = ConnectionError(path, SOCK_DGRAM);
    if (error == EPROTOTYPE) {
        error = ConnectionError(path, SOCK_STREAM);
    }
    return error == 0 ? "" : std::strerror(error);
}

void ReportSystemLog(std::string const& destination) {
    std::string const failure = SystemLogFailure(_PATH_LOG);
    if (!failure.empty()) {
        Complain(destination + ": nobody listens at " _PATH_LOG " (" + failure +
                 "), lines are lost until somebody does");
    }
}

}  // namespace tarqlog::tool
