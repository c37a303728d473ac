#include "faults/rows.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "collectors/isolation.h"
#include "faults/driver.h"
#include "faults/interference.h"
#include "faults/texts.h"
#include "support/child.h"
#include "support/temporary_directory.h"

namespace tarqlog::faults {

namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;
using Action = std::function<void()>;

constexpr int kThreads = 8;
constexpr long kNoLimit = std::numeric_limits<int>::max();

void Require(bool succeeded, char const* what) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

Strings With(Strings settings, Strings const& more) {
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

std::string LogOf(Scene const& scene) {
    return scene.Directory() + "/log";
}

/// The files whose names begin like the log's.
Strings LogFiles(std::string const& directory) {
    Strings files;
    for (auto const& entry : fs::directory_iterator(directory)) {
        if (entry.is_regular_file() && entry.path().filename().string().rfind("log", 0) == 0) {
            files.push_back(entry.path());
        }
    }
    return files;
}

/// The last note on the board, and what the children have counted.
void AddTo(AccountNote& account, Board const& board) {
    AccountNote const& last = board.note[(board.notes + 1) % 2];
    account.lines += last.lines + board.childLines;
    account.lost += last.lost + board.childLost;
    account.atLeast += last.atLeast;
    account.atMost += last.atMost;
}

/// What is on the board and in the files, once the writers have ended.
/// @param expected  the signal that the fault consists of, if any
Outcome Account(Scene const& scene, std::vector<Writer*> const& writers, int expected = 0,
                Window const& window = {}, Strings const& kept = {},
                std::string const& directory = {}, std::string const* header = nullptr) {
    Outcome outcome;
    std::vector<long> due(kMaxThreads);
    outcome.isAccounted = true;
    for (Writer* const writer : writers) {
        Ending const ending = writer->AwaitEnd();
        Board const& board = writer->TheBoard();
        if (ending.status == kStatusCannot) {
            outcome.cannot = ReadWholeFile(scene.Directory() + "/output");
            return outcome;
        }
        outcome.hung = outcome.hung || ending.hung;
        if (!ending.hung && ending.signal != expected) {
            outcome.died = "signal " + std::to_string(ending.signal);
        } else if (ending.status != 0) {
            outcome.died = "status " + std::to_string(ending.status);
        }
        for (std::size_t i = 0; i < kMaxThreads; ++i) {
            due[i] += board.isExiting != 0 ? board.due[i] : board.returned[i];
        }
        outcome.isAccounted = outcome.isAccounted && board.notes > 0;
        AddTo(outcome.account, board);
        outcome.hits += board.hits;
        outcome.childrenHung += board.hung;
        outcome.childrenDied += board.died;
    }
    Judge judge(header != nullptr ? *header : scene.ThePeer().header, scene.ThePeer().preamble);
    for (std::string const& content : kept) {
        judge.Read(content);
    }
    for (std::string const& file : LogFiles(directory.empty() ? scene.Directory() : directory)) {
        fs::permissions(file, fs::perms::owner_all);
        judge.Read(ReadWholeFile(file));
    }
    outcome.verdict = judge.Decide(due, window);
    return outcome;
}

// Sudden and other ends.

template <bool kBuffered>
Outcome Kill(Scene const& scene) {
    Writer writer(scene.ThePeer().program,
                  {"file=" + LogOf(scene), kBuffered ? "buffered=100" : "buffered=0", "end=abort",
                   "at=" + std::to_string(kNoLimit)},  // so late that it will not come to that
                  scene.Directory());
    writer.Allow(kNoLimit);
    writer.AwaitTotal(scene.Scaled(4000, 20000));
    writer.AwaitNoteOrTotal(scene.Scaled(400000, 2000000));  // its first thread may wait for a turn
    writer.Kill(SIGKILL);
    Outcome outcome = Account(scene, {&writer}, SIGKILL);
    outcome.hits = outcome.died.empty() ? 1 : 0;
    return outcome;
}

/// The writer makes its own end, while all threads log.
Outcome EndBy(Scene const& scene, std::string const& end, bool isBuffered, int signal = 0) {
    Writer writer(scene.ThePeer().program,
                  {"file=" + LogOf(scene), isBuffered ? "buffered=100" : "buffered=0", "end=" + end,
                   "at=" + std::to_string(scene.Scaled(4000, 20000))},
                  scene.Directory());
    writer.Allow(kNoLimit);
    return Account(scene, {&writer}, signal);
}

template <bool kBuffered>
Outcome Abort(Scene const& scene) {
    return EndBy(scene, "abort", kBuffered, SIGABRT);
}

template <bool kBuffered>
Outcome Segfault(Scene const& scene) {
    return EndBy(scene, "segfault", kBuffered, SIGSEGV);
}

template <bool kBuffered>
Outcome Exit(Scene const& scene) {
    return EndBy(scene, "exit", kBuffered);
}

template <bool kBuffered>
Outcome QuickExit(Scene const& scene) {
    return EndBy(scene, "quick_exit", kBuffered);
}

/// The writer goes on by itself until its main() returns.
Outcome RunThrough(Scene const& scene, Strings const& settings, int signal = 0) {
    Writer writer(scene.ThePeer().program, With({"file=" + LogOf(scene)}, settings),
                  scene.Directory());
    writer.Allow(kNoLimit);
    return Account(scene, {&writer}, signal);
}

Outcome ErrorThenAbort(Scene const& scene) {
    return RunThrough(scene, {"buffered=100", "task=error-abort"}, SIGABRT);
}

Outcome LastWords(Scene const& scene) {
    return RunThrough(scene, {"buffered=100", "lines=100", "task=last-words"});
}

// Faults from outside. Each thread logs a third of its lines before, while it lasts, and after.

constexpr int kThird = 250;
constexpr Window kMiddle = {kThird, 2 * kThird};
constexpr Window kFromMiddle = {kThird, 3 * kThird};

struct Course {
    Strings settings;
    std::string log;                     // its path, if not the scene's
    std::function<void()> preparation;   // see Writer
    std::function<bool(Writer&)> begin;  // whether the fault was there
    Action end = [] {};
    Window window = kMiddle;
    std::string directory;  // of the files, if not the scene's
};

Outcome RunThirds(Scene const& scene, Course const& course, Strings const& kept = {}) {
    std::string const log = course.log.empty() ? LogOf(scene) : course.log;
    Writer writer(scene.ThePeer().program,
                  With({"file=" + log, "lines=" + std::to_string(3 * kThird)}, course.settings),
                  scene.Directory(), course.preparation);
    writer.Allow(kThird);
    writer.AwaitEach(kThreads, kThird);
    long const hits = course.begin(writer) ? 1 : 0;
    writer.Allow(2L * kThird);
    writer.AwaitEach(kThreads, 2L * kThird);
    course.end();
    writer.Allow(kNoLimit);
    Outcome outcome = Account(scene, {&writer}, 0, course.window, kept, course.directory);
    outcome.hits += hits;
    return outcome;
}

/// What this process mounts from now on is there for its own writers alone.
void BeAlone() {
    static bool const isAlone = (EnterOwnNamespaces(CLONE_NEWNS), true);
    static_cast<void>(isAlone);
}

/// A file system of 2 MiB, in a namespace of this process's own.
class SmallDisk {
public:
    explicit SmallDisk(Scene const& scene) : path_(scene.Directory() + "/disk") {
        BeAlone();
        fs::create_directory(path_);
        Require(::mount("none", path_.c_str(), "tmpfs", 0, "size=2m") == 0, "cannot mount");
    }

    ~SmallDisk() { ::umount2(path_.c_str(), MNT_DETACH); }

    SmallDisk(SmallDisk const&) = delete;
    SmallDisk& operator=(SmallDisk const&) = delete;

    std::string const& Path() const { return path_; }

    /// True when the disk has refused the last byte.
    bool Fill() const {
        std::string const page(4096, 'x');
        int const file = ::open(Ballast().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        while (::write(file, page.data(), page.size()) > 0) {
        }
        bool const isFull = errno == ENOSPC;
        ::close(file);
        return isFull;
    }

    void Relieve() const { fs::remove(Ballast()); }

private:
    std::string Ballast() const { return path_ + "/ballast"; }

    std::string const path_;
};

template <bool kBuffered>
Outcome DiskFull(Scene const& scene) {
    SmallDisk const disk(scene);
    Course course;
    course.settings = {kBuffered ? "buffered=100" : "buffered=0"};
    course.log = disk.Path() + "/log";
    course.begin = [&](Writer&) { return disk.Fill(); };
    course.end = [&] { disk.Relieve(); };
    course.directory = disk.Path();
    return RunThirds(scene, course);
}

Outcome Interfere(Scene const& scene, Interference::Kind kind, Strings const& settings) {
    Interference const interference(kind, LogOf(scene));
    Writer writer(scene.ThePeer().program, With({"file=" + LogOf(scene)}, settings),
                  scene.Directory(), [&] { interference.Begin(); });
    writer.Allow(kNoLimit);
    Outcome outcome = Account(scene, {&writer});
    outcome.hits += interference.Hits();
    return outcome;
}

template <Interference::Kind kKind>
Outcome InterfereWithWrites(Scene const& scene) {
    return Interfere(scene, kKind, {"lines=" + std::to_string(scene.Scaled(100, 500))});
}

Outcome Rename(Scene const& scene) {
    Course course;
    course.begin = [&](Writer&) {
        fs::rename(LogOf(scene), LogOf(scene) + ".moved");
        return true;
    };
    return RunThirds(scene, course);
}

/// What the file holds when it is taken away is not lost.
Outcome TakeAway(Scene const& scene, std::function<bool()> const& take) {
    Strings kept(1);
    Course course;
    course.window = kFromMiddle;
    course.begin = [&](Writer&) {
        kept[0] = ReadWholeFile(LogOf(scene));
        return take();
    };
    return RunThirds(scene, course, kept);
}

Outcome Remove(Scene const& scene) {
    return TakeAway(scene, [&] { return fs::remove(LogOf(scene)); });
}

Outcome Truncate(Scene const& scene) {
    return TakeAway(scene, [&] { return ::truncate(LogOf(scene).c_str(), 0) == 0; });
}

Outcome LateFolder(Scene const& scene) {
    std::string const folder = scene.Directory() + "/later";
    Course course;
    course.log = folder + "/log";
    course.directory = folder;
    course.window = {0, kThird};
    bool wasMissing = false;
    course.begin = [&](Writer&) {
        wasMissing = fs::create_directory(folder);
        return true;
    };
    return RunThirds(scene, course);
}

Course ForbiddenCourse(Scene const& scene) {
    Course course;
    course.preparation = ForgoPower;
    course.begin = [&scene](Writer&) { return ::chmod(LogOf(scene).c_str(), 0) == 0; };
    return course;
}

Outcome LosePermission(Scene const& scene) {
    Course course = ForbiddenCourse(scene);
    course.end = [&] { ::chmod(LogOf(scene).c_str(), 0600); };
    return RunThirds(scene, course);
}

Outcome DropRights(Scene const& scene) {
    Course course = ForbiddenCourse(scene);
    course.window = kFromMiddle;
    return RunThirds(scene, course);
}

Outcome ExhaustDescriptors(Scene const& scene) {
    Course course;
    pid_t writer = 0;
    rlimit before = {};
    course.begin = [&](Writer& running) {
        writer = running.Pid();
        ::prlimit(writer, RLIMIT_NOFILE, nullptr, &before);
        rlimit const none = {0, before.rlim_max};
        return ::prlimit(writer, RLIMIT_NOFILE, &none, nullptr) == 0;
    };
    course.end = [&] { ::prlimit(writer, RLIMIT_NOFILE, &before, nullptr); };
    return RunThirds(scene, course);
}

template <bool kRelative>
Outcome ChangeDirectory(Scene const& scene) {
    fs::create_directory(scene.Directory() + "/elsewhere");
    Course course;
    course.log = kRelative ? "log" : LogOf(scene);
    course.settings = {"task=chdir"};
    course.begin = [](Writer&) { return false; };  // the writer says whether it moved
    return RunThirds(scene, course);
}

/// Step by step, in each of which both log.
Outcome TwoWriters(Scene const& scene, Strings const& more) {
    constexpr long kSteps = 10;
    long const step = scene.Scaled(30, 200);
    auto const settings = [&](int first) {
        return With(more, {"file=" + LogOf(scene), "first=" + std::to_string(first),
                           "lines=" + std::to_string(kSteps * step)});
    };
    Writer one(scene.ThePeer().program, settings(0), scene.Directory());
    Writer other(scene.ThePeer().program, settings(kThreads), scene.Directory());
    long hits = 0;
    for (long i = 1; i <= kSteps; ++i) {
        one.Allow(i * step);
        other.Allow(i * step);
        one.AwaitTotal(kThreads * i * step);
        other.AwaitTotal(kThreads * i * step);
        ++hits;
    }
    Outcome outcome = Account(scene, {&one, &other});
    outcome.hits = outcome.verdict.found > 0 ? hits : 0;
    return outcome;
}

Outcome TwoUnbuffered(Scene const& scene) {
    return TwoWriters(scene, {});
}

Outcome TwoBuffered(Scene const& scene) {
    return TwoWriters(scene, {"buffered=100"});
}

/// Every line leaves through the buffer: twenty have room in it, whatever their length.
Outcome TwoThroughBuffer(Scene const& scene) {
    return TwoWriters(scene, {"buffered=20", "plain=1"});
}

// Rolling: all lines have room in the files.

Strings RollingSettings(int kept, long lines) {
    return {"limit=1024", "kept=" + std::to_string(kept), "lines=" + std::to_string(lines)};
}

/// So many files are full.
long Rolled(Scene const& scene) {
    return static_cast<long>(LogFiles(scene.Directory()).size()) - 1;
}

Outcome Roll(Scene const& scene) {
    Outcome outcome = RunThrough(scene, RollingSettings(9, scene.Scaled(3000, 6000)));
    outcome.hits = Rolled(scene);
    return outcome;
}

/// A folder that is not empty has the name of the last numbered file, when that is first needed.
template <int kNumber>
Outcome RollOver(Scene const& scene) {
    std::string const obstacle = LogOf(scene) + "." + std::to_string(kNumber);
    fs::create_directories(obstacle + "/full");
    Outcome outcome = RunThrough(scene, RollingSettings(kNumber, 1300L * kNumber));
    outcome.hits = fs::is_directory(obstacle) ? 1 : 0;
    return outcome;
}

Outcome RefuseRename(Scene const& scene) {
    return Interfere(scene, Interference::kRefusedRename, RollingSettings(9, 3000));
}

// What the writer does to itself.

Outcome ReconfigureBeside(Scene const& scene) {
    return RunThrough(scene, {"threads=64", "task=reconfigure",
                              "at=" + std::to_string(scene.Scaled(3200, 32000))});
}

Outcome JumpingClock(Scene const& scene) {
    return RunThrough(scene, {"task=clock", "lines=" + std::to_string(scene.Scaled(200, 2000))});
}

Outcome Throw(Scene const& scene) {
    return RunThrough(scene, {"thrower=1", "lines=" + std::to_string(scene.Scaled(1000, 125000))});
}

/// A text is whole when it stands behind a header and before a line feed, byte for byte.
Outcome OddTextsOf(Scene const& scene) {
    Outcome outcome = RunThrough(scene, {"task=texts"});
    outcome.verdict = {};
    std::string content;
    for (std::string const& file : LogFiles(scene.Directory())) {
        content += ReadWholeFile(file);
    }
    for (std::string const& text : OddTexts()) {
        std::string::size_type const at = content.find(text + "\n");
        std::string::size_type const line =
            at == std::string::npos || at == 0 ? 0 : content.rfind('\n', at - 1) + 1;
        bool const isWhole =
            at != std::string::npos &&
            IsHeader(std::string_view(content).substr(line, at - line), scene.ThePeer().header);
        (isWhole ? outcome.verdict.found : outcome.verdict.lost) += 1;
    }
    return outcome;
}

// Receivers that come and go.

/// A socket that keeps what comes, a line each.
class Receiver {
public:
    explicit Receiver(std::function<int()> open) : open_(std::move(open)) { Come(); }

    ~Receiver() { Go(); }

    Receiver(Receiver const&) = delete;
    Receiver& operator=(Receiver const&) = delete;

    void Come() {
        descriptor_ = open_();
        isOver_ = false;
        thread_ = std::thread([this] { Receive(); });
    }

    /// Takes what has come before and closes the socket.
    void Go() {
        isOver_ = true;
        if (thread_.joinable()) {
            thread_.join();
            ::close(descriptor_);
        }
    }

    /// Waits until it has taken what has come by now.
    void AwaitIdle() const {
        for (long const before = idle_; thread_.joinable() && idle_ < before + 2;) {
            std::this_thread::yield();
        }
    }

    /// Only when it has gone.
    std::string const& Content() const { return content_; }

private:
    void Receive() {
        std::vector<char> datagram(1U << 16U);
        for (;;) {
            bool const wasOver = isOver_;
            ssize_t const size =
                ::recv(descriptor_, datagram.data(), datagram.size(), MSG_DONTWAIT);
            if (size > 0) {
                content_.append(datagram.data(), static_cast<std::size_t>(size));
                content_.append(content_.back() == '\n' ? "" : "\n");
                continue;
            }
            ++idle_;
            if (wasOver) {
                return;
            }
            pollfd entry = {descriptor_, POLLIN, 0};
            ::poll(&entry, 1, 1);
        }
    }

    std::function<int()> const open_;
    int descriptor_ = -1;
    std::string content_;
    std::atomic<bool> isOver_{false};
    std::atomic<long> idle_{0};  // how often nothing was there
    std::thread thread_;
};

/// Each thread logs some lines at a time, so that all have room in the socket.
Outcome RunToReceiver(Scene const& scene, Receiver& receiver, std::string const& setting,
                      std::string const& header) {
    constexpr int kStep = 5;
    Writer writer(scene.ThePeer().program, {setting, "lines=" + std::to_string(3 * kThird)},
                  scene.Directory());
    for (int lines = 0; lines < 3 * kThird;) {
        if (lines == kMiddle.begin) {
            receiver.Go();
        } else if (lines == kMiddle.end) {
            receiver.Come();
        }
        lines += kStep;
        writer.Allow(lines);
        writer.AwaitEach(kThreads, lines);
        receiver.AwaitIdle();
    }
    writer.AwaitEnd();
    receiver.Go();
    Outcome outcome = Account(scene, {&writer}, 0, kMiddle, {receiver.Content()}, "", &header);
    outcome.hits = 1;
    return outcome;
}

/// False when the port is taken.
bool BindUdp(int descriptor, unsigned short port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

/// Binds `port`, or chooses one when it is 0: below those that the kernel gives to senders, which
/// might get it while the receiver is away.
int OpenUdp(unsigned short& port) {
    constexpr int kFirst = 20000;
    constexpr int kPorts = 12000;
    int const descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool isBound = port != 0 && BindUdp(descriptor, port);
    for (int i = 0; port == 0 && i < kPorts; ++i) {
        // Not the same for all who do so now.
        auto const next = static_cast<unsigned short>(kFirst + (::getpid() + i) % kPorts);
        isBound = BindUdp(descriptor, next);
        port = isBound ? next : port;
    }
    Require(isBound, "cannot bind a UDP port");
    return descriptor;
}

Outcome LoseUdpReceiver(Scene const& scene) {
    unsigned short port = 0;
    Receiver receiver([&] { return OpenUdp(port); });
    return RunToReceiver(scene, receiver, "udp=" + std::to_string(port), scene.ThePeer().header);
}

/// A /dev of this process's own, with nothing in it but what comes to be: no line gets to the
/// machine's own system log.
class OwnDev {
public:
    OwnDev() {
        BeAlone();
        Require(::mount("none", "/dev", "tmpfs", 0, nullptr) == 0, "cannot mount");
    }

    ~OwnDev() { ::umount2("/dev", MNT_DETACH); }

    OwnDev(OwnDev const&) = delete;
    OwnDev& operator=(OwnDev const&) = delete;
};

int OpenDevLog() {
    ::unlink("/dev/log");
    int const descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {AF_UNIX, "/dev/log"};
    Require(::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "cannot bind /dev/log");
    return descriptor;
}

Outcome LoseSystemLog(Scene const& scene) {
    OwnDev const dev;
    Receiver receiver(OpenDevLog);
    return RunToReceiver(scene, receiver, "syslog=1", "");
}

/// No goal: that it may hang is known.
Outcome LogInHandler(Scene const& scene) {
    Writer writer(scene.ThePeer().program, {"file=" + LogOf(scene), "buffered=100", "task=signals"},
                  scene.Directory());
    writer.SetPatience(std::chrono::seconds(2));
    writer.Allow(kNoLimit);
    return Account(scene, {&writer});
}

template <bool kBuffered>
Outcome ForkBeside(Scene const& scene) {
    return RunThrough(scene, {kBuffered ? "buffered=100" : "buffered=0", "task=fork",
                              "at=" + std::to_string(scene.Scaled(4000, 20000))});
}

// What we promise.

std::string Above(char const* what, long count, long most) {
    return count <= most ? ""
                         : std::string(what) + " " + std::to_string(count) + ", goal " +
                               std::to_string(most) + "; ";
}

/// The library has counted each line.
std::string Counted(Outcome const& outcome) {
    AccountNote const& account = outcome.account;
    bool const isWhole = account.atLeast <= account.lines && account.lines <= account.atMost;
    return !outcome.isAccounted ? "has no account; "
           : isWhole            ? ""
                                : "accounts for " + std::to_string(account.lines) + " of " +
                           std::to_string(account.atLeast) + " to " +
                           std::to_string(account.atMost) + "; ";
}

/// Whatever the fault; also where a fixed behaviour makes us lose, for which docs/guarantees.md
/// names the setting to use instead.
std::string Alive(Outcome const& outcome) {
    std::string missed = outcome.hung ? "hung; " : "";
    missed += outcome.died.empty() ? "" : "died by " + outcome.died + "; ";
    return missed + Counted(outcome) + Above("children hung", outcome.childrenHung, 0) +
           Above("children died", outcome.childrenDied, 0) +
           Above("double", outcome.verdict.doubled, 0) +
           Above("reordered", outcome.verdict.reordered, 0);
}

/// What the library says of its own losses is true, where nobody else has lost any. A line of which
/// only the end is not written is one of them, and its text is found all the same.
std::string Accounted(Outcome const& outcome) {
    long const counted = outcome.account.lost;
    long const least = outcome.verdict.lost;
    return counted >= least && counted <= least + outcome.verdict.unended
               ? ""
               : "has counted " + std::to_string(counted) + " lost instead of " +
                     std::to_string(least) + "; ";
}

std::string Whole(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) + Above("lost", outcome.verdict.lost, 0) +
           Above("torn", outcome.verdict.torn, 0);
}

/// Two processes tear each other's lines where these do not leave through the buffer.
std::string NothingLost(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) + Above("lost", outcome.verdict.lost, 0);
}

std::string WholeButForTheLast(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) + Above("lost", outcome.verdict.lost, 0) +
           Above("torn", outcome.verdict.torn, 1);
}

std::string WholeButForTheBuffer(Outcome const& outcome) {
    return Alive(outcome) + Above("lost", outcome.verdict.lost, 99) +
           Above("bytes lost", outcome.verdict.lostBytes, 4095) +
           Above("lost before a warning", outcome.verdict.lostBeforeWarning, 0) +
           Above("torn", outcome.verdict.torn, 1);
}

std::string WholeOutside(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) +
           Above("lost outside", outcome.verdict.lostOutside, 0);
}

