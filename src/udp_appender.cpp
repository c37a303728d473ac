#include "tarqlog/udp_appender.h"

#include <string_view>

#include "tarqlog/accounting.h"
#include "tarqlog/udpsender.h"

#include "fork_list.h"
#include "record_text.h"

namespace tarqlog {

struct UdpAppender::Private {
    std::string const host;
    unsigned short const port;
    UdpSender sender;  // guarded by Mutex(), which Append() holds
    ForkHeir heir{*this};

    void BeginAnew() { sender.Close(); }  // the socket is the parent's
};

UdpAppender::UdpAppender(std::string const& host, unsigned short port)
    : AppenderBase(true), impl_(new Private{host, port, {}}) {}

UdpAppender::UdpAppender(char const* host, unsigned short port)
    : UdpAppender(std::string(host), port) {}

UdpAppender::~UdpAppender() = default;

void UdpAppender::DoAppend(LogRecord const& record) {
    std::string const& header = Header();
    UdpSender& sender = impl_->sender;
    if (!sender.IsOpen() && !sender.Create(impl_->host.c_str(), impl_->port)) {
        NoteLost(LossCause::kOpenFailed);
        return;  // the next one tries again
    }
    std::string_view const text = RecordText(record);
    char const* parts[] = {header.data(), text.data(), "\n"};
    unsigned long sizes[] = {header.size(), text.size(), 1};
    if (!sender.Send(parts, sizes, 3)) {
        NoteLost(LossCause::kSendFailed);
        sender.Close();  // the next one makes a new socket
    }
}

}  // namespace tarqlog
