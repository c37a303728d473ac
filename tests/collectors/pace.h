#ifndef TARQLOG_TESTS_COLLECTORS_PACE_H_
#define TARQLOG_TESTS_COLLECTORS_PACE_H_

#include <fstream>
#include <mutex>
#include <string>

namespace tarqlog {

/// A file to which somebody else appends lines, and which need not be there yet.
class GrowingFile {
public:
    /// Of its lines only those with `mark` in them count.
    GrowingFile(std::string path, std::string mark);

    /// How many lines there are by now.
    long CountLines();

    std::string const& Path() const { return path_; }

private:
    std::string const path_;
    std::string const mark_;
    std::ifstream file_;
    std::string rest_;  // what is there of the line after the last whole one
    long lines_ = 0;
};

/// Keeps senders from running ahead of a collector, so that no datagram is lost for want of room
/// and nobody has to guess how fast the collector is.
///
/// Safe from any thread. What throws does so when the file has not shown what it should for half a
/// minute, and from then on at once: datagrams are lost.
class Pace {
public:
    /// @param window  how many records may be on their way
    /// @param mark    is in the lines of these senders and in no others
    Pace(std::string const& file, long window, std::string const& mark = "");

    /// Waits until one more record may be sent.
    void Await();

    /// Waits until the file shows all that were sent.
    void AwaitAll();

    /// Says that one of those that were sent will never show.
    void GiveUpOne();

private:
    void AwaitAtMost(long onTheirWay);

    std::mutex mutex_;  // guards all of these
    GrowingFile file_;
    long const window_;
    long sent_ = 0;
    long shown_ = 0;  // when the file was last looked at
    bool inVain_ = false;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_PACE_H_
