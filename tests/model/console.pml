// Two console appenders write to one stream for a thread that logs, the program writes to it itself, and
// another thread logs while it holds an appender's mutex. One more takes the appenders away.

#define THREADS 4
#define LOGGERS 1
#define APPENDERS 2
#include "library.pml"

inline DoAppend(l, a) {
    ConsoleAppender_DoAppend()
}

proctype Logging(byte me) {
    LOCALS;
    do
    :: Log(0)
    :: break
    od;
    assert(held[me] == 0)
}

proctype Printing(byte me) {
    ThreadMutex_Lock(streamMutex);
    assert(line == NOBODY);
    line = me;
    atomic { assert(line == me); line = NOBODY }
    ThreadMutex_Unlock(streamMutex)
}

proctype Holding(byte me) {
    LOCALS;
    ThreadMutex_Lock(appenderMutex[1]);
    Log(0);
    ThreadMutex_Unlock(appenderMutex[1]);
    assert(held[me] == 0)
}

proctype Removing(byte me) {
    LOCALS;
    LogCoreImpl_RemoveAllSinks();
    assert(held[me] == 0)
}

init {
    atomic { run Logging(1); run Printing(2); run Holding(3); run Removing(4) }
}
