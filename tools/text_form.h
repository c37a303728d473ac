#ifndef TARQLOG_TOOLS_TEXT_FORM_H_
#define TARQLOG_TOOLS_TEXT_FORM_H_

#include <boost/shared_ptr.hpp>

#include <tarqlog/appender_base.h>
#include <tarqlog/format_func.h>

namespace tarqlog::tool {

/// How a destination shows records.
enum class TextForm {
    kPlain,    // header and text to the byte
    kEscaped,  // both as EscapingAppender has texts
    kJson,     // as JsonLinesAppender has it
};

/// Has `appender`, which has joined no sink, show records in `form`. Returns who is to join in its
/// place: itself, or one around it.
/// @param header    that of `appender`; JSON has none
/// @param inColour  whether an escaped header is coloured by severity
boost::shared_ptr<AppenderBase> PutIntoForm(TextForm form,
                                            boost::shared_ptr<AppenderBase> const& appender,
                                            FormatHeaderFunc const& header, bool inColour);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_TEXT_FORM_H_
