// Logs with the macros of log.h and format.h, and fails unless each record has the right text.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iomanip>
#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/format.h>
#include <tarqlog/tarqlog.h>

#include "say.h"

#if defined(BOOST_NO_EXCEPTIONS)
namespace boost {

// Without exceptions Boost leaves it to the program what becomes of a failure.
void throw_exception(std::exception const&) {
    std::abort();
}

}  // namespace boost
#endif

namespace {

std::string texts;

class Collector : public tarqlog::AppenderBase {
public:
    Collector() : AppenderBase(false) {}

protected:
    void DoAppend(tarqlog::LogRecord const& record) override {
        texts += record.GetData().data();
        texts += ';';
    }
};

}  // namespace

int main() {
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule(tarqlog::kInfo)},
                                     MakeSink(boost::make_shared<Collector>()));
    tarqlog::Logger log("house.hall");
    for (int i = 0; i < 3; ++i) {
        TARQLOG_INFO_IF(log, TARQLOG_EVERY_N(2)) << "guest " << i << std::setw(3) << 1.5;
    }
    TARQLOG_INFO_P(log, "%s has %d", "room", 2);
    TARQLOG_INFO_F(log, "{} has {}", "hall", 3);
    TARQLOG_INFO_F(log, "{:{}}", 3, -1);
    TARQLOG_DEBUG_F(log, "{}", "unheard");
    const char* const expected =
        "guest 01.5;guest 21.5;room has 2;hall has 3;format error: negative width;";
    if (texts != expected) {
        std::fprintf(stderr, "formatted: %s\ninstead of %s\n", texts.c_str(), expected);
        return 1;
    }
    return 0;
}
