// Whatever the rules of up to 32 sinks, a logger gets the sinks and masks that holding every rule
// against every prefix of its tag gives; and rules compare, are copied and kept apart by their
// tags.

#include "loghierarchy.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "tarqlog/logfilter.h"

#include "fuzz/property.h"
#include "support/routing_oracle.h"
#include "support/tag_oracle.h"

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;

constexpr std::size_t kLongestTag = 40;

/// What a user knows of a rule.
typedef std::pair<Parts, Severity> Known;

Known KnownOf(FilterRule const& rule) {
    return {rule.GetTag(), rule.GetSeverity()};
}

void CheckOrder(FilterRule const& left, FilterRule const& right) {
    RequireEqual(left == right, left.GetTag() == right.GetTag(), "rules of one tag are equal");
    RequireEqual(left < right, left.GetTag() < right.GetTag(),
                 "rules have the order of their tags");
}

void CheckCopies(FilterRule const& left, FilterRule const& right) {
    FilterRule copy(left);
    FilterRule other(kInfo);
    other = right;
    RequireEqual(KnownOf(other), KnownOf(right), "a copy is the rule again");
    copy.Swap(other);
    RequireEqual(KnownOf(copy), KnownOf(right), "swapped, a rule is the other");
    RequireEqual(KnownOf(other), KnownOf(left), "and the other is the rule");
    FilterRule moved(std::move(copy));
    FilterRule& itself = moved;
    moved = itself;
    RequireEqual(KnownOf(moved), KnownOf(right), "a rule assigned to itself stays");
    copy = std::move(moved);
    RequireEqual(KnownOf(copy), KnownOf(right), "a rule can be moved and back");
}

FilterRule TakeRule(FuzzedDataProvider& provider) {
    std::string const tag = provider.ConsumeRandomLengthString(kLongestTag);
    auto const severity = static_cast<Severity>(provider.ConsumeIntegral<std::uint8_t>());
    FilterRule rule(tag, severity);
    RequireEqual(KnownOf(rule), Known(SplitByCharacter(tag), severity),
                 "a rule keeps what it gets");
    return rule;
}

void CheckRouting(FuzzedDataProvider& provider) {
    LogHierarchy hierarchy;
    RoutingOracle oracle;
    auto const sinks = provider.ConsumeIntegralInRange<unsigned long>(0, kMaxSinksCount);
    FilterRule last(kInfo);
    for (unsigned long sink = 0; sink < sinks; ++sink) {
        std::set<FilterRule> rules;
        while (provider.ConsumeBool()) {
            FilterRule const rule = TakeRule(provider);
            CheckOrder(rule, last);
            CheckCopies(rule, last);
            if (rules.insert(rule).second) {
                oracle.Add(sink, rule.GetTag(), rule.GetSeverity());
            }
            last = rule;
        }
        hierarchy.Add(rules, sink);
    }
    std::vector<SinkEntry> out = {SinkEntry(31, kFatal)};  // of the logger before
    do {
        Parts const logger = SplitByCharacter(provider.ConsumeRandomLengthString(kLongestTag));
        hierarchy.Collect(out, logger);
        RequireEqual(out, oracle.Collect(logger), "a logger gets the sinks of its longest rules");
    } while (provider.remaining_bytes() > 0);
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider provider(data, size);
    tarqlog::CheckRouting(provider);
    return 0;
}
