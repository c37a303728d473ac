// Forks while sixteen threads log, one changes the configuration and one starts other programs.
// Each child logs, changes the configuration, logs again and leaves by exit(). Ends with status 1
// when a child hangs or dies, and when a line is torn, there twice or before an earlier one.
//
// Usage: forks FORKS [FAULT]    (FAULT is made on purpose, see Damage() and BeChild())
//
// Lines go to a file and, those of the parent, to rolling ones, through buffers, to standard
// output, which each line leaves as a whole, and to a UDP port of the program's own; a child's
// second line goes to a file that only children write.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>

#include "tarqlog/tarqlog.h"

#include "support/temporary_directory.h"
#include "support/udp_port.h"

namespace {

using namespace tarqlog;

constexpr int kThreads = 16;
constexpr int kKeptFiles = 9;
constexpr unsigned int kPatience = 60;  // seconds, after which a child counts as hung

std::atomic<bool> isOver{false};

void Log(Logger& logger, std::string const& text) {
    if (logger.HasSink(kInfo)) {
        LogRecord record(kInfo);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger.PushRecord(record);
    }
}

void AddSink(FilterRule const& rule, boost::shared_ptr<AppenderBase> const& appender) {
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(appender);
    LogCore::Get()->AddSink({rule}, sink);
}

/// The appenders that all configurations of the parent have in common.
class Appenders {
public:
    Appenders(TemporaryDirectory const& directory, unsigned short port)
        : appenders_{
              boost::make_shared<FileAppender>(directory.File("file"), 0, 10,
                                               FileAppender::kAppendMode),
              boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout),
              boost::make_shared<UdpAppender>("127.0.0.1", port),
          },
          rolling_(boost::make_shared<RollingFileAppender>(directory.File("rolling"), 256,
                                                           kKeptFiles, 10)) {}

    void Configure() const {
        for (boost::shared_ptr<AppenderBase> const& appender : appenders_) {
            AddSink(FilterRule(kAllSeverities), appender);
        }
        AddSink(FilterRule("thread", kAllSeverities), rolling_);  // two processes cannot roll one
    }

private:
    std::vector<boost::shared_ptr<AppenderBase>> const appenders_;
    boost::shared_ptr<AppenderBase> const rolling_;
};

void LogUntilTheEnd(int thread) {
    std::string const tag = "thread." + std::to_string(thread);
    std::optional<Logger> logger;
    for (int line = 0; !isOver; ++line) {
        if (line % 100 == 0) {
            logger.emplace(tag.c_str());  // forks come between its making and its end, too
        }
        Log(*logger, std::to_string(thread) + " " + std::to_string(line) + " of the parent");
    }
}

void ChangeUntilTheEnd(Appenders const& appenders) {
    while (!isOver) {
        LogCore::Get()->RemoveAllSinks();
        appenders.Configure();
        std::this_thread::yield();
    }
}

bool EndsWell(pid_t child) {
    int status = -1;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool Spawn() {
    char name[] = "/bin/true";
    char* words[] = {name, nullptr};
    char* noEnvironment[] = {nullptr};
    pid_t child = -1;
    return ::posix_spawn(&child, name, nullptr, nullptr, words, noEnvironment) == 0 &&
           EndsWell(child);
}

bool VforkAndExec() {
    pid_t const child = ::vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork): on purpose
    if (child == 0) {
        ::execl("/bin/true", "true", nullptr);
        ::_exit(1);
    }
    return EndsWell(child);
}

/// Returns how many of them went wrong.
int StartProgramsUntilTheEnd() {
    int failed = 0;
    do {
        failed += Spawn() ? 0 : 1;
        failed += VforkAndExec() ? 0 : 1;
    } while (!isOver);
    return failed;
}

