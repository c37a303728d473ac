#ifndef TARQLOG_TESTS_FAULTS_TEXTS_H_
#define TARQLOG_TESTS_FAULTS_TEXTS_H_

#include <string>
#include <vector>

namespace tarqlog::faults {

/// What a text may hold by mistake or by malice. The last one has 10 MiB.
inline std::vector<std::string> OddTexts() {
    using namespace std::string_literals;
    return {"a NUL\0 within"s,           "a line feed\n within"s,  "\x1B[31man escape\x1B[m"s,
            "%n %s %1000d {} {0}"s,      "\xFF\xFE\xC3\x28 \x80"s, "a carriage return\r within"s,
            std::string(10U << 20U, 'x')};
}

}  // namespace tarqlog::faults

#endif  // TARQLOG_TESTS_FAULTS_TEXTS_H_
