#ifndef TARQLOG_TESTS_SUPPORT_TERMINAL_H_
#define TARQLOG_TESTS_SUPPORT_TERMINAL_H_

#include <string>

namespace tarqlog {

/// A terminal of the test's own, at whose keys the test sits.
class Terminal {
public:
    Terminal();
    ~Terminal();

    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;

    /// Makes it the terminal of this process, which is the leader of a session then.
    void Adopt() const;

    /// Puts it in place of `descriptor` in this process. What is written comes to the test as it
    /// is.
    void Replace(int descriptor) const;

    void SetColumns(unsigned short columns) const;

    /// Presses the key that interrupts. The signal is sent when the terminal has echoed the key.
    void PressInterrupt() const;

    /// What has been written to it, until it ends with `end`.
    std::string ReadUntil(std::string const& end) const;

    /// What is written to it until nobody has it open any more.
    std::string ReadToEnd() const;

private:
    int OpenOtherEnd() const;

    int const master_;
};

/// For a child that becomes a program: NO_COLOR as the program finds it; null takes it away.
void SetNoColour(char const* value);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_TERMINAL_H_
