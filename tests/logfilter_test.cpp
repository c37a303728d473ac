#include "tarqlog/logfilter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocations.h"

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;

constexpr Severity kNoSeverity = Severity();

/// Too long for a string to keep without memory of its own.
std::string const kLongTag = "first-part-of-a-long-tag.second-part-of-a-long-tag";
Parts const kLongParts = {"first-part-of-a-long-tag", "second-part-of-a-long-tag"};

/// Up to four parts, most of them alike, with bytes above 127, blanks and prefixes of each other.
Parts RandomParts(std::mt19937& random) {
    static std::string const kNames[] = {"a",     "ab",    "A",    "b", " ", "a ",
                                         "a\x7f", "a\x80", "\xff", "~", "-", "\t"};
    Parts parts;
    for (std::size_t count = random() % 5; count > 0; --count) {
        bool const isCommon = random() % 2 == 0;
        parts.push_back(isCommon ? "a" : kNames[random() % (sizeof kNames / sizeof *kNames)]);
    }
    return parts;
}

/// One of the many ways to write `parts`.
std::string RandomTag(Parts const& parts, std::mt19937& random) {
    std::string tag(random() % 3, '.');
    for (std::string const& part : parts) {
        tag += part + std::string(1 + random() % 3, '.');
    }
    if (!parts.empty() && random() % 2 == 0) {
        tag.erase(tag.find_last_not_of('.') + 1);
    }
    return tag;
}

Severity RandomSeverity(std::mt19937& random) {
    return static_cast<Severity>(random() % 64);
}

/// How often `action` calls `new`.
template <class Action>
unsigned long AllocationsOf(Action action) {
    unsigned long const before = AllocationCount();
    action();
    return AllocationCount() - before;
}

/// Runs `action` again and again, each time refusing a later one of its allocations, until it needs
/// no more. After each refusal `check` runs. Answers how many refusals there were.
template <class Action, class Check>
int RefuseEachAllocation(Action action, Check check) {
    for (int refused = 0;; ++refused) {
        bool isRefused = false;
        {
            AllocationLimit const limit(static_cast<unsigned long>(refused));
            try {
                action();
            } catch (std::bad_alloc const&) {
                isRefused = true;
            }
            if (isRefused != (limit.Refused() == 1)) {
                return -1;
            }
        }
        if (!isRefused) {
            return refused;
        }
        check();
    }
}

TEST(FilterRuleTest, RuleOfASeverityAloneIsTheRootRule) {
    FilterRule const rule(kWarning | kError);

    EXPECT_EQ(rule.GetTag(), Parts());
    EXPECT_EQ(rule.GetSeverity(), 24u);
}

TEST(FilterRuleTest, RuleOfATagHoldsItsPartsAndSeverities) {
    FilterRule const rule("x.y", kInfo | kFatal);

    EXPECT_EQ(rule.GetTag(), (Parts{"x", "y"}));
    EXPECT_EQ(rule.GetSeverity(), 36u);
}

TEST(FilterRuleTest, HowTheTagIsWrittenIsNotKept) {
    for (std::string const tag : {"a.b", ".a.b", "a..b.", "...a...b...", ".a.b."}) {
        SCOPED_TRACE(tag);
        EXPECT_EQ(FilterRule(tag, kInfo).GetTag(), (Parts{"a", "b"}));
    }
}

TEST(FilterRuleTest, BlanksAndCaseOfTheTagAreKept) {
    EXPECT_EQ(FilterRule("A b. c", kInfo).GetTag(), (Parts{"A b", " c"}));
}

