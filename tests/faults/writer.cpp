#include "faults/writer.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace tarqlog::faults {

namespace {

std::string NextBoard(std::string const& directory) {
    static std::atomic<int> boards{0};
    return directory + "/board." + std::to_string(++boards);
}

[[noreturn]] void Become(std::string const& program, std::vector<std::string> const& settings,
                         std::string const& directory, std::function<void()> const& preparation) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    rlimit const noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    int const output = ::open((directory + "/output").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::close(output);
    if (::chdir(directory.c_str()) == 0) {
        if (preparation) {
            preparation();
        }
        std::vector<char*> words = {const_cast<char*>(program.c_str())};
        for (std::string const& setting : settings) {
            words.push_back(const_cast<char*>(setting.c_str()));
        }
        words.push_back(nullptr);
        ::execv(program.c_str(), words.data());
    }
    ::_exit(127);
}

}  // namespace

Writer::Writer(std::string const& program, std::vector<std::string> const& settings,
               std::string const& directory, std::function<void()> const& preparation)
    : board_(NextBoard(directory)) {
    std::vector<std::string> all = settings;
    all.push_back("board=" + board_.Path());
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (pid_ == 0) {
        Become(program, all, directory, preparation);
    }
    AwaitThat([this] { return board_->isReady != 0; });
}

Writer::~Writer() {
    if (pid_ != 0) {
        Kill(SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void Writer::Allow(long lines) {
    board_->allowed = lines;
}

void Writer::AwaitEach(int threads, long lines) {
    AwaitThat([&] {
        int thread = 0;
        while (thread < threads && board_->returned[thread] >= lines) {
            ++thread;
        }
        return thread == threads;
    });
}

void Writer::AwaitTotal(long lines) {
    AwaitThat([&] { return board_.Returned() >= lines; });
}

void Writer::AwaitNoteOrTotal(long lines) {
    AwaitThat(
        [&] { return board_->isCounting == 0 || board_->notes > 0 || board_.Returned() >= lines; });
}

void Writer::Kill(int signal) const {
    if (pid_ != 0) {
        ::kill(pid_, signal);
    }
}

Ending Writer::AwaitEnd() {
    AwaitThat([] { return false; });
    return ending_;
}

/// Until it is true or the writer has ended; a writer that gets nowhere is killed.
void Writer::AwaitThat(std::function<bool()> const& isTrue) {
    using Clock = std::chrono::steady_clock;
    long before = -1;
    for (Clock::time_point deadline; !isTrue() && !HasEnded();) {
        if (long const returned = board_.Returned(); returned != before) {
            before = returned;
            deadline = Clock::now() + patience_;
        } else if (Clock::now() > deadline) {
            ending_.hung = true;
            Kill(SIGKILL);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

bool Writer::HasEnded() {
    int status = 0;
    if (pid_ != 0 && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = 0;
        ending_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        ending_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    }
    return pid_ == 0;
}

}  // namespace tarqlog::faults
