#ifndef TARQLOG_TESTS_SUPPORT_FILE_APPENDER_SIMULATOR_H_
#define TARQLOG_TESTS_SUPPORT_FILE_APPENDER_SIMULATOR_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarqlog {

// The file appenders once more, in other words and sharing no code with the library. They write to
// a directory in memory, through system calls that go wrong when a test plans it.

/// Takes down calls of write() and lseek(), and says which of those to come go wrong.
class CallPlan {
public:
    /// In Calls(), an lseek() among the sizes of the writes.
    static constexpr int kSeek = -1;

    /// The `nth` write() from now on, 1 being the next, takes `bytes` at most; -1: it fails.
    void LimitWrite(int nth, int bytes) { limits_[writes_ + nth] = bytes; }

    /// The `nth` lseek() from now on fails.
    void FailSeek(int nth) { failingSeeks_[seeks_ + nth] = true; }

    /// A write() of `size` bytes: how many of them it takes, -1 when it fails.
    int Write(int size);

    /// An lseek(): whether it succeeds.
    bool Seek();

    /// The calls since ForgetCalls(): the size that each write() was asked for, or kSeek.
    std::vector<int> const& Calls() const { return calls_; }

    void ForgetCalls() { calls_.clear(); }

private:
    long writes_ = 0;
    long seeks_ = 0;
    std::map<long, int> limits_;
    std::map<long, bool> failingSeeks_;
    std::vector<int> calls_;
};

/// What a directory holds: the bytes of each file by its name, and "directory" by the name and "/",
/// for one that is not empty "full directory".
typedef std::map<std::string, std::string> Listing;

/// The content of a file, which outlives the name while a descriptor holds it.
struct SimulatedFile {
    std::string bytes;
    bool writable = true;
};

/// A directory in memory, as a user other than root meets it. What the system would refuse changes
/// nothing and answers false or null.
class SimulatedDirectory {
public:
    /// The file as open() with O_WRONLY and O_CREAT finds or makes it; `truncate`: O_TRUNC.
    std::shared_ptr<SimulatedFile> Open(std::string const& name, bool truncate);

    /// unlink() of a file, rmdir() of a directory.
    bool Remove(std::string const& name);

    bool Rename(std::string const& from, std::string const& to);

    /// Writes a file's whole content anew.
    bool Put(std::string const& name, std::string const& bytes);

    bool MakeDirectory(std::string const& name);

    /// Puts a file into the directory `name`, which rmdir() refuses to remove from then on.
    bool FillDirectory(std::string const& name);

    /// False for what is not a file.
    bool SetFileWritable(std::string const& name, bool writable);

    /// Unwritable, the directory lets no name come, go or change.
    void SetWritable(bool writable) { writable_ = writable; }

    bool Has(std::string const& name) const { return entries_.count(name) != 0; }

    Listing List() const;

private:
    struct Entry {
        std::shared_ptr<SimulatedFile> file;  // null for a directory
        bool full = false;                    // of a directory
    };

    Entry* Find(std::string const& name);

    bool writable_ = true;
    std::map<std::string, Entry> entries_;
};

/// How often each of the things happened that the file appenders are about.
typedef std::map<std::string, int> Events;

/// A FileAppender or a RollingFileAppender.
class FileAppenderSimulator {
public:
    struct Settings {
        std::string name;
        long long limitKiB;
        std::optional<int> keptFiles;  // none for a plain FileAppender
        int bufferedRecords;
        int mode;  // of a plain FileAppender
    };

    /// Whether the constructor takes the settings; if not, it throws and no file is opened.
    static bool Accepts(Settings const& settings) { return settings.limitKiB >= 0; }

    FileAppenderSimulator(SimulatedDirectory& directory, CallPlan& calls, Events& events,
                          Settings const& settings);
    ~FileAppenderSimulator();

    FileAppenderSimulator(FileAppenderSimulator const&) = delete;
    FileAppenderSimulator& operator=(FileAppenderSimulator const&) = delete;

    /// A record, `text` being without the NUL at its end.
    void Append(std::uint32_t severity, std::string const& header, std::string const& text);

    bool Open(int mode);
    bool Reopen();
    void Flush();
    void Close();

    bool IsOpen() const { return file_ != nullptr; }

    // What a test needs to know to aim at the edges.

    bool IsBuffering() const { return settings_.bufferedRecords >= 2; }
    std::size_t BufferedBytes() const { return buffer_.size(); }

    /// How many bytes are left before the limit is reached; none without a limit.
    std::optional<long long> BytesToLimit() const;

private:
    bool OpenFile(bool truncate);
    void MeetLimit();
    void Restart();
    void Roll();
    bool WriteRecord(std::uint32_t severity, std::string const& header, std::string const& text);
    bool WriteBuffer();
    bool WriteDirectly(std::string const& header, std::string const& text);
    bool WriteAll(std::string bytes);
    int Write(std::string const& bytes);

    SimulatedDirectory& directory_;
    CallPlan& calls_;
    Events& events_;
    Settings const settings_;
    long long limit_;  // in bytes, 0 for none
    int keptFiles_;

    std::shared_ptr<SimulatedFile> file_;  // null when not open
    bool appending_ = false;               // opened with O_APPEND
    std::size_t position_ = 0;

    std::string buffer_;
    int recordsInBuffer_ = 0;
    int recordsSinceOpen_ = 0;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_FILE_APPENDER_SIMULATOR_H_
