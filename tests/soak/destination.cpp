#include "soak/destination.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>

#include <boost/make_shared.hpp>

#include "tarqlog/file.h"

namespace tarqlog::soak {

Destination::Destination(std::string const& directory, unsigned int writers)
    : directory_(directory), writers_(writers) {
    log_utils::MakeDirectory(directory);
}

void Destination::Route(boost::shared_ptr<AppenderBase> const& appender) {
    std::set<FilterRule> rules;
    for (int writer = 0; writer < kWriters; ++writer) {
        if ((writers_ >> writer & 1U) != 0) {
            rules.insert(FilterRule(KindOf(writer), kAllSeverities));
        }
    }
    appender_ = appender;
    RouteTags(rules, appender);
}

void Destination::RouteTags(std::set<FilterRule> const& rules,
                            boost::shared_ptr<AppenderBase> const& appender) {
    auto const sink = boost::make_shared<LogSink>();
    sink->AddAppender(appender);
    registrations_.push_back({rules, sink});
}

Account Destination::GetAccount() {
    if (appender_) {
        last_ = tarqlog::GetAccount(*appender_);
    }
    return last_;
}

/// The account is that of the moment before: what is lost on destruction is missed.
void Destination::Destroy() {
    Settle();
    GetAccount();
    registrations_.clear();
    appender_.reset();
}

void Destination::Clear() {
    for (auto const& entry : std::filesystem::directory_iterator(directory_)) {
        std::filesystem::remove(entry);
    }
}

CollectingDestination::CollectingDestination(std::string const& directory, unsigned int writers)
    : Destination(directory, writers),
      file_(::open((directory + "/log").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600)) {
    if (file_ == -1) {
        throw std::system_error(errno, std::generic_category(), "cannot make a file to collect in");
    }
}

CollectingDestination::~CollectingDestination() {
    ::close(file_);
}

void CollectingDestination::Clear() {
    if (::ftruncate(file_, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot empty a file");
    }
}

}  // namespace tarqlog::soak
