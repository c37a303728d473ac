#ifndef TARQLOG_LOGFILTER_H_
#define TARQLOG_LOGFILTER_H_

#include <memory>
#include <string>
#include <vector>

#include "tarqlog/export.h"
#include "tarqlog/severity.h"

namespace tarqlog {

/// Which severities a sink accepts from loggers at and below a tag, unless a rule for a longer tag
/// decides.
///
/// A plain value without a lock. Equality and order look at the tag alone, so that a std::set holds
/// one rule per tag: the first that was inserted. A rule that was moved from may be destroyed or
/// assigned to and nothing else.
class TARQLOG_API FilterRule {
public:
    /// The root rule, for every tag.
    explicit FilterRule(Severity severity);

    /// @param tag       dotted; empty parts do not count: "a..b." is "a.b", "." is the root
    /// @param severity  the accepted levels, kept as they are; an empty set mutes the tag
    FilterRule(std::string const& tag, Severity severity);

    FilterRule(FilterRule const& other);
    FilterRule(FilterRule&& other) noexcept;
    ~FilterRule();

    /// Leaves this rule as it was when the copy fails.
    FilterRule& operator=(FilterRule const& other);
    FilterRule& operator=(FilterRule&& other) noexcept;

    /// Exchanges tags and severities, without a copy.
    void Swap(FilterRule& other) noexcept;

    /// Same tag, whatever the severities.
    bool operator==(FilterRule const& other) const;

    /// Lexicographic order of the tags' parts, which compare byte by byte.
    bool operator<(FilterRule const& other) const;

    /// The parts of the tag; none for the root rule.
    std::vector<std::string> const& GetTag() const;

    /// The accepted levels, with any bits beyond the six.
    Severity GetSeverity() const;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_LOGFILTER_H_