std::string WholeOutsideButForTheBuffer(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) +
           Above("lost outside", outcome.verdict.lostOutside, 99);
}

/// The one with which the loss of the receiver is noticed, or its return.
std::string WholeOutsideButForTheFirst(Outcome const& outcome) {
    return Alive(outcome) + Above("lost outside", outcome.verdict.lostOutside, 1);
}

std::string Below64Lost(Outcome const& outcome) {
    return Alive(outcome) + Above("lost", outcome.verdict.lost, 63) +
           Above("torn", outcome.verdict.torn, 0);
}

/// The record that the fault strikes.
std::string OneLost(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) + Above("lost", outcome.verdict.lost, 1) +
           Above("torn", outcome.verdict.torn, 1);
}

std::string OneOfEachThreadLostAtEachChange(Outcome const& outcome) {
    return Alive(outcome) + Accounted(outcome) +
           Above("lost of one thread", outcome.verdict.lostOfOneThread, outcome.hits) +
           Above("torn", outcome.verdict.torn, 0);
}

/// What is forbidden.
std::string NoGoal(Outcome const& /*outcome*/) {
    return "";
}

}  // namespace

Peer AskPeer(std::string const& program) {
    std::istringstream answer(RunProgram(program).output);
    Peer peer = {fs::absolute(program), "", "", "", ""};
    std::getline(answer, peer.name);
    std::getline(answer, peer.header);
    std::getline(answer, peer.preamble);
    std::getline(answer, peer.settings);
    if (peer.header.empty()) {
        throw std::runtime_error(program + " is no writer");
    }
    return peer;
}

