#ifndef TARQLOG_TOOLS_DELIVERY_H_
#define TARQLOG_TOOLS_DELIVERY_H_

#include <chrono>
#include <vector>

#include <tarqlog/file_appender.h>

#include "datagrams.h"
#include "destination.h"
#include "line_logger.h"
#include "standard_streams.h"

namespace tarqlog::tool {

/// Sees to the destinations from the first line on, and accounts for them in the end.
class Delivery {
public:
    /// The destinations are registered as `outlets`, which outlive this object.
    explicit Delivery(std::vector<Outlet> const& outlets);

    bool HasFiles() const { return !files_.empty(); }

    /// Whether lines go to a terminal.
    bool HasTerminal() const;

    /// Whether lines go to somebody who may show them on a terminal, as a pager at a pipe does.
    bool HasViewer() const;

    /// Whether what is logged would be read again from `input`, since a destination is its file.
    bool FeedsBackFrom(int input) const;

    /// Whether all writes to the standard streams went well. To be asked after each, while `errno`
    /// is still the failing one's.
    bool AreStreamsIntact() { return output_.AreIntact(); }

    /// Hands everything to the system; as AreStreamsIntact().
    bool FlushStreams() { return output_.Flush(); }

    /// Says once that a standard stream could not be written, when it is so; to be asked as
    /// AreStreamsIntact() is.
    void ReportFailure();

    void FlushFiles() const;
    void ReopenFiles() const;

    /// Ends the logging. False, and says so, when lines were lost.
    bool End();

    void PrintStats(Counts const& counts, unsigned long long bytesRead) const;

private:
    bool ReportLosses() const;

    std::chrono::steady_clock::time_point const start_ = std::chrono::steady_clock::now();
    std::vector<Outlet> const& outlets_;
    OutputStreams output_;
    std::vector<FileAppender*> files_;
    std::vector<DatagramAppender const*> datagrams_;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DELIVERY_H_
