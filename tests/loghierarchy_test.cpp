#include "loghierarchy.h"

#include <limits.h>
#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <functional>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/child.h"
#include "support/routing_oracle.h"

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;
typedef std::vector<SinkEntry> SinkList;

constexpr Severity kNoSeverity = Severity();

SinkList Collected(LogHierarchy const& hierarchy, Parts const& parts) {
    SinkList list;
    hierarchy.Collect(list, parts);
    return list;
}

std::string Join(Parts const& parts) {
    std::string tag;
    for (std::string const& part : parts) {
        tag += (tag.empty() ? "" : ".") + part;
    }
    return tag;
}

/// `message` with LINE for the number of the line.
std::string WithoutLineNumber(std::string message) {
    std::string::size_type const begin = message.find_first_of("0123456789");
    if (begin != std::string::npos) {
        message.replace(begin, message.find_first_not_of("0123456789", begin) - begin, "LINE");
    }
    return message;
}

/// Up to five parts of three names, one of which begins with another.
Parts RandomParts(std::mt19937& random) {
    static std::string const kNames[] = {"a", "ab", "b"};
    Parts parts;
    for (std::size_t count = random() % 6; count > 0; --count) {
        parts.push_back(kNames[random() % 3]);
    }
    return parts;
}

/// The same rules in a hierarchy and in the oracle, and a logger that asks for its sinks.
struct RoutingCase {
    LogHierarchy hierarchy;
    RoutingOracle oracle;
    Parts logger;
};

/// Up to 32 sinks with up to five rules each, a third of them with an empty mask.
RoutingCase RandomRouting(std::mt19937& random) {
    RoutingCase routing;
    routing.logger = RandomParts(random);
    unsigned long const sinks = 1 + random() % kMaxSinksCount;
    for (unsigned long sink = 0; sink < sinks; ++sink) {
        std::set<FilterRule> rules;
        for (std::size_t count = 1 + random() % 5; count > 0; --count) {
            Parts const parts = RandomParts(random);
            Severity const mask =
                random() % 3 == 0 ? kNoSeverity : static_cast<Severity>(1 + random() % 63);
            if (rules.insert(FilterRule(Join(parts), mask)).second) {
                routing.oracle.Add(sink, parts, mask);
            }
        }
        routing.hierarchy.Add(rules, sink);
    }
    return routing;
}

/// Lets `action` call `new` only `allowed` times. Answers whether it ended in std::bad_alloc.
template <class Action>
bool IsRefused(unsigned long allowed, Action action) {
    AllocationLimit const limit(allowed);
    try {
        action();
    } catch (std::bad_alloc const&) {
        return limit.Refused() == 1;
    }
    return false;
}

/// Runs `body` on a thread with a stack of 64 KiB, or the least that the system allows.
void RunOnSmallStack(std::function<void()> body) {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    std::size_t const least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    ::pthread_attr_setstacksize(&attributes, std::max<std::size_t>(65536, least));
    pthread_t thread;
    int const error = ::pthread_create(
        &thread, &attributes,
        [](void* argument) -> void* {
            (*static_cast<std::function<void()>*>(argument))();
            return nullptr;
        },
        &body);
    ::pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw std::runtime_error("cannot make a thread");
    }
    ::pthread_join(thread, nullptr);
}

TEST(LogHierarchyTest, WithoutSinksEveryListIsEmpty) {
    LogHierarchy const hierarchy;

    EXPECT_EQ(Collected(hierarchy, {}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "c"}), SinkList());
}

TEST(LogHierarchyTest, EmptyRuleSetChangesNothing) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo)}, 0);

    hierarchy.Add({}, 1);

    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, RuleAppliesAtItsTagAndBelow) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b", kInfo)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "x"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "x", "y", "z"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, RuleMatchesWholePartsFromTheRoot) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b", kInfo)}, 0);

    Parts const elsewhere[] = {{},         {"a"},           {"a", "bc"}, {"x", "a", "b"},
                               {"a.b"},    {"ab"},          {"b"},       {"b", "a"},
                               {"A", "b"}, {"a", "x", "b"}, {"a", ""},   {"a", "b "}};
    for (Parts const& parts : elsewhere) {
        SCOPED_TRACE(Join(parts));
        EXPECT_EQ(Collected(hierarchy, parts), SinkList());
    }
}