TEST(FilterRuleTest, SeveritiesAreKeptAsTheyArePassed) {
    for (std::uint32_t const bits : {0u, 1u, 37u, 63u, 64u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(bits);
        EXPECT_EQ(FilterRule(static_cast<Severity>(bits)).GetSeverity(), bits);
        EXPECT_EQ(FilterRule("a", static_cast<Severity>(bits)).GetSeverity(), bits);
    }
}

TEST(FilterRuleTest, TagOutlivesTheStringItWasBuiltFrom) {
    std::string tag = kLongTag;
    FilterRule const rule(tag, kInfo);

    tag.assign(tag.size(), '?');

    EXPECT_EQ(rule.GetTag(), kLongParts);
}

TEST(FilterRuleTest, AllRootRulesAreEqualAndNoneIsSmaller) {
    FilterRule const roots[] = {FilterRule(kInfo), FilterRule("", kError), FilterRule(".", kInfo),
                                FilterRule("...", kNoSeverity)};
    for (FilterRule const& left : roots) {
        for (FilterRule const& right : roots) {
            EXPECT_TRUE(left == right);
            EXPECT_FALSE(left < right);
        }
    }
}

TEST(FilterRuleTest, RulesForOneTagAreEqualWhateverTheirSeverities) {
    FilterRule const left("a..b", kError);
    FilterRule const right(".a.b.", kDebug);

    EXPECT_TRUE(left == right);
    EXPECT_FALSE(left < right);
    EXPECT_FALSE(right < left);
}

TEST(FilterRuleTest, RulesForDifferentTagsDifferThoughTheirSeveritiesAgree) {
    std::pair<std::string, std::string> const cases[] = {
        {"", "a"},    {"a", "a.b"},  {"a.b", "a.c"}, {"a.b", "b.a"},
        {"a", "A"},   {"a.b", "ab"}, {"a", "a "},    {"a", std::string("a\0", 2)},
        {"a", "a.a"},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.first + " | " + each.second);
        EXPECT_FALSE(FilterRule(each.first, kInfo) == FilterRule(each.second, kInfo));
        EXPECT_FALSE(FilterRule(each.second, kInfo) == FilterRule(each.first, kInfo));
    }
}

TEST(FilterRuleTest, SmallerIsTheRuleWhoseFirstDifferentPartIsSmaller) {
    std::pair<std::string, std::string> const cases[] = {
        {"", "a"},        {"", "\x01"},      {"a", "a.b"},         {"a.b", "a.c"},
        {"a.b", "ab"},    {"A", "a"},        {"B", "a"},           {"a.z", "b"},
        {"a.b.c", "a.c"}, {"a.b.z", "a.bb"}, {"a.b", "a-"},        {"a", std::string("a\0", 2)},
        {"a.b", "b.a"},   {"a.b", "a b"},    {"\x7f", "\x80"},     {"z", "\xff"},
        {"a", "a.\x01"},  {"a.a", "a.a.a"},  {"a.\x7f", "a.\x80"},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.first + " | " + each.second);
        EXPECT_TRUE(FilterRule(each.first, kFatal) < FilterRule(each.second, kTrace));
        EXPECT_FALSE(FilterRule(each.second, kTrace) < FilterRule(each.first, kFatal));
    }
}

TEST(FilterRuleTest, RandomRulesCompareAsTheirParts) {
    std::mt19937 random(21001);
    int equal = 0;
    for (int i = 0; i < 20000; ++i) {
        Parts const left = RandomParts(random);
        Parts const right = RandomParts(random);
        FilterRule const leftRule(RandomTag(left, random), RandomSeverity(random));
        FilterRule const rightRule(RandomTag(right, random), RandomSeverity(random));
        ASSERT_EQ(leftRule.GetTag(), left);
        ASSERT_EQ(leftRule == rightRule, left == right);
        ASSERT_EQ(leftRule < rightRule, left < right);
        ASSERT_EQ(rightRule < leftRule, right < left);
        equal += left == right ? 1 : 0;
    }
    EXPECT_GT(equal, 1000);
}

TEST(FilterRuleTest, OrderIsAStrictWeakOneThatAgreesWithEquality) {
    std::mt19937 random(21002);
    std::vector<FilterRule> rules;
    for (int i = 0; i < 60; ++i) {
        rules.emplace_back(RandomTag(RandomParts(random), random), RandomSeverity(random));
    }
    for (FilterRule const& a : rules) {
        ASSERT_FALSE(a < a);
        for (FilterRule const& b : rules) {
            ASSERT_EQ(a == b, !(a < b) && !(b < a));
            ASSERT_FALSE(a < b && b < a);
            for (FilterRule const& c : rules) {
                ASSERT_TRUE(!(a < b && b < c) || a < c);
                ASSERT_TRUE(!(a == b && b == c) || a == c);
            }
        }
    }
}

