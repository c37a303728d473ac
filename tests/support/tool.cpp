#include "support/tool.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "support/temporary_directory.h"
#include "support/terminal.h"

namespace tarqlog {

namespace {

/// Whether `pattern` stands at `position`, with a digit for each of its '#'.
bool Matches(std::string const& text, std::string::size_type position, std::string const& pattern) {
    std::string const part = text.substr(position, pattern.size());
    return std::equal(
        part.begin(), part.end(), pattern.begin(), pattern.end(), [](char character, char wanted) {
            return wanted == '#' ? std::isdigit(static_cast<unsigned char>(character)) != 0
                                 : character == wanted;
        });
}

}  // namespace

std::string Masked(std::string const& output) {
    static std::string const kTime = "[####-##-## ##:##:##.###][t:#";
    std::string masked;
    for (std::string::size_type i = 0; i < output.size(); ++i) {
        if (output[i] == '[' && Matches(output, i, kTime)) {
            i = std::min(output.find(']', i + kTime.size()), output.size());  // or it is cut
        } else {
            masked += output[i];
        }
    }
    return masked;
}

ChildResult RunTool(Arguments const& arguments, std::string const& input) {
    ChildResult result = RunProgram(kTool, arguments, input);
    result.output = Masked(result.output);
    result.errors = Masked(result.errors);
    return result;
}

std::string Output(Arguments arguments, std::string const& input) {
    arguments.insert(arguments.begin(), {"-o", "stdout"});
    ChildResult const result = RunTool(arguments, input);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

ChildResult RunShell(std::string const& line, std::string const& input) {
    ChildResult result = RunProgram("/bin/sh", {"-c", line, kTool}, input);
    result.output = Masked(result.output);
    result.errors = Masked(result.errors);
    return result;
}

std::string Stats(Arguments arguments, std::string const& input) {
    arguments.push_back("--stats");
    std::string const errors = RunTool(arguments, input).errors;
    return errors.substr(0, errors.find(" seconds="));
}

void ExpectHelp(Arguments const& arguments, std::vector<std::string> const& words) {
    ChildResult const result = RunTool(arguments);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    std::istringstream help(result.output);
    int lines = 0;
    for (std::string line; std::getline(help, line); ++lines) {
        EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_LE(lines, 24);
    ASSERT_NE(result.output, "");
    EXPECT_EQ(result.output.back(), '\n');
    for (std::string const& word : words) {
        EXPECT_NE(result.output.find(word), std::string::npos) << word;
    }
}

std::string OnTerminal(Arguments const& arguments, std::string const& input, char const* noColour) {
    Terminal const terminal;
    RunningTool tool(arguments, [&] {
        terminal.Replace(STDOUT_FILENO);
        terminal.Replace(STDERR_FILENO);
        SetNoColour(noColour);
    });
    tool.Write(input);
    tool.CloseInput();
    std::string const output = terminal.ReadToEnd();
    EXPECT_EQ(tool.Finish().exitStatus, 0);
    return output;
}

char ProcessState(std::string const& pid) {
    std::string const status = ReadWholeFile("/proc/" + pid + "/stat");
    return status.at(status.rfind(')') + 2);
}

void WaitUntil(std::string const& what, std::function<bool()> const& condition) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("waited for a minute until " + what);
        }
        std::this_thread::yield();
    }
}

RunningTool::RunningTool(Arguments const& arguments, std::function<void()> const& prepare) {
    int in[2];
    int out[2];
    int err[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 ||
        ::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make pipes");
    }
    std::vector<char*> words{const_cast<char*>(kTool)};
    for (std::string const& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    ::signal(SIGPIPE, SIG_IGN);  // a tool that has gone is a failed Write()
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (pid_ == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::signal(SIGPIPE, SIG_DFL);
        prepare();
        ::execv(kTool, words.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    input_ = in[1];
    output_ = out[0];
    errors_ = err[0];
}

RunningTool::~RunningTool() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    CloseInput();
    CloseOutput();
    ::close(errors_);
}

void RunningTool::Write(std::string const& text) {
    ASSERT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void RunningTool::Signal(int signal) {
    ::kill(pid_, signal);
}

void RunningTool::WaitUntilItSleeps() const {
    WaitUntil("the tool sleeps", [&] {
        char const state = ProcessState(std::to_string(pid_));
        return state != 'R' && state != 'D';
    });
}

void RunningTool::WaitUntilItsOutputIsFull() const {
    int const capacity = ::fcntl(output_, F_GETPIPE_SZ);
    WaitUntil("the pipe of the tool's output is full", [&] {
        int size = 0;
        return ::ioctl(output_, FIONREAD, &size) == 0 && size >= capacity;
    });
}

bool RunningTool::HasEnded() {
    if (pid_ > 0 && ::waitpid(pid_, &status_, WNOHANG) == pid_) {
        pid_ = -1;
    }
    return pid_ < 0;
}

ChildResult RunningTool::Finish() {
    ChildResult result;
    result.output = ReadRest(output_);
    result.errors = ReadRest(errors_);
    if (!HasEnded() && ::waitpid(pid_, &status_, 0) == pid_) {
        pid_ = -1;
    }
    result.exitStatus = WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
    result.signal = WIFSIGNALED(status_) ? WTERMSIG(status_) : 0;
    return result;
}

void RunningTool::Close(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

std::string RunningTool::ReadLine(int descriptor) {
    std::string line;
    char character = 0;
    while (character != '\n' && ::read(descriptor, &character, 1) == 1) {
        line += character;
    }
    return Masked(line);
}

std::string RunningTool::ReadRest(int descriptor) {
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t const size = descriptor < 0 ? 0 : ::read(descriptor, buffer, sizeof buffer);
        if (size <= 0) {
            return Masked(text);
        }
        text.append(buffer, static_cast<std::string::size_type>(size));
    }
}

}  // namespace tarqlog
