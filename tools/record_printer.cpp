#include "record_printer.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>

#include <boost/make_shared.hpp>

#include <tarqlog/console_appender.h>
#include <tarqlog/logcore.h>
#include <tarqlog/logrecord.h>
#include <tarqlog/logsink.h>
#include <tarqlog/logsysinfo.h>

#include "terminal.h"
#include "text_form.h"

namespace tarqlog::tool {

namespace {

constexpr Severity kEverySeverity = ~Severity();  // also the unknown one
constexpr std::size_t kMaxLoggers = 1000;         // tags come from the input, without an end

// Of the record that is printed, for the hooks.
long long timeMs = 0;
unsigned int threadId = 0;
std::string_view headerBytes;

long long GetTime() {
    return timeMs;
}

unsigned int GetThreadId() {
    return threadId;
}

/// The header as it stands in the file.
void AppendHeader(std::string& header, LogRecord const&) {
    header += headerBytes;
}

boost::shared_ptr<AppenderBase> MakeAppender(TextForm form) {
    auto const console = boost::make_shared<ConsoleAppender>(ConsoleAppender::kStdout);
    console->SetSeverity(kEverySeverity);
    auto const appender =
        PutIntoForm(form, console, &AppendHeader, IsTerminal(STDOUT_FILENO) && WantsColour());
    appender->SetSeverity(kEverySeverity);
    return appender;
}

/// The rules, where all levels let a record without any through as well.
std::set<FilterRule> Widened(std::set<FilterRule> const& rules) {
    std::set<FilterRule> widened;
    for (FilterRule const& rule : rules) {
        std::string tag;
        for (std::string const& part : rule.GetTag()) {
            tag += part + '.';
        }
        bool const takesAll = rule.GetSeverity() == kAllSeverities;
        widened.emplace(tag, takesAll ? kEverySeverity : rule.GetSeverity());
    }
    return widened;
}

}  // namespace

RecordPrinter::RecordPrinter(Selection const& selection)
    : selection_(selection),
      isVerbatim_(!selection.json && !selection.escape &&
                  (selection.raw || !IsTerminal(STDOUT_FILENO))) {
    output_.Add(stdout);
    output_.SetBuffers();
    LogSysInfo::SetGetTimeFunc(&GetTime);
    LogSysInfo::SetGetThreadIdFunc(&GetThreadId);
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(MakeAppender(selection.json ? TextForm::kJson : TextForm::kEscaped));
    LogCore::Get()->AddSink(Widened(selection.rules), sink);
}

RecordPrinter::~RecordPrinter() {
    LogCore::Get()->RemoveAllSinks();
    LogSysInfo::SetGetTimeFunc(&GetLocalTimeInMs);
    LogSysInfo::SetGetThreadIdFunc(&GetThisThreadId);
}

bool RecordPrinter::Print(FileRecord const& record) {
    LineHeader const& header = record.header;
    if ((selection_.sinceMs && header.timeMs < *selection_.sinceMs) ||
        (selection_.untilMs && header.timeMs >= *selection_.untilMs)) {
        return true;
    }
    Logger& logger = FindLogger(header.tag);
    if (!logger.HasSink(header.severity)) {
        return true;
    }
    if (isVerbatim_) {
        PrintBytes(record);
    } else {
        Push(record, logger);
    }
    return output_.AreIntact();
}

bool RecordPrinter::End() {
    if (isLineOpen_) {
        std::fputc('\n', stdout);
    }
    bool const isAllWritten = output_.Flush();
    output_.Report();
    return isAllWritten;
}

Logger& RecordPrinter::FindLogger(std::string_view tag) {
    if (lastLogger_ != nullptr && lastTag_ == tag) {
        return *lastLogger_;
    }
    if (loggers_.size() == kMaxLoggers) {
        loggers_.clear();
    }
    lastTag_ = tag;
    std::unique_ptr<Logger>& logger = loggers_[lastTag_];
    if (!logger) {
        logger = std::make_unique<Logger>(lastTag_.c_str());
    }
    lastLogger_ = logger.get();
    return *lastLogger_;
}

void RecordPrinter::PrintBytes(FileRecord const& record) {
    if (isLineOpen_ && record.header.size > 0) {
        std::fputc('\n', stdout);
    }
    std::fwrite(record.bytes.data(), record.bytes.size(), 1, stdout);
    isLineOpen_ = record.bytes.back() != '\n';
}

void RecordPrinter::Push(FileRecord const& record, Logger& logger) {
    timeMs = record.header.timeMs;
    threadId = record.header.threadId;
    headerBytes = record.bytes.substr(0, record.header.size);
    LogRecord pushed(record.header.severity);
    static_assert(kMaxPart <= INT_MAX);
    pushed.WriteData(record.text.data(), static_cast<int>(record.text.size()));
    logger.PushRecord(pushed);
}

}  // namespace tarqlog::tool