TEST(FilterRuleTest, SetKeepsTheFirstRuleForATag) {
    std::set<FilterRule> rules;
    rules.insert(FilterRule("a", kError));

    bool const isInserted = rules.insert(FilterRule(".a", kDebug)).second;

    EXPECT_FALSE(isInserted);
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules.begin()->GetSeverity(), kError);
}

TEST(FilterRuleTest, SetVisitsTheRootRuleFirstAndThenPartByPart) {
    std::set<FilterRule> rules;
    for (std::string const tag : {"b", "ab", "a.b", "a-", "", "a", "\x80", "a.b.c", "A"}) {
        rules.insert(FilterRule(tag, kInfo));
    }

    std::vector<Parts> visited;
    for (FilterRule const& rule : rules) {
        visited.push_back(rule.GetTag());
    }

    EXPECT_EQ(visited,
              (std::vector<Parts>{
                  {}, {"A"}, {"a"}, {"a", "b"}, {"a", "b", "c"}, {"a-"}, {"ab"}, {"b"}, {"\x80"}}));
}

TEST(FilterRuleTest, CopyHoldsTheSameTagAndSeverities) {
    FilterRule const original(kLongTag, kError);
    FilterRule const copy(original);

    EXPECT_EQ(copy.GetTag(), kLongParts);
    EXPECT_EQ(copy.GetSeverity(), kError);
    EXPECT_TRUE(copy == original);
}

TEST(FilterRuleTest, CopySharesNothingWithItsOriginal) {
    FilterRule original(kLongTag, kError);
    FilterRule const copy(original);
    EXPECT_NE(&copy.GetTag(), &original.GetTag());
    EXPECT_NE(copy.GetTag()[0].data(), original.GetTag()[0].data());

    original = FilterRule("other", kDebug);

    EXPECT_EQ(copy.GetTag(), kLongParts);
    EXPECT_EQ(copy.GetSeverity(), kError);
}

TEST(FilterRuleTest, CopyOutlivesItsOriginal) {
    auto original = std::make_unique<FilterRule>(kLongTag, kError);
    FilterRule const copy(*original);

    original.reset();

    EXPECT_EQ(copy.GetTag(), kLongParts);
    EXPECT_EQ(copy.GetSeverity(), kError);
}

TEST(FilterRuleTest, AssignmentReplacesTagAndSeverities) {
    FilterRule const source(kLongTag, kError);
    FilterRule target("a.b.c", kDebug);

    FilterRule& result = target = source;

    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.GetTag(), kLongParts);
    EXPECT_EQ(target.GetSeverity(), kError);
    EXPECT_EQ(source.GetTag(), kLongParts);
    EXPECT_NE(&target.GetTag(), &source.GetTag());
}

TEST(FilterRuleTest, EqualRuleIsAssignedWithItsSeverities) {
    FilterRule const source("a", kError);
    FilterRule target("a", kDebug);

    target = source;

    EXPECT_EQ(target.GetSeverity(), kError);
}

TEST(FilterRuleTest, AssignmentToItselfChangesNothingAndAllocatesNothing) {
    FilterRule rule(kLongTag, kError);
    FilterRule const& itself = rule;
    FilterRule const other(rule);
    ASSERT_EQ(AllocationsOf([&] { rule = other; }), 4u);

    EXPECT_EQ(AllocationsOf([&] { EXPECT_EQ(&(rule = itself), &rule); }), 0u);

    EXPECT_EQ(rule.GetTag(), kLongParts);
    EXPECT_EQ(rule.GetSeverity(), kError);
}

TEST(FilterRuleTest, AssignmentThatFindsNoMemoryLeavesTheRuleAsItWas) {
    FilterRule const source(kLongTag, kError);
    FilterRule target("a.b", kDebug);

    int const refusals = RefuseEachAllocation([&] { target = source; },
                                              [&] {
                                                  EXPECT_EQ(target.GetTag(), (Parts{"a", "b"}));
                                                  EXPECT_EQ(target.GetSeverity(), kDebug);
                                                  EXPECT_EQ(source.GetTag(), kLongParts);
                                              });

    EXPECT_EQ(refusals, 4);  // the record, the vector and its two strings
    EXPECT_EQ(target.GetTag(), kLongParts);
    EXPECT_EQ(target.GetSeverity(), kError);
}

