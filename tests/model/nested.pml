// An appender that logs: while thread 1 and thread 2 write through it, it logs to the second logger,
// to which thread 2 logs as well, and is itself where that record goes. Another thread changes the
// configuration.

#define THREADS 3
#define LOGGERS 2
#define APPENDERS 1
#include "library.pml"

bool isWithin[THREADS + 1];  // the thread logs from within DoAppend()

// The record within is pushed by a process of its own, with the number of the thread: an inline
// cannot be within itself.
inline DoAppend(l, a) {
    if
    :: isWithin[me]
    :: else ->
        isWithin[me] = true;
        !isWithin[me]
    fi
}

proctype LoggingWithin(byte me) {
    LOCALS;
end:
    do
    :: isWithin[me] ->
        Log(1);
        isWithin[me] = false
    od
}

proctype Logging(byte me; byte first) {
    LOCALS;
    do
    :: Log(first)
    :: break
    od;
    assert(held[me] == 0)
}

proctype Replacing(byte me) {
    LOCALS;
    LogCoreImpl_RemoveAllSinks();
    LogCoreImpl_AddSink();
    assert(held[me] == 0)
}

init {
    atomic {
        run LoggingWithin(1);
        run LoggingWithin(2);
        run Logging(1, 0);
        run Logging(2, 1);
        run Replacing(3)
    }
}
