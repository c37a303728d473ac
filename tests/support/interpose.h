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

/// The definition that the program's own, at `own`, stands before.
inline void* NextSymbol(void const* own) {
    // Not by its name in the source: gmtime_r() may be __gmtime64_r, with another kind of time.
    Dl_info symbol = {};
    ::dladdr(own, &symbol);
    char const* const name = symbol.dli_sname != nullptr ? symbol.dli_sname : "nameless function";
    void* const next = ::dlsym(RTLD_NEXT, name);
    if (next == nullptr) {
        std::fprintf(stderr, "no %s behind the test's own\n", name);
        std::abort();
    }
    return next;
}

}  // namespace tarqlog

/// Calls what the interposed `function` stands before.
#define TARQLOG_NEXT(function)               \
    reinterpret_cast<decltype(&::function)>( \
        ::tarqlog::NextSymbol(reinterpret_cast<void const*>(&::function)))

/// The same, looked up once and without the lock that guards a static object: for the functions of
/// which such a lock is made.
#define TARQLOG_NEXT_WITHOUT_LOCK(function)                                            \
    ([] {                                                                              \
        static std::atomic<void*> known{nullptr};                                      \
        if (known.load() == nullptr) {                                                 \
            known = ::tarqlog::NextSymbol(reinterpret_cast<void const*>(&::function)); \
        }                                                                              \
        return reinterpret_cast<decltype(&::function)>(known.load());                  \
    }())

#endif  // TARQLOG_TESTS_SUPPORT_INTERPOSE_H_