/// The child's life: a line through what the parent has configured, if it has at this moment, and
/// one through a configuration of its own.
[[noreturn]] void BeChild(int number, TemporaryDirectory const& directory,
                          std::string const& fault) {
    ::alarm(kPatience);
    Logger logger("child");
    Log(logger, std::to_string(-number) + " 0 of a child");
    LogCore::Get()->RemoveAllSinks();
    AddSink(FilterRule(kAllSeverities),
            boost::make_shared<FileAppender>(directory.File("children"), 0, 2,
                                             FileAppender::kAppendMode));
    if (number > 1 || fault != "silent-child") {
        Log(logger, std::to_string(-number) + " 1 of a child");
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the child has no other thread
    std::exit(number == 1 && fault == "dying-child" ? 1 : 0);
}

/// What is in the logs, read in the order in which it was written.
class Lines {
public:
    /// A file that is not there has no lines.
    void Read(std::string const& path) {
        std::ifstream log(path);
        for (std::string line; std::getline(log, line); ++count_) {
            Check(line);
        }
    }

    /// Of another destination, where each line may be once more.
    void BeginAnew() { last_.clear(); }

    long Count() const { return count_; }
    long Wrong() const { return wrong_; }

private:
    void Check(std::string const& line) {
        int thread = 0;  // below 0: a child
        int number = 0;
        std::string::size_type const tag = line.find("](");
        std::string::size_type const text = line.find("):");
        if (tag == std::string::npos || text == std::string::npos ||
            std::sscanf(line.c_str() + text, "):%d %d", &thread, &number) != 2 ||
            line.substr(0, 3) + line.substr(tag) != "I [" + Whole(thread, number)) {
            Complain("torn", line);
            return;
        }
        auto const [last, isFirst] = last_.emplace(thread, number);
        if (!isFirst && last->second >= number) {
            Complain("there twice, or late", line);
        }
        last->second = number;
    }

    static std::string Whole(int thread, int number) {
        return "](" + (thread < 0 ? "child" : "thread." + std::to_string(thread)) +
               "):" + std::to_string(thread) + " " + std::to_string(number) +
               (thread < 0 ? " of a child" : " of the parent");
    }

    void Complain(char const* what, std::string const& line) {
        constexpr long kMaxComplaints = 10;
        if (++wrong_ <= kMaxComplaints) {
            std::fprintf(stderr, "forks: %s: %s\n", what, line.c_str());
        }
    }

    std::unordered_map<int, int> last_;  // number of each thread
    long count_ = 0;
    long wrong_ = 0;
};

void Damage(std::string const& path, std::string const& fault) {
    std::string line;
    std::getline(std::ifstream(path), line);
    if (fault == "doubled-line") {
        std::ofstream(path, std::ios::app) << line << '\n';
    } else if (fault == "torn-line") {
        std::ofstream(path, std::ios::app) << line.substr(0, line.size() / 2) << '\n';
    }
}

/// Sends standard output to a file, and returns a descriptor of what it was.
int Redirect(std::string const& path) {
    int const before = ::dup(STDOUT_FILENO);
    int const file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    if (before == -1 || file == -1 || ::dup2(file, STDOUT_FILENO) == -1) {
        throw std::system_error(errno, std::generic_category(), "cannot redirect the output");
    }
    ::close(file);
    std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);
    return before;
}

/// Forks so often, and returns how many children, and other programs, went wrong.
int Fork(int forks, TemporaryDirectory const& directory, std::string const& fault) {
    ListeningPort const port;
    Appenders const appenders(directory, port.Number());
    appenders.Configure();
    Logger logger("thread.0");
    Log(logger, "0 0 of the parent");  // every log has a line, however soon the forks are over
    std::atomic<int> begun{0};
    std::vector<std::thread> threads;
    auto const start = [&](std::function<void()> const& life) {
        threads.emplace_back([&begun, life] {
            ++begun;
            life();
        });
    };
    for (int thread = 1; thread <= kThreads; ++thread) {
        start([thread] { LogUntilTheEnd(thread); });
    }
    int failed = 0;
    int failedPrograms = 0;
    start([&] { ChangeUntilTheEnd(appenders); });
    start([&] { failedPrograms = StartProgramsUntilTheEnd(); });
    while (begun < kThreads + 2) {  // see support/sanitized_children.cpp
        std::this_thread::yield();
    }
    for (int number = 1; number <= forks; ++number) {
        pid_t const child = ::fork();
        if (child == 0) {
            BeChild(number, directory, fault);
        }
        failed += EndsWell(child) ? 0 : 1;
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    LogCore::Get()->RemoveAllSinks();
    return failed + failedPrograms;
}

int Run(int forks, std::string const& fault) {
    TemporaryDirectory const directory;
    int const output = Redirect(directory.File("console"));
    int const failed = Fork(forks, directory, fault);
    std::fflush(stdout);
    ::dup2(output, STDOUT_FILENO);

    Damage(directory.File("file"), fault);
    Lines lines;
    lines.Read(directory.File("children"));
    long const childrensLines = lines.Count();
    for (char const* const name : {"file", "console"}) {
        lines.BeginAnew();
        lines.Read(directory.File(name));
    }
    lines.BeginAnew();
    for (int number = kKeptFiles; number > 0; --number) {
        lines.Read(directory.File("rolling." + std::to_string(number)));
    }
    lines.Read(directory.File("rolling"));

    std::printf(
        "%d forks, %d hung or dead, %ld lines of %d children, %ld lines in all, %ld wrong\n", forks,
        failed, childrensLines, forks, lines.Count(), lines.Wrong());
    return failed == 0 && childrensLines == forks && lines.Wrong() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    int const forks = argc > 1 ? std::atoi(argv[1]) : 0;
    if (argc < 2 || argc > 3 || forks < 1) {
        std::fputs("usage: forks FORKS [FAULT]\n", stderr);
        return 2;
    }
    try {
        return Run(forks, argc == 3 ? argv[2] : "");
    } catch (std::exception const& error) {
        std::fprintf(stderr, "forks: %s\n", error.what());
        return 2;
    }
}
