#include "support/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>

namespace tarqlog {

Terminal::Terminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) {
        throw std::runtime_error("cannot make a terminal");
    }
}

Terminal::~Terminal() {
    ::close(master_);
}

void Terminal::Adopt() const {
    ::setsid();
    ::ioctl(OpenOtherEnd(), TIOCSCTTY, 0);
}

void Terminal::Replace(int descriptor) const {
    int const other = OpenOtherEnd();
    termios settings = {};
    ::tcgetattr(other, &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(other, TCSANOW, &settings);
    ::dup2(other, descriptor);
    ::close(other);
}

void Terminal::SetColumns(unsigned short columns) const {
    winsize size = {};
    size.ws_col = columns;
    ::ioctl(master_, TIOCSWINSZ, &size);
}

void Terminal::PressInterrupt() const {
    EXPECT_EQ(::write(master_, "\x03", 1), 1);
    EXPECT_EQ(ReadUntil("^C"), "^C");
}

std::string Terminal::ReadUntil(std::string const& end) const {
    std::string text;
    char character = 0;
    while ((text.size() < end.size() ||
            text.compare(text.size() - end.size(), end.size(), end) != 0) &&
           ::read(master_, &character, 1) == 1) {
        text += character;
    }
    return text;
}

std::string Terminal::ReadToEnd() const {
    std::string text;
    char character = 0;
    while (::read(master_, &character, 1) == 1) {
        text += character;
    }
    return text;
}

int Terminal::OpenOtherEnd() const {
    char name[64];
    ::ptsname_r(master_, name, sizeof name);
    return ::open(name, O_RDWR | O_NOCTTY);
}

void SetNoColour(char const* value) {
    // NOLINTBEGIN(concurrency-mt-unsafe): a child has one thread
    if (value == nullptr) {
        ::unsetenv("NO_COLOR");
    } else {
        ::setenv("NO_COLOR", value, 1);
    }
    // NOLINTEND(concurrency-mt-unsafe)
}

}  // namespace tarqlog
