#ifndef TARQLOG_TESTS_SUPPORT_SOCKET_WATCH_H_
#define TARQLOG_TESTS_SUPPORT_SOCKET_WATCH_H_

#include <sys/types.h>
#include <sys/uio.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tarqlog {

// The calls of sockets, for programs that list support/socket_watch.cpp among their sources. Prove
// in each such program that they are taken down and that planned answers are given.

/// Takes down the calling thread's calls of socket(), connect(), sendmsg(), setsockopt() and
/// close() while it lives, and answers those that a test has planned:
///
///     "socket 1"                          one for UDP, close-on-exec; counted from 1
///     "connect 1 to 127.0.0.1:514"
///     "sendmsg 1: [t:4242](core):|text|\n"  the pieces, apart; a long one as its size
///     "close 1"
///
/// " fails" follows where the answer was -1.
class SocketJournal {
public:
    SocketJournal() { current = this; }
    ~SocketJournal() { current = nullptr; }

    SocketJournal(SocketJournal const&) = delete;
    SocketJournal& operator=(SocketJournal const&) = delete;

    /// The `nth` call of `function` from now on, 1 being the next, is not made but answers `result`
    /// and leaves `error` in errno. A call of close() is made all the same.
    void Answer(std::string const& function, int result, int error = 0, int nth = 1) {
        answers_[{function, counts_[function] + nth}] = {result, error};
    }

    std::vector<std::string> const& Calls() const { return calls_; }
    void ForgetCalls() { calls_.clear(); }

    /// How many planned answers were given.
    int Hits() const { return hits_; }

    /// The descriptor of the last socket.
    int LastSocket() const { return lastSocket_; }

    /// Where the pieces of the last sendmsg() lay.
    std::vector<iovec> const& LastPieces() const { return lastPieces_; }

    // For the functions that stand before the system's.

    /// Takes a call down and makes it by `call`, unless another answer is planned.
    ssize_t Take(std::string const& function, std::string const& details,
                 std::function<ssize_t()> const& call);

    /// The number that the journal has for a socket; any other descriptor as it is.
    std::string NameOf(int descriptor) const;

    std::string NextSocket() const { return std::to_string(sockets_ + 1); }
    void AddSocket(int descriptor);
    void RemoveSocket(int descriptor) { numbers_.erase(descriptor); }
    void SetLastPieces(std::vector<iovec> const& pieces) { lastPieces_ = pieces; }

    static thread_local SocketJournal* current;

private:
    std::vector<std::string> calls_;
    std::map<std::string, int> counts_;
    std::map<std::pair<std::string, int>, std::pair<int, int>> answers_;
    int hits_ = 0;
    std::map<int, int> numbers_;  // of the open sockets, by their descriptors
    int sockets_ = 0;
    int lastSocket_ = -1;
    std::vector<iovec> lastPieces_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_SOCKET_WATCH_H_
