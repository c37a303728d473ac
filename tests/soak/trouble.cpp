#include "soak/trouble.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "support/interpose.h"

namespace tarqlog::soak {

namespace {

thread_local Trouble* inForce = nullptr;
thread_local long allowedAllocations = -1;  // below 0: no limit
std::atomic<int> systemLog{-1};

/// Sets errno to `error`, unless it is 0.
bool Fails(int error) {
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

ssize_t NextWrite(int descriptor, void const* data, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(write);
    return next(descriptor, data, size);
}

int NextOpen(char const* path, int flags, mode_t mode) {
    static auto* const next = TARQLOG_NEXT(open);
    return next(path, flags, mode);
}

int NextRename(char const* from, char const* to) {
    static auto* const next = TARQLOG_NEXT(rename);
    return next(from, to);
}

ssize_t NextSendmsg(int descriptor, msghdr const* message, int flags) {
    static auto* const next = TARQLOG_NEXT(sendmsg);
    return next(descriptor, message, flags);
}

int NextSocket(int domain, int type, int protocol) {
    static auto* const next = TARQLOG_NEXT(socket);
    return next(domain, type, protocol);
}

void WriteMessage(char const* format, std::va_list arguments) {
    char line[1 << 13];
    auto const size =
        static_cast<std::size_t>(std::vsnprintf(line, sizeof line, format, arguments));
    std::size_t const kept = std::min(size, sizeof line - 1);
    line[kept] = '\n';
    NextWrite(systemLog, line, kept + 1);
}

}  // namespace

int Trouble::Fail(int error) {
    ++hits_;
    return error;
}

int Trouble::OnWrite() {
    long const call = ++writes_;
    if (call % 2000 < 30) {
        return call < 30 ? 0 : Fail(ENOSPC);
    }
    return call % 500 == 250 ? Fail(EIO) : call % 500 == 375 ? Fail(EINTR) : 0;
}

std::size_t Trouble::ShareOf(std::size_t size) {
    bool const isShort = writes_ % 7 == 0 && size > 1;
    hits_ += isShort ? 1 : 0;
    return isShort ? size / 2 : size;
}

int Trouble::OnOpen() {
    return ++opens_ % 31 == 0 ? Fail(EMFILE) : 0;
}

/// Spares the live file, which would be emptied instead, and with it lines that were written.
int Trouble::OnRename(std::string const& from) {
    bool const isNumbered = from.size() > 2 && from[from.size() - 2] == '.';
    if (!isNumbered || ++renames_ % 29 != 0) {
        return 0;
    }
    keep_(from);
    return Fail(EACCES);
}

int Trouble::OnSend() {
    return ++sends_ % 300 == 0 ? Fail(ECONNREFUSED) : 0;
}

int Trouble::OnSocket() {
    return ++sockets_ % 5 == 3 ? Fail(EMFILE) : 0;
}

TroubleInForce::TroubleInForce(Trouble* trouble) {
    inForce = trouble;
}

TroubleInForce::~TroubleInForce() {
    inForce = nullptr;
}

MemoryShortage::MemoryShortage(long allowed) {
    allowedAllocations = allowed;
}

MemoryShortage::~MemoryShortage() {
    allowedAllocations = -1;
}

void PrepareTrouble() {
    NextWrite(-1, "", 0);
    NextOpen("", O_RDONLY, 0);
    NextRename("", "");
    NextSendmsg(-1, nullptr, 0);
    NextSocket(-1, -1, -1);
}

void SetSystemLog(int descriptor) {
    systemLog = descriptor;
}

}  // namespace tarqlog::soak

using namespace tarqlog::soak;

extern "C" {

ssize_t write(int descriptor, void const* data, std::size_t size) {
    if (inForce == nullptr) {
        return NextWrite(descriptor, data, size);
    }
    return Fails(inForce->OnWrite()) ? -1 : NextWrite(descriptor, data, inForce->ShareOf(size));
}

int open(char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned int) : 0;
    va_end(arguments);
    bool const fails = inForce != nullptr && Fails(inForce->OnOpen());
    return fails ? -1 : NextOpen(path, flags, static_cast<mode_t>(mode));
}

int rename(char const* from, char const* to) noexcept {
    bool const fails = inForce != nullptr && Fails(inForce->OnRename(from));
    return fails ? -1 : NextRename(from, to);
}

ssize_t sendmsg(int descriptor, msghdr const* message, int flags) {
    bool const fails = inForce != nullptr && Fails(inForce->OnSend());
    return fails ? -1 : NextSendmsg(descriptor, message, flags);
}

int socket(int domain, int type, int protocol) noexcept {
    bool const fails = inForce != nullptr && Fails(inForce->OnSocket());
    return fails ? -1 : NextSocket(domain, type, protocol);
}

void openlog(char const* /*identity*/, int /*options*/, int /*facility*/) {}

void syslog(int /*priority*/, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    WriteMessage(format, arguments);
    va_end(arguments);
}

void __syslog_chk(int /*priority*/, int /*flag*/, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    WriteMessage(format, arguments);
    va_end(arguments);
}

}  // extern "C"

#ifndef TARQLOG_TEST_ASAN

void* operator new(std::size_t size) {
    void* const memory = allowedAllocations != 0 ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allowedAllocations -= allowedAllocations > 0 ? 1 : 0;
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

#endif
