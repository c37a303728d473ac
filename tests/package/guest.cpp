// What a user's program does with the library: it logs to both console streams, brings an appender
// and header functions of its own, and catches what comes out of the library.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>

#include <boost/bind/bind.hpp>
#include <boost/function.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <tarqlog/tarqlog.h>

#include "say.h"

#if defined(BOOST_NO_EXCEPTIONS)
namespace boost {

// Without exceptions Boost leaves it to the program what becomes of a failure.
void throw_exception(std::exception const& failure) {
    std::fprintf(stderr, "guest: %s\n", failure.what());
    std::abort();
}

}  // namespace boost
#endif

namespace {

/// Prints its records between brackets, and that it is released.
class Bracketed : public tarqlog::AppenderBase {
public:
    template <class Callable>
    explicit Bracketed(Callable formatHeader) : AppenderBase(formatHeader) {}
    ~Bracketed() override { std::puts("released"); }

protected:
    void DoAppend(tarqlog::LogRecord const& record) override {
        std::printf("%s[%s]\n", Header().c_str(), record.GetData().data());
    }
};

template <class Callable>
void AddBracketed(Callable formatHeader) {
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule("house.room", tarqlog::kInfo)},
                                     MakeSink(boost::make_shared<Bracketed>(formatHeader)));
}

void AppendName(const char* name, std::string& header, tarqlog::LogRecord const&) {
    header += name;
}

void AppendFunction(std::string& header, tarqlog::LogRecord const&) {
    header += "function: ";
}

void SayHowMany(int guests) {
    tarqlog::Logger room("house.room");
    if (room.HasSink(tarqlog::kInfo)) {
        tarqlog::LogRecord record(tarqlog::kInfo);
        tarqlog::LogRecordStreamBuf buffer(record);
        tarqlog::LogStream(&buffer).WriteParamLogString("%d guests", guests);
        room.PushRecord(record);
    }
}

#if !defined(BOOST_NO_EXCEPTIONS)

class Refusing : public tarqlog::AppenderBase {
public:
    explicit Refusing(tarqlog::FormatHeaderFunc const& formatHeader) : AppenderBase(formatHeader) {}

protected:
    void DoAppend(tarqlog::LogRecord const&) override {
        throw std::invalid_argument("the appender's own");
    }
};

void CatchTheLibrarysOwn() {
    tarqlog::threads::SharedMutex mutex;
    mutex.Lock();
    try {
        mutex.Lock();  // the system refuses rather than wait for ever
    } catch (tarqlog::log_utils::Error const& error) {
        std::printf("caught: %s\n", error.what());
    }
    mutex.Unlock();
}

/// Logs to `appender` by a tag that nobody else logs by.
template <class Exception>
void CatchFrom(const char* tag, boost::shared_ptr<tarqlog::AppenderBase> const& appender) {
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule(tag, tarqlog::kTrace)},
                                     MakeSink(appender));
    tarqlog::Logger logger(tag);
    try {
        Say(logger, tarqlog::kTrace, "unheard");
    } catch (Exception const& exception) {
        std::printf("caught: %s\n", exception.what());
    }
}

#endif

}  // namespace

int main() {
    AddBracketed(tarqlog::DefaultFormatHeaderFunc(false));
    AddBracketed(AppendFunction);
    AddBracketed([](std::string& header, tarqlog::LogRecord const&) { header += "lambda: "; });
    AddBracketed(
        boost::bind(AppendName, "boost::bind: ", boost::placeholders::_1, boost::placeholders::_2));
    AddBracketed(std::function<void(std::string&, tarqlog::LogRecord const&)>(
        std::bind(AppendName, "std::function: ", std::placeholders::_1, std::placeholders::_2)));
    SayHowMany(2);

    tarqlog::Logger roof("house.roof");
    Say(roof, tarqlog::kWarning, "leaks");

#if !defined(BOOST_NO_EXCEPTIONS)
    CatchTheLibrarysOwn();
    CatchFrom<boost::bad_function_call>("house.attic",
                                        boost::make_shared<Refusing>(tarqlog::FormatHeaderFunc()));
    CatchFrom<std::invalid_argument>(
        "house.cellar", boost::make_shared<Refusing>(tarqlog::DefaultFormatHeaderFunc(false)));
#endif
    return 0;
}
