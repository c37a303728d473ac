// A static program whose constructor builds a record before those of the library run.

#include <cstdio>

#include "tarqlog/logrecord.h"
#include "tarqlog/logsysinfo.h"

namespace {

struct EarlyRecord {
    EarlyRecord() : record(tarqlog::kInfo) {}

    tarqlog::LogRecord const record;
};

__attribute__((init_priority(101))) EarlyRecord const early;

}  // namespace

int main() {
    std::printf("time %s, thread id %s\n", early.record.GetTime() > 0 ? "set" : "missing",
                early.record.GetThreadId() == tarqlog::GetThisThreadId() ? "set" : "missing");
}
