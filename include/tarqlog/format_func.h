#ifndef TARQLOG_FORMAT_FUNC_H_
#define TARQLOG_FORMAT_FUNC_H_

#include <string>

#include <boost/function.hpp>

#include "tarqlog/export.h"

namespace tarqlog {

class LogRecord;

/// Appends to the string what an appender writes before the record's text.
typedef boost::function<void(std::string&, LogRecord const&)> FormatHeaderFunc;

/// The library's own header. The full one is severity letter, UTC time, thread id and tag:
/// `I [2023-11-14 22:13:20.123][t:4242](core.io):`; the short one starts at the thread id. The
/// function stops the process for a record that no logger has pushed.
TARQLOG_API FormatHeaderFunc DefaultFormatHeaderFunc(bool fullHeader);

}  // namespace tarqlog

#endif  // TARQLOG_FORMAT_FUNC_H_
