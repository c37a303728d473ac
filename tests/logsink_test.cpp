#include "tarqlog/logsink.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/appender_base.h"

#include "support/records.h"

namespace tarqlog {
namespace {

/// Writes its letter into `reached` for each record.
class LetterAppender : public AppenderBase {
public:
    LetterAppender(char letter, std::string& reached)
        : AppenderBase(false), letter_(letter), reached_(reached) {}

protected:
    void DoAppend(LogRecord const&) override { reached_ += letter_; }

private:
    char const letter_;
    std::string& reached_;
};

TEST(LogSinkTest, RecordReachesAppendersInTheOrderTheyWereAdded) {
    std::string reached;
    LogSink sink;
    sink.AddAppender(boost::make_shared<LetterAppender>('a', boost::ref(reached)));
    sink.AddAppender(boost::make_shared<LetterAppender>('b', boost::ref(reached)));

    TaggedRecord const record(kInfo, "ready");
    sink.Consume(record);

    EXPECT_EQ(reached, "ab");
}

}  // namespace
}  // namespace tarqlog