std::vector<Row> const& Rows() {
    static std::vector<Row> const rows = {
        {"kill -9, unbuffered", Kill<false>, WholeButForTheLast},
        {"kill -9, buffered", Kill<true>, WholeButForTheBuffer},
        {"abort, unbuffered", Abort<false>, WholeButForTheLast},
        {"abort, buffered", Abort<true>, WholeButForTheBuffer},
        {"segfault, unbuffered", Segfault<false>, WholeButForTheLast},
        {"segfault, buffered", Segfault<true>, WholeButForTheBuffer},
        {"exit, unbuffered", Exit<false>, WholeButForTheLast},
        {"exit, buffered", Exit<true>, WholeButForTheLast},
        {"quick_exit, unbuffered", QuickExit<false>, WholeButForTheLast},
        {"quick_exit, buffered", QuickExit<true>, WholeButForTheBuffer},
        {"an error, then abort, buffered", ErrorThenAbort, Whole},
        {"static destructors and atexit, buffered", LastWords, Whole},
        {"disk full and relieved, unbuffered", DiskFull<false>, WholeOutside, true},
        {"disk full and relieved, buffered", DiskFull<true>, WholeOutsideButForTheBuffer, true},
        {"short writes", InterfereWithWrites<Interference::kShortWrites>, Whole},
        {"EINTR once", InterfereWithWrites<Interference::kInterruptedWrite>, OneLost},
        {"EIO once", InterfereWithWrites<Interference::kFailedWrite>, OneLost},
        {"log renamed", Rename, Whole},
        {"log removed", Remove, Below64Lost},
        {"log truncated", Truncate, Whole},
        {"folder missing at first", LateFolder, WholeOutside},
        {"permission lost and regained", LosePermission, WholeOutside},
        {"descriptors exhausted and relieved", ExhaustDescriptors, WholeOutside},
        {"chdir after opening, relative name", ChangeDirectory<true>, Alive},
        {"chdir after opening, absolute name", ChangeDirectory<false>, Whole},
        {"rights dropped after opening", DropRights, WholeOutside},
        {"two processes, unbuffered", TwoUnbuffered, NothingLost},
        {"two processes, buffered", TwoBuffered, NothingLost},
        {"two processes, a buffer of 20 short lines, no warnings", TwoThroughBuffer, Whole},
        {"heavy rolling", Roll, Whole},
        {"rolling, a folder at NAME.3, the last", RollOver<3>, Alive},
        {"rolling, a folder at NAME.1, the last", RollOver<1>, Alive},
        {"rolling, one rename refused", RefuseRename, Alive},
        {"64 threads, continuous reconfiguration", ReconfigureBeside,
         OneOfEachThreadLostAtEachChange},
        {"clocks that jump, 1950 to 12000", JumpingClock, Whole},
        {"a destination that throws", Throw, Whole},
        {"odd texts, as given", OddTextsOf, Whole},
        {"UDP receiver gone and back", LoseUdpReceiver, WholeOutsideButForTheFirst},
        {"system log gone and back", LoseSystemLog, WholeOutsideButForTheFirst, true},
        {"log statement in a signal handler (forbidden)", LogInHandler, NoGoal},
        {"fork, unbuffered", ForkBeside<false>, NothingLost},
        {"fork, buffered", ForkBeside<true>, NothingLost},
    };
    return rows;
}

