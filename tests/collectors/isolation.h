#ifndef TARQLOG_TESTS_COLLECTORS_ISOLATION_H_
#define TARQLOG_TESTS_COLLECTORS_ISOLATION_H_

#include <sys/types.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace tarqlog {

// Mounts and networks of a test's own, for which the machine's stay as they are. The namespaces
// have no names: they are gone with the processes in them, however these end.

/// Takes the calling process, which has but one thread, into namespaces of its own, where it is
/// root; if need be in a user namespace, where there is no other user. Its network is a loopback
/// interface. Throws when the kernel refuses.
/// @param kinds  CLONE_NEWNS, CLONE_NEWNET or both
void EnterOwnNamespaces(int kinds);

/// Why the kernel refuses these namespaces; empty when it does not.
std::string RefusalOfNamespaces(int kinds);

/// Runs `body` in a child process in namespaces of its own. What the child writes is printed; what
/// it expects in vain or throws fails the test.
void RunInOwnNamespaces(int kinds, std::function<void()> const& body);

/// Skips its tests when, and only when, there are no namespaces for this user.
class OwnNamespacesTest : public testing::Test {
protected:
    explicit OwnNamespacesTest(int kinds) : kinds_(kinds) {}

    void SetUp() override {
        std::string const refusal = RefusalOfNamespaces(kinds_);
        if (!refusal.empty()) {
            GTEST_SKIP() << refusal;
        }
    }

    void Run(std::function<void()> const& body) const { RunInOwnNamespaces(kinds_, body); }

private:
    int const kinds_;
};

/// The address by which all hosts know the one that runs the test.
constexpr char kCollectorAddress[] = "192.0.2.1";

/// One more host, as far as the network can tell: a child process in a network of its own, with a
/// wire between its eth0 and the network of the calling process. Both end with the scope.
///
/// To be made in namespaces of the test's own only, and while there is but one thread.
class Host {
public:
    /// Returns when the wire is ready.
    /// @param number  from 1, for the address
    /// @param body    what the host will do; what it throws fails Join()
    Host(int number, std::function<void()> const& body);
    ~Host();

    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;

    /// Lets it do what it is there for.
    void Begin() const;

    /// Waits for its end; throws when that was not a good one.
    void Join();

    /// 192.0.2.11 for number 1.
    static std::string Address(int number);

private:
    int const number_;
    int line_ = -1;  // to the child: each side says with one byte that it is ready
    pid_t pid_ = 0;
};

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_COLLECTORS_ISOLATION_H_
