#include "tarqlog/android_appender.h"

namespace tarqlog {

AndroidAppender::AndroidAppender(std::string const& tag)
    : AppenderBase(false), tag_(tag.empty() ? "tarqlog" : tag) {}

AndroidAppender::~AndroidAppender() = default;

void AndroidAppender::DoAppend(LogRecord const&) {}

}  // namespace tarqlog
