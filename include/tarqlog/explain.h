#ifndef TARQLOG_EXPLAIN_H_
#define TARQLOG_EXPLAIN_H_

#include <string>
#include <vector>

#include "tarqlog/export.h"
#include "tarqlog/logcore.h"
#include "tarqlog/severity.h"

namespace tarqlog {

// Why is my line not there? Explain() answers for a tag and a severity, as data, and ToText() puts
// the answer into lines:
//
//     std::cerr << ToText(Explain("shop.db", kInfo));
//
//     tag 'shop.db', severity I: reaches 1 of 3 appenders
//       sink 0: reached, through the rule for 'shop' (all)
//         appender 0: reached, its mask is all
//         appender 1: not reached, its mask is WEF
//       sink 1: not reached, the rule for 'shop.db' lets WEF through

/// What becomes of a record at one appender.
struct AppenderExplanation {
    Severity mask;   ///< the appender's own
    bool isReached;  ///< false: the record does not reach the sink, or the mask stops it
};

/// What becomes of a record at one sink.
struct SinkExplanation {
    bool hasRule;                      ///< false: no rule is for the record's tag or one above it
    std::vector<std::string> ruleTag;  ///< of the rule that decides, for the longest such tag
    Severity ruleSeverity;             ///< what that rule lets through; empty without a rule
    bool isReached;                    ///< the rule lets the record through, to the appenders
    std::vector<AppenderExplanation> appenders;  ///< as in LogSink::GetAppenders()
};

/// What becomes of a record, at the moment of asking.
struct Explanation {
    std::vector<std::string> tag;        ///< the parts, as loggers and rules take them
    Severity severity;                   ///< the record's
    bool isForbidden;                    ///< IsLoggingForbidden(), which itself stops no record
    std::vector<SinkExplanation> sinks;  ///< as in LogCore::GetSinks(); empty: nobody has added one
    bool isReached;                      ///< at least one appender is
};

/// Tells what the configuration of `core` makes of a record, which is what delivery does. It does
/// not foresee a destination that fails, an appender that throws, a record without text, nor a
/// record whose logger was not asked HasSink() since the last change.
///
/// Safe from any thread, from inside an appender too, but not from an appender's destructor: takes
/// the core's lock, shared, and waits while a change is about to be made, as a logger does. Shares
/// the ownership of the sinks until it returns.
/// @param tag       dotted, as loggers take it
/// @param severity  a level; of several, one that gets through is enough; with none, none does
/// @throws log_utils::Error when the lock is refused, or what an allocation throws
TARQLOG_API Explanation Explain(std::string const& tag, Severity severity,
                                LogCore const& core = *LogCore::Get());

/// Lines for people, each with its line feed; a control character in a tag is a '?'. Not meant to
/// be parsed: the wording may change.
TARQLOG_API std::string ToText(Explanation const& explanation);

/// "all", "none" or the letters that headers show, as in "WEF"; bits that have none are a number
/// behind them, as in "EF+0x40".
TARQLOG_API std::string ToText(Severity severity);

}  // namespace tarqlog

#endif  // TARQLOG_EXPLAIN_H_
