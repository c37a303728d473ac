#include "faults/interference.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tarqlog::faults {

namespace {

constexpr unsigned int kCalls[] = {
    SYS_write,    SYS_writev,
#if defined(SYS_rename)
    SYS_rename,
#endif
    SYS_renameat, SYS_renameat2,
};

bool IsWrite(int call) {
    return call == SYS_write || call == SYS_writev;
}

/// Has the kernel ask before each of the calls. Returns the descriptor on which it does.
int Listen() {
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (unsigned int const call : kCalls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    sock_fprog const program = {static_cast<unsigned short>(filter.size()), filter.data()};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                      SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

/// A message with room for one descriptor.
struct Parcel {
    Parcel() {
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
    }

    char byte = 0;
    iovec part = {&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
};

void SendDescriptor(int line, int descriptor) {
    Parcel parcel;
    cmsghdr* const header = CMSG_FIRSTHDR(&parcel.message);
    if (header == nullptr) {
        return;
    }
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    ::sendmsg(line, &parcel.message, 0);
}

/// -1 when the other side has sent none.
int ReceiveDescriptor(int line) {
    Parcel parcel;
    int descriptor = -1;
    bool const isThere = ::recvmsg(line, &parcel.message, MSG_CMSG_CLOEXEC) == 1;
    cmsghdr const* const header = CMSG_FIRSTHDR(&parcel.message);
    if (isThere && header != nullptr) {
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    }
    return descriptor;
}

/// The process of a thread; 0 when it is gone.
pid_t ProcessOf(pid_t thread) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    pid_t process = 0;
    for (std::string word; status >> word;) {
        if (word == "Tgid:") {
            status >> process;
        }
    }
    return process;
}

/// Reads the memory of who calls, as far as it goes. False when that is not all.
bool ReadMemory(seccomp_notif const& request, std::uint64_t at, void* to, std::size_t size) {
    std::string const path = "/proc/" + std::to_string(request.pid) + "/mem";
    int const memory = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ssize_t const read = ::pread(memory, to, size, static_cast<off_t>(at));
    ::close(memory);
    return read == static_cast<ssize_t>(size);
}

/// The path of the file that is to be written to.
std::string TargetOf(seccomp_notif const& request) {
    char path[4096] = {};
    std::string const link = "/proc/" + std::to_string(request.pid) + "/fd/" +
                             std::to_string(static_cast<int>(request.data.args[0]));
    return ::readlink(link.c_str(), path, sizeof path - 1) > 0 ? path : "";
}

/// The path of the file that is to be renamed.
std::string SourceOf(seccomp_notif const& request) {
    bool isFirst = false;
#if defined(SYS_rename)
    isFirst = request.data.nr == SYS_rename;
#endif
    char path[4096] = {};
    ReadMemory(request, request.data.args[isFirst ? 0 : 1], path, sizeof path - 1);
    return path;
}

/// Writes half of what the writer's call is to write, or less; returns its size, or 0 when there is
/// nothing to halve.
long WriteHalf(seccomp_notif const& request) {
    std::uint64_t at = request.data.args[1];
    std::uint64_t size = request.data.args[2];
    if (request.data.nr == SYS_writev) {  // its first part
        std::size_t part[2] = {};         // of an iovec
        ReadMemory(request, at, part, sizeof part);
        at = part[0];
        size = part[1];
    }
    constexpr std::uint64_t kMost = 1U << 20U;  // less than half is short as well
    std::vector<char> bytes(std::min(size / 2, kMost));
    if (bytes.empty() || !ReadMemory(request, at, bytes.data(), bytes.size())) {
        return 0;
    }
    auto const thread = static_cast<pid_t>(request.pid);
    int const process = static_cast<int>(::syscall(SYS_pidfd_open, ProcessOf(thread), 0));
    int const descriptor = static_cast<int>(
        ::syscall(SYS_pidfd_getfd, process, static_cast<int>(request.data.args[0]), 0));
    ssize_t const written = ::write(descriptor, bytes.data(), bytes.size());
    ::close(descriptor);
    ::close(process);
    return std::max<ssize_t>(written, 0);
}

}  // namespace

Interference::Interference(Kind kind, std::string path) : kind_(kind), path_(std::move(path)) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, line_) != 0) {
        throw std::runtime_error("cannot make a pair of sockets");
    }
    server_ = std::thread([this] { Serve(); });
}

Interference::~Interference() {
    ::close(line_[1]);  // without a writer, there will be no listener
    server_.join();
    ::close(line_[0]);
}

void Interference::Begin() const {
    int const listener = Listen();
    SendDescriptor(line_[1], listener);
    ::close(listener);
}

/// Until the last process is gone that the kernel asks for.
void Interference::Serve() {
    int const listener = ReceiveDescriptor(line_[0]);
    if (listener < 0) {
        return;
    }
    pollfd entry = {listener, POLLIN, 0};
    while (::poll(&entry, 1, -1) >= 0 && (entry.revents & POLLHUP) == 0) {
        Answer(listener);
    }
    ::close(listener);
}

void Interference::Answer(int listener) {
    seccomp_notif request = {};
    if (::ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0) {
        return;
    }
    seccomp_notif_resp response = {};
    response.id = request.id;
    response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    if (Strikes(request)) {
        long const half = kind_ == kShortWrites ? WriteHalf(request) : 0;
        if (kind_ != kShortWrites) {
            response.flags = 0;
            response.error = kind_ == kInterruptedWrite ? -EINTR
                             : kind_ == kFailedWrite    ? -EIO
                                                        : -EACCES;
            ++hits_;
        } else if (half > 0) {
            response.flags = 0;
            response.val = half;
            ++hits_;
        }
    }
    ::ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

bool Interference::Strikes(seccomp_notif const& request) {
    if (IsWrite(request.data.nr) == (kind_ == kRefusedRename)) {
        return false;
    }
    if (kind_ == kRefusedRename) {
        return SourceOf(request) == path_ && ++calls_ == 1;
    }
    if (TargetOf(request).compare(0, path_.size(), path_) != 0) {
        return false;
    }
    ++calls_;
    return kind_ == kShortWrites ? calls_ % 7 == 0 : calls_ == 100;
}

}  // namespace tarqlog::faults
