#ifndef TARQLOG_TESTS_PROGRAMS_FOLDED_NEW_H_
#define TARQLOG_TESTS_PROGRAMS_FOLDED_NEW_H_

#include <cstddef>

/// Programs that list folded_new.cpp among their sources may have more data than an int can count
/// without the memory for it: `new` of so much gets one small piece of memory of this size, mapped
/// again and again.
constexpr std::size_t kFoldBytes = std::size_t(8) << 20U;

#endif  // TARQLOG_TESTS_PROGRAMS_FOLDED_NEW_H_
