#ifndef TARQLOG_SRC_LOGHIERARCHY_H_
#define TARQLOG_SRC_LOGHIERARCHY_H_

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "tarqlog/assertion.h"
#include "tarqlog/logfilter.h"
#include "tarqlog/severity.h"
#include "tarqlog/sink_entry.h"

namespace tarqlog {

/// How many sinks a hierarchy can tell apart: indexes 0 to 31.
constexpr unsigned long kMaxSinksCount = 32;

/// The tag tree: each rule leaves an entry at the node of its tag, and for a logger the deepest
/// entry of each sink on the way to the logger's tag decides. Has no lock; Collect() only reads.
class LogHierarchy {
public:
    LogHierarchy() : root_(boost::make_shared<Node>()) {}

    /// Records `sink` under each of `rules`. Sinks are added once each, in ascending order.
    void Add(std::set<FilterRule> const& rules, unsigned long sink) {
        TARQLOG_ASSERT(sink < kMaxSinksCount);
        for (FilterRule const& rule : rules) {
            boost::shared_ptr<Node> node = root_;
            for (std::string const& part : rule.GetTag()) {
                node = node->GetOrCreateChild(part);
            }
            node->entries.emplace_back(sink, rule.GetSeverity());
        }
    }

    /// Replaces `out` by the sinks of a logger with the tag `parts`, in ascending index and without
    /// empty masks.
    void Collect(std::vector<SinkEntry>& out, std::vector<std::string> const& parts) const {
        out.assign(kMaxSinksCount, SinkEntry());  // one slot a sink, so that nothing is searched
        Node const* node = root_.get();
        node->OverrideIn(out);
        for (std::string const& part : parts) {
            auto const child = node->children.find(part);
            if (child == node->children.end()) {
                break;
            }
            node = child->second.get();
            node->OverrideIn(out);
        }
        RemoveUnused(out);
    }

    /// Removes the entries with an empty mask; the others keep their order.
    void RemoveUnused(std::vector<SinkEntry>& sinks) const {
        auto const isUnused = [](SinkEntry const& entry) { return entry.second == 0; };
        sinks.erase(std::remove_if(sinks.begin(), sinks.end(), isUnused), sinks.end());
    }

private:
    struct Node {
        Node() = default;
        Node(Node const&) = delete;
        Node& operator=(Node const&) = delete;
        ~Node();

        boost::shared_ptr<Node> GetOrCreateChild(std::string const& part);

        /// Puts each entry into the slot of its sink, over what a shallower node left there.
        void OverrideIn(std::vector<SinkEntry>& slots) const {
            for (SinkEntry const& entry : entries) {
                slots[entry.first] = entry;
            }
        }

        void MoveChildrenTo(std::vector<boost::shared_ptr<Node>>& nodes);

        std::map<std::string, boost::shared_ptr<Node>> children;
        std::vector<SinkEntry> entries;
    };

    boost::shared_ptr<Node> root_;
};

inline boost::shared_ptr<LogHierarchy::Node> LogHierarchy::Node::GetOrCreateChild(
    std::string const& part) {
    auto const position = children.lower_bound(part);
    if (position != children.end() && position->first == part) {
        return position->second;
    }
    return children.emplace_hint(position, part, boost::make_shared<Node>())->second;
}

inline void LogHierarchy::Node::MoveChildrenTo(std::vector<boost::shared_ptr<Node>>& nodes) {
    nodes.reserve(nodes.size() + children.size());
    for (auto& child : children) {
        nodes.push_back(std::move(child.second));
    }
    children.clear();
}

/// Takes the nodes below apart one by one: a tag may have any number of parts, and a destructor
/// that called itself for each would overrun the stack.
inline LogHierarchy::Node::~Node() {
    try {
        std::vector<boost::shared_ptr<Node>> nodes;
        MoveChildrenTo(nodes);
        while (!nodes.empty()) {
            boost::shared_ptr<Node> const node = std::move(nodes.back());
            nodes.pop_back();
            node->MoveChildrenTo(nodes);
        }
    } catch (...) {  // no memory for the list: the members' destructors do it, within each other
    }
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_LOGHIERARCHY_H_
