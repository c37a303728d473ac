#ifndef TARQLOG_TESTS_FUZZ_PROPERTY_H_
#define TARQLOG_TESTS_FUZZ_PROPERTY_H_

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace tarqlog {

/// Stops the fuzzer, which keeps the input then, unless `holds`.
inline void Require(bool holds, std::string const& property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property.c_str());
        std::abort();
    }
}

template <class Value>
void RequireEqual(Value const& actual, Value const& expected, std::string const& what) {
    if (!(actual == expected)) {
        std::fprintf(stderr, "is        %s\nshould be %s\n", testing::PrintToString(actual).c_str(),
                     testing::PrintToString(expected).c_str());
        Require(false, what);
    }
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_FUZZ_PROPERTY_H_
