#ifndef TARQLOG_SEVERITY_H_
#define TARQLOG_SEVERITY_H_

#include <cstdint>

namespace tarqlog {

/// A level of severity, or a set of levels: each level is one bit, every test is a bitwise AND. Any
/// 32-bit value is a valid set; bits beyond the six levels are compared like the others and have no
/// name.
enum Severity : std::uint32_t {
    kTrace = 1,
    kDebug = 2,
    kInfo = 4,
    kWarning = 8,
    kError = 16,
    kFatal = 32,
};

/// The levels of either set.
constexpr Severity operator|(Severity left, Severity right) {
    return static_cast<Severity>(static_cast<std::uint32_t>(left) |
                                 static_cast<std::uint32_t>(right));
}

/// The levels that both sets have; 0 is false, as in `(mask & severity) != 0`.
constexpr Severity operator&(Severity left, Severity right) {
    return static_cast<Severity>(static_cast<std::uint32_t>(left) &
                                 static_cast<std::uint32_t>(right));
}

/// All 32 bits but those of `severity`, so also such as have no name.
constexpr Severity operator~(Severity severity) {
    return static_cast<Severity>(~static_cast<std::uint32_t>(severity));
}

/// Adds the levels of `right`.
inline Severity& operator|=(Severity& left, Severity right) {
    return left = left | right;
}

/// Leaves only the levels of `right`.
inline Severity& operator&=(Severity& left, Severity right) {
    return left = left & right;
}

/// All six levels (63).
constexpr Severity kAllSeverities = kTrace | kDebug | kInfo | kWarning | kError | kFatal;

}  // namespace tarqlog

#endif  // TARQLOG_SEVERITY_H_