std::string IdOf(Row const& row) {
    std::string id;
    bool isFirst = true;
    for (char const* at = row.name; *at != '\0'; ++at) {
        auto const letter = static_cast<unsigned char>(*at);
        if (std::isalnum(letter) != 0) {
            id += static_cast<char>(isFirst ? std::toupper(letter) : letter);
        }
        isFirst = std::isalnum(letter) == 0;
    }
    return id;
}

Outcome RunRow(Row const& row, Peer const& peer, bool isQuick) {
    TemporaryDirectory const directory;
    return row.run(Scene(peer, directory.Path(), isQuick));
}

std::string ToText(Outcome const& outcome) {
    if (!outcome.cannot.empty()) {
        return outcome.cannot.substr(0, outcome.cannot.find('\n'));
    }
    Verdict const& verdict = outcome.verdict;
    std::string text;
    auto const add = [&](long count, std::string const& what) {
        if (count > 0) {
            text += (text.empty() ? "" : ", ") + what + ' ' + std::to_string(count);
        }
    };
    text += outcome.hung ? "HUNG" : "";
    text += outcome.died.empty() ? "" : "DIED by " + outcome.died;
    add(verdict.lost, "lost");
    if (verdict.lost > 0) {
        text += " (" + std::to_string(verdict.lostBytes) + " B)";
    }
    add(verdict.doubled, "double");
    add(verdict.reordered, "reordered");
    add(verdict.torn, "torn");
    add(outcome.childrenHung, "children hung");
    add(outcome.childrenDied, "children died");
    return (text.empty() ? "whole" : text) + "; hits " + std::to_string(outcome.hits);
}

Verdict JudgePlanted(Peer const& planted, std::string const& flaw) {
    TemporaryDirectory const directory;
    Scene const scene(planted, directory.Path(), false);
    return RunThrough(scene, {"lines=1250", "flaw=" + flaw}).verdict;
}

}  // namespace tarqlog::faults
