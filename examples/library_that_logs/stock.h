#ifndef TARQLOG_EXAMPLES_STOCK_H_
#define TARQLOG_EXAMPLES_STOCK_H_

/// Adds `count` apples to those in stock, or takes some away; how many there are then.
int ChangeStock(int count);

#endif  // TARQLOG_EXAMPLES_STOCK_H_
