// What may a crash handler do, since it must not log? write(): one line, of which all but the
// signal is ready, to a file that was opened while all was well.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

char const* const kFile = "crash_handler.log";

int crashFile = -1;

/// The thread may hold a lock of the library, or of the memory, when the signal comes: no log
/// statement here, no stream, no std::string.
extern "C" void OnCrash(int signal) {
    char line[] = "F (crash):signal 00\n";
    line[sizeof line - 4] = static_cast<char>('0' + signal / 10);
    line[sizeof line - 3] = static_cast<char>('0' + signal % 10);
    if (::write(crashFile, line, sizeof line - 1) < 0) {
        // there is nobody to tell
    }
    ::raise(signal);  // its default action, once this returns: SA_RESETHAND
}

void InstallCrashHandler() {
    // Opened to append, as the appender does: where both write, lines come one after the other.
    crashFile = ::open(kFile, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0664);
    // A stack of its own, for the thread that has used up its own one. Other threads need theirs.
    static char stack[1 << 16];
    stack_t alternative = {};
    alternative.ss_sp = stack;
    alternative.ss_size = sizeof stack;
    ::sigaltstack(&alternative, nullptr);

    struct sigaction action = {};
    action.sa_handler = OnCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK);
    for (int const signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        ::sigaction(signal, &action, nullptr);
    }
}

void Crash() {
    auto const file = boost::make_shared<FileAppender>(kFile, 0, 100, FileAppender::kAppendMode);
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(file);
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
    InstallCrashHandler();

    Logger log("job");
    TARQLOG_INFO(log) << "begun";            // waits in the buffer
    TARQLOG_WARNING(log) << "disk is slow";  // is in the file, and so is what waited
    TARQLOG_INFO(log) << "nearly done";      // waits, and is lost: the handler cannot help it
    std::abort();
}

int main() {
    ::unlink(kFile);
    if (::fork() == 0) {
        Crash();
    }
    int status = 0;
    ::wait(&status);
    std::cout << std::ifstream(kFile).rdbuf();
    ::unlink(kFile);
    std::cout << "ended by signal " << WTERMSIG(status) << '\n';
}
