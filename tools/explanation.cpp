#include "explanation.h"

#include <algorithm>
#include <cstddef>
#include <set>

#include <tarqlog/logfilter.h>
#include <tarqlog/severity.h>

#include "complaint.h"
#include "levels.h"

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
std::string RuleText(FilterRule const& rule) {
    return "rule " + Join(rule.GetTag()) + "=" + ToText(rule.GetSeverity());
}

/// The rule with the longest tag that `parts` begin with.
FilterRule const& DecidingRule(std::set<FilterRule> const& rules, TagParts const& parts) {
    auto deciding = rules.begin();  // the root rule; of two matching ones the longer comes later
    for (auto rule = rules.begin(); rule != rules.end(); ++rule) {
        TagParts const& tag = rule->GetTag();
        if (tag.size() <= parts.size() && std::equal(tag.begin(), tag.end(), parts.begin())) {
            deciding = rule;
        }
    }
    return *deciding;
}

/// What it means that `destination` takes `taken`, for which `rule` has decided.
std::string Verdict(Destination const& destination, FilterRule const& rule, Severity taken) {
    std::string const masks = RuleText(rule) + " and levels=" + ToText(destination.levels);
    if (taken != 0) {
        return "reached with " + ToText(taken) + ", through " + masks;
    }
    if (rule.GetSeverity() == 0) {
        return "not reached, " + RuleText(rule) + " lets nothing through";
    }
    return "not reached, " + masks + " have no level in common";
}

}  // namespace

std::string List(std::vector<Destination> const& destinations) {
    std::string list;
    for (std::size_t i = 0; i < destinations.size(); ++i) {
        list += Line(std::to_string(i + 1) + " " + destinations[i].text);
        for (FilterRule const& rule : destinations[i].rules) {
            list += Line("  " + RuleText(rule));
        }
    }
    return list;
}

std::string Explain(std::string const& tag, std::vector<Destination> const& destinations) {
    TagParts const parts = FilterRule(tag, kAllSeverities).GetTag();
    std::vector<Severity> const taken = TakenLevels(tag, destinations);
    std::string explanation = Line("tag '" + Join(parts) + "'");
    for (std::size_t i = 0; i < destinations.size(); ++i) {
        FilterRule const& rule = DecidingRule(destinations[i].rules, parts);
        explanation += Line("  " + std::to_string(i + 1) + " " + destinations[i].text + ": " +
                            Verdict(destinations[i], rule, taken[i]));
    }
    return explanation;
}

}  // namespace tarqlog::tool
