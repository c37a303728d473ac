// An object that nothing calls: it configures the library and logs before main() and after it.

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

#include "say.h"

namespace {

long long FixedTime() {
    return 1700000000123;
}

unsigned int FixedThreadId() {
    return 4242;
}

class Doorkeeper {
public:
    Doorkeeper() : logger_("house.door") {
        tarqlog::LogSysInfo::SetGetTimeFunc(FixedTime);
        tarqlog::LogSysInfo::SetGetThreadIdFunc(FixedThreadId);
        tarqlog::LogCore::Get()->AddDefaultSink(tarqlog::kWarning);  // standard error
        tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule(tarqlog::kInfo)},
                                         MakeSink(boost::make_shared<tarqlog::ConsoleAppender>(
                                             tarqlog::ConsoleAppender::kStdout)));
        Say(logger_, tarqlog::kInfo, "opened before main()");
    }
    ~Doorkeeper() { Say(logger_, tarqlog::kInfo, "closed after main()"); }

    Doorkeeper(Doorkeeper const&) = delete;
    Doorkeeper& operator=(Doorkeeper const&) = delete;

private:
    tarqlog::Logger logger_;
};

Doorkeeper const doorkeeper;

}  // namespace
