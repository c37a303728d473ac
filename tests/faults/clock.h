#ifndef TARQLOG_TESTS_FAULTS_CLOCK_H_
#define TARQLOG_TESTS_FAULTS_CLOCK_H_

#include <atomic>

namespace tarqlog::faults {

/// Whether the process's clock jumps at every answer, from a year before 1970 to one after 9999.
extern std::atomic<bool> clockJumps;

/// How many answers have jumped.
extern std::atomic<long> clockAnswers;

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_CLOCK_H_
