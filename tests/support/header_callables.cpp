#include "support/header_callables.h"

#include <functional>
#include <string>
#include <utility>

#include <boost/bind/bind.hpp>
#include <boost/function.hpp>
#include <boost/ref.hpp>

#include "tarqlog/appender_base.h"

static_assert(__cplusplus / 100 % 100 == TARQLOG_TEST_STANDARD,
              "not built in the standard that is its name");

namespace tarqlog {
namespace {

/// Keeps the header of the last record.
class HeaderAppender : public AppenderBase {
public:
    using AppenderBase::AppenderBase;

    std::string const& LastHeader() const { return lastHeader_; }

protected:
    void DoAppend(LogRecord const&) override { lastHeader_ = Header(); }

private:
    std::string lastHeader_;
};

std::string HeaderOf(HeaderAppender& appender, LogRecord const& record) {
    try {
        appender.Append(record);
        return appender.LastHeader();
    } catch (boost::bad_function_call const&) {
        return "boost::bad_function_call";
    }
}

void WriteWord(std::string& header, LogRecord const&) {
    header += "word";
}

int WriteWordAndCount(std::string& header, LogRecord const&) {
    header += "word";
    return 1;
}

void WriteGiven(char const* word, LogRecord const&, std::string& header) {
    header += word;
}

struct Words {
    void Write(std::string& header, LogRecord const&) const { header += word; }

    std::string word;
};

/// Changes with each call.
struct Counter {
    void operator()(std::string& header, LogRecord const&) { header += std::to_string(++count); }

    int count = 0;
};

struct ConstFunctor {
    void operator()(std::string& header, LogRecord const&) const { header += "const"; }
};

/// Says which of the two was called: the object is not const inside an appender.
struct OverloadedFunctor {
    void operator()(std::string& header, LogRecord const&) { header += "mutable"; }
    void operator()(std::string& header, LogRecord const&) const { header += "const"; }
    void operator()(int) const {}
};

struct TemplateFunctor {
    template <class String, class Record>
    void operator()(String& header, Record const&) const {
        header += "template";
    }
};

struct TrueFunctor {
    explicit operator bool() const { return true; }
    void operator()(std::string& header, LogRecord const&) const { header += "true"; }
};

struct FalseFunctor {
    explicit operator bool() const { return false; }
    void operator()(std::string& header, LogRecord const&) const { header += "false"; }
};

struct ImplicitlyTrueFunctor {
    operator bool() const { return true; }
    void operator()(std::string& header, LogRecord const&) const { header += "true"; }
};

struct ImplicitlyFalseFunctor {
    operator bool() const { return false; }
    void operator()(std::string& header, LogRecord const&) const { header += "false"; }
};

struct FalseCounter : Counter {
    operator bool() const { return false; }
};

/// Builds an appender of each kind and collects what became of two records.
class Collection {
public:
    explicit Collection(LogRecord const& record) : record_(record) {}

    template <class Argument>
    void Add(std::string const& kind, std::string const& expected, Argument&& argument) {
        HeaderAppender appender(std::forward<Argument>(argument));
        std::string const first = HeaderOf(appender, record_);
        callables_.push_back({kind, expected, first + ", " + HeaderOf(appender, record_)});
    }

