// The process exits, and a LogForbiddenGuard ends logging, while a thread logs that nobody has stopped.

#define THREADS 3
#define LOGGERS 1
#define APPENDERS 1
#include "library.pml"

bool isGone;  // the process

inline DoAppend(l, a) {
    skip
}

proctype Logging(byte me) {
    LOCALS;
    {
        do
        :: Log(0)
        od
    } unless { isGone }
}

proctype Forbidding(byte me) {
    LOCALS;
    {
        LogCoreImpl_RemoveAllSinks();
        assert(held[me] == 0)
    } unless { isGone }
}

proctype Exiting(byte me) {
    LOCALS;
    LogCoreImpl_RemoveAllSinks();
    assert(held[me] == 0);
    isGone = true
}

init {
    atomic { run Logging(1); run Forbidding(2); run Exiting(3) }
}

ltl gets_through { <> isGone }
