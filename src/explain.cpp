#include "tarqlog/explain.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <set>

#include <boost/shared_ptr.hpp>

#include "tarqlog/appender_base.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/logsink.h"

#include "split_to_parts.h"

namespace tarqlog {

namespace {

constexpr char kLetters[] = "TDIWEF";  // from the lowest bit up

using TagParts = std::vector<std::string>;

bool IsAtOrAbove(TagParts const& ruleTag, TagParts const& tag) {
    return ruleTag.size() <= tag.size() && std::equal(ruleTag.begin(), ruleTag.end(), tag.begin());
}

/// The rule for the longest tag at or above `tag`; null when there is none.
FilterRule const* DecidingRule(std::set<FilterRule> const& rules, TagParts const& tag) {
    FilterRule const* deciding = nullptr;
    for (FilterRule const& rule : rules) {
        if (IsAtOrAbove(rule.GetTag(), tag)) {
            deciding = &rule;  // in the order of the set, the longer of two such tags comes later
        }
    }
    return deciding;
}

SinkExplanation ExplainSink(SinkRegistration const& registration, TagParts const& tag,
                            Severity severity) {
    SinkExplanation explanation = SinkExplanation();
    if (FilterRule const* const rule = DecidingRule(registration.rules, tag)) {
        explanation.hasRule = true;
        explanation.ruleTag = rule->GetTag();
        explanation.ruleSeverity = rule->GetSeverity();
        explanation.isReached = (rule->GetSeverity() & severity) != 0;
    }
    for (boost::shared_ptr<AppenderBase> const& appender : registration.sink->GetAppenders()) {
        Severity const mask = appender->GetSevertiy();
        bool const isReached = explanation.isReached && (mask & severity) != 0;
        explanation.appenders.push_back(AppenderExplanation{mask, isReached});
    }
    return explanation;
}

std::ptrdiff_t CountReached(SinkExplanation const& sink) {
    return std::count_if(sink.appenders.begin(), sink.appenders.end(),
                         [](AppenderExplanation const& appender) { return appender.isReached; });
}

/// The tag in quotes and on one line.
std::string Quoted(TagParts const& parts) {
    std::string quoted;
    for (std::string const& part : parts) {
        quoted += (quoted.empty() ? "'" : ".") + part;
    }
    std::replace_if(
        quoted.begin(), quoted.end(),
        [](char character) {
            return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        },
        '?');
    return (quoted.empty() ? "'" : quoted) + "'";
}

/// "no appender" or "2 of 3 appenders".
std::string Reached(std::vector<SinkExplanation> const& sinks) {
    std::ptrdiff_t reached = 0;
    std::size_t all = 0;
    for (SinkExplanation const& sink : sinks) {
        reached += CountReached(sink);
        all += sink.appenders.size();
    }
    return reached == 0 ? "no appender"
                        : std::to_string(reached) + " of " + std::to_string(all) + " appenders";
}

std::string Verdict(bool isReached) {
    return isReached ? "reached, " : "not reached, ";
}

std::string SinkText(SinkExplanation const& sink) {
    if (!sink.hasRule) {
        return Verdict(false) + "no rule is for this tag or one above it\n";
    }
    std::string const rule =
        sink.ruleTag.empty() ? "the root rule" : "the rule for " + Quoted(sink.ruleTag);
    if (!sink.isReached) {
        std::string const let = sink.ruleSeverity == 0 ? "nothing" : ToText(sink.ruleSeverity);
        return Verdict(false) + rule + " lets " + let + " through\n";
    }
    std::string text = Verdict(true) + "through " + rule + " (" + ToText(sink.ruleSeverity) + ")\n";
    for (std::size_t i = 0; i < sink.appenders.size(); ++i) {
        AppenderExplanation const& appender = sink.appenders[i];
        text += "    appender " + std::to_string(i) + ": " + Verdict(appender.isReached) +
                "its mask is " + ToText(appender.mask) + "\n";
    }
    return text;
}

}  // namespace

Explanation Explain(std::string const& tag, Severity severity, LogCore const& core) {
    Explanation explanation = Explanation();
    SplitToParts(tag, explanation.tag);
    explanation.severity = severity;
    explanation.isForbidden = IsLoggingForbidden();
    for (SinkRegistration const& registration : core.GetSinks()) {
        explanation.sinks.push_back(ExplainSink(registration, explanation.tag, severity));
        explanation.isReached |= CountReached(explanation.sinks.back()) != 0;
    }
    return explanation;
}

std::string ToText(Explanation const& explanation) {
    std::string text = "tag " + Quoted(explanation.tag) + ", severity " +
                       ToText(explanation.severity) + ": reaches " + Reached(explanation.sinks) +
                       "\n";
    if (explanation.isForbidden) {
        text += "  logging is forbidden: a LogForbiddenGuard has ended it\n";
    }
    if (explanation.sinks.empty()) {
        text += "  there is no sink\n";
    }
    for (std::size_t i = 0; i < explanation.sinks.size(); ++i) {
        text += "  sink " + std::to_string(i) + ": " + SinkText(explanation.sinks[i]);
    }
    return text;
}

std::string ToText(Severity severity) {
    std::string text;
    for (unsigned int bit = 0; kLetters[bit] != '\0'; ++bit) {
        if ((severity >> bit & 1U) != 0) {
            text += kLetters[bit];
        }
    }
    if (text == kLetters) {
        text = "all";
    }
    if (unsigned int const others = severity & ~kAllSeverities) {
        char number[11];  // up to "0xffffffff"
        std::snprintf(number, sizeof number, "0x%x", others);
        text += (text.empty() ? "" : "+") + std::string(number);
    }
    return text.empty() ? "none" : text;
}

}  // namespace tarqlog
