#include "destination.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace tarqlog::bench {

namespace {

/// The result of a system call, unless it has failed.
int Checked(int result, char const* call) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
    return result;
}

int MakeFile(std::string const& path) {
    return Checked(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), "open");
}

/// Without so many lines at its head.
std::string Read(std::filesystem::path const& path, int preamble) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    for (int i = 0; i < preamble; ++i) {
        std::getline(file, line);
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

Destination::Destination(Settings& settings) : directory_(settings.directory) {
    if (settings.row == "console") {
        ReplaceStandardError(MakeFile(settings.file));
    } else if (settings.row == "pipe") {
        ReadFromPipe();
    } else if (settings.row == "udp") {
        ReceiveOn(settings);
    } else {
        preamble_ = Describe().preamble;
    }
}

Destination::~Destination() {
    if (reader_ != 0) {
        ::kill(reader_, SIGKILL);
        ::waitpid(reader_, nullptr, 0);
    }
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

void Destination::ReplaceStandardError(int descriptor) {
    Checked(::dup2(descriptor, STDERR_FILENO), "dup2");
    ::close(descriptor);
}

/// Another process reads, as behind a shell's `|`, and keeps what it reads in a file.
void Destination::ReadFromPipe() {
    std::array<int, 2> ends = {};
    Checked(::pipe(ends.data()), "pipe");
    reader_ = Checked(::fork(), "fork");
    if (reader_ == 0) {
        ::close(ends[1]);
        int const file = ::open((directory_ + "/log").c_str(), O_WRONLY | O_CREAT, 0600);
        std::array<char, 65536> buffer = {};
        for (ssize_t size = 1; size > 0;) {
            size = ::read(ends[0], buffer.data(), buffer.size());
            if (size > 0 && ::write(file, buffer.data(), static_cast<std::size_t>(size)) != size) {
                size = -1;
            }
        }
        ::_exit(0);
    }
    ::close(ends[0]);
    ReplaceStandardError(ends[1]);
}

/// Nobody reads while the clock runs: what finds no room is dropped by the kernel, at the sender's
/// cost, and the receiver's share of this machine disturbs nobody.
void Destination::ReceiveOn(Settings& settings) {
    socket_ = Checked(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    Checked(::bind(socket_, generic, size), "bind");
    Checked(::getsockname(socket_, generic, &size), "getsockname");
    settings.port = ntohs(address.sin_port);
}

std::string Destination::Content() {
    if (socket_ >= 0) {
        std::string all;
        std::array<char, 65536> datagram = {};
        for (ssize_t size = 0; size >= 0;) {
            size = ::recv(socket_, datagram.data(), datagram.size(), MSG_DONTWAIT);
            all.append(datagram.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
        return all;
    }
    if (reader_ != 0) {
        ::close(STDERR_FILENO);  // the reader comes to the end
        ::waitpid(reader_, nullptr, 0);
        reader_ = 0;
    }
    std::vector<std::string> texts;
    for (auto const& file : std::filesystem::directory_iterator(directory_)) {
        texts.push_back(Read(file.path(), preamble_));
    }
    // Whatever a library calls its files, their first lines tell their order.
    auto const first = [](std::string const& text) {
        std::size_t const place = text.find("request ");
        return place == std::string::npos ? std::string() : text.substr(place, 20);
    };
    std::sort(texts.begin(), texts.end(),
              [&](auto& left, auto& right) { return first(left) < first(right); });
    std::string all;
    for (std::string const& text : texts) {
        all += text;
    }
    return all;
}

}  // namespace tarqlog::bench
