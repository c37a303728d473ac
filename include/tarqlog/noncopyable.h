#ifndef TARQLOG_NONCOPYABLE_H_
#define TARQLOG_NONCOPYABLE_H_

#include "tarqlog/export.h"

namespace tarqlog {
namespace log_utils {

/// A base for classes that must not be copied.
class TARQLOG_API Noncopyable {
public:
    Noncopyable(Noncopyable const&) = delete;
    Noncopyable& operator=(Noncopyable const&) = delete;

protected:
    Noncopyable() = default;
    ~Noncopyable() = default;
};

}  // namespace log_utils
}  // namespace tarqlog

#endif  // TARQLOG_NONCOPYABLE_H_
