#include "text_form.h"

#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/header_formats.h>
#include <tarqlog/wrappers.h>

#include "escape.h"

namespace tarqlog::tool {

namespace {

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
