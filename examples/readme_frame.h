#ifndef TARQLOG_EXAMPLES_README_FRAME_H_
#define TARQLOG_EXAMPLES_README_FRAME_H_

// What the lines in README.md that are no whole programs take for granted. They stand in a
// namespace, where `log` is not the C library's.

#include <unistd.h>

#include <iostream>
#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/format.h>
#include <tarqlog/tarqlog.h>

namespace snippets {

constexpr tarqlog::Severity kProblems = tarqlog::kWarning | tarqlog::kError | tarqlog::kFatal;

inline tarqlog::Logger log("shop");
char const* const peer = "10.0.0.7";
int const ms = 12;
int const peers = 101;

inline boost::shared_ptr<tarqlog::ConsoleAppender> MakeConsole(tarqlog::Severity severity) {
    auto const console =
        boost::make_shared<tarqlog::ConsoleAppender>(tarqlog::ConsoleAppender::kStdout);
    console->SetSeverity(severity);
    return console;
}

/// An appender that has lost the one record that it was given.
inline boost::shared_ptr<tarqlog::AppenderBase> MakeLoser() {
    auto const file = boost::make_shared<tarqlog::FileAppender>("no such folder/shop.log", 0, 0,
                                                                tarqlog::FileAppender::kAppendMode);
    auto const sink = boost::make_shared<tarqlog::LogSink>();
    sink->AddAppender(file);
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule(tarqlog::kAllSeverities)}, sink);
    TARQLOG_INFO(log) << "lost";
    tarqlog::LogCore::Get()->RemoveAllSinks();
    return file;
}

/// The sinks that the explanation on the page speaks of.
inline bool AddSinks() {
    auto const all = boost::make_shared<tarqlog::LogSink>();
    all->AddAppender(MakeConsole(tarqlog::kAllSeverities));
    all->AddAppender(MakeConsole(kProblems));
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule("shop", tarqlog::kAllSeverities)}, all);
    auto const problems = boost::make_shared<tarqlog::LogSink>();
    problems->AddAppender(MakeConsole(tarqlog::kAllSeverities));
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule("shop.db", kProblems)}, problems);
    return true;
}

inline boost::shared_ptr<tarqlog::AppenderBase> const appender = MakeLoser();
inline bool const sinksAdded = AddSinks();

}  // namespace snippets

#endif  // TARQLOG_EXAMPLES_README_FRAME_H_
