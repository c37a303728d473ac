#include "process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <sstream>

#include "signals.h"

namespace tarqlog::tool {

namespace {

constexpr int kSignalBase = 128;  // as shells count

bool MakePipe(Descriptor& readEnd, Descriptor& writeEnd) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
    return true;
}

/// Whether a folder of PATH has a file of that name.
bool IsOnPath(std::string const& name) {
    char const* const path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): one thread
    std::istringstream folders(path != nullptr ? std::string(path) + ':' : "");
    bool isThere = false;
    for (std::string folder; !isThere && std::getline(folders, folder, ':');) {
        std::string const prefix = folder.empty() ? "" : folder + '/';  // empty: the current one
        isThere = ::access((prefix + name).c_str(), F_OK) == 0;
    }
    return isThere;
}

/// What is wrong with a command that execvp() has refused with `error`. It says "permission denied"
/// also for one that is nowhere, when it may not search a folder of PATH.
int Reason(int error, std::string const& name) {
    bool const isSearchedFor = name.find('/') == std::string::npos;
    return error == EACCES && isSearchedFor && !IsOnPath(name) ? ENOENT : error;
}

/// Becomes the command, or says through `failure` why not.
[[noreturn]] void Become(char* const* words, int output, int errors, int failure) {
    if (::dup2(output, STDOUT_FILENO) >= 0 && ::dup2(errors, STDERR_FILENO) >= 0) {
        ::execvp(words[0], words);
    }
    int const error = errno;
    bool const isTold = ::write(failure, &error, sizeof error) == sizeof error;
    ::_exit(isTold ? 0 : error);
}

}  // namespace

int Process::Start(std::vector<std::string> const& words, bool hangUpReopens) {
    std::vector<char*> arguments;
    for (std::string const& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    Descriptor output;
    Descriptor errors;
    Descriptor failureRead;
    Descriptor failure;
    if (!MakePipe(output_, output) || !MakePipe(errors_, errors) ||
        !MakePipe(failureRead, failure)) {
        return errno;
    }
    pid_ = ForkAndForward(hangUpReopens);
    if (pid_ == 0) {
        Become(arguments.data(), output.Number(), errors.Number(), failure.Number());
    }
    if (pid_ < 0) {
        return errno;
    }
    failure.Close();  // the command's copy is closed as the command begins
    int error = 0;
    bool const isRefused = ::read(failureRead.Number(), &error, sizeof error) == sizeof error;
    return isRefused ? Reason(error, words.front()) : 0;
}

bool Process::HasEnded() {
    // Left unreaped: its number stays its own, whatever signals are still forwarded to it.
    std::optional<siginfo_t> const end = EndOf(pid_);
    if (end) {
        status_ = end->si_status + (end->si_code == CLD_EXITED ? 0 : kSignalBase);
    }
    return end.has_value();
}

}  // namespace tarqlog::tool
