#ifndef TARQLOG_TESTS_SOAK_PLANT_H_
#define TARQLOG_TESTS_SOAK_PLANT_H_

#include <map>
#include <optional>
#include <string_view>

namespace tarqlog::soak {

/// What a run does wrong on purpose, to show that it would be noticed.
enum class Plant {
    kNone,
    kDroppedLine,
    kDoubledLine,
    kTornLine,
    kUnadmittedLoss,  // where losses are expected, one that the account does not have
    kLeakedDescriptor,
    kGrowingMemory,
    kHungThread,
    kDyingChild,
};

inline std::optional<Plant> ParsePlant(std::string_view name) {
    static std::map<std::string_view, Plant> const plants{
        {"none", Plant::kNone},
        {"dropped-line", Plant::kDroppedLine},
        {"doubled-line", Plant::kDoubledLine},
        {"torn-line", Plant::kTornLine},
        {"unadmitted-loss", Plant::kUnadmittedLoss},
        {"leaked-descriptor", Plant::kLeakedDescriptor},
        {"growing-memory", Plant::kGrowingMemory},
        {"hung-thread", Plant::kHungThread},
        {"dying-child", Plant::kDyingChild},
    };
    auto const found = plants.find(name);
    return found != plants.end() ? std::optional<Plant>(found->second) : std::nullopt;
}

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_PLANT_H_
