#ifndef TARQLOG_TESTS_SUPPORT_STATEMENTS_H_
#define TARQLOG_TESTS_SUPPORT_STATEMENTS_H_

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/logcore.h"
#include "tarqlog/logger.h"

#include "support/sinks.h"

namespace tarqlog {

/// Registers an appender for every tag and returns it.
inline boost::shared_ptr<NotingAppender> AddNotingSink(Severity severity = kAllSeverities) {
    auto const appender = boost::make_shared<NotingAppender>();
    LogCore::Get()->AddSink({FilterRule(severity)}, SinkOf(appender));
    return appender;
}

/// A text of so many bytes in which no byte can take its neighbour's place unnoticed.
inline std::string Letters(std::size_t length) {
    std::string text(length, ' ');
    for (std::size_t i = 0; i < length; ++i) {
        text[i] = static_cast<char>('a' + i % 26);
    }
    return text;
}

/// Where a statement gets what it prints, and whether it may, if it has a condition.
struct Source {
    std::function<int()> argument;
    std::function<bool()> condition = [] { return true; };
};

/// One macro, and a statement of it that prints "n=" and the source's argument.
struct Statement {
    const char* macro;
    Severity severity;
    bool hasCondition;
    void (*log)(Logger& logger, Source& source);
};

#define TARQLOG_TEST_STATEMENT(macro, severity, hasCondition, statement)                          \
    ::tarqlog::Statement {                                                                        \
        macro, severity, hasCondition,                                                            \
            [](::tarqlog::Logger& log, [[maybe_unused]] ::tarqlog::Source& source) { statement; } \
    }

/// Holds each statement to what is promised of all.
class StatementsTest : public testing::Test {
protected:
    static void ExpectOneEvaluationPerRecord(std::vector<Statement> const& statements) {
        for (Statement const& statement : statements) {
            SCOPED_TRACE(statement.macro);
            auto const appender = AddNotingSink(statement.severity);
            Logger logger("a");
            int evaluations = 0;
            Source source{[&] { return ++evaluations; }};

            statement.log(logger, source);
            statement.log(logger, source);

            EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"n=1", "n=2"}));
            EXPECT_EQ(evaluations, 2);
            LogCore::Get()->RemoveAllSinks();
        }
    }

    static void ExpectNoEvaluationWithoutASink(std::vector<Statement> const& statements) {
        for (Statement const& statement : statements) {
            SCOPED_TRACE(statement.macro);
            auto const appender = AddNotingSink(~statement.severity);
            Logger logger("a");
            int evaluations = 0;
            auto const count = [&] { return ++evaluations; };
            Source source{count, [&] { return count() != 0; }};

            statement.log(logger, source);

            EXPECT_EQ(evaluations, 0);
            EXPECT_TRUE(appender->Texts().empty());
            LogCore::Get()->RemoveAllSinks();
        }
    }

    static void ExpectFalseConditionToStop(std::vector<Statement> const& statements) {
        for (Statement const& statement : statements) {
            if (!statement.hasCondition) {
                continue;
            }
            SCOPED_TRACE(statement.macro);
            auto const appender = AddNotingSink();
            Logger logger("a");
            int evaluations = 0;
            int questions = 0;
            Source source{[&] { return ++evaluations; }, [&] { return ++questions == 2; }};

            for (int i = 0; i < 3; ++i) {
                statement.log(logger, source);
            }

            EXPECT_EQ(questions, 3);
            EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"n=1"}));
            LogCore::Get()->RemoveAllSinks();
        }
    }

    static void ExpectTwoWholeLinesOfNestedOnes(std::vector<Statement> const& statements) {
        for (Statement const& statement : statements) {
            SCOPED_TRACE(statement.macro);
            auto const appender = AddNotingSink();
            Logger logger("a");
            Source inner{[] { return 1; }};
            Source outer{[&] {
                statement.log(logger, inner);
                return 2;
            }};

            statement.log(logger, outer);

            EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"n=1", "n=2"}));
            LogCore::Get()->RemoveAllSinks();
        }
    }

    static void ExpectNothingOfOneThatThrows(std::vector<Statement> const& statements) {
        for (Statement const& statement : statements) {
            SCOPED_TRACE(statement.macro);
            auto const appender = AddNotingSink();
            Logger logger("a");
            Source throwing{[]() -> int { throw std::runtime_error("no number"); }};
            Source sound{[] { return 3; }};

            EXPECT_THROW(statement.log(logger, throwing), std::runtime_error);
            EXPECT_TRUE(appender->Texts().empty());
            statement.log(logger, sound);

            EXPECT_EQ(appender->Texts(), (std::vector<std::string>{"n=3"}));
            LogCore::Get()->RemoveAllSinks();
        }
    }
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_STATEMENTS_H_
