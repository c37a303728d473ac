#include "collectors/daemon.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/temporary_directory.h"

namespace tarqlog {

namespace {

constexpr std::chrono::seconds kDeadline(30);
constexpr std::chrono::milliseconds kLookAgain(2);

/// The folder with the unpacked packages.
std::string Root() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    char const* const root = std::getenv("TARQLOG_COLLECTORS");
    if (root == nullptr) {
        throw std::runtime_error(
            "TARQLOG_COLLECTORS is not set: run scripts/gates/collectors, or name the folder that "
            "scripts/collectors filled");
    }
    return root;
}

/// The folder of the machine's libraries in the root: usr/lib/x86_64-linux-gnu.
std::string Libraries() {
    std::string const root = Root();
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator(root + "/usr/lib", error)) {
        if (std::filesystem::is_directory(entry.path() / "rsyslog")) {
            return entry.path();
        }
    }
    throw std::runtime_error("TARQLOG_COLLECTORS=" + root +
                             " holds no collectors: run scripts/collectors " + root);
}

/// A program that finds its libraries.
std::vector<std::string> Unpacked(std::string const& program) {
    return {"/usr/bin/env", "LD_LIBRARY_PATH=" + Libraries(), Root() + "/usr/sbin/" + program};
}

/// The program with what it needs to find its own files.
std::vector<std::string> Program(Collector collector) {
    if (collector == Collector::kRsyslog) {
        return Unpacked("rsyslogd");
    }
    std::string const root = Root();
    return {"/usr/bin/env", "LD_LIBRARY_PATH=" + Libraries() + ":" + root + "/usr/lib/syslog-ng",
            "SYSLOGNG_PREFIX=" + root + "/usr", root + "/usr/sbin/syslog-ng"};
}

ChildResult Run(std::vector<std::string> words, std::vector<std::string> const& arguments) {
    words.insert(words.end(), arguments.begin(), arguments.end());
    return RunProgram(words.front(), {words.begin() + 1, words.end()});
}

/// The socket on which a daemon tells a service manager that it is ready.
class ReadySocket {
public:
    explicit ReadySocket(std::string const& path)
        : descriptor_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::filesystem::remove(path);
        if (path.size() >= sizeof address.sun_path) {
            throw std::runtime_error("too long for a socket: " + path);
        }
        std::memcpy(address.sun_path, path.c_str(), path.size());
        if (::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot bind " + path);
        }
    }
    ~ReadySocket() { ::close(descriptor_); }

    ReadySocket(ReadySocket const&) = delete;
    ReadySocket& operator=(ReadySocket const&) = delete;

    bool SaysReady() const {
        char message[256];
        ssize_t const size = ::recv(descriptor_, message, sizeof message, MSG_DONTWAIT);
        return size > 0 && std::string(message, static_cast<std::size_t>(size)).find("READY=1") !=
                               std::string::npos;
    }

private:
    int const descriptor_;
};

}  // namespace

ChildResult RunUnpacked(std::string const& program, std::vector<std::string> const& arguments) {
    return Run(Unpacked(program), arguments);
}

std::string VersionLine(Collector collector) {
    std::string const output =
        Run(Program(collector), {collector == Collector::kRsyslog ? "-v" : "-V"}).output;
    return output.substr(0, output.find('\n'));
}

ChildResult CheckConfiguration(Collector collector, std::string const& configuration) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("configuration");
    WriteWholeFile(file, configuration);
    if (collector == Collector::kRsyslog) {
        return Run(Program(collector),
                   {"-N1", "-iNONE", "-f", file, "-M", Libraries() + "/rsyslog"});
    }
    return Run(Program(collector), {"--syntax-only", "--stderr", "--no-caps", "--cfgfile", file,
                                    "--persist-file", directory.File("persist"), "--control",
                                    directory.File("control"), "--pidfile", directory.File("pid")});
}

Daemon::Daemon(Collector collector, std::string const& directory, std::string const& configuration)
    : collector_(collector), directory_(directory) {
    WriteWholeFile(directory_ + "/configuration", configuration);
    WriteWholeFile(directory_ + "/messages", "");
}

Daemon::~Daemon() {
    Kill();
}

