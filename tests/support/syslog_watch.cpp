#include "support/syslog_watch.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

namespace tarqlog {

Fault logOpenings;
Fault logMessages;
Fault logClosings;

thread_local SyslogJournal* SyslogJournal::current = nullptr;

namespace {

void NoteMessage(int priority, char const* format, std::va_list arguments) {
    logMessages.Strikes();
    if (SyslogJournal::current == nullptr) {
        return;
    }
    LogMessage message = {priority, format, "", nullptr, nullptr};
    std::va_list again;
    va_copy(again, arguments);
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    message.text = text;
    if (message.format == "%s%s") {
        message.first = va_arg(again, char const*);
        message.second = va_arg(again, char const*);
    }
    va_end(again);
    SyslogJournal::current->messages.push_back(message);
}

}  // namespace
}  // namespace tarqlog

extern "C" {

void openlog(char const* identity, int options, int facility) {
    tarqlog::logOpenings.Strikes();
    tarqlog::SyslogJournal* const journal = tarqlog::SyslogJournal::current;
    if (journal == nullptr) {
        return;
    }
    tarqlog::LogOpening opening = {identity, {}, options, facility};
    if (identity != nullptr) {
        opening.letters = identity;
    }
    journal->openings.push_back(opening);
    if (journal->listener) {
        journal->listener();
    }
}

void syslog(int priority, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    tarqlog::NoteMessage(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int /*flag*/, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    tarqlog::NoteMessage(priority, format, arguments);
    va_end(arguments);
}

void closelog() {
    tarqlog::logClosings.Strikes();
}

}  // extern "C"
