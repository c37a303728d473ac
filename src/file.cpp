#include "tarqlog/error.h"

#include <cerrno>

namespace tarqlog::log_utils {

Error::Error(std::string const& message) : std::runtime_error(message), errno_(errno) {}

Error::~Error() noexcept = default;

}  // namespace tarqlog::log_utils
