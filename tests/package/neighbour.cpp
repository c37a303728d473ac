// One of the shared libraries of a program that all log with one core; NAME is its name.

#include "neighbour.h"

#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

#include "say.h"

namespace {

class Listener : public tarqlog::AppenderBase {
public:
    explicit Listener(std::string& heard) : AppenderBase(false), heard_(heard) {}

protected:
    void DoAppend(tarqlog::LogRecord const& record) override {
        heard_ += NAME " hears \"" + std::string(record.GetData().data()) + "\"\n";
    }

private:
    std::string& heard_;
};

class Objector : public tarqlog::AppenderBase {
public:
    Objector() : AppenderBase(false) {}

protected:
    void DoAppend(tarqlog::LogRecord const& record) override {
        if (record.GetData().front() == '!') {
            throw tarqlog::log_utils::Error(NAME " objects");
        }
    }
};

void AddSink(boost::shared_ptr<tarqlog::AppenderBase> const& appender) {
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule("street", tarqlog::kInfo)},
                                     MakeSink(appender));
}

void Listen(std::string& heard) {
    AddSink(boost::make_shared<Listener>(heard));
}

void SayIt(const char* text) {
    tarqlog::Logger logger("street." NAME);
    Say(logger, tarqlog::kInfo, text);
}

void Object() {
    AddSink(boost::make_shared<Objector>());
}

void OpenNoFile() {
    tarqlog::log_utils::File const file("/no/" NAME, tarqlog::log_utils::File::kRead);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) Neighbour GetNeighbour() {
    return {tarqlog::LogCore::Get(), Listen, SayIt, Object, OpenNoFile};
}
