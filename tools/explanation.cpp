#include "explanation.h"

#include <cstddef>

#include <tarqlog/logfilter.h>

#include "complaint.h"

namespace tarqlog::tool {

namespace {

using TagParts = std::vector<std::string>;

std::string Line(std::string const& text) {
    return OneLine(text) + '\n';
}

std::string Join(TagParts const& parts) {
    std::string joined;
    for (std::string const& part : parts) {
        joined += (joined.empty() ? "" : ".") + part;
    }
    return joined;
}

/// "rule TAG=LEVELS", as --rule takes it.
std::string RuleText(TagParts const& tag, Severity levels) {
    return "rule " + Join(tag) + "=" + ToText(levels);
}

/// What becomes of records at `destination`, which always has a rule: the root rule at least.
std::string Verdict(SinkExplanation const& destination) {
    std::string const rule = RuleText(destination.ruleTag, destination.ruleSeverity);
    std::string const masks = rule + " and levels=" + ToText(destination.appenders.front().mask);
    if (Severity const taken = TakenLevels(destination)) {
        return "reached with " + ToText(taken) + ", through " + masks;
    }
    if (destination.ruleSeverity == 0) {
        return "not reached, " + rule + " lets nothing through";
    }
    return "not reached, " + masks + " have no level in common";
}

}  // namespace

std::string List(std::vector<Destination> const& destinations) {
    std::string list;
    for (std::size_t i = 0; i < destinations.size(); ++i) {
        list += Line(std::to_string(i + 1) + " " + destinations[i].text);
        for (FilterRule const& rule : destinations[i].rules) {
            list += Line("  " + RuleText(rule.GetTag(), rule.GetSeverity()));
        }
    }
    return list;
}

Severity TakenLevels(SinkExplanation const& destination) {
    return destination.ruleSeverity & destination.appenders.front().mask;
}

std::string Explain(std::string const& tag, std::vector<Destination> const& destinations) {
    Explanation const explained = tarqlog::Explain(tag, kAllSeverities);
    std::string explanation = Line("tag '" + Join(explained.tag) + "'");
    for (std::size_t i = 0; i < destinations.size(); ++i) {
        explanation += Line("  " + std::to_string(i + 1) + " " + destinations[i].text + ": " +
                            Verdict(explained.sinks[i]));
    }
    return explanation;
}

}  // namespace tarqlog::tool
