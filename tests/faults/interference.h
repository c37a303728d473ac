#ifndef TARQLOG_TESTS_FAULTS_INTERFERENCE_H_
#define TARQLOG_TESTS_FAULTS_INTERFERENCE_H_

#include <atomic>
#include <string>
#include <thread>

struct seccomp_notif;

namespace tarqlog::faults {

/// Stands between a process and the kernel, below every library: system calls on the log end
/// otherwise than they would.
class Interference {
public:
    enum Kind {
        kShortWrites,       // each seventh writes half of what it should
        kInterruptedWrite,  // the hundredth fails with EINTR
        kFailedWrite,       // the hundredth fails with EIO
        kRefusedRename      // the first of the log itself fails with EACCES
    };

    /// @param path  the log's, with which those of its other files begin
    Interference(Kind kind, std::string path);
    ~Interference();

    Interference(Interference const&) = delete;
    Interference& operator=(Interference const&) = delete;

    /// For the new process, before it becomes the writer.
    void Begin() const;

    long Hits() const { return hits_; }

private:
    void Serve();
    void Answer(int listener);
    bool Strikes(seccomp_notif const& request);

    Kind const kind_;
    std::string const path_;
    int line_[2] = {-1, -1};  // through which the writer hands over the listener
    long calls_ = 0;
    std::atomic<long> hits_{0};
    std::thread server_;
};

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_INTERFERENCE_H_
