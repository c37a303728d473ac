#include "tarqlog/explain.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include "tarqlog/appender_base.h"
#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/logsink.h"

#include "support/allocations.h"
#include "support/routing_oracle.h"
#include "support/rwlock_watch.h"
#include "support/sinks.h"

namespace tarqlog {
namespace {

using Parts = std::vector<std::string>;

/// A sink with an appender for each of `masks`.
boost::shared_ptr<LogSink> SinkWithMasks(std::vector<Severity> const& masks) {
    auto const sink = boost::make_shared<LogSink>();
    for (Severity const mask : masks) {
        auto const appender = boost::make_shared<NotingAppender>();
        appender->SetSeverity(mask);
        sink->AddAppender(appender);
    }
    return sink;
}

// What is said of one sink

/// Of the only sink, with one appender, that `rules` are for.
SinkExplanation ExplainRules(std::set<FilterRule> const& rules, std::string const& tag,
                             Severity severity) {
    LogCore core;
    core.AddSink(rules, AnySink());
    return Explain(tag, severity, core).sinks.at(0);
}

TEST(ExplainTest, SinkIsReachedThroughTheRuleThatLetsTheRecordThrough) {
    SinkExplanation const sink = ExplainRules({FilterRule("shop", kInfo | kError)}, "shop", kInfo);

    EXPECT_TRUE(sink.hasRule);
    EXPECT_EQ(sink.ruleTag, Parts{"shop"});
    EXPECT_EQ(sink.ruleSeverity, kInfo | kError);
    EXPECT_TRUE(sink.isReached);
    ASSERT_EQ(sink.appenders.size(), 1U);
    EXPECT_TRUE(sink.appenders[0].isReached);
}

TEST(ExplainTest, RuleThatLetsOtherSeveritiesThroughStopsTheRecord) {
    SinkExplanation const sink = ExplainRules({FilterRule("shop", kError)}, "shop", kInfo);

    EXPECT_TRUE(sink.hasRule);
    EXPECT_EQ(sink.ruleTag, Parts{"shop"});
    EXPECT_EQ(sink.ruleSeverity, kError);
    EXPECT_FALSE(sink.isReached);
    ASSERT_EQ(sink.appenders.size(), 1U);
    EXPECT_FALSE(sink.appenders[0].isReached) << "its mask would take the record";
    EXPECT_EQ(sink.appenders[0].mask, kAllSeverities);
}

TEST(ExplainTest, RuleOfADeeperTagDecidesAlone) {
    std::set<FilterRule> const rules = {FilterRule(kInfo),
                                        FilterRule("shop", kAllSeverities),
                                        FilterRule("shop.db", kError),
                                        FilterRule("shop.db.pool", kInfo),
                                        FilterRule("shop.dbase", kInfo),
                                        FilterRule("x", kInfo)};

    SinkExplanation const sink = ExplainRules(rules, "shop.db.cache", kInfo);

    EXPECT_EQ(sink.ruleTag, (Parts{"shop", "db"}));
    EXPECT_EQ(sink.ruleSeverity, kError);
    EXPECT_FALSE(sink.isReached);
}

TEST(ExplainTest, RuleThatMutesATagIsNamed) {
    SinkExplanation const sink =
        ExplainRules({FilterRule(kAllSeverities), FilterRule("shop", Severity())}, "shop", kFatal);

    EXPECT_TRUE(sink.hasRule);
    EXPECT_EQ(sink.ruleTag, Parts{"shop"});
    EXPECT_EQ(sink.ruleSeverity, Severity());
    EXPECT_FALSE(sink.isReached);
}

TEST(ExplainTest, SinkWhoseRulesAreForOtherTagsHasNoRule) {
    std::set<FilterRule> const rules = {FilterRule("shop.db", kInfo), FilterRule("x.shop", kInfo),
                                        FilterRule("sho", kInfo), FilterRule("shops", kInfo)};

    SinkExplanation const sink = ExplainRules(rules, "shop", kInfo);

    EXPECT_FALSE(sink.hasRule);
    EXPECT_EQ(sink.ruleTag, Parts());
    EXPECT_EQ(sink.ruleSeverity, Severity());
    EXPECT_FALSE(sink.isReached);
    ASSERT_EQ(sink.appenders.size(), 1U);
    EXPECT_FALSE(sink.appenders[0].isReached);
}

TEST(ExplainTest, RootRuleIsOneWithoutParts) {
    SinkExplanation const sink = ExplainRules({FilterRule("..", kInfo)}, "shop", kInfo);

    EXPECT_TRUE(sink.hasRule);
    EXPECT_EQ(sink.ruleTag, Parts());
    EXPECT_TRUE(sink.isReached);
}

TEST(ExplainTest, OfTwoRulesForATagTheFirstInTheSetCounts) {
    std::set<FilterRule> rules;
    rules.insert(FilterRule("a.b", kInfo));
    rules.insert(FilterRule(".a..b.", kError));

    EXPECT_EQ(ExplainRules(rules, "a.b", kInfo).ruleSeverity, kInfo);
}

TEST(ExplainTest, OfSeveralLevelsOneThatGetsThroughIsEnoughAndNeedsToBeNoOtherThanTheMasks) {
    LogCore core;
    core.AddSink(RootRule(kDebug), SinkWithMasks({kFatal, kInfo}));

    SinkExplanation const sink = Explain("a", kDebug | kFatal, core).sinks.at(0);

    EXPECT_TRUE(sink.isReached);
    EXPECT_TRUE(sink.appenders.at(0).isReached);
    EXPECT_FALSE(sink.appenders.at(1).isReached);
}

TEST(ExplainTest, RecordWithoutALevelReachesNobody) {
    SinkExplanation const sink = ExplainRules(RootRule(~Severity()), "a", Severity());

    EXPECT_TRUE(sink.hasRule);
    EXPECT_FALSE(sink.isReached);
}

TEST(ExplainTest, BitsBeyondTheLevelsAreComparedLikeTheOthers) {
    LogCore core;
    core.AddSink(RootRule(static_cast<Severity>(64)), SinkWithMasks({~Severity(), kAllSeverities}));

    SinkExplanation const sink = Explain("a", static_cast<Severity>(64), core).sinks.at(0);

    EXPECT_TRUE(sink.isReached);
    EXPECT_TRUE(sink.appenders.at(0).isReached);
    EXPECT_FALSE(sink.appenders.at(1).isReached);
}

// What is said of all

TEST(ExplainTest, EachAppenderHasItsMaskAndWhetherThatStopsTheRecord) {
    LogCore core;
    core.AddSink(RootRule(kAllSeverities), SinkWithMasks({kInfo, kError, Severity()}));

    Explanation const explanation = Explain("a", kError, core);

    std::vector<AppenderExplanation> const& appenders = explanation.sinks.at(0).appenders;
    ASSERT_EQ(appenders.size(), 3U);
    EXPECT_EQ(appenders[0].mask, kInfo);
    EXPECT_FALSE(appenders[0].isReached);
    EXPECT_EQ(appenders[1].mask, kError);
    EXPECT_TRUE(appenders[1].isReached);
    EXPECT_EQ(appenders[2].mask, Severity());
    EXPECT_FALSE(appenders[2].isReached);
    EXPECT_TRUE(explanation.isReached);
}

TEST(ExplainTest, RecordThatNoAppenderTakesReachesNobodyThoughASinkDoes) {
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkWithMasks({kError}));

