#include "fork_list.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "support/child.h"

namespace tarqlog {
namespace {

class LetterOwner {
public:
    LetterOwner(char letter, std::string& called) : letter_(letter), called_(called) {
        called_.reserve(9);
    }

    void BeginAnew() { called_ += letter_; }

private:
    char const letter_;
    std::string& called_;
    ForkHeir heir_{*this};
};

/// The letters of those that begin anew.
std::string Called(std::string& called) {
    called.clear();
    ForkList::Lock();
    ForkList::BeginAnew();  // stands in for Unlock()
    return called;
}

TEST(ForkListTest, EachOwnerBeginsAnewOnceUntilItIsDestroyed) {
    std::string called;
    LetterOwner const a('a', called);
    std::optional<LetterOwner> b(std::in_place, 'b', called);
    LetterOwner const c('c', called);
    std::optional<LetterOwner> d(std::in_place, 'd', called);
    EXPECT_EQ(Called(called), "dcba");

    b.reset();  // from the middle
    EXPECT_EQ(Called(called), "dca");
    d.reset();  // from the front
    EXPECT_EQ(Called(called), "ca");
    b.emplace('b', called);
    EXPECT_EQ(Called(called), "bca");
    b.reset();
    EXPECT_EQ(Called(called), "ca");
}

TEST(ForkListTest, LastOwnerLeavesTheOthers) {
    std::string called;
    std::optional<LetterOwner> a(std::in_place, 'a', called);
    LetterOwner const b('b', called);

    a.reset();

    EXPECT_EQ(Called(called), "b");
}

TEST(ForkListTest, OwnersInARowMayGo) {
    std::string called;
    std::optional<LetterOwner> a(std::in_place, 'a', called);
    std::optional<LetterOwner> b(std::in_place, 'b', called);
    LetterOwner const c('c', called);

    b.reset();
    a.reset();

    EXPECT_EQ(Called(called), "c");
}

TEST(ForkListTest, ListMayBeUsedAfterEitherEndOfAFork) {
    std::string called;
    ForkList::Lock();
    ForkList::Unlock();
    LetterOwner const a('a', called);
    ForkList::Lock();
    ForkList::BeginAnew();

    LetterOwner const b('b', called);

    EXPECT_EQ(Called(called), "ba");
}

}  // namespace
}  // namespace tarqlog
