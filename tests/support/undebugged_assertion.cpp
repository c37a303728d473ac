#undef NDEBUG
#define NDEBUG

#include "support/undebugged_assertion.h"

#include "tarqlog/assertion.h"

namespace tarqlog {

int UndebuggedAssertion(bool holds) {
    int evaluations = 0;
    TARQLOG_ASSERT(++evaluations && holds);
    return evaluations;
}

}  // namespace tarqlog
