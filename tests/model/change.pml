// Threads log through one logger while two others change the configuration.

#define THREADS 4
#define LOGGERS 1
#define APPENDERS 1
#include "library.pml"

inline DoAppend(l, a) {
    skip
}

proctype Logging(byte me) {
    LOCALS;
    do
    :: Log(0)
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

proctype Adding(byte me) {
    LOCALS;
    LogCoreImpl_AddSink();
    assert(held[me] == 0)
}

init {
    atomic { run Logging(1); run Logging(2); run Replacing(3); run Adding(4) }
}