    Explanation const explanation = Explain("a", kInfo, core);

    EXPECT_TRUE(explanation.sinks.at(0).isReached);
    EXPECT_FALSE(explanation.isReached);
}

TEST(ExplainTest, AppenderOfAnEarlierSinkIsNotForgotten) {
    LogCore core;
    core.AddSink(RootRule(kInfo), AnySink());
    core.AddSink(RootRule(kError), AnySink());

    EXPECT_TRUE(Explain("a", kInfo, core).isReached);
}

TEST(ExplainTest, SinksAreInTheOrderInWhichTheyWereAddedAndDecideByThemselves) {
    LogCore core;
    core.AddSink({FilterRule("a", kInfo)}, AnySink());
    core.AddSink({FilterRule("b", kInfo)}, AnySink());
    auto const twice = AnySink();
    core.AddSink({FilterRule("a", kError)}, twice);
    core.AddSink({FilterRule(kInfo)}, twice);

    Explanation const explanation = Explain("a", kInfo, core);

    ASSERT_EQ(explanation.sinks.size(), 4U);
    EXPECT_TRUE(explanation.sinks[0].isReached);
    EXPECT_FALSE(explanation.sinks[1].hasRule);
    EXPECT_TRUE(explanation.sinks[2].hasRule);
    EXPECT_FALSE(explanation.sinks[2].isReached);
    EXPECT_TRUE(explanation.sinks[3].isReached);
}

TEST(ExplainTest, QuestionIsRepeatedAsLoggersTakeIt) {
    LogCore const core;

    Explanation const explanation = Explain("..a..b c.", kDebug | kFatal, core);

    EXPECT_EQ(explanation.tag, (Parts{"a", "b c"}));
    EXPECT_EQ(explanation.severity, kDebug | kFatal);
}

TEST(ExplainTest, CoreWithoutSinksHasNoneToExplain) {
    Explanation const explanation = Explain("a", kInfo, LogCore());

    EXPECT_TRUE(explanation.sinks.empty());
    EXPECT_FALSE(explanation.isReached);
    EXPECT_FALSE(explanation.isForbidden);
}

TEST(ExplainTest, ProcessWideCoreIsAskedUnlessAnotherIsNamed) {
    LogCore::Get()->AddSink(RootRule(kInfo), AnySink());

    EXPECT_TRUE(Explain("a", kInfo).isReached);
    EXPECT_FALSE(Explain("a", kInfo, LogCore()).isReached);
}

TEST(ExplainTest, EndOfLoggingIsSaidAndSinksAddedAfterItAreReachedAllTheSame) {
    LogCore::Get()->AddSink(RootRule(kInfo), AnySink());
    { LogForbiddenGuard const guard; }

    Explanation explanation = Explain("a", kInfo);
    EXPECT_TRUE(explanation.isForbidden);
    EXPECT_TRUE(explanation.sinks.empty());

    LogCore::Get()->AddSink(RootRule(kInfo), AnySink());
    explanation = Explain("a", kInfo);
    EXPECT_TRUE(explanation.isForbidden);
    EXPECT_TRUE(explanation.isReached);
}

TEST(ExplainTest, ChangedMaskCountsFromTheNextQuestionOn) {
    LogCore core;
    auto const appender = boost::make_shared<NotingAppender>();
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    EXPECT_TRUE(Explain("a", kInfo, core).isReached);

    appender->SetSeverity(kError);

    EXPECT_FALSE(Explain("a", kInfo, core).isReached);
}

TEST(ExplainTest, AnswerHoldsOnToNoSink) {
    LogCore core;
    auto const sink = AnySink();
    core.AddSink(RootRule(kInfo), sink);

    Explanation const explanation = Explain("a", kInfo, core);

    EXPECT_EQ(sink.use_count(), 2);
}

TEST(ExplainTest, AnswerTakesTheCoresLockAloneAndNoneOfTheAppenders) {
    LogCore core;
    core.AddSink(RootRule(kInfo), SinkWithMasks({kInfo, kError}));
    long const sharedBefore = sharedLocks.Calls();
    long const exclusiveBefore = exclusiveLocks.Calls();
    long const mutexesBefore = mutexLocks.Calls();

    Explain("a", kInfo, core);

    EXPECT_EQ(sharedLocks.Calls() - sharedBefore, 1);
    EXPECT_EQ(exclusiveLocks.Calls() - exclusiveBefore, 0);
    EXPECT_EQ(mutexLocks.Calls() - mutexesBefore, 0);
    SinkWithMasks({kInfo})->Consume(TaggedRecord(kInfo, "x"));
    EXPECT_GT(mutexLocks.Calls(), mutexesBefore) << "the count does not count";
}

TEST(ExplainTest, AnswerComesFromInsideAnAppenderForWhichAChangeWaits) {
    struct ExplainingAppender : StuckAppender {
        explicit ExplainingAppender(LogCore& core) : askedCore(core) {}
        void DoAppend(LogRecord const& record) override {
            StuckAppender::DoAppend(record);
            isReached = Explain("a", kInfo, askedCore).isReached;
        }
        LogCore& askedCore;
        bool isReached = false;
    };
    LogCore core;
    auto const appender = boost::make_shared<ExplainingAppender>(boost::ref(core));
    core.AddSink(RootRule(kInfo), SinkOf(appender));
    std::thread deliverer([&] {
        core.PushRecord(core.GetConfigGeneration(), {SinkEntry(0, kInfo)},
                        TaggedRecord(kInfo, "x"));
    });
    appender->inside.Wait();
    long const before = exclusiveLocks.Calls();
    std::thread writer([&] { core.RemoveAllSinks(); });
    AwaitCalls(exclusiveLocks, before + 1);

    appender->mayLeave.Set();
    deliverer.join();
    writer.join();

    EXPECT_TRUE(appender->isReached);
}

// As text

TEST(ExplainTest, TextSaysWhatBecomesOfTheRecordAtEachSinkAndAppender) {
    LogCore core;
    core.AddSink({FilterRule("shop", kAllSeverities)},
                 SinkWithMasks({kAllSeverities, kWarning | kError | kFatal}));
    core.AddSink({FilterRule(kAllSeverities), FilterRule("shop.db", kWarning | kError)}, AnySink());
    core.AddSink({FilterRule("shop.db.pool", Severity())}, AnySink());
    core.AddSink({FilterRule(~kInfo & kAllSeverities)}, AnySink());
    core.AddSink({FilterRule("mail", kAllSeverities)}, AnySink());
    core.AddSink({FilterRule(kInfo)}, SinkWithMasks({Severity()}));

    EXPECT_EQ(ToText(Explain("shop.db.pool", kInfo, core)),
              "tag 'shop.db.pool', severity I: reaches 1 of 7 appenders\n"
              "  sink 0: reached, through the rule for 'shop' (all)\n"
              "    appender 0: reached, its mask is all\n"
              "    appender 1: not reached, its mask is WEF\n"
              "  sink 1: not reached, the rule for 'shop.db' lets WE through\n"
              "  sink 2: not reached, the rule for 'shop.db.pool' lets nothing through\n"
              "  sink 3: not reached, the root rule lets TDWEF through\n"
              "  sink 4: not reached, no rule is for this tag or one above it\n"
              "  sink 5: reached, through the root rule (I)\n"
              "    appender 0: not reached, its mask is none\n");
}

TEST(ExplainTest, TextSaysThatNoAppenderIsReached) {
    LogCore core;
    core.AddSink({FilterRule("a", kError)}, AnySink());

    EXPECT_EQ(ToText(Explain("", Severity(), core)),
              "tag '', severity none: reaches no appender\n"
              "  sink 0: not reached, no rule is for this tag or one above it\n");
}

TEST(ExplainTest, TextSaysThatThereIsNoSink) {
    EXPECT_EQ(ToText(Explain("a", kDebug | kFatal)),
              "tag 'a', severity DF: reaches no appender\n"
              "  there is no sink\n");
}

TEST(ExplainTest, TextSaysThatLoggingIsForbidden) {
    { LogForbiddenGuard const guard; }

    EXPECT_EQ(ToText(Explain("a", kInfo)),
              "tag 'a', severity I: reaches no appender\n"
              "  logging is forbidden: a LogForbiddenGuard has ended it\n"
              "  there is no sink\n");
}

TEST(ExplainTest, TextStaysOnItsLinesWhateverTheTags) {
    LogCore core;
    core.AddSink({FilterRule(std::string("a\n\x1b\x7f\0", 5), kInfo)}, AnySink());

    EXPECT_EQ(ToText(Explain(std::string("a\n\x1b\x7f\0.\t \xc3\xa4", 10), kError, core)),
              "tag 'a??\?\?.? \xc3\xa4', severity E: reaches no appender\n"
              "  sink 0: not reached, the rule for 'a??\?\?' lets I through\n");
}

TEST(ExplainTest, SeveritiesAreTheLettersOfHeadersAndANumberForTheOtherBits) {
    struct {
        unsigned int severity;
        char const* text;
    } const kCases[] = {
        {0, "none"},
        {1, "T"},
        {2, "D"},
        {4, "I"},
        {8, "W"},
        {16, "E"},
        {32, "F"},
        {41, "TWF"},
        {62, "DIWEF"},
        {63, "all"},
        {64, "0x40"},
        {65, "T+0x40"},
        {0xffffffff, "all+0xffffffc0"},
    };
    for (auto const& [severity, text] : kCases) {
        EXPECT_EQ(ToText(static_cast<Severity>(severity)), text);
    }
}

// Against delivery, for many configurations

/// Notes that it was reached.
class ReachedAppender : public AppenderBase {
public:
    explicit ReachedAppender(std::vector<AppenderBase const*>& reached)
        : AppenderBase(false), reached_(reached) {}

protected:
    void DoAppend(LogRecord const&) override { reached_.push_back(this); }

private:
    std::vector<AppenderBase const*>& reached_;
};

/// The appenders of many configurations, and which of them records have reached.
struct AppenderPool {
    AppenderPool() {
        for (int i = 0; i < 8; ++i) {
            appenders.push_back(boost::make_shared<ReachedAppender>(boost::ref(reached)));
        }
    }

