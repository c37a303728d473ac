#include "progress.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "complaint.h"
#include "input_name.h"
#include "terminal.h"

namespace tarqlog::tool {

namespace {

constexpr std::chrono::seconds kLongWork(2);
constexpr std::chrono::milliseconds kLineInterval(250);
constexpr std::chrono::seconds kLinesInterval(10);
constexpr std::size_t kDefaultColumns = 80;
constexpr double kMostSecondsLeft = 100 * 3600;

/// "512 B", "1.5 KiB".
std::string BytesText(double bytes) {
    static constexpr char const* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    char const* const* unit = kUnits;
    while (bytes >= 1024 && unit != std::end(kUnits) - 1) {
        bytes /= 1024;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.*f %s", unit == kUnits ? 0 : 1, bytes, *unit);
    return text;
}

/// "0:07", "1:02:03".
std::string TimeText(unsigned int seconds) {
    char text[32];
    if (seconds < 3600) {
        std::snprintf(text, sizeof text, "%u:%02u", seconds / 60, seconds % 60);
    } else {
        std::snprintf(text, sizeof text, "%u:%02u:%02u", seconds / 3600, seconds / 60 % 60,
                      seconds % 60);
    }
    return text;
}

std::size_t Columns() {
    pid_t const foreground = ::tcgetpgrp(STDERR_FILENO);  // -1 where it is not our own terminal
    if (foreground >= 0 && foreground != ::getpgrp()) {
        return 0;
    }
    winsize size = {};
    bool const isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kDefaultColumns;
}

}  // namespace

Progress::Surroundings Progress::Real() {
    auto const write = [](std::string const& text) {
        std::fwrite(text.data(), text.size(), 1, stderr);
        std::fflush(stderr);
    };
    return {&std::chrono::steady_clock::now, write, &Columns};
}

Progress::Progress(Manner manner, unsigned long long size, Surroundings surroundings)
    : manner_(manner),
      size_(size),
      surroundings_(std::move(surroundings)),
      start_(surroundings_.now()),
      next_(start_) {
    if (manner == Manner::kLineIfLong) {
        next_ += kLongWork;
    }
    if (manner == Manner::kLines) {
        next_ += kLinesInterval;
    }
    beforeComplaint = [this] { Clear(); };
}

Progress::~Progress() {
    beforeComplaint = nullptr;
    Clear();
}

void Progress::Update(unsigned long long bytes, unsigned long long lines) {
    if (manner_ == Manner::kNone) {
        return;
    }
    auto const now = surroundings_.now();
    if (now < next_) {
        return;
    }
    std::string const text = Text(bytes, lines, now - start_);
    if (manner_ == Manner::kLines) {
        next_ = now + kLinesInterval;
        surroundings_.write(text + '\n');
    } else {
        next_ = now + kLineInterval;
        Show(text);
    }
}

void Progress::End(unsigned long long bytes, unsigned long long lines) {
    Clear();
    if (manner_ == Manner::kLines) {
        surroundings_.write(Text(bytes, lines, surroundings_.now() - start_) + '\n');
    }
}

void Progress::Clear() {
    if (shown_ > 0) {
        Show("");
    }
}

std::string Progress::Text(unsigned long long bytes, unsigned long long lines,
                           std::chrono::duration<double> elapsed) const {
    auto const done = static_cast<double>(bytes);
    auto const all = static_cast<double>(size_);
    bool const isSizeKnown = size_ > 0 && bytes <= size_;  // a file may grow meanwhile
    double const speed = elapsed.count() > 0 ? done / elapsed.count() : 0;  // in bytes a second
    std::string text = "tarqlog: " + BytesText(done);
    if (isSizeKnown) {
        text += " of " + BytesText(all) + " (" +
                std::to_string(static_cast<int>(100 * done / all)) + "%)";
    }
    text += ", " + std::to_string(lines) + " lines";
    if (speed > 0) {
        text += ", " + BytesText(speed) + "/s";
        double const secondsLeft = isSizeKnown ? std::ceil((all - done) / speed) : 0;
        if (secondsLeft > 0 && secondsLeft < kMostSecondsLeft) {
            text += ", " + TimeText(static_cast<unsigned int>(secondsLeft)) + " left";
        }
    }
    return text;
}

/// In place of what stands there, and no wider than the terminal, where it could not be rewritten.
void Progress::Show(std::string const& text) {
    std::size_t const columns = surroundings_.columns();
    if (columns == 0) {
        return;
    }
    std::string const line = text.substr(0, columns - 1);
    std::size_t const rest = std::min(shown_, columns - 1);
    std::size_t const blanks = rest > line.size() ? rest - line.size() : 0;
    surroundings_.write('\r' + line + std::string(blanks, ' ') + (line.empty() ? "\r" : ""));
    shown_ = line.size();
}

Progress::Manner ChooseManner(bool isAskedFor, bool isTerminalTaken, bool mayComeByItself) {
    bool const isTerminalFree = IsTerminal(STDERR_FILENO) && !isTerminalTaken;
    if (isAskedFor) {
        return isTerminalFree ? Progress::Manner::kLine : Progress::Manner::kLines;
    }
    return isTerminalFree && mayComeByItself ? Progress::Manner::kLineIfLong
                                             : Progress::Manner::kNone;
}

std::optional<unsigned long long> BytesToRead(std::vector<std::string> const& files) {
    unsigned long long bytes = 0;
    bool isInputCounted = false;
    for (std::string const& file : files) {
        bool const isInput = IsStandardInput(file);
        struct stat status = {};
        int const error = isInput ? ::fstat(STDIN_FILENO, &status) : ::stat(file.c_str(), &status);
        if (error != 0 || (isInput && isInputCounted)) {
            continue;
        }
        if (!S_ISREG(status.st_mode)) {
            return std::nullopt;
        }
        off_t const begin = isInput ? ::lseek(STDIN_FILENO, 0, SEEK_CUR) : 0;
        bytes += static_cast<unsigned long long>(std::max<off_t>(status.st_size - begin, 0));
        isInputCounted = isInputCounted || isInput;
    }
    return bytes;
}

}  // namespace tarqlog::tool