TEST(LogHierarchyTest, RootRuleAppliesToEveryLogger) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo)}, 0);

    EXPECT_EQ(Collected(hierarchy, {}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "c"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, LoggerWithoutTagGetsTheRootRulesAlone) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo), FilterRule("a", kError)}, 0);
    hierarchy.Add({FilterRule("a", kError)}, 1);

    EXPECT_EQ(Collected(hierarchy, {}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, SinksOfTheRootAndOfATagAreListedByIndex) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kAllSeverities)}, 0);
    hierarchy.Add({FilterRule("a", kWarning)}, 1);

    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), (SinkList{{0, kAllSeverities}, {1, kWarning}}));
    EXPECT_EQ(Collected(hierarchy, {"b"}), (SinkList{{0, kAllSeverities}}));
}

TEST(LogHierarchyTest, DeeperRuleReplacesTheShallowerOne) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kDebug), FilterRule("a", kError)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kError}}));
    EXPECT_EQ(Collected(hierarchy, {"b"}), (SinkList{{0, kDebug}}));
}

TEST(LogHierarchyTest, SinkReceivesErrorsAloneBelowATag) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kAllSeverities), FilterRule("core.db", kError | kFatal)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"core"}), (SinkList{{0, kAllSeverities}}));
    EXPECT_EQ(Collected(hierarchy, {"core", "db"}), (SinkList{{0, kError | kFatal}}));
    EXPECT_EQ(Collected(hierarchy, {"core", "db", "cache"}), (SinkList{{0, kError | kFatal}}));
}

TEST(LogHierarchyTest, EmptyMaskMutesTheSinkBelowItsTag) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kAllSeverities), FilterRule("a", kNoSeverity)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a", "x"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"b"}), (SinkList{{0, kAllSeverities}}));
}

TEST(LogHierarchyTest, MutedSinkSpeaksAgainBelowADeeperTag) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kNoSeverity), FilterRule("a.b", kInfo)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "c"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, SinkWithARuleFarBelowIsAbsentAbove) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b.c", kInfo)}, 3);

    EXPECT_EQ(Collected(hierarchy, {"a"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a", "x", "c"}), SinkList());
    EXPECT_EQ(Collected(hierarchy, {"a", "b", "c", "d"}), (SinkList{{3, kInfo}}));
}

TEST(LogHierarchyTest, WalkEndsAtTheFirstUnknownPart) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a", kInfo), FilterRule("a.c", kError), FilterRule("c", kFatal)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a", "x", "c"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"x", "a", "c"}), SinkList());
}

TEST(LogHierarchyTest, ListIsOrderedByIndexAndNotByDepth) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b", kError)}, 0);
    hierarchy.Add({FilterRule(kInfo)}, 1);

    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), (SinkList{{0, kError}, {1, kInfo}}));
}

TEST(LogHierarchyTest, SeveritiesAreKeptAsTheyArePassed) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(static_cast<Severity>(0xFFFFFFC0u))}, 0);

    EXPECT_EQ(Collected(hierarchy, {}), (SinkList{{0, static_cast<Severity>(0xFFFFFFC0u)}}));
}

TEST(LogHierarchyTest, EverySinkFromFirstToLastIsTold) {
    LogHierarchy hierarchy;
    SinkList expected;
    for (unsigned long sink = 0; sink < kMaxSinksCount; ++sink) {
        Severity const mask = static_cast<Severity>(sink + 1);
        hierarchy.Add({FilterRule(sink % 2 == 0 ? "" : "a", mask)}, sink);
        expected.emplace_back(sink, mask);
    }

    EXPECT_EQ(expected.size(), 32u);
    EXPECT_EQ(Collected(hierarchy, {"a"}), expected);
}

