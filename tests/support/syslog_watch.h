#ifndef TARQLOG_TESTS_SUPPORT_SYSLOG_WATCH_H_
#define TARQLOG_TESTS_SUPPORT_SYSLOG_WATCH_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/interpose.h"

namespace tarqlog {

// The system log of programs that list support/syslog_watch.cpp among their sources. Nothing that
// they log reaches the machine's. Prove in each such program that the calls are counted.

extern Fault logOpenings;  // openlog
extern Fault logMessages;  // syslog, also in the form that fortified code calls
extern Fault logClosings;  // closelog

/// A call of openlog().
struct LogOpening {
    char const* identity;                // as given
    std::optional<std::string> letters;  // of the identity, at the time of the call; none for null
    int options;
    int facility;
};

/// A call of syslog().
struct LogMessage {
    int priority;
    std::string format;
    std::string text;   // what the system makes of the format
    char const* first;  // the arguments, where the format is "%s%s"
    char const* second;
};

/// Takes down the calling thread's calls while it lives.
class SyslogJournal {
public:
    /// `onOpening` is called within each openlog().
    explicit SyslogJournal(std::function<void()> const& onOpening = nullptr) : listener(onOpening) {
        current = this;
    }
    ~SyslogJournal() { current = nullptr; }

    SyslogJournal(SyslogJournal const&) = delete;
    SyslogJournal& operator=(SyslogJournal const&) = delete;

    std::function<void()> const listener;
    std::vector<LogOpening> openings;
    std::vector<LogMessage> messages;

    static thread_local SyslogJournal* current;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_SYSLOG_WATCH_H_
