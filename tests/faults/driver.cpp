#include "faults/driver.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "faults/board.h"
#include "faults/clock.h"
#include "faults/texts.h"

namespace tarqlog::faults {

namespace {

constexpr int kChildren = 20;
constexpr int kChildLines = 50;
constexpr int kLastWords = 70;  // the last ones wait in a buffer: every fiftieth is a warning
constexpr int kSignals = 2000;
constexpr std::chrono::seconds kPatienceWithChildren{10};

Settings settings;
MappedBoard* board = nullptr;
std::atomic<bool> isOver{false};
thread_local int thisThread = 0;
Count (*askLibrary)() = nullptr;

/// Notes what the library has counted by now.
/// @param running  threads that may be logging
void NoteAccount(int running) {
    if (askLibrary == nullptr) {
        return;
    }
    long const notes = (*board)->notes;
    AccountNote& note = (*board)->note[notes % 2];
    note.atLeast = board->Returned();
    Count const counted = askLibrary();
    note.lines = counted.lines;
    note.lost = counted.lost;
    note.atMost = board->Returned() + running;
    (*board)->notes = notes + 1;
}

void Pause() {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
}

/// Returns once the line is logged or nobody will take it any more.
void LogLine(Line line, Level level) {
    std::string const text = TextOf(line, settings.isPlain);
    bool isTaken = false;
    while (!isTaken && !isOver) {
        try {
            isTaken = Log(level, text);
        } catch (std::exception const&) {
            isTaken = true;
        }
    }
    if (isTaken) {
        (*board)->returned[line.thread] = line.number + 1;
    }
}

void LogLines(int thread, int lines) {
    for (int number = 0; (lines == 0 || number < lines) && !isOver; ++number) {
        while (number >= (*board)->allowed && !isOver) {
            Pause();
        }
        Line const line = {thread, number};
        LogLine(line, LevelOf(line, settings.isPlain));
    }
}

class Threads {
public:
    Threads() {
        for (int i = 0; i < settings.threads; ++i) {
            threads_.emplace_back([i] {
                thisThread = i;
                LogLines(settings.first + i, settings.lines);
            });
        }
    }

