// Measures how many records rsyslog loses that two hosts send to a third, without pause and without
// asking. The hosts are network namespaces on this machine.
//
// Usage: udp_loss RECEIVE_BUFFER RATE RECORDS [stalled]    (the buffer in KiB as rsyslog is asked
// for it, the rate in records a second of both hosts or 0 for as fast as they can, the records of
// both; a stalled collector takes nothing until all are sent)
//
// Prints one line: buffer, rate, seconds, sent, received, dropped for want of room; tabs between.

#include <sched.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "collectors/isolation.h"
#include "collectors/loss.h"

int main(int argc, char** argv) {
    constexpr int kHosts = 2;
    std::vector<std::string> const arguments{argv + 1, argv + argc};
    bool const isStalled = arguments.size() == 4 && arguments[3] == "stalled";
    if (arguments.size() != 3 && !isStalled) {
        std::fprintf(stderr, "usage: udp_loss RECEIVE_BUFFER RATE RECORDS [stalled]\n");
        return 2;
    }
    try {
        int const buffer = std::stoi(arguments[0]);
        long const rate = std::stol(arguments[1]);
        long const records = std::stol(arguments[2]);
        tarqlog::EnterOwnNamespaces(CLONE_NEWNET);
        tarqlog::Loss const loss =
            tarqlog::MeasureLoss({kHosts, records / kHosts, rate, buffer, isStalled});
        std::printf("%d\t%ld\t%.3f\t%ld\t%ld\t%ld\n", buffer, rate, loss.seconds, loss.sent,
                    loss.received, loss.dropped);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "udp_loss: %s\n", error.what());
        return 1;
    }
}
