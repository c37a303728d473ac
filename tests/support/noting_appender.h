#ifndef TARQLOG_TESTS_SUPPORT_NOTING_APPENDER_H_
#define TARQLOG_TESTS_SUPPORT_NOTING_APPENDER_H_

#include <mutex>
#include <string>
#include <vector>

#include "tarqlog/appender_base.h"

#include "support/records.h"

namespace tarqlog {

/// Notes the header and the text of each record that reaches it.
class NotingAppender : public AppenderBase {
public:
    NotingAppender() : AppenderBase(false) {}

    std::vector<std::string> Headers() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return headers_;
    }

    std::vector<std::string> Texts() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return texts_;
    }

protected:
    void DoAppend(LogRecord const& record) override {
        std::lock_guard<std::mutex> const lock(mutex_);
        headers_.push_back(Header());
        texts_.push_back(TextOf(record));
    }

private:
    mutable std::mutex mutex_;  // guards both, against the test that reads while others log
    std::vector<std::string> headers_;
    std::vector<std::string> texts_;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_NOTING_APPENDER_H_
