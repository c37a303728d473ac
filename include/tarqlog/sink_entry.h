#ifndef TARQLOG_SINK_ENTRY_H_
#define TARQLOG_SINK_ENTRY_H_

#include <utility>

#include "tarqlog/severity.h"

namespace tarqlog {

/// One line of a logger's routing: a sink's index in the core, from 0, and the severities that it
/// takes from this logger.
typedef std::pair<unsigned long, Severity> SinkEntry;

}  // namespace tarqlog

#endif  // TARQLOG_SINK_ENTRY_H_
