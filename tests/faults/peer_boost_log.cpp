#include <stdexcept>

#include <boost/log/attributes.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>

#include "faults/driver.h"

namespace tarqlog::faults {

namespace {

namespace log = boost::log;
namespace expr = boost::log::expressions;
using log::trivial::severity_level;

// NOLINTBEGIN(readability-identifier-naming): Boost.Log names them
class Thrower : public log::sinks::basic_sink_backend<log::sinks::synchronized_feeding> {
public:
    void consume(log::record_view const& /*record*/) {
        CountHit();
        throw std::runtime_error("thrown");
    }
};

class Idle : public log::sinks::basic_sink_backend<log::sinks::synchronized_feeding> {
public:
    void consume(log::record_view const& /*record*/) {}
};

// NOLINTEND(readability-identifier-naming)

using FileSink = log::sinks::synchronous_sink<log::sinks::text_file_backend>;
using Source = log::sources::severity_logger_mt<severity_level>;

/// Never destroyed: threads and static destructors log until the very end.
Source& TheSource() {
    static Source& source = *new Source;
    return source;
}

}  // namespace

Description Describe() {
    return {"Boost.Log", "A [9 9:9:9.9][t:9](f):", "",
            "synchronous_sink<text_file_backend>, open mode app; unbuffered: auto_flush(true); "
            "buffered: auto_flush(false), nothing flushed for warnings; rolling: rotation_size, "
            "target and max_files; reconfigured by added and removed sinks"};
}

void Open(Settings const& settings) {
    if (settings.udp != 0 || settings.syslog) {
        throw Cannot("not tried");
    }
    auto const backend = boost::make_shared<log::sinks::text_file_backend>(
        log::keywords::file_name = settings.file,
        log::keywords::open_mode = std::ios_base::out | std::ios_base::app);
    if (settings.limitKiB > 0) {
        std::string const folder = settings.file.substr(0, settings.file.rfind('/'));
        backend->set_rotation_size(static_cast<std::uintmax_t>(settings.limitKiB) * 1024);
        backend->set_target_file_name_pattern(settings.file + ".%N");
        backend->set_file_collector(log::sinks::file::make_collector(
            log::keywords::target = folder,
            log::keywords::max_files = static_cast<std::uintmax_t>(settings.kept)));
    }
    backend->auto_flush(settings.buffered == 0);
    auto const sink = boost::make_shared<FileSink>(backend);
    sink->set_formatter(expr::stream
                        << expr::attr<severity_level>("Severity") << " ["
                        << expr::format_date_time<boost::posix_time::ptime>("TimeStamp",
                                                                            "%Y-%m-%d %H:%M:%S.%f")
                        << "][t:"
                        << expr::attr<log::attributes::current_thread_id::value_type>("ThreadID")
                        << "](f):" << expr::smessage);
    log::core::get()->add_sink(sink);
    log::add_common_attributes();
    if (settings.thrower) {
        using Sink = log::sinks::synchronous_sink<Thrower>;
        log::core::get()->add_sink(boost::make_shared<Sink>());
    }
}

bool Log(Level level, std::string const& text) {
    BOOST_LOG_SEV(TheSource(), level == Level::kInfo      ? log::trivial::info
                               : level == Level::kWarning ? log::trivial::warning
                                                          : log::trivial::error)
        << text;
    return true;
}

void Reconfigure(int change) {
    using Sink = log::sinks::synchronous_sink<Idle>;
    static boost::shared_ptr<Sink> const idle = boost::make_shared<Sink>();
    if (change % 2 == 0) {
        log::core::get()->add_sink(idle);
    } else {
        log::core::get()->remove_sink(idle);
    }
}

void Close() {
    log::core::get()->remove_all_sinks();
}

}  // namespace tarqlog::faults
