#include "text_form.h"

#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/header_formats.h>
#include <tarqlog/logrecord.h>
#include <tarqlog/severity.h>
#include <tarqlog/wrappers.h>

namespace tarqlog::tool {

namespace {

/// The rule of EscapingAppender for what is no record's text.
class Escaper : public EscapingAppender {
public:
    Escaper() : EscapingAppender(nullptr) {}

    std::string Escape(std::string const& text) {
        LogRecord record(kInfo);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        record.WriteData("", 1);  // the NUL that a logger appends
        std::string escaped;
        Rewrite(record, escaped);
        return escaped;
    }
};

/// EscapingAppender lets headers pass, but a tag from the command line may hold anything.
FormatHeaderFunc EscapedHeader(FormatHeaderFunc const& header) {
    return [header, escaper = boost::make_shared<Escaper>()](std::string& to,
                                                             LogRecord const& record) {
        std::string plain;
        header(plain, record);
        to += escaper->Escape(plain);
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
