#ifndef TARQLOG_BENCH_DESTINATION_H_
#define TARQLOG_BENCH_DESTINATION_H_

#include <sys/types.h>

#include <string>

#include "program.h"

namespace tarqlog::bench {

/// What stands at the other end of a row: a file or a pipe in place of standard error, a UDP
/// socket, or the folder where the library makes its own files.
class Destination {
public:
    /// Tells the library in `settings` what it needs to know. May fork: before there is a thread.
    explicit Destination(Settings& settings);
    ~Destination();

    Destination(Destination const&) = delete;
    Destination& operator=(Destination const&) = delete;

    /// All that has arrived, the oldest first.
    std::string Content();

private:
    void ReplaceStandardError(int descriptor);
    void ReadFromPipe();
    void ReceiveOn(Settings& settings);

    std::string const directory_;
    int preamble_ = 0;  // lines at the head of each file, where the library makes the files
    int socket_ = -1;
    pid_t reader_ = 0;
};

}  // namespace tarqlog::bench

#endif  // TARQLOG_BENCH_DESTINATION_H_
