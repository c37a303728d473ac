#ifndef TARQLOG_TESTS_SOAK_OTHER_DESTINATIONS_H_
#define TARQLOG_TESTS_SOAK_OTHER_DESTINATIONS_H_

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tarqlog/file_appender.h"

#include "soak/board.h"
#include "soak/destination.h"
#include "soak/drain.h"
#include "soak/file_destination.h"
#include "support/udp_port.h"

namespace tarqlog::soak {

/// A console that the drain reads. While it lives, `stream` is another one.
class ConsoleDestination : public CollectingDestination {
public:
    enum Kind {
        kLines,  // standard output, each line in one piece, so that children may write to it
        kBytes   // standard error, unbuffered
    };

    ConsoleDestination(std::string const& directory, unsigned int writers, Kind kind, Drain& drain);
    ~ConsoleDestination() override;

    void Settle() override { std::fflush(Stream()); }

private:
    std::FILE*& Stream() const { return kind_ == kLines ? stdout : stderr; }

    Kind const kind_;
    int ends_[2] = {-1, -1};
    std::FILE* const before_;
    std::FILE* const stream_;
};

/// A UDP port that the drain listens on, with a sender that waits while too much is on its way.
class UdpDestination : public CollectingDestination {
public:
    UdpDestination(std::string const& directory, unsigned int writers, Board& board, Drain& drain);

private:
    ListeningPort port_;
};

/// The system log, for which a file stands.
class SystemLogDestination : public CollectingDestination {
public:
    SystemLogDestination(std::string const& directory, unsigned int writers);
    ~SystemLogDestination() override;
};

/// An appender that logs each record again, with "echo" for the tag's first part, to a file.
class EchoDestination : public FileDestination {
public:
    using FileDestination::FileDestination;

protected:
    void Deliver(boost::shared_ptr<FileAppender> const& file) override;
};

/// A file appender that throws for every fifth record, and whose header function does for every
/// seventh.
class ThrowingAppender : public FileAppender {
public:
    explicit ThrowingAppender(std::string const& filename);

protected:
    void DoAppend(LogRecord const& record) override;

private:
    long records_ = 0;
    long headers_ = 0;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_OTHER_DESTINATIONS_H_
