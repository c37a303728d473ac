#include "collectors/isolation.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "support/child.h"
#include "support/temporary_directory.h"

namespace tarqlog {

namespace {

void Require(bool succeeded, char const* what) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// What `unshare --mount` does, and if need be `unshare --user --map-root-user --mount`.
void Unshare(int kinds) {
    if (::unshare(kinds) != 0) {
        std::string const user = std::to_string(::geteuid());
        std::string const group = std::to_string(::getegid());
        Require(::unshare(CLONE_NEWUSER | kinds) == 0, "the kernel refuses namespaces");
        WriteWholeFile("/proc/self/setgroups", "deny");
        WriteWholeFile("/proc/self/uid_map", "0 " + user + " 1");
        WriteWholeFile("/proc/self/gid_map", "0 " + group + " 1");
    }
    if ((kinds & CLONE_NEWNS) != 0) {
        Require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0,
                "the kernel refuses to keep mounts private");
    }
}

/// To be called after a change of user, which would take it back.
void EndWith(pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(1);
    }
}

void RunIp(std::string const& arguments) {
    std::vector<std::string> words = {"ip"};
    std::istringstream stream(arguments);
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    ChildResult const result = RunProgram("/usr/bin/env", words);
    if (result.exitStatus != 0) {
        throw std::runtime_error("this failed: ip " + arguments + ": " + result.errors);
    }
}

/// The exit status of a child that has done what it was made for.
int StatusOf(std::function<void()> const& body) {
    try {
        body();
        return testing::Test::HasFailure() ? 1 : 0;
    } catch (std::exception const& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}

}  // namespace

void EnterOwnNamespaces(int kinds) {
    Unshare(kinds);
    if ((kinds & CLONE_NEWNET) != 0) {
        RunIp("link set lo up");
    }
}

std::string RefusalOfNamespaces(int kinds) {
    return RunInChild([kinds] { return StatusOf([kinds] { Unshare(kinds); }); }).errors;
}

void RunInOwnNamespaces(int kinds, std::function<void()> const& body) {
    pid_t const parent = ::getpid();
    ChildResult const result = RunInChild([&] {
        return StatusOf([&] {
            EnterOwnNamespaces(kinds);
            EndWith(parent);
            body();
        });
    });
    std::cout << result.output << std::flush;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitStatus, 0);
}

Host::Host(int number, std::function<void()> const& body) : number_(number) {
    int lines[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, lines) != 0) {
        throw std::runtime_error("cannot make a socket");
    }
    line_ = lines[0];
    std::string const name = "host" + std::to_string(number_);
    std::string const address = Address(number_);
    pid_t const parent = ::getpid();
    std::cout.flush();
    pid_ = ::fork();
    if (pid_ == 0) {
        ::close(line_);
        int const status = StatusOf([&] {
            EndWith(parent);
            char byte = 0;
            Require(::unshare(CLONE_NEWNET) == 0, "the kernel refuses a network");
            RunIp("link add eth0 type veth peer name " + name + " netns " + std::to_string(parent));
            RunIp("address add " + address + " peer " + kCollectorAddress + " dev eth0");
            RunIp("link set eth0 up");
            if (::write(lines[1], &byte, 1) != 1 || ::read(lines[1], &byte, 1) != 1) {
                throw std::runtime_error("nobody lets it begin");
            }
            body();
        });
        std::cout.flush();
        ::_exit(status);
    }
    ::close(lines[1]);
    char byte = 0;
    if (pid_ < 0 || ::read(line_, &byte, 1) != 1) {
        ::close(line_);
        throw std::runtime_error("there is no " + name);
    }
    RunIp(std::string("address add ") + kCollectorAddress + " peer " + address + " dev " + name);
    RunIp("link set " + name + " up");
}

Host::~Host() {
    ::close(line_);
    if (pid_ != 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void Host::Begin() const {
    char const byte = 0;
    if (::write(line_, &byte, 1) != 1) {
        throw std::runtime_error("a host has ended before its time");
    }
}

void Host::Join() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = 0;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("host " + std::to_string(number_) + " did not end well");
    }
}

std::string Host::Address(int number) {
    return "192.0.2." + std::to_string(10 + number);
}

}  // namespace tarqlog
