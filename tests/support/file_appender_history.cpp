#include "support/file_appender_history.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tarqlog/error.h"
#include "tarqlog/file_appender.h"

#include "support/header_oracle.h"
#include "support/interpose.h"
#include "support/records.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

CallPlan* planInForce = nullptr;  // while the library's appender runs

}  // namespace
}  // namespace tarqlog

extern "C" ssize_t write(int descriptor, void const* data, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(write);
    if (tarqlog::planInForce == nullptr) {
        return next(descriptor, data, size);
    }
    int const taken = tarqlog::planInForce->Write(static_cast<int>(size));
    if (taken < 0) {
        errno = ENOSPC;
    }
    return taken <= 0 ? taken : next(descriptor, data, static_cast<std::size_t>(taken));
}

extern "C" off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    static auto* const next = TARQLOG_NEXT(lseek);
    if (tarqlog::planInForce != nullptr && !tarqlog::planInForce->Seek()) {
        errno = EIO;
        return -1;
    }
    return next(descriptor, offset, whence);
}

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;
typedef FileAppenderSimulator::Settings Settings;

constexpr char kLive[] = "live.log";
constexpr long long kTimeMs = 1700000000123;
constexpr unsigned int kThreadId = 4242;

}  // namespace

long long HistoryTime() {
    return kTimeMs;
}

unsigned int HistoryThreadId() {
    return kThreadId;
}

/// An appender and its directory. What cannot be done changes nothing and answers false.
class World {
public:
    virtual ~World() = default;

    // The appender; while there is none, nothing happens.
    virtual bool Construct(Settings const& settings) = 0;  // false when it throws
    virtual void Destroy() = 0;
    virtual void Append(Severity severity, Parts const& tag, std::string const& text) = 0;
    virtual bool Open(int mode) = 0;
    virtual bool Reopen() = 0;
    virtual void Flush() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;

    // What others do.
    virtual bool Remove(std::string const& name) = 0;
    virtual bool Rename(std::string const& from, std::string const& to) = 0;
    virtual bool Put(std::string const& name, std::string const& bytes) = 0;
    virtual bool MakeDirectory(std::string const& name) = 0;
    virtual bool FillDirectory(std::string const& name) = 0;
    virtual bool SetFileWritable(std::string const& name, bool writable) = 0;
    virtual bool SetDirectoryWritable(bool writable) = 0;

    virtual Listing List() const = 0;

    CallPlan& Calls() { return calls_; }

protected:
    CallPlan calls_;
};

class SimulatedWorld : public World {
public:
    explicit SimulatedWorld(Events& events) : events_(events) {}

    bool Construct(Settings const& settings) override {
        appender_.reset();
        if (!FileAppenderSimulator::Accepts(settings)) {
            return false;
        }
        appender_.emplace(directory_, calls_, events_, settings);
        return true;
    }
    void Destroy() override { appender_.reset(); }
    void Append(Severity severity, Parts const& tag, std::string const& text) override {
        if (appender_) {
            appender_->Append(severity, ExpectedHeader(true, severity, kTimeMs, kThreadId, tag),
                              text);
        }
    }
    bool Open(int mode) override { return appender_ && appender_->Open(mode); }
    bool Reopen() override { return appender_ && appender_->Reopen(); }
    void Flush() override {
        if (appender_) {
            appender_->Flush();
        }
    }
    void Close() override {
        if (appender_) {
            appender_->Close();
        }
    }
    bool IsOpen() const override { return appender_ && appender_->IsOpen(); }

    bool Remove(std::string const& name) override { return directory_.Remove(name); }
    bool Rename(std::string const& from, std::string const& to) override {
        return directory_.Rename(from, to);
    }
    bool Put(std::string const& name, std::string const& bytes) override {
        return directory_.Put(name, bytes);
    }
    bool MakeDirectory(std::string const& name) override { return directory_.MakeDirectory(name); }
    bool FillDirectory(std::string const& name) override { return directory_.FillDirectory(name); }
    bool SetFileWritable(std::string const& name, bool writable) override {
        return directory_.SetFileWritable(name, writable);
    }
    bool SetDirectoryWritable(bool writable) override {
        directory_.SetWritable(writable);
        return true;
    }

    Listing List() const override { return directory_.List(); }

    std::optional<FileAppenderSimulator> const& Appender() const { return appender_; }

private:
    Events& events_;
    SimulatedDirectory directory_;
    std::optional<FileAppenderSimulator> appender_;
};

/// Lives in a directory of its own below the working directory.
class SystemWorld : public World {
public:
    SystemWorld() : firstFreeDescriptor_(FirstFreeDescriptor()) {
        std::filesystem::create_directory("history");
        std::filesystem::current_path("history");
    }
    ~SystemWorld() override {
        SystemWorld::Destroy();
        ::chmod(".", 0755);
        std::filesystem::current_path("..");
        std::filesystem::remove_all("history");
    }

