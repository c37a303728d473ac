#include "text_form.h"

#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/header_formats.h>
#include <tarqlog/logrecord.h>
#include <tarqlog/wrappers.h>

namespace tarqlog::tool {

namespace {

/// Gives away the rule that it has for texts.
class Escaper : public EscapingAppender {
public:
    Escaper() : EscapingAppender(nullptr) {}

    using EscapingAppender::Rewrite;
};

std::string Escaped(std::string const& text) {
    static Escaper escaper;
    LogRecord record((Severity()));
    record.WriteData(text.data(), static_cast<int>(text.size()));
    record.WriteData("", 1);  // the NUL that a logger appends
    std::string escaped;
    escaper.Rewrite(record, escaped);
    return escaped;
}

/// The appender passes headers as they are, but a tag from the command line or a file may hold
/// anything.
FormatHeaderFunc EscapedHeader(FormatHeaderFunc const& header) {
    return [header](std::string& to, LogRecord const& record) {
        std::string plain;
        header(plain, record);
        to += Escaped(plain);
    };
}

}  // namespace

boost::shared_ptr<AppenderBase> PutIntoForm(TextForm form,
                                            boost::shared_ptr<AppenderBase> const& appender,
                                            FormatHeaderFunc const& header, bool inColour) {
    if (form == TextForm::kJson) {
        return boost::make_shared<JsonLinesAppender>(appender);
    }
    if (form == TextForm::kPlain) {
        return appender;
    }
    appender->SetHeaderFunc(ColourHeader(EscapedHeader(header), inColour));
    return boost::make_shared<EscapingAppender>(appender);
}

}  // namespace tarqlog::tool