    std::vector<AppenderBase const*> reached;
    std::vector<boost::shared_ptr<AppenderBase>> appenders;
};

/// Random sinks in the process-wide core, and what one knows of them without asking it.
class RandomConfiguration {
public:
    RandomConfiguration(std::mt19937& random, AppenderPool& pool) : random_(random), pool_(pool) {
        LogCore::Get()->RemoveAllSinks();
        for (boost::shared_ptr<AppenderBase> const& appender : pool_.appenders) {
            appender->SetSeverity(RandomSeverity());
        }
        std::size_t const count = Below(200) == 0 ? 30 + Below(5) : Below(6);
        for (std::size_t i = 0; i < count; ++i) {
            bool const isAgain = !sinks_.empty() && Below(8) == 0;
            boost::shared_ptr<LogSink> const sink =
                isAgain ? sinks_[Below(sinks_.size())] : RandomSink();
            std::set<FilterRule> const rules = RandomRules();
            LogCore::Get()->AddSink(rules, sink);
            if (sinks_.size() < 32 && sink->Count() > 0 && !rules.empty()) {
                Note(rules, sink);
            }
        }
    }

    /// A few names, written in any way that means them.
    std::string RandomTag() {
        static char const* const kParts[] = {"a", "b", "ab", "A", "", " "};
        std::string tag;
        for (unsigned int count = Below(5); count > 0; --count) {
            tag += kParts[Below(6)] + std::string(Below(8) == 0 ? 2 : 1, '.');
        }
        if (!tag.empty() && Below(2) == 0) {
            tag.pop_back();
        }
        return tag;
    }

