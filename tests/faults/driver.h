#ifndef TARQLOG_TESTS_FAULTS_DRIVER_H_
#define TARQLOG_TESTS_FAULTS_DRIVER_H_

#include <stdexcept>
#include <string>

#include "faults/line.h"

namespace tarqlog::faults {

// driver.cpp and one library's functions below make a writer: a program that logs while things go
// wrong, the same program for every library.

/// What a writer is told on its command line, as name=value.
struct Settings {
    std::string file;      // the log's path
    std::string board;     // see MappedBoard
    int threads = 8;       // that log at once
    int first = 0;         // number of the first thread
    int lines = 0;         // of each thread; 0: until the end comes
    int buffered = 0;      // so many lines below a warning may wait; most libraries count none
    bool isPlain = false;  // every line may wait and is short
    long limitKiB = 0;     // at which files roll
    int kept = 0;          // full files
    bool thrower = false;  // a second destination, which throws at every line
    int udp = 0;           // port on 127.0.0.1 to log to instead of the file
    bool syslog = false;   // log to the system log instead of the file
    std::string flaw;      // of the planted writer
    std::string end;       // exit, abort, ...; otherwise main() returns after the last line
    long at = 0;           // lines that have been logged when the end comes
    std::string task;      // what goes on beside the threads
};

struct Description {
    char const* name;
    char const* header;    // see IsHeader()
    char const* preamble;  // see Judge
    char const* settings;  // for readers
};

/// With which a writer ends that cannot do what it is told; standard error says why.
constexpr int kStatusCannot = 77;

/// The library has nothing for this.
struct Cannot : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Counts a strike of a fault that the writer makes itself.
void CountHit();

/// What the library itself has counted: all lines that it was given, and those that are lost.
struct Count {
    long lines = 0;
    long lost = 0;
};

/// For a library that counts, called in Open(): `count` tells what it has counted by now. It is
/// asked beside threads that log, and until the process ends.
void CountBy(Count (*count)());

// What a library brings:

Description Describe();

/// Opens the log. Called once. @throws Cannot
void Open(Settings const& settings);

/// Logs one line. False when the library says itself that nobody would take it now: it will be
/// asked again.
bool Log(Level level, std::string const& text);

/// Changes the configuration beside threads that log; the lines go where they went. `change` counts
/// from 0.
void Reconfigure(int change);

/// What the manual asks for at the end of main().
void Close();

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_DRIVER_H_