    SystemWorld(SystemWorld const&) = delete;
    SystemWorld& operator=(SystemWorld const&) = delete;

    bool Construct(Settings const& settings) override {
        Destroy();
        PlanInForce const plan(calls_);
        try {
            if (settings.keptFiles) {
                appender_ = std::make_unique<RollingFileAppender>(settings.name, settings.limitKiB,
                                                                  *settings.keptFiles,
                                                                  settings.bufferedRecords);
            } else {
                appender_ = std::make_unique<FileAppender>(
                    settings.name, settings.limitKiB, settings.bufferedRecords,
                    static_cast<FileAppender::OpenMode>(settings.mode));
            }
        } catch (log_utils::Error const&) {
        }
        return appender_ != nullptr;
    }
    void Destroy() override {
        PlanInForce const plan(calls_);
        appender_.reset();
    }
    void Append(Severity severity, Parts const& tag, std::string const& text) override {
        if (appender_) {
            TaggedRecord const record(severity, text, tag);
            PlanInForce const plan(calls_);
            appender_->Append(record);
        }
    }
    bool Open(int mode) override {
        PlanInForce const plan(calls_);
        return appender_ && appender_->Open(static_cast<FileAppender::OpenMode>(mode));
    }
    bool Reopen() override {
        PlanInForce const plan(calls_);
        return appender_ && appender_->Reopen();
    }
    void Flush() override {
        PlanInForce const plan(calls_);
        if (appender_) {
            appender_->Flush();
        }
    }
    void Close() override {
        PlanInForce const plan(calls_);
        if (appender_) {
            appender_->Close();
        }
    }
    /// Only the appender opens files and keeps them so.
    bool IsOpen() const override { return FirstFreeDescriptor() != firstFreeDescriptor_; }

    bool Remove(std::string const& name) override { return std::remove(name.c_str()) == 0; }
    bool Rename(std::string const& from, std::string const& to) override {
        return std::rename(from.c_str(), to.c_str()) == 0;
    }
    bool Put(std::string const& name, std::string const& bytes) override {
        return (std::ofstream(name, std::ios::binary | std::ios::trunc) << bytes).good();
    }
    bool MakeDirectory(std::string const& name) override {
        return ::mkdir(name.c_str(), 0755) == 0;
    }
    bool FillDirectory(std::string const& name) override {
        return static_cast<bool>(std::ofstream(name + "/inner"));
    }
    bool SetFileWritable(std::string const& name, bool writable) override {
        return std::filesystem::is_regular_file(name) &&
               ::chmod(name.c_str(), writable ? 0644 : 0444) == 0;
    }
    bool SetDirectoryWritable(bool writable) override {
        return ::chmod(".", writable ? 0755 : 0555) == 0;
    }

    Listing List() const override {
        Listing listing;
        for (auto const& entry : std::filesystem::directory_iterator(".")) {
            std::string const name = entry.path().filename().string();
            if (entry.is_directory()) {
                bool const empty = std::filesystem::is_empty(entry.path());
                listing[name + "/"] = empty ? "directory" : "full directory";
            } else {
                listing[name] = ReadWholeFile(name);
            }
        }
        return listing;
    }

private:
    class PlanInForce {
    public:
        explicit PlanInForce(CallPlan& calls) { planInForce = &calls; }
        ~PlanInForce() { planInForce = nullptr; }

        PlanInForce(PlanInForce const&) = delete;
        PlanInForce& operator=(PlanInForce const&) = delete;
    };

    static int FirstFreeDescriptor() {
        int const descriptor = ::dup(STDIN_FILENO);
        ::close(descriptor);
        return descriptor;
    }

    int const firstFreeDescriptor_;
    std::unique_ptr<FileAppender> appender_;
};