    Severity RandomSeverity() {
        switch (Below(8)) {
            case 0:
                return Severity();
            case 1:
                return static_cast<Severity>(random_());
            case 2:
            case 3:
                return kAllSeverities;
            case 4:
                return static_cast<Severity>(random_()) & kAllSeverities;
            default:
                return static_cast<Severity>(1U << Below(6));
        }
    }

    /// The appenders that a record pushed through a new logger reaches, as they are reached.
    std::vector<AppenderBase const*> Deliver(std::string const& tag, Severity severity) {
        pool_.reached.clear();
        Logger logger(tag.c_str());
        bool const hasSink = logger.HasSink(severity);
        LogRecord record(severity);
        record.WriteData("x", 1);
        logger.PushRecord(record);
        EXPECT_TRUE(hasSink || pool_.reached.empty());
        return pool_.reached;
    }

    /// The same by `explanation`.
    std::vector<AppenderBase const*> Reached(Explanation const& explanation) const {
        EXPECT_EQ(explanation.sinks.size(), sinks_.size());
        std::vector<AppenderBase const*> reached;
        for (std::size_t i = 0; i < sinks_.size(); ++i) {
            auto const& appenders = sinks_[i]->GetAppenders();
            EXPECT_EQ(explanation.sinks[i].appenders.size(), appenders.size());
            for (std::size_t j = 0; j < appenders.size(); ++j) {
                if (explanation.sinks[i].appenders[j].isReached) {
                    reached.push_back(appenders[j].get());
                }
            }
        }
        return reached;
    }

