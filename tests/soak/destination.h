#ifndef TARQLOG_TESTS_SOAK_DESTINATION_H_
#define TARQLOG_TESTS_SOAK_DESTINATION_H_

#include <atomic>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "tarqlog/accounting.h"
#include "tarqlog/appender_base.h"
#include "tarqlog/logcore.h"
#include "tarqlog/logsink.h"

#include "soak/ledger.h"
#include "soak/trouble.h"

namespace tarqlog::soak {

/// Where lines go: appender, sink, and a directory of its own for the files in which they are
/// found.
class Destination {
public:
    /// @param directory  does not exist yet; its last part is the name
    /// @param writers  a bit for each that is routed here
    Destination(std::string const& directory, unsigned int writers);
    virtual ~Destination() = default;

    Destination(Destination const&) = delete;
    Destination& operator=(Destination const&) = delete;

    std::string const& Directory() const { return directory_; }
    unsigned int Writers() const { return writers_; }
    Trouble& Troubles() { return trouble_; }

    /// The sinks to register, in this order; lines arrive once the last one is.
    std::vector<SinkRegistration> const& Registrations() const { return registrations_; }

    /// Renames or removes a file from outside. False when there is none.
    virtual bool Move(std::minstd_rand& /*random*/) { return false; }

    /// Has the appender write everything out. Nobody logs any more.
    virtual void Settle() {}

    /// The same, once the core has released the sink: the appender is gone afterwards.
    virtual void Destroy();

    /// Deletes what was found.
    virtual void Clear();

    virtual long FullFiles() const { return 0; }

    /// What has become of the records, until the appender was destroyed.
    Account GetAccount();

protected:
    /// Routes the writers to `appender`, whose account is the destination's.
    void Route(boost::shared_ptr<AppenderBase> const& appender);
    void RouteTags(std::set<FilterRule> const& rules,
                   boost::shared_ptr<AppenderBase> const& appender);

    boost::shared_ptr<AppenderBase> appender_;

private:
    std::string const directory_;
    unsigned int const writers_;
    std::vector<SinkRegistration> registrations_;
    Account last_;
    Trouble trouble_;
};

/// A destination whose lines stand in one file, which is emptied.
class CollectingDestination : public Destination {
public:
    CollectingDestination(std::string const& directory, unsigned int writers);
    ~CollectingDestination() override;

    void Clear() override;

protected:
    int File() const { return file_; }

private:
    int const file_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_DESTINATION_H_