namespace {

/// `action` as a step, when its answer does not matter or it has none.
std::function<bool(World&)> Doing(std::function<void(World&)> const& action) {
    return [action](World& world) {
        action(world);
        return true;
    };
}

/// Bytes that tell where they come from: a number again and again, with a blank, a NUL or a line
/// feed between.
std::string Filler(unsigned long number, std::size_t size) {
    std::string const piece = std::to_string(number) + std::string(" \0\n", 3)[number % 3];
    std::string bytes;
    while (bytes.size() < size) {
        bytes += piece;
    }
    bytes.resize(size);
    return bytes;
}

/// `bytes` from `offset` on, on one line.
std::string Excerpt(std::string const& bytes, std::size_t offset) {
    std::string const piece = bytes.substr(std::min(offset, bytes.size()), 60);
    return std::to_string(bytes.size()) + " bytes, from " + std::to_string(offset) + " on " +
           ::testing::PrintToString(piece);
}

/// Where the files are not as they should be, or nothing.
std::string Difference(Listing const& actual, Listing const& expected) {
    if (actual == expected) {
        return "";
    }
    Listing names = actual;
    names.insert(expected.begin(), expected.end());
    std::ostringstream out;
    for (auto const& [name, unused] : names) {
        if (actual.count(name) == 0) {
            out << name << " is missing\n";
        } else if (expected.count(name) == 0) {
            out << name << " should not be there\n";
        } else if (actual.at(name) != expected.at(name)) {
            std::string const& is = actual.at(name);
            std::string const& wanted = expected.at(name);
            auto const places = std::mismatch(is.begin(), is.end(), wanted.begin(), wanted.end());
            auto const offset = static_cast<std::size_t>(places.first - is.begin());
            out << name << " has " << Excerpt(is, offset) << "\nand should have "
                << Excerpt(wanted, offset) << "\n";
        }
    }
    return out.str();
}

}  // namespace

Operation Destruction() {
    return {"destroy", Doing([](World& world) { world.Destroy(); })};
}

Author::Author(std::function<int(int)> below, bool rolling)
    : below_(std::move(below)),
      rolling_(rolling),
      unrest_(Pick({0, 2, 10, 30})),
      urgency_(Pick({0, 2, 25})),
      longest_(Pick({20, 20, 60, 60, 600, 5000})),
      aim_(Pick({0, 1, 15})) {}

Operation Author::Next(SimulatedWorld const& world) {
    ++number_;
    bool const fileLost = world.Appender() && !world.IsOpen();
    if (fileLost && world.Appender()->BufferedBytes() > 0 && Below(3) == 0) {
        return FlushOrClose();
    }
    if (Below(100) >= unrest_) {
        return Record(world);
    }
    return Below(2) == 0 ? CallOrPlan() : Disturbance();
}

Operation Author::Construction() {
    Settings settings;
    settings.name = kLive;
    settings.limitKiB = Pick({0, 0, 1, 3, 8, 8, Below(9)});
    if (Below(20) == 0) {  // from 2^53 KiB on there is no such number of bytes
        settings.limitKiB = Pick({-1LL, (1LL << 53) - 1, 1LL << 53, (1LL << 54) + 1, LLONG_MAX});
    }
    settings.bufferedRecords = Pick({0, 1, 2, 3, 10, 63, 64, 65, 100, Below(101), -1, INT_MIN});
    settings.mode = Pick({0, 0, 1, 1, 2, 5, -1});
    if (rolling_) {
        settings.keptFiles = Pick({0, 1, 2, 3, 5, 8, 9, 10, 20, Below(21), -1});
    }
    std::string words = "construct limitKiB=" + std::to_string(settings.limitKiB);
    words += rolling_ ? " keptFiles=" + std::to_string(*settings.keptFiles)
                      : " mode=" + std::to_string(settings.mode);
    words += " bufferedRecords=" + std::to_string(settings.bufferedRecords);
    return {words, [settings](World& world) { return world.Construct(settings); }};
}

Operation Author::FlushOrClose() {
    if (Below(2) == 0) {
        return {"flush", Doing([](World& world) { world.Flush(); })};
    }
    return {"close", Doing([](World& world) { world.Close(); })};
}

Operation Author::Record(SimulatedWorld const& world) {
    Severity const severity = RandomSeverity();
    Parts const tag = Pick({Parts(), Parts(), Parts{"core", "io"}, Parts{"core", "io"},
                            Parts{"a", "", std::string(100, 'x')}});
    int const headerSize =
        static_cast<int>(ExpectedHeader(true, severity, kTimeMs, kThreadId, tag).size());
    std::string const text = Filler(number_, static_cast<std::size_t>(TextSize(world, headerSize)));
    return {"append severity=" + std::to_string(severity) +
                " tag parts=" + std::to_string(tag.size()) +
                " header=" + std::to_string(headerSize) + " text=" + std::to_string(text.size()),
            Doing([=](World& each) { each.Append(severity, tag, text); })};
}

Severity Author::RandomSeverity() {
    if (Below(100) < urgency_) {
        return static_cast<Severity>(Pick({8, 16, 32, Below(64), Below(128)}));
    }
    return static_cast<Severity>(Pick({1, 2, 4, 3, 6, 7, 64 + 4, Below(8)}));
}

/// Sometimes right at an edge or a byte beside it.
int Author::TextSize(SimulatedWorld const& world, int headerSize) {
    if (!world.Appender() || Below(100) >= aim_) {
        return Below(longest_ + 1);
    }
    FileAppenderSimulator const& appender = *world.Appender();
    long long room = appender.BytesToLimit().value_or(0);
    if (appender.IsBuffering() && Below(2) == 0) {
        room = 4096 - static_cast<long long>(appender.BufferedBytes());
    }
    int const bytes = static_cast<int>(std::clamp(room, 0LL, 6000LL));
    return std::max(0, bytes - headerSize - 1 + Below(3) - 1);
}

