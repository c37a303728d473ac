#ifndef TARQLOG_BENCH_LINES_H_
#define TARQLOG_BENCH_LINES_H_

#include <cstddef>
#include <string>

namespace tarqlog::bench {

/// The lines that a destination must hold.
struct Expected {
    std::string tag;
    long records = 0;        // numbered from 0
    std::size_t size = 0;    // see TextOf()
    int threads = 1;         // above 1, their lines may mix: each thread's are in order
    bool isRolling = false;  // the oldest lines are gone
};

/// The first complaint about `text`: every line is whole, none is missing, doubled or out of order.
/// Empty when there is none.
std::string FirstComplaint(std::string const& text, Expected const& expected);

}  // namespace tarqlog::bench

#endif  // TARQLOG_BENCH_LINES_H_
