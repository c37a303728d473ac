// Logs from a static constructor and from a static destructor, as a library may.

#include <cstring>

#include "tarqlog/tarqlog.h"

namespace {

class Chatty {
public:
    Chatty() : logger_("chatty") {
        tarqlog::LogCore::Get()->AddDefaultSink(tarqlog::kAllSeverities);
        Say("constructed");
    }
    ~Chatty() { Say("destroyed"); }

    Chatty(Chatty const&) = delete;
    Chatty& operator=(Chatty const&) = delete;

private:
    void Say(const char* text) {
        if (logger_.HasSink(tarqlog::kInfo)) {
            tarqlog::LogRecord record(tarqlog::kInfo);
            record.WriteData(text, static_cast<int>(std::strlen(text)));
            logger_.PushRecord(record);
        }
    }

    tarqlog::Logger logger_;
};

Chatty const chatty;

}  // namespace
