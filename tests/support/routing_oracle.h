#ifndef TARQLOG_TESTS_SUPPORT_ROUTING_ORACLE_H_
#define TARQLOG_TESTS_SUPPORT_ROUTING_ORACLE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tarqlog/severity.h"
#include "tarqlog/sink_entry.h"

namespace tarqlog {

/// What routing means, without a tree: every rule of every sink is held against every prefix of the
/// logger's tag. Knows the library's types and none of its code.
class RoutingOracle {
public:
    /// One rule of `sink`. A sink has at most one rule for a tag.
    void Add(unsigned long sink, std::vector<std::string> const& parts, Severity mask) {
        rules_.push_back(Rule{sink, parts, mask});
    }

    /// The masks of the sink's rules that match a logger with the tag `parts`, the shortest tag
    /// first.
    std::vector<Severity> MasksOnPath(unsigned long sink,
                                      std::vector<std::string> const& parts) const {
        std::vector<Severity> masks;
        for (std::size_t length = 0; length <= parts.size(); ++length) {
            for (Rule const& rule : rules_) {
                if (rule.sink == sink && IsPrefix(rule.parts, length, parts)) {
                    masks.push_back(rule.mask);
                }
            }
        }
        return masks;
    }

    /// The logger's sinks in ascending index: for each the mask of its longest matching rule,
    /// unless that mask is empty.
    std::vector<SinkEntry> Collect(std::vector<std::string> const& parts) const {
        std::vector<SinkEntry> sinks;
        for (unsigned long sink = 0; sink < kSinks; ++sink) {
            std::vector<Severity> const masks = MasksOnPath(sink, parts);
            if (!masks.empty() && masks.back() != 0) {
                sinks.emplace_back(sink, masks.back());
            }
        }
        return sinks;
    }

private:
    static constexpr unsigned long kSinks = 32;

    struct Rule {
        unsigned long sink;
        std::vector<std::string> parts;
        Severity mask;
    };

    /// Whether `tag` is the first `length` of `parts`, no more and no less.
    static bool IsPrefix(std::vector<std::string> const& tag, std::size_t length,
                         std::vector<std::string> const& parts) {
        if (tag.size() != length) {
            return false;
        }
        for (std::size_t i = 0; i < length; ++i) {
            if (tag[i] != parts[i]) {
                return false;
            }
        }
        return true;
    }

    std::vector<Rule> rules_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_ROUTING_ORACLE_H_
