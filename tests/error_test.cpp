#include "tarqlog/error.h"

#include <cerrno>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "tarqlog/thread_shared_mutex.h"

#include "support/allocations.h"

#if defined(__clang__)
// A lock is asked for twice, so that it is refused.
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

namespace tarqlog {
namespace log_utils {
namespace {

static_assert(std::is_nothrow_copy_constructible<Error>::value, "catching by value never throws");

TEST(ErrorTest, MessageIsKeptUnchanged) {
    for (std::string const message : {"abc", "", "two\nlines", "100%s"}) {
        SCOPED_TRACE(message);
        EXPECT_STREQ(Error(message).what(), message.c_str());
    }
}

TEST(ErrorTest, ErrnoIsThatOfTheConstruction) {
    for (int number : {2, 0, -1, 2147483647}) {
        SCOPED_TRACE(number);
        std::string const message("abc");
        errno = number;

        Error const error(message);
        errno = 5;

        EXPECT_EQ(error.GetErrno(), number);
    }
}

TEST(ErrorTest, CopyKeepsMessageAndErrno) {
    errno = 2;
    Error const original("abc");
    errno = 3;
    Error other("xyz");

    Error const copy(original);
    other = original;

    EXPECT_STREQ(copy.what(), "abc");
    EXPECT_EQ(copy.GetErrno(), 2);
    EXPECT_STREQ(other.what(), "abc");
    EXPECT_EQ(other.GetErrno(), 2);
}

template <class Handled>
std::string MessageCaughtAs() {
    try {
        throw Error("abc");
    } catch (Handled const& error) {
        return error.what();
    }
}

TEST(ErrorTest, ItIsCaughtByItsOwnTypeAndByTheStandardOnes) {
    EXPECT_EQ(MessageCaughtAs<Error>(), "abc");
    EXPECT_EQ(MessageCaughtAs<std::runtime_error>(), "abc");
    EXPECT_EQ(MessageCaughtAs<std::exception>(), "abc");
}

TEST(ErrorTest, ItIsCaughtWhenTheLibraryThrowsIt) {
    threads::SharedMutex mutex;
    mutex.Lock();
    std::string message;

    try {
        mutex.Lock();  // the same thread once more
    } catch (Error const& error) {
        message = error.what();
    }
    mutex.Unlock();

    EXPECT_EQ(message, "pthread_rwlock_wrlock ret:35");
}

TEST(ErrorTest, WithoutMemoryForTheMessageThatFailureIsThrownInstead) {
    std::string const message(100, 'x');

    AllocationLimit const none(0);
    EXPECT_THROW(Error{message}, std::bad_alloc);
    EXPECT_EQ(none.Refused(), 1UL);
}

}  // namespace
}  // namespace log_utils
}  // namespace tarqlog