    std::vector<HeaderCallable> const& Callables() const { return callables_; }

private:
    LogRecord const& record_;
    std::vector<HeaderCallable> callables_;
};

constexpr char kFailure[] = "boost::bad_function_call, boost::bad_function_call";

void AddFunctions(Collection& all) {
    void (*const pointer)(std::string&, LogRecord const&) = WriteWord;
    void (*const null)(std::string&, LogRecord const&) = nullptr;
    int (*nullWithResult)(std::string&, LogRecord const&) = nullptr;

    all.Add("a function", "word, word", WriteWord);
    all.Add("a function's address", "word, word", &WriteWord);
    all.Add("a function pointer", "word, word", pointer);
    all.Add("a function with a result", "word, word", WriteWordAndCount);
    all.Add("a reference wrapper of a function", "word, word", std::ref(WriteWord));
    all.Add("a null function pointer", kFailure, null);
    all.Add("a null pointer to a function with a result", kFailure, nullWithResult);
#if __cplusplus >= 201703L
    void (*const nullNoexcept)(std::string&, LogRecord const&) noexcept = nullptr;
    all.Add("a null pointer to a function that throws nothing", kFailure, nullNoexcept);
#endif
}

void AddLambdas(Collection& all) {
    std::string const word = "captured";
    int count = 0;
    auto const named = [](std::string& header, LogRecord const&) { header += "named"; };

    all.Add("a lambda without captures", "lambda, lambda",
            [](std::string& header, LogRecord const&) { header += "lambda"; });
    all.Add("a lambda with captures", "captured, captured",
            [word](std::string& header, LogRecord const&) { header += word; });
    all.Add("a mutable lambda", "1, 2", [count](std::string& header, LogRecord const&) mutable {
        header += std::to_string(++count);
    });
    all.Add(
        "a lambda with a result", "lambda, lambda",
        [](std::string& header, LogRecord const&) -> std::string& { return header += "lambda"; });
    all.Add("a constant lambda with a name", "named, named", named);
#if __cplusplus >= 201402L
    all.Add("a generic lambda", "generic, generic",
            [](auto& header, auto const&) { header += "generic"; });
#endif
}

void AddFunctors(Collection& all) {
    Counter counter;
    Counter referred;
    Counter referredByBoost;
    Counter const constant = Counter();

    all.Add("a functor", "1, 2", Counter());
    all.Add("a functor with a name", "1, 2", counter);
    all.Add("the functor with a name, which the appender has copied", "1, 2", counter);
    all.Add("a moved functor", "1, 2", std::move(counter));
    all.Add("a constant functor", "1, 2", constant);
    all.Add("a reference wrapper of a functor", "1, 2", std::ref(referred));
    all.Add("the same reference wrapper again", "3, 4", std::ref(referred));
    all.Add("a Boost reference to a functor", "1, 2", boost::ref(referredByBoost));
    all.Add("the same Boost reference again", "3, 4", boost::ref(referredByBoost));
    all.Add("a functor with a const call operator", "const, const", ConstFunctor());
    all.Add("a functor with several call operators", "mutable, mutable", OverloadedFunctor());
    all.Add("a functor with a call template", "template, template", TemplateFunctor());
    all.Add("a functor that is true", "true, true", TrueFunctor());
    all.Add("a functor that is false", "false, false", FalseFunctor());
    all.Add("a functor that converts to true", "true, true", ImplicitlyTrueFunctor());
    all.Add("a functor that converts to false", "false, false", ImplicitlyFalseFunctor());
    all.Add("a functor that changes and converts to false", "1, 2", FalseCounter());
}

void AddBinds(Collection& all) {
    Words const words = {"bound"};
    using boost::placeholders::_1;
    using boost::placeholders::_2;

    all.Add("a boost::bind of a function", "given, given",
            boost::bind(&WriteGiven, "given", _2, _1));
    all.Add("a boost::bind of a member function", "bound, bound",
            boost::bind(&Words::Write, &words, _1, _2));
    all.Add("a std::bind of a function", "given, given",
            std::bind(&WriteGiven, "given", std::placeholders::_2, std::placeholders::_1));
    all.Add("a std::bind of a member function", "bound, bound",
            std::bind(&Words::Write, &words, std::placeholders::_1, std::placeholders::_2));
}

void AddFunctionObjects(Collection& all) {
    typedef std::function<void(std::string&, LogRecord const&)> StdFunction;
    typedef std::function<int(std::string&, LogRecord const&)> StdFunctionWithResult;
    typedef boost::function<int(std::string&, LogRecord const&)> BoostFunctionWithResult;
    StdFunction const stdFunction = WriteWord;
    StdFunction const emptyStdFunction;
    FormatHeaderFunc const boostFunction = WriteWord;
    FormatHeaderFunc emptyBoostFunction;

    all.Add("a std::function", "word, word", stdFunction);
    all.Add("a passing std::function", "1, 2", StdFunction(Counter()));
    all.Add("a std::function with a result", "word, word",
            StdFunctionWithResult(WriteWordAndCount));
    all.Add("an empty std::function", kFailure, emptyStdFunction);
    all.Add("a passing empty std::function", kFailure, StdFunction());
    all.Add("an empty std::function with a result", kFailure, StdFunctionWithResult());
    all.Add("a boost::function", "word, word", boostFunction);
    all.Add("a passing boost::function", "1, 2", FormatHeaderFunc(Counter()));
    all.Add("a boost::function with a result", "word, word",
            BoostFunctionWithResult(WriteWordAndCount));
    all.Add("an empty boost::function", kFailure, emptyBoostFunction);
    all.Add("a passing empty boost::function", kFailure, FormatHeaderFunc());
    all.Add("an empty boost::function with a result", kFailure, BoostFunctionWithResult());
    all.Add("the library's own function",
            "[t:4242](core):, [t:4242](core):", DefaultFormatHeaderFunc(false));
}

void AddBools(Collection& all) {
    std::string const full = "I [2023-11-14 22:13:20.123][t:4242](core):";
    std::string const brief = "[t:4242](core):";
    bool const yes = true;
    bool no = false;

    all.Add("true", full + ", " + full, true);
    all.Add("false", brief + ", " + brief, false);
    all.Add("a bool with a name", full + ", " + full, yes);
    all.Add("a variable bool", brief + ", " + brief, no);
    all.Add("the int 1", full + ", " + full, 1);
    all.Add("the int 0", brief + ", " + brief, 0);
}

}  // namespace

std::vector<HeaderCallable> TARQLOG_TEST_FUNCTION(LogRecord const& record) {
    Collection all(record);
    AddFunctions(all);
    AddLambdas(all);
    AddFunctors(all);
    AddBinds(all);
    AddFunctionObjects(all);
    AddBools(all);
    return all.Callables();
}

}  // namespace tarqlog
