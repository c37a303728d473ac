// A user's program, built without debugging and with the headers on a path of its own, that asks a
// record for its tag too early.

#undef NDEBUG
#define NDEBUG

#include "../../include/tarqlog/logrecord.h"

int main() {
    tarqlog::LogRecord const record(tarqlog::kInfo);
    return record.GetTag().empty() ? 0 : 1;
}
