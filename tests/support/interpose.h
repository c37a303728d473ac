#ifndef TARQLOG_TESTS_SUPPORT_INTERPOSE_H_
#define TARQLOG_TESTS_SUPPORT_INTERPOSE_H_

#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace tarqlog {

// A test program that defines a function of the C library gets the library's calls to it. The
// definition, extern "C" and at namespace scope, passes on through Next() and asks a Fault whether
// this call is the one to fail:
//
//     Fault clockFault;
//     extern "C" int gettimeofday(timeval* now, void* zone) {
//         return clockFault.Strikes() ? -1 : TARQLOG_NEXT(gettimeofday)(now, zone);
//     }

/// Counts the calls of an interposed function and says which of them fail.
class Fault {
public:
    /// The `nth` call from now on fails, 1 being the next.
    void StrikeAt(long nth) { strikeAt_ = calls_ + nth; }

    void Disarm() { strikeAt_ = 0; }

    /// Counts a call; whether it is to fail.
    bool Strikes() {
        long const call = ++calls_;
        bool const strikes = call == strikeAt_;
        hits_ += strikes ? 1 : 0;
        return strikes;
    }

    long Calls() const { return calls_; }
    long Hits() const { return hits_; }

private:
    std::atomic<long> calls_{0};
    std::atomic<long> hits_{0};
    std::atomic<long> strikeAt_{0};
};

/// The definition of `name` that the program's own stands before.
inline void* NextSymbol(const char* name) {
    void* const symbol = ::dlsym(RTLD_NEXT, name);
    if (symbol == nullptr) {
        std::fprintf(stderr, "no %s behind the test's own\n", name);
        std::abort();
    }
    return symbol;
}

}  // namespace tarqlog

/// Calls what the interposed `function` stands before.
#define TARQLOG_NEXT(function) \
    reinterpret_cast<decltype(&::function)>(::tarqlog::NextSymbol(#function))

#endif  // TARQLOG_TESTS_SUPPORT_INTERPOSE_H_