TEST(FilterRuleTest, ConstructionThatFindsNoMemorySaysSo) {
    FilterRule const source(kLongTag, kError);

    EXPECT_EQ(RefuseEachAllocation([] { FilterRule const root(kInfo); }, [] {}), 1);
    EXPECT_EQ(RefuseEachAllocation([&] { FilterRule const copy(source); }, [] {}), 4);
    EXPECT_GE(RefuseEachAllocation([] { FilterRule const rule(kLongTag, kInfo); }, [] {}), 4);
}

TEST(FilterRuleTest, SwapExchangesTagAndSeverities) {
    FilterRule left("a.b", kDebug);
    FilterRule right(kLongTag, kError);

    left.Swap(right);

    EXPECT_EQ(left.GetTag(), kLongParts);
    EXPECT_EQ(left.GetSeverity(), kError);
    EXPECT_EQ(right.GetTag(), (Parts{"a", "b"}));
    EXPECT_EQ(right.GetSeverity(), kDebug);
}

TEST(FilterRuleTest, SwapExchangesTheRecordsAndAllocatesNothing) {
    FilterRule left("a.b", kDebug);
    FilterRule right(kLongTag, kError);
    Parts const* const leftParts = &left.GetTag();
    Parts const* const rightParts = &right.GetTag();
    ASSERT_EQ(AllocationsOf([&] { FilterRule const copy(right); }), 4u);

    EXPECT_EQ(AllocationsOf([&] { left.Swap(right); }), 0u);

    EXPECT_EQ(&left.GetTag(), rightParts);
    EXPECT_EQ(&right.GetTag(), leftParts);
    EXPECT_TRUE(noexcept(left.Swap(right)));
}

TEST(FilterRuleTest, SwapWithItselfChangesNothing) {
    FilterRule rule(kLongTag, kError);

    rule.Swap(rule);

    EXPECT_EQ(rule.GetTag(), kLongParts);
    EXPECT_EQ(rule.GetSeverity(), kError);
}

TEST(FilterRuleTest, MoveTakesTagAndSeveritiesAndAllocatesNothing) {
    FilterRule source(kLongTag, kError);
    FilterRule target("a", kDebug);
    ASSERT_EQ(AllocationsOf([&] { FilterRule const copy(source); }), 4u);

    unsigned long const allocations = AllocationsOf([&] {
        FilterRule moved(std::move(source));
        target = std::move(moved);
    });

    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(target.GetTag(), kLongParts);
    EXPECT_EQ(target.GetSeverity(), kError);
}

TEST(FilterRuleTest, MoveCannotFail) {
    EXPECT_TRUE(std::is_nothrow_move_constructible<FilterRule>::value);
    EXPECT_TRUE(std::is_nothrow_move_assignable<FilterRule>::value);
}

TEST(FilterRuleTest, RuleThatWasMovedFromMayBeDestroyed) {
    auto source = std::make_unique<FilterRule>(kLongTag, kError);
    FilterRule const target(std::move(*source));

    source.reset();

    EXPECT_EQ(target.GetTag(), kLongParts);
}

TEST(FilterRuleTest, RuleThatWasMovedFromMayBeAssignedTo) {
    FilterRule const source("a.b", kDebug);
    FilterRule first(kLongTag, kError);
    FilterRule second(kLongTag, kError);
    FilterRule const holders[] = {std::move(first), std::move(second)};

    first = source;
    second = FilterRule(source);

    for (FilterRule const* const rule : {&first, &second}) {
        EXPECT_EQ(rule->GetTag(), (Parts{"a", "b"}));
        EXPECT_EQ(rule->GetSeverity(), kDebug);
    }
    EXPECT_EQ(holders[0].GetTag(), kLongParts);
}

TEST(FilterRuleTest, SeverityIsNotARuleByItself) {
    EXPECT_FALSE((std::is_convertible<Severity, FilterRule>::value));
}

TEST(FilterRuleTest, ManyThreadsMayReadOneRule) {
    FilterRule const rule("a.b", kError);
    FilterRule const other("a.c", kError);
    std::vector<int> agreed(4);

    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                FilterRule const copy(rule);
                count += copy == rule && rule < other && rule.GetSeverity() == kError ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(agreed, (std::vector<int>{1000, 1000, 1000, 1000}));
}

}  // namespace
}  // namespace tarqlog
