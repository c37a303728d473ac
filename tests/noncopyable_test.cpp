#include "tarqlog/noncopyable.h"

#include <type_traits>

#include <gtest/gtest.h>

namespace tarqlog {
namespace log_utils {
namespace {

/// Counts how many of its kind live.
class Derived : private Noncopyable {
public:
    Derived() { ++living; }
    ~Derived() { --living; }

    static int living;
};

int Derived::living = 0;

class OpenlyDerived : public Noncopyable {};

TEST(NoncopyableTest, DerivedClassIsConstructedAndDestroyedNormally) {
    {
        Derived const one;
        Derived const two;
        EXPECT_EQ(Derived::living, 2);
    }

    EXPECT_EQ(Derived::living, 0);
}

TEST(NoncopyableTest, DerivedClassCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<Derived>::value);
    EXPECT_FALSE(std::is_copy_assignable<Derived>::value);
    EXPECT_FALSE(std::is_copy_constructible<OpenlyDerived>::value);
    EXPECT_FALSE(std::is_copy_assignable<OpenlyDerived>::value);
}

TEST(NoncopyableTest, DerivedClassCannotBeMoved) {
    EXPECT_FALSE(std::is_move_constructible<Derived>::value);
    EXPECT_FALSE(std::is_move_assignable<Derived>::value);
    EXPECT_FALSE(std::is_move_constructible<OpenlyDerived>::value);
    EXPECT_FALSE(std::is_move_assignable<OpenlyDerived>::value);
}

TEST(NoncopyableTest, ItIsOfUseAsABaseAlone) {
    EXPECT_FALSE(std::is_default_constructible<Noncopyable>::value);
    EXPECT_FALSE(std::is_destructible<Noncopyable>::value);
}

TEST(NoncopyableTest, ItAddsNothingToTheDerivedClass) {
    EXPECT_TRUE(std::is_empty<Derived>::value);
    EXPECT_FALSE(std::is_polymorphic<Derived>::value);
}

}  // namespace
}  // namespace log_utils
}  // namespace tarqlog
