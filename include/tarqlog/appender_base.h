#ifndef TARQLOG_APPENDER_BASE_H_
#define TARQLOG_APPENDER_BASE_H_

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "tarqlog/export.h"
#include "tarqlog/format_func.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/noncopyable.h"
#include "tarqlog/severity.h"
#include "tarqlog/thread_mutex.h"

namespace tarqlog {

struct Account;  // both in tarqlog/accounting.h
enum class LossCause : int;

namespace detail {

/// Whether an object of type `Callable` can be called as a header function. boost::function's own
/// constructor takes anything, so "converts to FormatHeaderFunc" would say nothing.
template <class Callable>
class IsHeaderCallable {
    template <class C>
    static auto Test(int)
        -> decltype(static_cast<void>(std::declval<C&>()(std::declval<std::string&>(),
                                                         std::declval<LogRecord const&>())),
                    std::true_type());
    template <class C>
    static std::false_type Test(...);

public:
    static constexpr bool value =
        decltype(Test<Callable>(0))::value && !std::is_same<Callable, FormatHeaderFunc>::value;
};

template <class Callable>
FormatHeaderFunc ToFormatHeaderFunc(Callable&& callable) {
    return FormatHeaderFunc(std::forward<Callable>(callable));
}

/// An empty std::function stays an empty function, which boost::function would not see by itself.
template <class Result, class... Arguments>
FormatHeaderFunc ToFormatHeaderFunc(std::function<Result(Arguments...)>&& function) {
    return function ? FormatHeaderFunc(std::move(function)) : FormatHeaderFunc();
}

}  // namespace detail

/// The base of every destination: filters by severity, builds the header and writes one record at a
/// time, whichever threads they come from.
///
/// Append() and SetSeverity() are safe from any thread. Two rules for those who write a subclass:
/// DoAppend() is bound by what is said there; and since appenders die under the core's exclusive
/// lock, the destructor must not call the core or a logger, nor wait for a thread that does, nor
/// take a lock that is elsewhere held around a log statement.
class TARQLOG_API AppenderBase : private log_utils::Noncopyable {
public:
    /// An appender with the library's own header, in full or short, see DefaultFormatHeaderFunc().
    explicit AppenderBase(bool fullHeader);

    /// An appender with a header of its own. The function is bound by the rules of DoAppend() and
    /// must not log through this appender. With an empty one every accepted record throws
    /// boost::bad_function_call.
    explicit AppenderBase(FormatHeaderFunc const& formatHeader);

    /// The same for anything that can be called so: a function, a lambda, a boost::bind. A null
    /// function pointer is an empty function.
    template <class Callable,
              class = typename std::enable_if<detail::IsHeaderCallable<Callable>::value>::type>
    explicit AppenderBase(Callable formatHeader)
        : AppenderBase(detail::ToFormatHeaderFunc(std::move(formatHeader))) {}

    /// Any other pointer would be taken for the bool `true`.
    template <class Other,
              class = typename std::enable_if<!detail::IsHeaderCallable<Other*>::value>::type>
    explicit AppenderBase(Other*) = delete;

    virtual ~AppenderBase();

    /// Writes `record` unless its text is empty or lacks the NUL that a logger appends, or its
    /// severity is outside the mask. Takes Mutex() itself. What the header function or DoAppend()
    /// throws passes through.
    void Append(LogRecord const& record);

    /// Replaces the mask, at first all six levels. Takes effect for later records.
    void SetSeverity(Severity severity);

    /// The mask. The spelling is the interface's, for good.
    Severity GetSevertiy() const;

    /// Replaces the header function by a copy of `formatHeader`, which is bound as the
    /// constructor's is; with an empty one every accepted record throws boost::bad_function_call.
    /// Before the appender joins a sink. Takes Mutex() itself.
    void SetHeaderFunc(FormatHeaderFunc const& formatHeader);

    /// The header of the record being appended. For DoAppend() alone.
    std::string const& Header() const;

    /// The lock under which records are written: recursive, held by Append(). While an application
    /// holds it, no other thread can write through this appender. Not to be held when the core is
    /// configured, nor when the process forks: a child forked by who holds it cannot log, and one
    /// forked by others finds what it guards as it was.
    threads::ThreadMutex& Mutex() const;

protected:
    /// Writes `record` to the destination. Called by Append() alone, with Mutex() held and Header()
    /// filled for this record; what it throws reaches the thread that pushed the record.
    ///
    /// It runs under the core's shared lock: it must not add or remove sinks, which exit() does
    /// too, nor wait for a thread that logs, configures or forks, nor take a lock that is elsewhere
    /// held around a log statement or a fork(). A child that it forks may only call an exec
    /// function or _exit(). It may log: that record passes along the same road within this one,
    /// through this appender too if it is routed there, and Header() is the inner record's from
    /// then on. But two appenders that log must not get each other's records: two threads would
    /// wait for each other.
    virtual void DoAppend(LogRecord const& record) = 0;

    /// Says that `records` that DoAppend() was given are lost, this one or earlier ones. For
    /// GetAccount() of tarqlog/accounting.h alone. What DoAppend() throws is counted already.
    void NoteLost(LossCause cause, unsigned long long records = 1);

private:
    friend TARQLOG_API Account GetAccount(AppenderBase const& appender);

    class TARQLOG_HIDDEN Taking;
    struct TARQLOG_HIDDEN Private;
    std::unique_ptr<Private> const impl_;
};

}  // namespace tarqlog

#endif  // TARQLOG_APPENDER_BASE_H_
