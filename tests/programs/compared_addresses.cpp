// A program that is not position-independent has addresses of its own for a library's functions.
// Ends with 0 when the hooks that are in place at first are the functions that the program knows.

#include "tarqlog/log.h"
#include "tarqlog/logsysinfo.h"

int main() {
    using namespace tarqlog;
    bool const areTheSame = LogSysInfo::SetGetTimeFunc(nullptr) == &GetLocalTimeInMs &&
                            LogSysInfo::SetGetThreadIdFunc(nullptr) == &GetThisThreadId &&
                            SetGetMonotonicTimeFunc(nullptr) == &GetMonotonicTimeInNs;
    return areTheSame ? 0 : 1;
}
