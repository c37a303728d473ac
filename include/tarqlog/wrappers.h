#ifndef TARQLOG_WRAPPERS_H_
#define TARQLOG_WRAPPERS_H_

#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

#include "tarqlog/appender_base.h"
#include "tarqlog/export.h"

namespace tarqlog {

// Appenders around an appender. In place of the one inside, the wrapper joins the sink:
//
//     auto const file =
//         boost::make_shared<FileAppender>("web.log", 0, 0, FileAppender::kAppendMode);
//     sink->AddAppender(boost::make_shared<EscapingAppender>(file));

/// The base of those that hand on a copy of each record with another text: severity, time, thread
/// id and tag stay.
///
/// A record passes when both masks let it, the wrapper's and the inner appender's. The inner one
/// builds the header, from the copy; that of the wrapper is written nowhere. The wrapper's Mutex()
/// is held while the inner one's is taken, so an inner appender that logs must not join a sink by
/// itself.
class TARQLOG_API RewritingAppender : public AppenderBase {
public:
    ~RewritingAppender() override;

protected:
    /// Shares the ownership of `inner`. With null every record is lost.
    explicit RewritingAppender(boost::shared_ptr<AppenderBase> const& inner);

    /// Appends to `text`, which is empty, what is to stand in place of the record's text, without a
    /// NUL at the end. A record whose text becomes empty is written nowhere. Bound by the rules of
    /// DoAppend().
    virtual void Rewrite(LogRecord const& record, std::string& text) = 0;

    void DoAppend(LogRecord const& record) override;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

/// Keeps a record on one line and a terminal's controls out of it, whatever the text is: a line
/// feed becomes `\n`, a backslash `\\`, and each byte of what else is no plain text `\xNN`, in
/// lower case: control characters, tab and carriage return among them, DEL, U+0080 to U+009F, and
/// what is no UTF-8. Undone, the escapes give back the text to the byte.
///
/// Header and tag are the application's own and pass as they are.
class TARQLOG_API EscapingAppender : public RewritingAppender {
public:
    /// Null loses every record.
    explicit EscapingAppender(boost::shared_ptr<AppenderBase> const& inner);
    ~EscapingAppender() override;

protected:
    void Rewrite(LogRecord const& record, std::string& text) override;
};

/// Makes of each record one JSON object on a line of its own:
/// `{"time":"2026-11-20T20:20:09.433Z","severity":"info","thread":17286,"tag":"core.io","text":"up"}`.
///
/// The time is UTC as PatternHeader shows it, with a year of four digits or more; the severity is
/// PatternHeader's %l; the tag is "" without parts. Tag and text come back to the byte when the
/// line is parsed, but for what is no UTF-8: each such byte becomes U+FFFD. The line itself is
/// UTF-8 without control characters. A record that no logger has pushed stops the process.
class TARQLOG_API JsonLinesAppender : public RewritingAppender {
public:
    /// Takes the header from `inner`, so that the object stands alone, by SetHeaderFunc(): `inner`
    /// must not have joined a sink, and must be the destination itself, since a wrapper's header is
    /// not what is written. A header that it is given later stands before the object. Null loses
    /// every record.
    explicit JsonLinesAppender(boost::shared_ptr<AppenderBase> const& inner);
    ~JsonLinesAppender() override;

protected:
    void Rewrite(LogRecord const& record, std::string& text) override;

private:
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_WRAPPERS_H_
