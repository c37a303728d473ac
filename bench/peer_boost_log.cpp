#include <iostream>
#include <list>
#include <string>

#include <boost/log/attributes.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/formatting_ostream.hpp>
#include <boost/make_shared.hpp>

#include "header.h"
#include "program.h"

namespace tarqlog::bench {

namespace {

namespace log = boost::log;
namespace expr = boost::log::expressions;
using boost::posix_time::ptime;
using log::trivial::severity_level;

BOOST_LOG_ATTRIBUTE_KEYWORD(timeOfRecord, "TimeStamp", ptime)
BOOST_LOG_ATTRIBUTE_KEYWORD(channelOfRecord, "Channel", std::string)

// NOLINTBEGIN(readability-identifier-naming): Boost.Log names it
class DiscardingBackend
    : public log::sinks::basic_formatted_sink_backend<char, log::sinks::synchronized_feeding> {
public:
    void consume(log::record_view const& /*record*/, std::string const& line) { Discard(line); }
};
// NOLINTEND(readability-identifier-naming)

using Source = log::sources::severity_channel_logger_mt<severity_level, std::string>;

Source& TheSource() {
    static Source& source = *new Source;
    return source;
}

std::list<Source>& MoreSources() {
    static std::list<Source>& sources = *new std::list<Source>;
    return sources;
}

void Format(log::record_view const& record, log::formatting_ostream& line) {
    ptime const& time = record[timeOfRecord].get();
    auto const day = time.date().year_month_day();
    auto const ofDay = time.time_of_day();
    std::tm broken = {};
    broken.tm_year = day.year - 1900;
    broken.tm_mon = day.month - 1;
    broken.tm_mday = day.day;
    broken.tm_hour = static_cast<int>(ofDay.hours());
    broken.tm_min = static_cast<int>(ofDay.minutes());
    broken.tm_sec = static_cast<int>(ofDay.seconds());
    auto const ms = ofDay.total_milliseconds() % 1000;
    HandMadeHeader const header(broken, static_cast<int>(ms), record[channelOfRecord].get());
    line << header.Text() << record[expr::smessage];
}

template <class Backend>
void AddSink(boost::shared_ptr<Backend> const& backend) {
    auto const sink = boost::make_shared<log::sinks::synchronous_sink<Backend>>(backend);
    sink->set_formatter(&Format);
    log::core::get()->add_sink(sink);
}

void AddFileSink(Settings const& settings) {
    auto const backend = boost::make_shared<log::sinks::text_file_backend>(
        log::keywords::file_name = settings.file,
        log::keywords::open_mode = std::ios_base::out | std::ios_base::app);
    if (settings.row == "rolling") {
        backend->set_rotation_size(1024UL * 1024);
        backend->set_target_file_name_pattern(settings.file + ".%N");
        backend->set_file_collector(log::sinks::file::make_collector(
            log::keywords::target = settings.directory, log::keywords::max_files = 5));
    }
    backend->auto_flush(!IsBuffered(settings));
    AddSink(backend);
}

void AddConsoleSink() {
    auto const backend = boost::make_shared<log::sinks::text_ostream_backend>();
    backend->add_stream(boost::shared_ptr<std::ostream>(&std::cerr, [](auto*) {}));
    AddSink(backend);
}

void SetLowest(severity_level severity) {
    log::core::get()->set_filter(log::trivial::severity >= severity);
}

}  // namespace

Description Describe() {
    return {"Boost.Log",
            "severity_channel_logger_mt, synchronous_sink, a function as formatter, utc_clock; "
            "text_file_backend; file: auto_flush(true); console: text_ostream_backend of "
            "std::cerr",
            0};
}

void Open(Settings const& settings) {
    std::string const& row = settings.row;
    if (row == "udp" || row == "async") {
        throw Cannot("no row " + row);
    }
    for (int i = 0; i < settings.sinks; ++i) {
        if (row == "disabled" || row == "discarded") {
            AddSink(boost::make_shared<DiscardingBackend>());
        } else if (row == "console" || row == "pipe") {
            AddConsoleSink();
        } else {
            AddFileSink(settings);
        }
    }
    log::core::get()->add_global_attribute("TimeStamp", log::attributes::utc_clock());
    SetLowest(row == "disabled" ? log::trivial::warning : log::trivial::trace);
    TheSource().channel(TagOf(settings));
}

void Log(Settings const& settings, long first, long count) {
    Source& source = TheSource();
    if (settings.size > 0) {
        std::string const text = Filler(settings.size);
        ForEach(first, count,
                [&](long /*index*/) { BOOST_LOG_SEV(source, log::trivial::info) << text; });
        return;
    }
    ForEach(first, count, [&source](long index) {
        Request const request(index);
        BOOST_LOG_SEV(source, log::trivial::info)
            << "request " << request.Id() << " took " << request.Us() << " us path "
            << request.Path() << " status " << request.Status();
    });
}

void Finish(Settings const& /*settings*/) {
    log::core::get()->flush();
}

void KeepAppenders(Settings const& settings, int count) {
    for (int i = 0; i < count; ++i) {
        AddFileSink(settings);
    }
}

void MakeLoggers(int count) {
    for (int i = 0; i < count; ++i) {
        MoreSources().emplace_back(log::keywords::channel = "core.io.part" + std::to_string(i));
    }
}

void RefreshLoggers() {
    SetLowest(log::trivial::warning);
    for (Source& source : MoreSources()) {
        static_cast<void>(source.open_record(log::keywords::severity = log::trivial::info));
    }
}

}  // namespace tarqlog::bench
