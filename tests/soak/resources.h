#ifndef TARQLOG_TESTS_SOAK_RESOURCES_H_
#define TARQLOG_TESTS_SOAK_RESOURCES_H_

#include <string>

namespace tarqlog::soak {

/// What the process holds.
struct Resources {
    long long heap = 0;      // in bytes
    long long resident = 0;  // in bytes; 0 where the system does not tell
    long long descriptors = 0;
};

/// Gives unused memory back first, so that only what is in use counts.
Resources MeasureResources();

/// Holds what the process has to what it had when it had warmed up.
class Growth {
public:
    /// Counts the descriptors that are open at first.
    void Begin() { descriptorsAtFirst_ = MeasureResources().descriptors; }

    /// Takes the most that there was until now for what is needed.
    void WarmUp(Resources const& now);

    /// What is wrong, or nothing.
    /// @param spare  how many descriptors may be open that were not open at first
    std::string Judge(Resources const& now, int spare) const;

private:
    long long descriptorsAtFirst_ = 0;
    Resources needed_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_RESOURCES_H_