TEST(LogHierarchyTest, LaterEntryOfASinkAtTheSameTagReplacesTheEarlierOne) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a", kFatal)}, 0);

    hierarchy.Add({FilterRule("a", kDebug)}, 0);

    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kDebug}}));
}

TEST(LogHierarchyTest, CollectReplacesWhatTheListHeld) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a", kInfo)}, 1);
    SinkList list(100, SinkEntry(7, kFatal));

    hierarchy.Collect(list, {"a"});
    EXPECT_EQ(list, (SinkList{{1, kInfo}}));
    hierarchy.Collect(list, {"b"});
    EXPECT_EQ(list, SinkList());
}

TEST(LogHierarchyTest, CollectChangesNoRouting) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo), FilterRule("a", kError)}, 0);

    Collected(hierarchy, {"a", "unknown"});

    EXPECT_EQ(Collected(hierarchy, {"a", "unknown"}), (SinkList{{0, kError}}));
    EXPECT_EQ(Collected(hierarchy, {"b"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, RulesMayBeDestroyedOnceTheyAreAdded) {
    LogHierarchy hierarchy;
    {
        std::set<FilterRule> const rules = {FilterRule("a-part-too-long-to-be-kept-inside", kInfo)};
        hierarchy.Add(rules, 0);
    }

    EXPECT_EQ(Collected(hierarchy, {"a-part-too-long-to-be-kept-inside"}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, UnusedEntriesAreRemovedAndTheOthersKeepTheirOrder) {
    SinkList list = {{2, kError}, {0, kNoSeverity}, {5, kInfo}};

    LogHierarchy().RemoveUnused(list);

    EXPECT_EQ(list, (SinkList{{2, kError}, {5, kInfo}}));
}

TEST(LogHierarchyTest, UnusedIsTheEmptyMaskAndNothingElse) {
    struct {
        SinkList list;
        SinkList kept;
    } const cases[] = {
        {{}, {}},
        {{{0, kNoSeverity}}, {}},
        {{{0, kNoSeverity}, {1, kNoSeverity}, {2, kInfo}}, {{2, kInfo}}},
        {{{0, kTrace}}, {{0, kTrace}}},
        {{{0, static_cast<Severity>(64)}}, {{0, static_cast<Severity>(64)}}},
        {{{9, kInfo}, {4, kInfo}, {9, kInfo}}, {{9, kInfo}, {4, kInfo}, {9, kInfo}}},
    };
    for (auto const& each : cases) {
        SinkList list = each.list;
        LogHierarchy().RemoveUnused(list);
        EXPECT_EQ(list, each.kept);
    }
}

TEST(LogHierarchyTest, ThirtySecondSinkIsTheLast) {
    LogHierarchy hierarchy;

    hierarchy.Add({FilterRule(kInfo)}, 31);

    EXPECT_EQ(kMaxSinksCount, 32u);
    EXPECT_EQ(Collected(hierarchy, {}), (SinkList{{31, kInfo}}));
}

TEST(LogHierarchyTest, ThirtyThirdSinkStopsTheProcess) {
    for (unsigned long const sink : {32ul, 33ul, ~0ul}) {
        SCOPED_TRACE(sink);
        ChildResult const result = RunInChild([sink] {
            LogHierarchy hierarchy;
            hierarchy.Add({FilterRule(kInfo)}, sink);
            return 0;
        });
        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_EQ(WithoutLineNumber(result.errors),
                  "src/loghierarchy.h:LINE: Add: Assertion 'sink < kMaxSinksCount' failed.\n");
    }
}

TEST(LogHierarchyTest, ThirtyThirdSinkWithoutRulesStopsTheProcessToo) {
    ChildResult const result = RunInChild([] {
        LogHierarchy().Add({}, 32);
        return 0;
    });

    EXPECT_EQ(result.signal, SIGABRT);
}

TEST(LogHierarchyTest, NewHierarchyInItsPlaceRoutesNothing) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo), FilterRule("a.b", kError)}, 0);

    hierarchy = LogHierarchy();

    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), SinkList());
    hierarchy.Add({FilterRule("a", kDebug)}, 0);
    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), (SinkList{{0, kDebug}}));
    EXPECT_EQ(Collected(hierarchy, {}), SinkList());
}