/// What the owner of the appender does, or system calls to come that will go wrong.
Operation Author::CallOrPlan() {
    int const nth = 1 + Below(6);
    int const mode = Pick({0, 1, 5, -1});
    int const bytes = Pick({-1, -1, 0, 0, 1, 20, Below(1000)});
    switch (Below(10)) {
        case 0:
        case 1:
            // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the operation owns it
            return FlushOrClose();
        case 2:
            return {"open mode=" + std::to_string(mode),
                    [mode](World& world) { return world.Open(mode); }};
        case 3:
            return {"reopen", [](World& world) { return world.Reopen(); }};
        case 4:
            return {std::string("remove ") + kLive + ", make it a directory, reopen",
                    [](World& world) {
                        world.Remove(kLive);
                        world.MakeDirectory(kLive);
                        return world.Reopen();
                    }};
        case 5:
            if (Below(4) == 0) {
                return Destruction();
            }
            return Construction();
        case 6:
            return {"fail lseek nth=" + std::to_string(nth),
                    Doing([nth](World& world) { world.Calls().FailSeek(nth); })};
        case 7:  // a piece, and then nothing more
            return {"cut write nth=" + std::to_string(nth) + " bytes=" + std::to_string(bytes),
                    Doing([=](World& world) {
                        world.Calls().LimitWrite(nth, bytes);
                        world.Calls().LimitWrite(nth + 1, -1);
                    })};
        default:
            return {"limit write nth=" + std::to_string(nth) + " bytes=" + std::to_string(bytes),
                    Doing([=](World& world) { world.Calls().LimitWrite(nth, bytes); })};
    }
}

/// What others do to the files.
Operation Author::Disturbance() {
    std::string const name = RandomName();
    std::string other = RandomName();
    if (other == name) {
        other += ".old";
    }
    switch (Below(12)) {
        case 0:
        case 1:
        case 2:
            return {"remove " + name, [name](World& world) { return world.Remove(name); }};
        case 3:
        case 4:
            return {"rename " + name + " to " + other,
                    [=](World& world) { return world.Rename(name, other); }};
        case 5: {
            std::string const bytes = Filler(number_, static_cast<std::size_t>(Below(9000)));
            return {"put " + std::to_string(bytes.size()) + " bytes into " + name,
                    [=](World& world) { return world.Put(name, bytes); }};
        }
        case 6:
            return {"remove " + name + ", make a directory " + name, [name](World& world) {
                        world.Remove(name);
                        return world.MakeDirectory(name);
                    }};
        case 7:
            return {"fill directory " + name,
                    [name](World& world) { return world.FillDirectory(name); }};
        case 8:
        case 9: {
            bool const writable = Below(2) == 0;
            return {"make " + name + (writable ? " writable" : " unwritable"),
                    [=](World& world) { return world.SetFileWritable(name, writable); }};
        }
        default: {
            bool const writable = Below(3) != 0;
            return {std::string("make the directory ") + (writable ? "writable" : "unwritable"),
                    [=](World& world) { return world.SetDirectoryWritable(writable); }};
        }
    }
}

/// Mostly the live file's.
std::string Author::RandomName() {
    std::string const live = kLive;
    return Pick({live, live, live, live + ".1", live + ".1", live + ".2",
                 live + "." + std::to_string(1 + Below(10)), std::string("moved.log")});
}

Comparison::Comparison(Events& events)
    : system_(std::make_unique<SystemWorld>()),
      simulated_(std::make_unique<SimulatedWorld>(events)) {}

Comparison::~Comparison() = default;

std::string Comparison::Perform(Operation const& operation) {
    bool const actual = operation.perform(*system_);
    bool const expected = operation.perform(*simulated_);
    std::ostringstream out;
    if (actual != expected) {
        out << "answered " << actual << " and should have answered " << expected << "\n";
    }
    if (system_->IsOpen() != simulated_->IsOpen()) {
        out << "the file is "
            << (system_->IsOpen() ? "open and should not be\n" : "not open and should be\n");
    }
    if (system_->Calls().Calls() != simulated_->Calls().Calls()) {
        out << "writes by size, " << CallPlan::kSeek
            << " being an lseek: " << ::testing::PrintToString(system_->Calls().Calls())
            << "\nand should be " << ::testing::PrintToString(simulated_->Calls().Calls()) << "\n";
    }
    system_->Calls().ForgetCalls();
    simulated_->Calls().ForgetCalls();
    return out.str();
}

std::string Comparison::CompareFiles() const {
    return Difference(system_->List(), simulated_->List());
}

}  // namespace tarqlog
