// A thread that asks its logger for the first time, or after a change, gets its answer, though
// others never cease to push what the logger has let through.

#define THREADS 3
#define LOGGERS 1
#define APPENDERS 1
#include "library.pml"

bool isDone;

inline DoAppend(l, a) {
    skip
}

proctype Logging(byte me) {
    LOCALS;
    do
    :: Log(0)
    od
}

proctype Asking(byte me) {
    LOCALS;
    Logger_HasSink(0);
    isDone = true
}

init {
    atomic { run Logging(1); run Logging(2); run Asking(3) }
}

ltl gets_through { <> isDone }
