// A change of the configuration gets through, though threads never cease to log, and to log from
// within an appender.

#define THREADS 3
#define LOGGERS 1
#define APPENDERS 1
#include "library.pml"

bool isWithin[THREADS + 1];  // see nested.pml
bool isDone;

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
        Log(0);
        isWithin[me] = false
    od
}

proctype Logging(byte me) {
    LOCALS;
    do
    :: Log(0)
    od
}

proctype Removing(byte me) {
    LOCALS;
    LogCoreImpl_RemoveAllSinks();
    isDone = true
}

init {
    atomic {
        run LoggingWithin(1);
        run LoggingWithin(2);
        run Logging(1);
        run Logging(2);
        run Removing(3)
    }
}

ltl gets_through { <> isDone }