void Daemon::Start() {
    Kill();
    // rsyslog would start with what it understands.
    ChildResult const checked =
        CheckConfiguration(collector_, ReadWholeFile(directory_ + "/configuration"));
    if (checked.exitStatus != 0) {
        throw std::runtime_error("the daemon does not take its configuration: " + checked.errors);
    }
    std::string::size_type const said = Messages().size();
    ReadySocket const socket(directory_ + "/ready");
    Fork(Command());
    bool ended = false;
    WaitUntil(directory_ + ": the daemon is ready", [&] {
        ended = HasEnded();
        return ended || (collector_ == Collector::kRsyslog
                             ? socket.SaysReady()
                             : Messages().find("syslog-ng starting up", said) != std::string::npos);
    });
    if (ended) {
        throw std::runtime_error("the daemon has ended: " + Messages().substr(said));
    }
}

void Daemon::Stop() {
    if (pid_ == 0) {
        return;
    }
    ::kill(pid_, SIGTERM);
    int status = 0;
    WaitUntil("the daemon ends", [&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; });
    ::kill(-pid_, SIGKILL);  // what it may have left behind
    pid_ = 0;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the daemon did not end well: " + Messages());
    }
}

void Daemon::Kill() {
    if (pid_ != 0) {
        ::kill(-pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = 0;
    }
}

std::string Daemon::Messages() const {
    return ReadWholeFile(directory_ + "/messages");
}

std::vector<std::string> Daemon::Command() const {
    std::vector<std::string> words = Program(collector_);
    std::string const configuration = directory_ + "/configuration";
    if (collector_ == Collector::kRsyslog) {
        words.insert(words.begin() + 1, "NOTIFY_SOCKET=" + directory_ + "/ready");
        words.insert(words.end(),
                     {"-n", "-iNONE", "-f", configuration, "-M", Libraries() + "/rsyslog"});
    } else {
        words.insert(words.end(),
                     {"--foreground", "--stderr", "--no-caps", "--cfgfile", configuration,
                      "--persist-file", directory_ + "/persist", "--control",
                      directory_ + "/control", "--pidfile", directory_ + "/pid"});
    }
    return words;
}

void Daemon::Fork(std::vector<std::string> const& command) {
    std::vector<char*> words;
    for (std::string const& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    std::string const messages = directory_ + "/messages";
    pid_t const parent = ::getpid();
    pid_ = ::fork();
    if (pid_ < 0) {
        pid_ = 0;
        throw std::runtime_error("cannot fork");
    }
    if (pid_ == 0) {  // other threads may hold locks: nothing but system calls from here on
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        int const output = ::open(messages.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (output < 0 || ::dup2(output, STDOUT_FILENO) < 0 || ::dup2(output, STDERR_FILENO) < 0 ||
            ::getppid() != parent) {
            ::_exit(127);
        }
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    ::setpgid(pid_, pid_);  // whoever is first
}

bool Daemon::HasEnded() {
    if (::waitpid(pid_, nullptr, WNOHANG) != pid_) {
        return false;
    }
    ::kill(-pid_, SIGKILL);
    pid_ = 0;
    return true;
}

Endpoint FreeUdpEndpoint() {
    constexpr std::uint32_t kLoopback = 0x7F000000;
    constexpr std::uint32_t kHosts = 0x00FFFFFF;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(kLoopback | (static_cast<std::uint32_t>(::getpid()) & kHosts));
    socklen_t size = sizeof address;
    int const descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool const found = ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    ::close(descriptor);
    if (!found) {
        throw std::runtime_error("there is no free UDP port on the loopback interface");
    }
    char text[INET_ADDRSTRLEN];
    return {::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text), ntohs(address.sin_port)};
}

void SendDatagram(Endpoint const& to, std::string const& datagram) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(to.port);
    ::inet_pton(AF_INET, to.address.c_str(), &address.sin_addr);
    int const descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ssize_t const sent = ::sendto(descriptor, datagram.data(), datagram.size(), 0,
                                  reinterpret_cast<sockaddr const*>(&address), sizeof address);
    ::close(descriptor);
    if (sent != static_cast<ssize_t>(datagram.size())) {
        throw std::runtime_error("cannot send to " + to.address);
    }
}

void WaitUntil(std::string const& what, std::function<bool()> const& condition) {
    auto const end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("waited in vain: " + what);
        }
        std::this_thread::sleep_for(kLookAgain);
    }
}

std::string WaitForLines(std::string const& path, std::size_t lines) {
    std::string content;
    try {
        WaitUntil("lines", [&] {
            content = std::filesystem::exists(path) ? ReadWholeFile(path) : "";
            return static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n')) >=
                   lines;
        });
    } catch (std::runtime_error const&) {
        std::ostringstream message;
        message << path << " did not get " << lines << " lines, it holds:\n" << content;
        throw std::runtime_error(message.str());
    }
    return content;
}

}  // namespace tarqlog
