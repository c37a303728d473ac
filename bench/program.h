#ifndef TARQLOG_BENCH_PROGRAM_H_
#define TARQLOG_BENCH_PROGRAM_H_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "request.h"

namespace tarqlog::bench {

// program.cpp and one library's functions below make a program that logs and measures itself, the
// same program for every library.

/// What a program is told on its command line, as name=value.
struct Settings {
    std::string row = "discarded";  // where the records go: see program.cpp
    std::string front;              // which kind of statement, of a library that has several
    std::string mode = "time";      // see program.cpp
    std::string directory = ".";    // for the log's files; program.cpp adds `file`
    std::string file;
    int port = 0;         // on 127.0.0.1, for row=udp
    int threads = 1;      // that share the records of a batch, and one logger
    long records = 1000;  // of a batch
    int batches = 1;
    int sinks = 1;         // each gets every record
    int depth = 2;         // parts of the tag
    int loggers = 0;       // for mode=loggers; of appenders, for mode=appenders
    std::size_t size = 0;  // of a text that is no request
    long flaw = 0;         // number with which a check begins, which must then fail
};

/// The library has nothing for this.
struct Cannot : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Whether the row's lines may wait in a buffer.
inline bool IsBuffered(Settings const& settings) {
    return settings.row == "buffered" || settings.row == "rolling";
}

/// "core.io", or as many parts as are asked for.
std::string TagOf(Settings const& settings);

/// Whether Discard() is asked for what it was given, rather than for speed.
extern bool isChecked;

/// The sum of all bytes that were discarded. Guarded by the lock of whoever discards.
extern unsigned long checksum;

/// Adds a line to the checksum without what differs from run to run: time, thread and line feed.
void DiscardChecked(std::string_view head, std::string_view rest);

inline unsigned long Sum(std::string_view text) {
    unsigned int sum = 0;  // wide enough for any text here, and half the work of a long
    for (char const character : text) {
        sum += static_cast<unsigned char>(character);
    }
    return sum;
}

/// What a discarding destination does with a line, in one or two pieces.
inline void Discard(std::string_view head, std::string_view rest = {}) {
    if (isChecked) {
        DiscardChecked(head, rest);
    } else {
        checksum += Sum(head) + Sum(rest);
    }
}

/// Calls `log` with every number of a batch. A template, so that the statement stands in the loop.
template <class Statement>
inline void ForEach(long first, long count, Statement const& log) {
    for (long index = first; index < first + count; ++index) {
        log(index);
    }
}

// What a library brings:

struct Description {
    char const* name;
    char const* settings;  // for readers
    int preamble;          // lines at the head of a file that are no records
};

Description Describe();

/// Opens the log. Called once. @throws Cannot
void Open(Settings const& settings);

/// Logs the records [first, first + count) with the library's own statement. Called by many
/// threads.
void Log(Settings const& settings, long first, long count);

/// Returns when all that was logged is in its destination, but for what a library cannot flush and
/// keep on; a check must find all. With row=async nothing comes after it.
void Finish(Settings const& settings);

/// Keeps so many more of what writes the row, to which nothing is logged. @throws Cannot
void KeepAppenders(Settings const& settings, int count);

/// Keeps so many loggers more, each with a tag of its own, and asks each whether it would log.
/// @throws Cannot
void MakeLoggers(int count);

/// Changes the configuration, and asks each of those loggers again.
void RefreshLoggers();

}  // namespace tarqlog::bench

#endif  // TARQLOG_BENCH_PROGRAM_H_