    /// Holds the rule that `explanation` names for each sink against all that there are.
    void ExpectDecidingRules(Explanation const& explanation) const {
        for (std::size_t i = 0; i < sinks_.size(); ++i) {
            SinkExplanation const& sink = explanation.sinks[i];
            std::vector<Severity> const masks = oracle_.MasksOnPath(i, explanation.tag);
            ASSERT_EQ(sink.hasRule, !masks.empty());
            if (sink.hasRule) {
                EXPECT_EQ(sink.ruleSeverity, masks.back());
                EXPECT_EQ(sink.isReached, (masks.back() & explanation.severity) != 0);
                ExpectLongestOfRulesOnPath(i, sink.ruleTag, explanation.tag, masks);
            }
        }
    }

private:
    unsigned int Below(std::size_t bound) {
        return static_cast<unsigned int>(random_() % static_cast<std::mt19937::result_type>(bound));
    }

    boost::shared_ptr<LogSink> RandomSink() {
        auto const sink = boost::make_shared<LogSink>();
        for (unsigned int count = Below(4); count > 0; --count) {  // without any it is refused
            sink->AddAppender(pool_.appenders[Below(pool_.appenders.size())]);
        }
        return sink;
    }

    std::set<FilterRule> RandomRules() {
        std::set<FilterRule> rules;
        for (unsigned int count = Below(6); count > 0; --count) {
            rules.insert(FilterRule(RandomTag(), RandomSeverity()));
        }
        return rules;
    }

