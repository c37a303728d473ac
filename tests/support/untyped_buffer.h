#ifndef TARQLOG_TESTS_SUPPORT_UNTYPED_BUFFER_H_
#define TARQLOG_TESTS_SUPPORT_UNTYPED_BUFFER_H_

#include <streambuf>
#include <string>

namespace tarqlog {

/// A stream buffer whose class was compiled without run-time type information; it writes to `text`.
std::streambuf& UntypedBuffer(std::string& text);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_UNTYPED_BUFFER_H_
