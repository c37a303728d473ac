#ifndef TARQLOG_EXAMPLES_PRICES_H_
#define TARQLOG_EXAMPLES_PRICES_H_

/// What `count` apples cost, in cents.
int PriceOfApples(int count);

#endif  // TARQLOG_EXAMPLES_PRICES_H_
