#ifndef TARQLOG_EXAMPLES_START_PLUGIN_H_
#define TARQLOG_EXAMPLES_START_PLUGIN_H_

#include <atomic>

/// What the plug-in exports: adds a destination of its own to the core, which counts in `lines` the
/// lines that reach it.
extern "C" __attribute__((visibility("default"))) void StartPlugin(std::atomic<long>& lines);

#endif  // TARQLOG_EXAMPLES_START_PLUGIN_H_