    void Note(std::set<FilterRule> const& rules, boost::shared_ptr<LogSink> const& sink) {
        for (FilterRule const& rule : rules) {
            oracle_.Add(sinks_.size(), rule.GetTag(), rule.GetSeverity());
        }
        sinks_.push_back(sink);
    }

    /// `ruleTag` is on the way to `tag`, no rule is below it there, and one is at it.
    void ExpectLongestOfRulesOnPath(std::size_t sink, Parts ruleTag, Parts const& tag,
                                    std::vector<Severity> const& masks) const {
        ASSERT_LE(ruleTag.size(), tag.size());
        EXPECT_TRUE(std::equal(ruleTag.begin(), ruleTag.end(), tag.begin()));
        EXPECT_EQ(oracle_.MasksOnPath(sink, ruleTag), masks);
        if (!ruleTag.empty()) {
            ruleTag.pop_back();
            EXPECT_EQ(oracle_.MasksOnPath(sink, ruleTag).size() + 1, masks.size());
        }
    }

    std::mt19937& random_;
    AppenderPool& pool_;
    std::vector<boost::shared_ptr<LogSink>> sinks_;  // as the core is to have them
    RoutingOracle oracle_;
};

constexpr int kConfigurations = 100000;
constexpr unsigned int kBatches = 10;  // each is a test of its own, and so a process

class ManyConfigurationsTest : public testing::TestWithParam<unsigned int> {};

TEST_P(ManyConfigurationsTest, AnswerIsWhatDeliveryDoes) {
    std::mt19937 random(GetParam());
    AppenderPool pool;
    int reached = 0;
    for (int i = 0; i < kConfigurations / static_cast<int>(kBatches) && !HasFailure(); ++i) {
        RandomConfiguration configuration(random, pool);
        for (int question = 0; question < 2; ++question) {
            std::string const tag = configuration.RandomTag();
            Severity const severity = configuration.RandomSeverity();
            SCOPED_TRACE("configuration " + std::to_string(i) + " tag '" + tag + "' severity " +
                         ToText(severity));
            Explanation const explanation = Explain(tag, severity);
            std::vector<AppenderBase const*> const delivered = configuration.Deliver(tag, severity);
            ASSERT_EQ(configuration.Reached(explanation), delivered);
            EXPECT_EQ(explanation.isReached, !delivered.empty());
            configuration.ExpectDecidingRules(explanation);
            reached += delivered.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(reached, kConfigurations / static_cast<int>(kBatches) / 4) << "too few are delivered";
    LogCore::Get()->RemoveAllSinks();
}

INSTANTIATE_TEST_SUITE_P(Batch, ManyConfigurationsTest, testing::Range(0U, kBatches));

TEST(ExplainTest, AnswerIsWhatDeliveryDoesAlsoWhenMemoryRanOutInAChange) {
    std::set<FilterRule> const rules = {FilterRule(kInfo), FilterRule("a", kError),
                                        FilterRule("a.b.c", kInfo), FilterRule("b", Severity())};
    unsigned long allowed = 0;
    for (bool done = false; !done; ++allowed) {
        SCOPED_TRACE(allowed);
        LogCore core;
        auto const sink = AnySink();
        try {
            AllocationLimit const limit(allowed);
            core.AddSink(rules, sink);
            done = limit.Refused() == 0;
        } catch (std::bad_alloc const&) {
        }
        core.AddSink({FilterRule("c", kInfo)}, sink);
        for (char const* const tag : {"", "a", "a.b.c", "b", "c"}) {
            for (Severity const severity : {kInfo, kError}) {
                std::vector<SinkEntry> entries;
                core.CollectSinks(entries, FilterRule(tag, kInfo).GetTag());
                std::vector<SinkEntry> explained;
                for (SinkExplanation const& each : Explain(tag, severity, core).sinks) {
                    explained.emplace_back(explained.size(), each.ruleSeverity);
                }
                explained.erase(std::remove_if(explained.begin(), explained.end(),
                                               [](SinkEntry const& e) { return e.second == 0; }),
                                explained.end());
                EXPECT_EQ(explained, entries);
            }
        }
    }
    EXPECT_GT(allowed, 8U);
}

TEST(ExplainTest, ExhaustedMemoryPassesOutOfAnAnswerAndItsText) {
    Severity const odd = kTrace | kDebug | kInfo | kWarning | kError | Severity(0xffffffc0U);
    std::string const tag = "a-part-of-a-tag.and-another";
    LogCore core;
    core.AddSink({FilterRule("a-part-of-a-tag", odd)}, SinkWithMasks({odd}));
    core.AddSink({FilterRule(tag, odd & ~kInfo)}, AnySink());
    core.AddSink({FilterRule("mail", kInfo)}, AnySink());
    std::string text;
    unsigned long allowed = 0;
    for (; text.empty(); ++allowed) {
        try {
            AllocationLimit const limit(allowed);
            text = ToText(Explain(tag, kInfo, core));
        } catch (std::bad_alloc const&) {
        }
    }
    EXPECT_EQ(text,
              "tag 'a-part-of-a-tag.and-another', severity I: reaches 1 of 3 appenders\n"
              "  sink 0: reached, through the rule for 'a-part-of-a-tag' (TDIWE+0xffffffc0)\n"
              "    appender 0: reached, its mask is TDIWE+0xffffffc0\n"
              "  sink 1: not reached, the rule for 'a-part-of-a-tag.and-another' lets "
              "TDWE+0xffffffc0 through\n"
              "  sink 2: not reached, no rule is for this tag or one above it\n");
    EXPECT_GT(allowed, 40U);
}

}  // namespace
}  // namespace tarqlog
