#include <memory>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "tarqlog/format.h"
#include "tarqlog/tarqlog.h"

#include "program.h"

namespace tarqlog::bench {

namespace {

constexpr int kBuffered = 32;

class DiscardingAppender : public AppenderBase {
public:
    DiscardingAppender() : AppenderBase(true) {}

protected:
    void DoAppend(LogRecord const& record) override {
        std::vector<char> const& data = record.GetData();
        Discard(Header(), {data.data(), data.size() - 1});
    }
};

std::unique_ptr<Logger> theLogger;
std::vector<std::unique_ptr<Logger>> moreLoggers;
std::vector<boost::shared_ptr<AppenderBase>> moreAppenders;
boost::shared_ptr<FileAppender> theFile;

boost::shared_ptr<AppenderBase> MakeAppender(Settings const& settings) {
    std::string const& row = settings.row;
    if (row == "disabled" || row == "discarded") {
        return boost::make_shared<DiscardingAppender>();
    }
    if (row == "console" || row == "pipe") {
        return boost::make_shared<ConsoleAppender>(ConsoleAppender::kStderr);
    }
    if (row == "udp") {
        return boost::make_shared<UdpAppender>("127.0.0.1",
                                               static_cast<unsigned short>(settings.port));
    }
    int const buffered = IsBuffered(settings) ? kBuffered : 0;
    if (row == "rolling") {
        theFile = boost::make_shared<RollingFileAppender>(settings.file, 1024, 5, buffered);
    } else if (row == "file" || row == "buffered") {
        theFile =
            boost::make_shared<FileAppender>(settings.file, 0, buffered, FileAppender::kAppendMode);
    } else {
        throw Cannot("no row " + row);
    }
    return theFile;
}

// Each front end in a loop of its own, as it stands in an application.

void LogByStream(long first, long count) {
    ForEach(first, count, [log = theLogger.get()](long index) {
        Request const request(index);
        TARQLOG_INFO(*log) << "request " << request.Id() << " took " << request.Us() << " us path "
                           << request.Path() << " status " << request.Status();
    });
}

void LogByPrintf(long first, long count) {
    ForEach(first, count, [log = theLogger.get()](long index) {
        Request const request(index);
        TARQLOG_INFO_P(*log, "request %d took %d us path %s status %d", request.Id(), request.Us(),
                       request.Path().c_str(), request.Status());
    });
}

void LogByFormat(long first, long count) {
    ForEach(first, count, [log = theLogger.get()](long index) {
        Request const request(index);
        TARQLOG_INFO_F(*log, "request {} took {} us path {} status {}", request.Id(), request.Us(),
                       request.Path(), request.Status());
    });
}

void LogByLogStream(long first, long count) {
    ForEach(first, count, [log = theLogger.get()](long index) {
        Request const request(index);
        if (log->HasSink(kInfo)) {
            LogRecord record(kInfo);
            LogRecordStreamBuf buffer(record);
            LogStream(&buffer) << "request " << request.Id() << " took " << request.Us()
                               << " us path " << request.Path() << " status " << request.Status();
            log->PushRecord(record);
        }
    });
}

/// Texts that are there already; while the clock runs they come again and again.
std::vector<std::string> const& ReadyTexts(Settings const& settings) {
    static std::vector<std::string> const texts = [&] {
        constexpr long kFew = 256;  // which the processor's cache holds
        std::vector<std::string> made;
        for (long index = 0; index < (isChecked ? settings.records : kFew); ++index) {
            made.push_back(TextOf(index, settings.size));
        }
        return made;
    }();
    return texts;
}

void LogByWriteData(Settings const& settings, long first, long count) {
    std::vector<std::string> const& texts = ReadyTexts(settings);
    ForEach(first, count, [log = theLogger.get(), &texts](long index) {
        if (log->HasSink(kInfo)) {
            std::string const& text = texts[static_cast<std::size_t>(index) % texts.size()];
            LogRecord record(kInfo);
            record.WriteData(text.data(), static_cast<int>(text.size()));
            log->PushRecord(record);
        }
    });
}

void LogFillers(Settings const& settings, long first, long count) {
    std::string const text = Filler(settings.size);
    ForEach(first, count,
            [log = theLogger.get(), &text](long /*index*/) { TARQLOG_INFO_F(*log, "{}", text); });
}

}  // namespace

Description Describe() {
    return {"tarqlog",
            "full header; file: bufferedRecords 0; buffered and rolling: bufferedRecords 32; "
            "console: kStderr",
            0};
}

void Open(Settings const& settings) {
    if (settings.front == "writedata") {
        ReadyTexts(settings);
    }
    theLogger = std::make_unique<Logger>(TagOf(settings).c_str());
    Severity const severity = settings.row == "disabled" ? kWarning : kAllSeverities;
    for (int i = 0; i < settings.sinks; ++i) {
        auto const sink = boost::make_shared<LogSink>();
        sink->AddAppender(MakeAppender(settings));
        LogCore::Get()->AddSink({FilterRule(severity)}, sink);
    }
}

void Log(Settings const& settings, long first, long count) {
    if (settings.size > 0) {
        LogFillers(settings, first, count);
    } else if (settings.front == "writedata") {
        LogByWriteData(settings, first, count);
    } else if (settings.front == "format") {
        LogByFormat(first, count);
    } else if (settings.front == "printf") {
        LogByPrintf(first, count);
    } else if (settings.front == "logstream") {
        LogByLogStream(first, count);
    } else if (settings.front == "stream" || settings.front.empty()) {
        LogByStream(first, count);
    } else {
        throw std::runtime_error("no front end " + settings.front);
    }
}

void Finish(Settings const& /*settings*/) {
    if (theFile) {
        threads::ScopedLock<threads::ThreadMutex> const lock(theFile->Mutex());
        theFile->Flush();
    }
}

void KeepAppenders(Settings const& settings, int count) {
    for (int i = 0; i < count; ++i) {
        moreAppenders.push_back(MakeAppender(settings));
    }
}

void MakeLoggers(int count) {
    for (int i = 0; i < count; ++i) {
        std::string const tag = "core.io.part" + std::to_string(i);
        moreLoggers.push_back(std::make_unique<Logger>(tag.c_str()));
        moreLoggers.back()->HasSink(kInfo);
    }
}

void RefreshLoggers() {
    static boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    LogCore::Get()->RemoveAllSinks();
    LogCore::Get()->AddSink({FilterRule(kAllSeverities)}, sink);
    for (auto const& logger : moreLoggers) {
        logger->HasSink(kInfo);
    }
}

}  // namespace tarqlog::bench
