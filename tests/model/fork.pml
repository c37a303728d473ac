// A thread forks while others log and change the configuration, and so does one from within an
// appender. After a fork the scenario goes on in the parent or in the child.

#define THREADS 4
#define LOGGERS 1
#define APPENDERS 1
#include "library.pml"

byte alone;  // who forked, in the child: the other threads are not there
bool isOver;

#define IS_THERE(thread) ((alone == NOBODY || alone == thread) && !isOver)

inline DoAppend(l, a) {
    if
    :: me == 1 ->
        ForkPause_Begin();
        if
        :: true -> ForkPause_End()
        :: true ->
            ForkPause_EndInChild();
            isOver = true  // this child may only leave
        fi
    :: me != 1 -> ConsoleAppender_DoAppend()
    fi
}

proctype Logging(byte me) {
    LOCALS;
    {
        do
        :: Log(0)
        :: break
        od;
        assert(held[me] == 0)
    } unless { !IS_THERE(me) }
}

proctype Removing(byte me) {
    LOCALS;
    {
        LogCoreImpl_RemoveAllSinks();
        assert(held[me] == 0)
    } unless { !IS_THERE(me) }
}

proctype Forking(byte me) {
    LOCALS;
    {
        ForkPause_Begin();
        if
        :: true -> ForkPause_End()
        :: true ->
            alone = me;
            (_nr_pr == 2);  // init and this one
            ForkPause_EndInChild();
            Log(0);
            LogCoreImpl_RemoveAllSinks();
            LogCoreImpl_AddSink()
        fi;
        Log(0);
        assert(held[me] == 0)
    } unless { !IS_THERE(me) }
}

init {
    atomic { run Forking(4); run Logging(1); run Logging(2); run Removing(3) }
}
