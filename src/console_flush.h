#ifndef TARQLOG_SRC_CONSOLE_FLUSH_H_
#define TARQLOG_SRC_CONSOLE_FLUSH_H_

namespace tarqlog {

/// Writes out what the standard streams hold that a ConsoleAppender was ever made for.
void FlushConsole();

}  // namespace tarqlog

#endif  // TARQLOG_SRC_CONSOLE_FLUSH_H_