TEST(LogHierarchyTest, ListOutlivesTheHierarchyItCameFrom) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo)}, 0);
    SinkList const list = Collected(hierarchy, {"a"});

    hierarchy = LogHierarchy();

    EXPECT_EQ(list, (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, TreeLivesAsLongAsOneHierarchyHoldsIt) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b", kInfo)}, 0);
    LogHierarchy const copy(hierarchy);

    hierarchy = LogHierarchy();

    EXPECT_EQ(Collected(copy, {"a", "b"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), SinkList());
}

TEST(LogHierarchyTest, RandomRulesAreRoutedAsTheOracleSays) {
    constexpr int kCases = 6000;
    std::mt19937 random(22001);
    int competing = 0;  // cases where two rules of one sink match the logger
    int mute = 0;       // and one of them has an empty mask
    int muteWins = 0;   // and that one is the last
    for (int i = 0; i < kCases; ++i) {
        RoutingCase const routing = RandomRouting(random);
        bool isCompeting = false;
        bool isMute = false;
        bool isMuteWinning = false;
        for (unsigned long sink = 0; sink < kMaxSinksCount; ++sink) {
            std::vector<Severity> const masks = routing.oracle.MasksOnPath(sink, routing.logger);
            if (masks.size() >= 2) {
                isCompeting = true;
                isMute = isMute || std::count(masks.begin(), masks.end(), kNoSeverity) > 0;
                isMuteWinning = isMuteWinning || masks.back() == kNoSeverity;
            }
        }
        competing += isCompeting ? 1 : 0;
        mute += isMute ? 1 : 0;
        muteWins += isMuteWinning ? 1 : 0;
        ASSERT_EQ(Collected(routing.hierarchy, routing.logger),
                  routing.oracle.Collect(routing.logger))
            << "case " << i << " " << Join(routing.logger);
    }
    EXPECT_GE(competing, kCases / 3);
    EXPECT_GE(mute, kCases / 3);
    EXPECT_GE(muteWins, kCases / 4);
}

TEST(LogHierarchyTest, ManyThreadsMayCollectAtOnce) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo), FilterRule("a.b", kError)}, 0);
    hierarchy.Add({FilterRule("a", kDebug)}, 1);
    std::vector<int> agreed(4);

    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                SinkList const list = Collected(hierarchy, {"a", "b", "c"});
                count += list == SinkList{{0, kError}, {1, kDebug}} ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(agreed, (std::vector<int>{1000, 1000, 1000, 1000}));
}

TEST(LogHierarchyTest, AddThatFindsNoMemoryKeepsTheRulesUpToThereAndNoOther) {
    std::set<FilterRule> const rules = {FilterRule(kInfo),
                                        FilterRule("longer-than-a-string-keeps-inside.b", kError)};
    Parts const logger = {"longer-than-a-string-keeps-inside", "b"};
    std::vector<SinkList> lists;  // the logger's after each refusal, and at the end without one
    bool isRefused = true;
    while (isRefused) {
        LogHierarchy hierarchy;
        isRefused = IsRefused(lists.size(), [&] { hierarchy.Add(rules, 0); });
        lists.push_back(Collected(hierarchy, logger));
    }

    ASSERT_GT(lists.size(), 3u);
    EXPECT_EQ(lists.front(), SinkList());
    EXPECT_EQ(lists.back(), (SinkList{{0, kError}}));
    for (std::size_t i = 1; i + 1 < lists.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(lists[i], (SinkList{{0, kInfo}}));
    }
}

