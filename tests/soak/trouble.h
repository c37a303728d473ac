#ifndef TARQLOG_TESTS_SOAK_TROUBLE_H_
#define TARQLOG_TESTS_SOAK_TROUBLE_H_

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

namespace tarqlog::soak {

/// What befalls one destination's system calls: disks that are full for a while, errors,
/// interruptions, short writes, no descriptors, refused renames, unreachable receivers.
class Trouble {
public:
    /// Which of the following calls fail, with which error; 0: none.
    int OnWrite();
    int OnOpen();
    int OnRename(std::string const& from);
    int OnSend();
    int OnSocket();

    /// How much of so many bytes the call takes.
    std::size_t ShareOf(std::size_t size);

    /// Is told the file that an error leaves under a name where the next rename replaces it.
    void SetKeeper(std::function<void(std::string const&)> keep) { keep_ = std::move(keep); }

    long Hits() const { return hits_; }

private:
    int Fail(int error);

    std::function<void(std::string const&)> keep_;
    long writes_ = 0;  // those that count calls are under the appender's mutex
    long opens_ = 0;
    long renames_ = 0;
    long sends_ = 0;
    long sockets_ = 0;
    std::atomic<long> hits_{0};
};

/// While it lives, this thread's system calls meet with `trouble`. Null is ignored.
class TroubleInForce {
public:
    explicit TroubleInForce(Trouble* trouble);
    ~TroubleInForce();

    TroubleInForce(TroubleInForce const&) = delete;
    TroubleInForce& operator=(TroubleInForce const&) = delete;
};

/// While it lives, this thread's `new` throws after `allowed` more calls. Nothing under
/// AddressSanitizer, whose own operators a fork needs.
class MemoryShortage {
public:
    explicit MemoryShortage(long allowed);
    ~MemoryShortage();

    MemoryShortage(MemoryShortage const&) = delete;
    MemoryShortage& operator=(MemoryShortage const&) = delete;
};

/// Looks up the functions that the troubles stand before, which takes locks: do so before a fork.
void PrepareTrouble();

/// Sends the messages of syslog() to this descriptor, one line and one write each.
void SetSystemLog(int descriptor);

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_TROUBLE_H_