    ~Threads() {
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    /// Returns once each thread has logged a line.
    void AwaitBegun() const {
        for (int i = 0; i < settings.threads; ++i) {
            while ((*board)->returned[settings.first + i] == 0) {
                Pause();
            }
        }
    }

    /// Only while the threads run until they are told.
    void Signal(int index, int signal) {
        ::pthread_kill(threads_[static_cast<std::size_t>(index)].native_handle(), signal);
    }

private:
    std::vector<std::thread> threads_;
};

// What goes on beside the threads.

/// In the account of a child the parent's lines stand as well.
void LogInChild(int child) {
    Count const before = askLibrary != nullptr ? askLibrary() : Count();
    LogLines(kExtraThreads + child, kChildLines);
    Count const after = askLibrary != nullptr ? askLibrary() : Count();
    (*board)->childLines += after.lines - before.lines;
    (*board)->childLost += after.lost - before.lost;
}

void ForkBeside(Threads& threads) {
    threads.AwaitBegun();  // see support/sanitized_children.cpp
    std::array<pid_t, kChildren> children = {};
    for (int i = 0; i < kChildren; ++i) {
        while (board->Returned() < (i + 1) * settings.at / kChildren) {
            Pause();
        }
        pid_t const child = ::fork();
        if (child == 0) {
            LogInChild(i);
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the child has no other thread
        }
        children[static_cast<std::size_t>(i)] = child;
        (*board)->hits += child > 0 ? 1 : 0;
    }
    auto const deadline = std::chrono::steady_clock::now() + kPatienceWithChildren;
    for (pid_t const child : children) {
        int status = 0;
        while (::waitpid(child, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ++(*board)->hung;
                ::kill(child, SIGKILL);
                ::waitpid(child, nullptr, 0);
                status = 0;
                break;
            }
            Pause();
        }
        (*board)->died += status != 0 ? 1 : 0;
    }
    isOver = true;
}

std::array<int, kExtraThreads> handled;

void LogFromHandler(int /*signal*/) {
    CountHit();
    auto& number = handled[static_cast<std::size_t>(thisThread)];
    LogLine({kExtraThreads + thisThread, number++}, Level::kInfo);
}

void SignalBeside(Threads& threads) {
    std::signal(SIGUSR1, LogFromHandler);
    for (int i = 0; i < kSignals; ++i) {
        threads.Signal(i % settings.threads, SIGUSR1);
        Pause();
    }
    isOver = true;
}

void ReconfigureBeside(Threads& threads) {
    threads.AwaitBegun();
    long const last = board->Returned() + settings.at;
    int change = 0;
    do {
        Reconfigure(change++);
        CountHit();
        Pause();
    } while (board->Returned() < last);
    isOver = true;
}

void LetItEnd(Threads& /*threads*/) {
    do {
        NoteAccount(settings.threads);  // the writer may be killed at any time
        Pause();
    } while (board->Returned() < settings.at);
    CountHit();
    if (settings.end == "exit") {
        for (int i = 0; i < kMaxThreads; ++i) {
            (*board)->due[i] = (*board)->returned[i].load();
        }
        (*board)->isExiting = 1;
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): other threads log on, on purpose
    } else if (settings.end == "quick_exit") {
        std::quick_exit(0);
    } else if (settings.end == "segfault") {
        std::signal(SIGSEGV, SIG_DFL);  // a sanitizer would have its say
        std::raise(SIGSEGV);
    }
    std::abort();
}

// What happens instead of the threads.

void FailInOneThread() {
    constexpr int kLines = 60;
    for (int number = 0; number < kLines; ++number) {
        LogLine({0, number}, LevelOf({0, number}));
    }
    LogLine({0, kLines}, Level::kError);
    NoteAccount(0);
    CountHit();
    std::abort();
}

void LogOddTexts() {
    for (std::string const& text : OddTexts()) {
        Log(Level::kInfo, text);
        ++(*board)->returned[0];
        CountHit();
    }
}

// What comes after main().

void SayLastWords(int thread) {
    if (board != nullptr && settings.task == "last-words") {
        LogLines(thread, kLastWords);
        NoteAccount(0);
        CountHit();
    }
}

struct LastWords {
    ~LastWords() { SayLastWords(kExtraThreads); }
};

LastWords const lastWords;

void Run() {
    static std::map<std::string, std::function<void()>> const instead = {
        {"error-abort", FailInOneThread}, {"texts", LogOddTexts}};
    static std::map<std::string, std::function<void(Threads&)>> const beside = {
        {"fork", ForkBeside}, {"signals", SignalBeside}, {"reconfigure", ReconfigureBeside}};
    clockJumps = settings.task == "clock";
    if (instead.count(settings.task) > 0) {
        instead.at(settings.task)();
        return;
    }
    Threads threads;
    if (beside.count(settings.task) > 0) {
        beside.at(settings.task)(threads);
    }
    if (!settings.end.empty()) {
        LetItEnd(threads);
    }
}

void ReadArguments(int count, char** arguments) {
    std::map<std::string, std::function<void(std::string const&)>> const take = {
        {"file", [](auto& value) { settings.file = value; }},
        {"board", [](auto& value) { settings.board = value; }},
        {"threads", [](auto& value) { settings.threads = std::stoi(value); }},
        {"first", [](auto& value) { settings.first = std::stoi(value); }},
        {"lines", [](auto& value) { settings.lines = std::stoi(value); }},
        {"buffered", [](auto& value) { settings.buffered = std::stoi(value); }},
        {"plain", [](auto& value) { settings.isPlain = value == "1"; }},
        {"limit", [](auto& value) { settings.limitKiB = std::stol(value); }},
        {"kept", [](auto& value) { settings.kept = std::stoi(value); }},
        {"thrower", [](auto& value) { settings.thrower = value == "1"; }},
        {"udp", [](auto& value) { settings.udp = std::stoi(value); }},
        {"syslog", [](auto& value) { settings.syslog = value == "1"; }},
        {"flaw", [](auto& value) { settings.flaw = value; }},
        {"end", [](auto& value) { settings.end = value; }},
        {"at", [](auto& value) { settings.at = std::stol(value); }},
        {"task", [](auto& value) { settings.task = value; }},
    };
    for (int i = 1; i < count; ++i) {
        std::string const argument = arguments[i];
        std::string::size_type const equals = argument.find('=');
        take.at(argument.substr(0, equals))(argument.substr(equals + 1));
    }
}

int Main(int count, char** arguments) {
    ReadArguments(count, arguments);
    std::atexit([] { SayLastWords(kExtraThreads + 1); });
    board = new MappedBoard(settings.board);  // for as long as there is a process
    try {
        Open(settings);
    } catch (Cannot const& cannot) {
        std::cerr << cannot.what() << '\n';
        return kStatusCannot;
    }
    if (settings.task == "chdir" && ::chdir("elsewhere") == 0) {
        CountHit();
    }
    (*board)->isCounting = askLibrary != nullptr ? 1 : 0;
    (*board)->isReady = 1;
    Run();
    if (settings.task == "clock") {
        (*board)->hits = clockAnswers.load();
    }
    if (settings.task != "last-words") {  // where libraries that were closed would have no say
        Close();
        NoteAccount(0);
    }
    return 0;
}

}  // namespace

void CountHit() {
    ++(*board)->hits;
}

void CountBy(Count (*count)()) {
    askLibrary = count;
}

}  // namespace tarqlog::faults

int main(int count, char** arguments) {
    using namespace tarqlog::faults;
    if (count == 1) {
        Description const description = Describe();
        std::cout << description.name << '\n'
                  << description.header << '\n'
                  << description.preamble << '\n'
                  << description.settings << '\n';
        return 0;
    }
    return Main(count, arguments);
}
