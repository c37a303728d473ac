// A writer with a flaw, or without: what the harness must notice, or not.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

std::string flaw;
int descriptor = -1;
std::atomic<long> lines{0};
std::mutex mutex;

void Write(std::string const& bytes) {
    if (::write(descriptor, bytes.data(), bytes.size()) < 0) {
        ::close(descriptor);
    }
}

}  // namespace

Description Describe() {
    return {"planted", "A ", "", "one write() a line"};
}

void Open(Settings const& settings) {
    flaw = settings.flaw;
    CountBy([] { return Count{lines, 0}; });
    descriptor = ::open(settings.file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}

bool Log(Level /*level*/, std::string const& text) {
    static std::string kept;
    std::lock_guard<std::mutex> const lock(mutex);
    std::string const line = "I " + text + "\n";
    bool const strikes = ++lines % 1000 == 0;
    if (strikes && flaw == "loses") {
        return true;
    }
    if (strikes && flaw == "tears") {
        Write(line.substr(0, line.size() / 2));
        return true;
    }
    if (strikes && flaw == "reorders") {
        kept = line;
        return true;
    }
    Write(line);
    if (strikes && flaw == "doubles") {
        Write(line);
    }
    if (lines % 1000 == 500 && !kept.empty()) {
        Write(kept);
        kept.clear();
    }
    return true;
}

void Reconfigure(int /*change*/) {}

void Close() {}

}  // namespace tarqlog::faults
