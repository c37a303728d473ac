// Why is my line not there? Ask for its tag and its severity, as here before there is any line, or
// from inside a program that runs.

#include <cstddef>
#include <iostream>
#include <vector>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

using namespace tarqlog;

constexpr Severity kProblems = kWarning | kError | kFatal;

boost::shared_ptr<AppenderBase> MakeConsole(ConsoleAppender::OutStreamType stream,
                                            Severity severity) {
    boost::shared_ptr<AppenderBase> const console = boost::make_shared<ConsoleAppender>(stream);
    console->SetSeverity(severity);
    return console;
}

int main() {
    std::cout << ToText(Explain("shop.db.pool", kInfo)) << '\n';  // nobody has added a sink yet

    boost::shared_ptr<LogSink> const both = boost::make_shared<LogSink>();
    both->AddAppender(MakeConsole(ConsoleAppender::kStdout, kAllSeverities));
    both->AddAppender(MakeConsole(ConsoleAppender::kStderr, kProblems));
    LogCore::Get()->AddSink({FilterRule("shop", kAllSeverities)}, both);

    boost::shared_ptr<LogSink> const quiet = boost::make_shared<LogSink>();
    quiet->AddAppender(MakeConsole(ConsoleAppender::kStderr, kAllSeverities));
    LogCore::Get()->AddSink({FilterRule(kAllSeverities), FilterRule("shop.db", kProblems)}, quiet);

    for (char const* tag : {"shop.db.pool", "shop.cart", "mail"}) {
        std::cout << ToText(Explain(tag, kInfo)) << '\n';
    }

    // The same as data: let every appender that stops the record take it from now on.
    Severity const wanted = kInfo;
    Explanation const explanation = Explain("shop.cart", wanted);
    std::vector<SinkRegistration> const sinks = LogCore::Get()->GetSinks();
    for (std::size_t i = 0; i < sinks.size(); ++i) {
        for (std::size_t j = 0; j < explanation.sinks[i].appenders.size(); ++j) {
            AppenderExplanation const& appender = explanation.sinks[i].appenders[j];
            if (explanation.sinks[i].isReached && !appender.isReached) {
                sinks[i].sink->GetAppenders()[j]->SetSeverity(appender.mask | wanted);
            }
        }
    }
    std::cout << ToText(Explain("shop.cart", wanted));
}
