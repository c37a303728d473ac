#ifndef TARQLOG_TESTS_SUPPORT_FILE_APPENDER_HISTORY_H_
#define TARQLOG_TESTS_SUPPORT_FILE_APPENDER_HISTORY_H_

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include "tarqlog/severity.h"

#include "support/file_appender_simulator.h"

namespace tarqlog {

// Histories of a file appender and of what others do to its files, each lived through twice: by the
// library's appender in a directory of the system and by the simulated one in memory.

class World;
class SystemWorld;
class SimulatedWorld;

/// The time and the thread id of the records; InstalledHooks takes them.
long long HistoryTime();
unsigned int HistoryThreadId();

/// One step of a history.
struct Operation {
    std::string words;
    std::function<bool(World&)> perform;
};

/// The last step of each.
Operation Destruction();

/// Makes up the steps of one history. The simulated world tells it where the edges are.
class Author {
public:
    /// @param below  chooses: a number from 0 up to, but without, its argument
    Author(std::function<int(int)> below, bool rolling);

    Operation First() { return Construction(); }
    Operation Next(SimulatedWorld const& world);

private:
    int Below(int bound) { return below_(bound); }

    template <class Value>
    Value Pick(std::initializer_list<Value> values) {
        return values.begin()[Below(static_cast<int>(values.size()))];
    }

    Operation Construction();
    Operation FlushOrClose();
    Operation Record(SimulatedWorld const& world);
    Severity RandomSeverity();
    int TextSize(SimulatedWorld const& world, int headerSize);
    Operation CallOrPlan();
    Operation Disturbance();
    std::string RandomName();

    std::function<int(int)> const below_;
    bool const rolling_;
    int const unrest_;   // in percent, steps that are no record
    int const urgency_;  // in percent, records that may be urgent
    int const longest_;  // text, in bytes
    int const aim_;      // in percent, records of a size that matters
    unsigned long number_ = 0;
};

/// Both worlds, step by step.
class Comparison {
public:
    explicit Comparison(Events& events);
    ~Comparison();

    Comparison(Comparison const&) = delete;
    Comparison& operator=(Comparison const&) = delete;

    /// What differs after `operation`, or nothing.
    std::string Perform(Operation const& operation);

    /// Where the files are not as they should be, or nothing.
    std::string CompareFiles() const;

    SimulatedWorld const& Simulated() const { return *simulated_; }

private:
    std::unique_ptr<SystemWorld> const system_;  // in a directory below the working directory
    std::unique_ptr<SimulatedWorld> const simulated_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_FILE_APPENDER_HISTORY_H_
