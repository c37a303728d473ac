#ifndef TARQLOG_EXAMPLES_MAIL_H_
#define TARQLOG_EXAMPLES_MAIL_H_

/// Sends a bill over `cents`, or keeps it for later.
void SendBill(int cents);

#endif  // TARQLOG_EXAMPLES_MAIL_H_
