#ifndef TARQLOG_TOOLS_DATAGRAMS_H_
#define TARQLOG_TOOLS_DATAGRAMS_H_

#include <string>

#include <boost/shared_ptr.hpp>

#include <tarqlog/logrecord.h>
#include <tarqlog/udp_appender.h>

#include "text_form.h"

namespace tarqlog::tool {

/// Sends each record as a datagram. A text that is too long for one is cut, and says so at its end;
/// an escape stays whole, and a JSON object stays one.
class DatagramAppender : public UdpAppender {
public:
    using UdpAppender::UdpAppender;

    /// Says what the texts come in; TextForm::kPlain unless told otherwise.
    void SetForm(TextForm form) { form_ = form; }

    /// How many texts were cut.
    unsigned long long CutCount() const { return cutCount_; }

protected:
    void DoAppend(LogRecord const& record) override;

private:
    TextForm form_ = TextForm::kPlain;
    unsigned long long cutCount_ = 0;
};

/// Makes an appender that sends to `host`, a name or an address.
/// @throws std::runtime_error when the host is unknown or nothing can be sent to it
boost::shared_ptr<DatagramAppender> OpenDatagrams(std::string const& host, unsigned short port);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DATAGRAMS_H_
