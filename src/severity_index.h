#ifndef TARQLOG_SRC_SEVERITY_INDEX_H_
#define TARQLOG_SRC_SEVERITY_INDEX_H_

#include "tarqlog/severity.h"

namespace tarqlog {

/// How many indexes SeverityIndex() gives: one per level, and one for none of them.
constexpr unsigned int kSeverityIndexCount = 7;

/// The position of the lowest level in `severity`, 0 for kTrace to 5 for kFatal; 6 when it holds
/// none of the six. Picks the one level where only one can be shown.
constexpr unsigned int SeverityIndex(Severity severity) {
    unsigned int index = 0;
    while (index < kSeverityIndexCount - 1 &&
           (severity & static_cast<Severity>(1U << index)) == 0) {
        ++index;
    }
    return index;
}

}  // namespace tarqlog

#endif  // TARQLOG_SRC_SEVERITY_INDEX_H_