TEST(LogHierarchyTest, AddThatFindsNoMemoryLeavesTheOtherSinksAsTheyWere) {
    bool isRefused = true;
    for (unsigned long allowed = 0; isRefused; ++allowed) {
        SCOPED_TRACE(allowed);
        LogHierarchy hierarchy;
        hierarchy.Add({FilterRule(kInfo), FilterRule("a.b", kError)}, 0);
        std::set<FilterRule> const rules = {FilterRule("a.b.c.d", kDebug)};
        isRefused = IsRefused(allowed, [&] { hierarchy.Add(rules, 1); });
        ASSERT_TRUE(isRefused || allowed > 0);
        EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kInfo}}));
        EXPECT_EQ(Collected(hierarchy, {"a", "b", "c"}), (SinkList{{0, kError}}));
        EXPECT_EQ(Collected(hierarchy, {"a", "b", "c", "d"}),
                  isRefused ? (SinkList{{0, kError}}) : (SinkList{{0, kError}, {1, kDebug}}));
    }
}

TEST(LogHierarchyTest, AddThatFoundNoMemoryMayBeRepeated) {
    std::set<FilterRule> const rules = {FilterRule(kInfo), FilterRule("a.b", kError)};
    LogHierarchy hierarchy;
    unsigned long allowed = 0;

    while (IsRefused(allowed, [&] { hierarchy.Add(rules, 0); })) {
        ++allowed;
    }

    EXPECT_GT(allowed, 0u);
    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kInfo}}));
    EXPECT_EQ(Collected(hierarchy, {"a", "b"}), (SinkList{{0, kError}}));
}

TEST(LogHierarchyTest, CollectThatFindsNoMemorySaysSoAndLeavesTheRoutingAsItWas) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule(kInfo), FilterRule("a", kError)}, 0);
    SinkList list;
    Parts const logger = {"a"};

    EXPECT_TRUE(IsRefused(0, [&] { hierarchy.Collect(list, logger); }));

    EXPECT_EQ(Collected(hierarchy, {"a"}), (SinkList{{0, kError}}));
    EXPECT_EQ(Collected(hierarchy, {}), (SinkList{{0, kInfo}}));
}

TEST(LogHierarchyTest, TreeGoesWhenNoMemoryIsLeft) {
    LogHierarchy hierarchy;
    hierarchy.Add({FilterRule("a.b.c", kInfo), FilterRule("a.x", kInfo)}, 0);
    LogHierarchy empty;
    unsigned long refused = 0;
    {
        AllocationLimit const limit(0);
        hierarchy = empty;
        refused = limit.Refused();
    }

    EXPECT_GT(refused, 0u);
    EXPECT_EQ(Collected(hierarchy, {"a", "x"}), SinkList());
}

TEST(LogHierarchyTest, TagOfAMillionPartsComesAndGoesOnASmallStack) {
    Parts const logger(1000001, "x");
    SinkList atEnd;
    SinkList aboveEnd;

    RunOnSmallStack([&] {
        std::string tag;
        for (int i = 0; i < 1000000; ++i) {
            tag += "x.";
        }
        LogHierarchy hierarchy;
        hierarchy.Add({FilterRule(tag, kInfo)}, 0);
        atEnd = Collected(hierarchy, logger);
        aboveEnd = Collected(hierarchy, Parts(logger.begin(), logger.end() - 2));
    });

    EXPECT_EQ(atEnd, (SinkList{{0, kInfo}}));
    EXPECT_EQ(aboveEnd, SinkList());
}

TEST(LogHierarchyTest, TreeOfManyBranchesGoesOnASmallStack) {
    RunOnSmallStack([] {
        LogHierarchy hierarchy;
        for (int branch = 0; branch < 1000; ++branch) {
            std::string tag = std::to_string(branch);
            for (int depth = 0; depth < 100; ++depth) {
                tag += ".x";
            }
            hierarchy.Add({FilterRule(tag, kInfo)}, 0);
        }
        EXPECT_EQ(Collected(hierarchy, {"7"}), SinkList());
    });
}

}  // namespace
}  // namespace tarqlog
