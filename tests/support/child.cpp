#include "support/child.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "support/write_counts.h"

namespace tarqlog {

namespace {

/// A nameless file for one of the child's standard streams: unlike a pipe it never makes anyone
/// wait.
class StreamFile {
public:
    explicit StreamFile(std::string const& content = "") : file_(std::tmpfile()) {
        if (file_ == nullptr ||
            std::fwrite(content.data(), 1, content.size(), file_) != content.size() ||
            std::fseek(file_, 0, SEEK_SET) != 0) {
            throw std::runtime_error("cannot make a temporary file");
        }
    }
    ~StreamFile() { std::fclose(file_); }

    StreamFile(StreamFile const&) = delete;
    StreamFile& operator=(StreamFile const&) = delete;

    int Descriptor() const { return ::fileno(file_); }

    std::string Content() const {
        std::string content;
        char buffer[65536];
        for (;;) {
            ssize_t const size =
                ::pread(Descriptor(), buffer, sizeof buffer, static_cast<off_t>(content.size()));
            if (size <= 0) {
                return content;
            }
            content.append(buffer, static_cast<std::string::size_type>(size));
        }
    }

private:
    std::FILE* const file_;
};

/// Takes off what qemu-user, when a signal ends the program that it runs, adds to it.
void DropEmulatorsLine(std::string& errors) {
    std::string::size_type const line = errors.rfind("qemu: uncaught target signal ");
    if (line != std::string::npos) {
        errors.erase(line);
    }
}

ChildResult Run(std::string const& input, std::function<int()> const& body) {
    StreamFile const in(input);
    StreamFile const out;
    StreamFile const err;
    std::fflush(nullptr);  // or the child would write our own pending output a second time
    pid_t const pid = ::fork();
    if (pid < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (pid == 0) {
        rlimit const noCore = {0, 0};  // some children are meant to abort
        ::setrlimit(RLIMIT_CORE, &noCore);
        ::dup2(in.Descriptor(), STDIN_FILENO);
        ::dup2(out.Descriptor(), STDOUT_FILENO);
        ::dup2(err.Descriptor(), STDERR_FILENO);
        int const status = body();
        std::fflush(nullptr);
        LeaveChild(status);
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid) {
        throw std::runtime_error("cannot wait for a child");
    }
    ChildResult result;
    if (WIFEXITED(status)) {
        result.exitStatus = WEXITSTATUS(status);
    } else {
        result.signal = WTERMSIG(status);
    }
    result.output = out.Content();
    result.errors = err.Content();
    if (result.signal != 0) {
        DropEmulatorsLine(result.errors);
    }
    return result;
}

}  // namespace

ChildResult RunProgram(std::string const& program, std::vector<std::string> const& arguments,
                       std::string const& input) {
    std::vector<char*> words;
    words.push_back(const_cast<char*>(program.c_str()));
    for (std::string const& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    return Run(input, [&] {
        ::execv(program.c_str(), words.data());
        std::perror(program.c_str());
        return 127;
    });
}

ChildResult RunInChild(std::function<int()> const& body) {
    return Run("", body);
}

void LeaveChild(int status) {
    WriteCountsIfAny();
    ::_exit(status);
}

void ForgoPower() {
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
}

}  // namespace tarqlog
