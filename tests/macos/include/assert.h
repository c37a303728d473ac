#ifndef MACOS_ASSERT_H_
#define MACOS_ASSERT_H_

#define assert(condition) ((condition) ? (void)0 : __builtin_trap())

#endif  // MACOS_ASSERT_H_
