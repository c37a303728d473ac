#ifndef TARQLOG_HEADER_FORMATS_H_
#define TARQLOG_HEADER_FORMATS_H_

#include <string>

#include "tarqlog/export.h"
#include "tarqlog/format_func.h"

namespace tarqlog {

// Header functions to choose from, for an appender's constructor or AppenderBase::SetHeaderFunc().
// They read no environment: what depends on the terminal or on the user's wishes is for the
// application to decide.

/// A header made after a pattern, as in `PatternHeader("%L %Y-%m-%d %H:%M:%S.%e [%t] %n: ")`. What
/// is no flag stands as it is. The flags:
///
///     %L  severity as a letter: T, D, I, W, E, F, or U for none of the six
///     %l  severity as a word: trace, debug, info, warning, error, fatal or unknown
///     %p  severity as the system log counts it, "<7>" to "<0>": trace and debug 7, info 6,
///         warning 4, error 3, fatal and none 0. At the start of a line the journal takes it for
///         the line's priority
///     %Y  year, four digits or more      %m  month, 01 to 12       %d  day, 01 to 31
///     %H  hour, 00 to 23                 %M  minute, 00 to 59      %S  second, 00 to 59
///     %e  milliseconds, 000 to 999       %z  offset from UTC: +00:00, or that of local time
///     %t  thread id                      %n  tag, its parts joined by dots
///     %P  process id; in the child of a fork, the child's
///     %N  program, %h  host: their names when the pattern header was built
///     %+  the default header, DefaultFormatHeaderFunc(true), to the byte; always UTC
///     %%  a percent sign
///
/// Of several levels the lowest counts. Any time is shown, with a true date and milliseconds that
/// count forward also before 1970 (%+ has its own way there); a year before 0 has a minus sign.
///
/// Formatting allocates nothing once the string has room, and copies may serve several appenders at
/// once. Like the default header it stops the process for a record that no logger has pushed, if
/// the pattern holds %n or %+.
class TARQLOG_API PatternHeader {
public:
    /// What the time flags show. Local time is localtime_r()'s: which zone that is, the C library
    /// decides, and it may read TZ and open the zone's file when it is first asked. An odd number
    /// means UTC.
    enum Zone : int { kUtc = 0, kLocalTime = 1 };

    /// @throws log_utils::Error for a percent sign with an unknown flag or none; the message names
    ///         the flag and its position in bytes, the first being 1
    explicit PatternHeader(std::string const& pattern, Zone zone = kUtc);

    /// Appends to `header`. Called by appenders; safe from any thread.
    void operator()(std::string& header, LogRecord const& record) const;

private:
    FormatHeaderFunc function_;
};

/// Another header in the colour of the record's severity, by ANSI escape sequences: trace grey,
/// debug cyan, info green, warning yellow, error red, fatal bold red, none of them magenta. The
/// header alone is coloured: the sequence that ends the colour stands between header and text. A
/// header of no characters stays so.
class TARQLOG_API ColourHeader {
public:
    /// `on` is the application's decision, say what isatty() says of the stream; without it the
    /// header is that of `formatHeader`. An empty `formatHeader` throws as it does in an appender.
    ColourHeader(FormatHeaderFunc const& formatHeader, bool on);

    /// Appends to `header`. Called by appenders; throws what the other header throws.
    void operator()(std::string& header, LogRecord const& record) const;

private:
    FormatHeaderFunc function_;
};

}  // namespace tarqlog

#endif  // TARQLOG_HEADER_FORMATS_H_
