#ifndef TARQLOG_EXPORT_H_
#define TARQLOG_EXPORT_H_

/// Marks what the shared library exports; it is built with every other symbol hidden.
#define TARQLOG_API __attribute__((visibility("default")))

/// Hides a class nested in an exported one, which would otherwise be exported with it.
#define TARQLOG_HIDDEN __attribute__((visibility("hidden")))

#endif  // TARQLOG_EXPORT_H_
