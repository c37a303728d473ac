#ifndef TARQLOG_TESTS_COLLECTORS_LOSS_H_
#define TARQLOG_TESTS_COLLECTORS_LOSS_H_

namespace tarqlog {

/// What hosts send to a collector, whether it keeps up or not.
struct Load {
    int hosts;
    long records;       // of each host
    long rate;          // of all hosts, in records a second; 0: as fast as they can
    int receiveBuffer;  // of the collector, in KiB as WritesDatagrams() takes it
    bool isStalled;     // the collector does nothing until all are sent
};

/// What became of them.
struct Loss {
    long sent;
    long received;   // lines in the collector's file
    long dropped;    // by the collector's kernel, which counts them by itself
    double seconds;  // from the first to the last that was sent
};

/// Runs rsyslog as the collector. To be called in namespaces of one's own, and while there is but
/// one thread.
Loss MeasureLoss(Load const& load);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_LOSS_H_
