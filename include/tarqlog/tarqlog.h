#ifndef TARQLOG_TARQLOG_H_
#define TARQLOG_TARQLOG_H_

// The whole library but format.h, which needs {fmt}. Each header also stands alone.

/// @namespace tarqlog
/// All that the library declares but its macros, whose names begin with TARQLOG.

/// @namespace tarqlog::log_utils
/// Files and paths, on which the file appenders stand.

/// @namespace tarqlog::threads
/// The locks that AppenderBase::Mutex() and GetGlobalStreamMutex() hand out, and their scopes.

#include "tarqlog/accounting.h"
#include "tarqlog/android_appender.h"
#include "tarqlog/appender_base.h"
#include "tarqlog/assertion.h"
#include "tarqlog/console_appender.h"
#include "tarqlog/error.h"
#include "tarqlog/explain.h"
#include "tarqlog/export.h"
#include "tarqlog/file.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/format_func.h"
#include "tarqlog/header_formats.h"
#include "tarqlog/log.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/logsink.h"
#include "tarqlog/logstream.h"
#include "tarqlog/logsysinfo.h"
#include "tarqlog/noncopyable.h"
#include "tarqlog/scoped_lock.h"
#include "tarqlog/severity.h"
#include "tarqlog/sink_entry.h"
#include "tarqlog/syslog_appender.h"
#include "tarqlog/syslog_ctrl_block.h"
#include "tarqlog/thread_annotations.h"
#include "tarqlog/thread_mutex.h"
#include "tarqlog/thread_shared_mutex.h"
#include "tarqlog/udp_appender.h"
#include "tarqlog/udpsender.h"
#include "tarqlog/version.h"
#include "tarqlog/wrappers.h"

#endif  // TARQLOG_TARQLOG_H_
