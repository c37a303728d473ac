#include "delivery.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <tarqlog/accounting.h>
#include <tarqlog/logcore.h>

#include "complaint.h"
#include "descriptor.h"

namespace tarqlog::tool {

Delivery::Delivery(std::vector<Outlet> const& outlets) : outlets_(outlets) {
    for (Outlet const& outlet : outlets) {
        output_.Add(outlet.stream);
        if (outlet.file != nullptr) {
            files_.push_back(outlet.file);
        }
        if (outlet.datagrams != nullptr) {
            datagrams_.push_back(outlet.datagrams);
        }
    }
    output_.SetBuffers();
}

bool Delivery::HasTerminal() const {
    return std::any_of(outlets_.begin(), outlets_.end(),
                       [](Outlet const& outlet) { return outlet.isTerminal; });
}

bool Delivery::HasViewer() const {
    return std::any_of(outlets_.begin(), outlets_.end(), [](Outlet const& outlet) {
        struct stat status = {};
        return outlet.stream != nullptr && ::fstat(::fileno(outlet.stream), &status) == 0 &&
               !S_ISREG(status.st_mode);
    });
}

bool Delivery::FeedsBackFrom(int input) const {
    return std::any_of(outlets_.begin(), outlets_.end(), [&](Outlet const& outlet) {
        Descriptor const file(outlet.file != nullptr
                                  ? ::open(outlet.file->GetFilename().c_str(), O_PATH | O_CLOEXEC)
                                  : -1);
        return FeedsBack(outlet.stream != nullptr ? ::fileno(outlet.stream) : file.Number(), input);
    });
}

void Delivery::ReportFailure() {
    if (!output_.AreIntact()) {
        output_.Report();
    }
}

void Delivery::FlushFiles() const {
    for (FileAppender* const file : files_) {
        file->Flush();
    }
}

void Delivery::ReopenFiles() const {
    for (FileAppender* const file : files_) {
        file->Close();  // Reopen() alone would carry the buffer into the new file
        if (!file->Open(FileAppender::kAppendMode)) {
            Complain("cannot open " + file->GetFilename() + ": " +
                     std::strerror(errno));  // each line tries again
        }
    }
}

bool Delivery::End() {
    LogCore::Get()->RemoveAllSinks();
    for (FileAppender* const file : files_) {
        file->Close();
    }
    bool const isAllWritten = output_.Flush();
    output_.Report();
    bool const isAllDelivered = ReportLosses();
    return isAllWritten && isAllDelivered;
}

void Delivery::PrintStats(Counts const& counts, unsigned long long bytesRead) const {
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - start_;
    unsigned long long cut = 0;
    for (DatagramAppender const* const appender : datagrams_) {
        cut += appender->CutCount();
    }
    unsigned long long lost = 0;
    for (Outlet const& outlet : outlets_) {
        lost += GetAccount(*outlet.appender).Lost();
    }
    auto const& [trace, debug, info, warning, error, fatal] = counts.delivered;
    std::fprintf(stderr,
                 "tarqlog: lines=%llu delivered=%llu trace=%llu debug=%llu info=%llu warning=%llu "
                 "error=%llu fatal=%llu filtered=%llu empty=%llu split=%llu parent_tag=%llu "
                 "cut=%llu lost=%llu bytes=%llu seconds=%.3f lines_per_second=%.0f\n",
                 counts.lines, trace + debug + info + warning + error + fatal, trace, debug, info,
                 warning, error, fatal, counts.filtered, counts.empty, counts.split,
                 counts.parentTag, cut, lost, bytesRead, elapsed.count(),
                 static_cast<double>(counts.lines) / elapsed.count());
}

/// False, and says so, when lines were lost on the way to a file or a socket; what became of the
/// standard streams is told already.
bool Delivery::ReportLosses() const {
    bool isAllDelivered = true;
    for (Outlet const& outlet : outlets_) {
        Account const account = GetAccount(*outlet.appender);
        if (account.Lost() == 0 || outlet.stream != nullptr) {
            continue;
        }
        isAllDelivered = false;
        Complain(outlet.name + ": lines lost: " + std::to_string(account.Lost()) + " (not opened " +
                 std::to_string(account.openFailed) + ", not written " +
                 std::to_string(account.shortWrite) + ", not sent " +
                 std::to_string(account.sendFailed) + ")");
    }
    return isAllDelivered;
}

}  // namespace tarqlog::tool
