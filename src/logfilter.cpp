#include "tarqlog/logfilter.h"

#include "split_to_parts.h"

namespace tarqlog {

struct FilterRule::Private {
    Severity severity;
    std::vector<std::string> parts;
};

FilterRule::FilterRule(Severity severity) : impl_(new Private{severity, {}}) {}

FilterRule::FilterRule(std::string const& tag, Severity severity) : FilterRule(severity) {
    SplitToParts(tag, impl_->parts);
}

FilterRule::FilterRule(FilterRule const& other) : impl_(new Private(*other.impl_)) {}

FilterRule::FilterRule(FilterRule&& other) noexcept = default;

FilterRule::~FilterRule() = default;

FilterRule& FilterRule::operator=(FilterRule const& other) {
    if (this != &other) {
        impl_ = std::make_unique<Private>(*other.impl_);
    }
    return *this;
}

FilterRule& FilterRule::operator=(FilterRule&& other) noexcept = default;

void FilterRule::Swap(FilterRule& other) noexcept {
    impl_.swap(other.impl_);
}

bool FilterRule::operator==(FilterRule const& other) const {
    return impl_->parts == other.impl_->parts;
}

bool FilterRule::operator<(FilterRule const& other) const {
    return impl_->parts < other.impl_->parts;
}

std::vector<std::string> const& FilterRule::GetTag() const {
    return impl_->parts;
}

Severity FilterRule::GetSeverity() const {
    return impl_->severity;
}

}  // namespace tarqlog
