#include "soak/other_destinations.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>

#include <boost/make_shared.hpp>
#include <boost/ref.hpp>

#include "tarqlog/console_appender.h"
#include "tarqlog/logger.h"
#include "tarqlog/syslog_appender.h"
#include "tarqlog/udp_appender.h"

namespace tarqlog::soak {

namespace {

constexpr long kDatagramsOnTheWay = 16;  // of the longest, so many have room in a socket

std::FILE* OpenForWriting(int (&ends)[2], bool isLines) {
    int const result = isLines ? ::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) : ::pipe(ends);
    std::FILE* const stream = result == 0 ? ::fdopen(ends[1], "w") : nullptr;
    if (stream == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make a console");
    }
    static char buffer[1 << 16];
    std::setvbuf(stream, isLines ? buffer : nullptr, isLines ? _IOLBF : _IONBF, sizeof buffer);
    return stream;
}

/// Children send as well, so the counts are shared.
class PacedUdpAppender : public UdpAppender {
public:
    PacedUdpAppender(unsigned short port, Trouble& trouble, Board& board)
        : UdpAppender("127.0.0.1", port), trouble_(trouble), board_(board) {}

protected:
    void DoAppend(LogRecord const& record) override {
        while (board_.datagramsSent - board_.datagramsReceived >= kDatagramsOnTheWay) {
            ::sched_yield();
        }
        unsigned long long const lost = GetAccount(*this).Lost();
        TroubleInForce const inForce(&trouble_);
        UdpAppender::DoAppend(record);
        board_.datagramsSent += GetAccount(*this).Lost() == lost ? 1 : 0;
    }

private:
    Trouble& trouble_;
    Board& board_;
};

class EchoingAppender : public AppenderBase {
public:
    EchoingAppender() : AppenderBase(false) {
        for (int writer = 0; writer < kWriters; ++writer) {
            std::string const tag = "echo." + std::to_string(writer);
            loggers_.push_back(std::make_unique<Logger>(tag.c_str()));
        }
    }

protected:
    void DoAppend(LogRecord const& record) override {
        Logger& logger = *loggers_.at(std::stoul(record.GetTag().back()));
        LogRecord echo(record.GetSeverity());
        echo.WriteData(record.GetData().data(), static_cast<int>(record.GetData().size()) - 1);
        if (logger.HasSink(echo.GetSeverity())) {
            logger.PushRecord(echo);
        }
    }

private:
    std::vector<std::unique_ptr<Logger>> loggers_;  // of each writer
};

}  // namespace

ConsoleDestination::ConsoleDestination(std::string const& directory, unsigned int writers,
                                       Kind kind, Drain& drain)
    : CollectingDestination(directory, writers),
      kind_(kind),
      before_(Stream()),
      stream_(OpenForWriting(ends_, kind == kLines)) {
    Stream() = stream_;
    drain.Add(ends_[0], File());
    Route(boost::make_shared<ConsoleAppender>(kind == kLines ? ConsoleAppender::kStdout
                                                             : ConsoleAppender::kStderr));
}

ConsoleDestination::~ConsoleDestination() {
    Stream() = before_;
    std::fclose(stream_);
    ::close(ends_[0]);
}

UdpDestination::UdpDestination(std::string const& directory, unsigned int writers, Board& board,
                               Drain& drain)
    : CollectingDestination(directory, writers) {
    drain.Add(port_.Listener(), File(), &board.datagramsReceived);
    Route(boost::make_shared<PacedUdpAppender>(port_.Number(), boost::ref(Troubles()),
                                               boost::ref(board)));
}

SystemLogDestination::SystemLogDestination(std::string const& directory, unsigned int writers)
    : CollectingDestination(directory, writers) {
    SetSystemLog(File());
    Route(boost::make_shared<SyslogAppender>("soak"));
}

SystemLogDestination::~SystemLogDestination() {
    SetSystemLog(-1);
}

void EchoDestination::Deliver(boost::shared_ptr<FileAppender> const& file) {
    RouteTags({FilterRule("echo", kAllSeverities)}, file);
    Route(boost::make_shared<EchoingAppender>());
    appender_ = file;
}

ThrowingAppender::ThrowingAppender(std::string const& filename)
    : FileAppender(filename, 0, 10, kAppendMode) {
    FormatHeaderFunc const format = DefaultFormatHeaderFunc(true);
    SetHeaderFunc([this, format](std::string& header, LogRecord const& record) {
        if (++headers_ % 7 == 0) {
            throw std::bad_alloc();
        }
        format(header, record);
    });
}

void ThrowingAppender::DoAppend(LogRecord const& record) {
    if (++records_ % 5 == 0) {
        throw std::runtime_error("no room");
    }
    FileAppender::DoAppend(record);
}

}  // namespace tarqlog::soak
