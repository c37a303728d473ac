#ifndef TARQLOG_ANDROID_APPENDER_H_
#define TARQLOG_ANDROID_APPENDER_H_

#include <string>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"

namespace tarqlog {

/// For programs that name Android's log among their destinations wherever they run: here it keeps
/// its tag, and records that reach it are lost.
class TARQLOG_API AndroidAppender : public AppenderBase {
public:
    /// @param tag  the name of the program in Android's log; when empty, "tarqlog"
    explicit AndroidAppender(std::string const& tag);
    ~AndroidAppender() override;

protected:
    void DoAppend(LogRecord const& record) override;

private:
    friend class AndroidAppenderPeer;  // lets tests see the tag

    std::string const tag_;
};

}  // namespace tarqlog

#endif  // TARQLOG_ANDROID_APPENDER_H_
