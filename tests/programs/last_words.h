#ifndef TARQLOG_TESTS_PROGRAMS_LAST_WORDS_H_
#define TARQLOG_TESTS_PROGRAMS_LAST_WORDS_H_

/// Lets `function` run when the logging library's own static objects are destroyed already.
void SetLastWords(void (*function)());

#endif  // TARQLOG_TESTS_PROGRAMS_LAST_WORDS_H_
