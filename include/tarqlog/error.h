#ifndef TARQLOG_ERROR_H_
#define TARQLOG_ERROR_H_

#include <stdexcept>
#include <string>

#include "tarqlog/export.h"

namespace tarqlog {
namespace log_utils {

/// The library's own exception: a message, and what `errno` held when it was built.
class TARQLOG_API Error : public std::runtime_error {
public:
    /// Reads `errno` once `message` is copied.
    explicit Error(std::string const& message);
    ~Error() noexcept override;

    /// `errno` at construction, whatever the cause: a refused lock tells its result in the message
    /// and leaves `errno` as it was.
    int GetErrno() const noexcept { return errno_; }

private:
    int errno_;
};

}  // namespace log_utils
}  // namespace tarqlog

#endif  // TARQLOG_ERROR_H_
