// The locks of the library, for spin. An inline or a macro with an underscore in its name is the
// function of that name: LoggerImpl_PushRecord is LoggerImpl::PushRecord. Each line of it is a step,
// and behind it stands the line of the source that it is; `// }` is the end of a scope. What has no
// such comment is Promela's own, or notices a fault. scripts/gates/model holds both to the source.
//
// A scenario is one of the other files. It says how many THREADS, LOGGERS and APPENDERS there are,
// includes this one, defines DoAppend() and gives the threads something to do. A thread is a process
// with a number `me`, from 1 to THREADS.
//
// A configuration has a number, too, other than its generation: each change makes a new one, and the
// assertions know by it whose sinks a logger's list leads to.

#define NOBODY 0

// What a thread keeps from one step to the next; 0 wherever it does not matter, so that states which
// differ in nothing else are one.
#define LOCALS byte seen, before, count, collected, pushed; bool hasSink, isPaused

// ---- src/held_locks.h, src/unix/thread_shared_mutex.cpp, src/thread_mutex.cpp

byte held[THREADS + 1];  // HeldLocks() of each thread

// The system's default: who waits to have it exclusively keeps no reader out.
typedef Shared { byte readers; bool isExclusive }

#define SharedMutex_Lock(m) \
    atomic { m.readers == 0 && !m.isExclusive -> m.isExclusive = true; held[me]++ }
#define SharedMutex_Unlock(m) atomic { assert(m.isExclusive); m.isExclusive = false; held[me]-- }
#define SharedMutex_LockShared(m) atomic { !m.isExclusive -> m.readers++; held[me]++ }
#define SharedMutex_UnlockShared(m) atomic { assert(m.readers > 0); m.readers--; held[me]-- }

typedef Recursive { byte owner; byte depth }

#define ThreadMutex_Lock(m) \
    atomic { m.owner == NOBODY || m.owner == me -> m.owner = me; m.depth++; held[me]++ }
#define ThreadMutex_Unlock(m) \
    atomic { assert(m.owner == me); m.depth--; m.owner = (m.depth > 0 -> me : NOBODY); held[me]-- }

// The standard's mutex and the system's, which HeldLocks() does not count.
#define LOCK(m) atomic { m == NOBODY -> m = me }
#define UNLOCK(m) atomic { assert(m == me); m = NOBODY }

// ---- src/fork_list.cpp

byte listMutex;

#define ForkList_Lock() LOCK(listMutex)
#define ForkList_Unlock() UNLOCK(listMutex)

// ---- src/writer_gate.h

byte gateMutex;
byte asleep;  // a bit for each thread that waits for changed_
byte pending;
byte done;

inline WriterGate_WaitForWriters(first) {
    do
    :: done >= first -> break
    :: else ->
        atomic { asleep = asleep | 1 << me; UNLOCK(gateMutex) };  // changed_.wait(lock, [&] { return done_ >= count; });
        atomic { gateMutex == NOBODY && !(asleep & 1 << me) -> gateMutex = me }
    od
}

inline WriterGate_WaitForThoseAnnounced() {
    if
    :: held[me] == 0 ->                           // if (threads::HeldLocks() == 0) {
        LOCK(gateMutex);                          // std::unique_lock<std::mutex> lock(mutex_);
        count = done + pending;                   // WaitForWriters(lock, done_ + pending_.load(std::memory_order_relaxed));
        WriterGate_WaitForWriters(count);
        count = 0;
        UNLOCK(gateMutex)                         // }
    :: else
    fi
}

inline WriterGate_StepAside() {
    if
    :: pending != 0 ->                            // if (pending_.load(std::memory_order_relaxed) != 0) {
        WriterGate_WaitForThoseAnnounced()        // WaitForThoseAnnounced();
    :: else
    fi
}

inline WriterGate_Announce() {
    LOCK(gateMutex);                              // std::lock_guard<std::mutex> const lock(mutex_);
    atomic { before = done + pending; pending++ }  // return done_ + pending_.fetch_add(1, std::memory_order_relaxed);
    UNLOCK(gateMutex)                             // }
}

inline WriterGate_AwaitTurn() {
    if
    :: held[me] == 0 ->                           // if (threads::HeldLocks() == 0) {
        LOCK(gateMutex);                          // std::unique_lock<std::mutex> lock(mutex_);
        WriterGate_WaitForWriters(before);        // WaitForWriters(lock, before);
        UNLOCK(gateMutex)                         // }
    :: else
    fi
    before = 0
}

// A Passage does the same as it begins.
inline WriterGate_Enter() {
    WriterGate_Announce();                        // unsigned long long const before = Announce();
    WriterGate_AwaitTurn()                        // AwaitTurn(before);
}

inline WriterGate_Leave() {
    LOCK(gateMutex);                              // std::lock_guard<std::mutex> const lock(mutex_);
    pending--;                                    // pending_.fetch_sub(1, std::memory_order_relaxed);
    done++;                                       // ++done_;
    asleep = 0;                                   // changed_.notify_all();
    UNLOCK(gateMutex)                             // }
}

// ---- src/logcore.cpp

Shared coreMutex;
byte generation = 2;  // one sink has been added before the scenario begins
byte configurations = 1;
byte sinks = 1;       // the configuration whose sinks are registered; 0 is none
byte hierarchy = 1;   // and the one to whose sinks the tree leads

// ---- src/logger.cpp

byte viewGeneration[LOGGERS];
bool viewMask[LOGGERS];
byte list[LOGGERS];  // the configuration whose sinks are in sinks_
Shared loggerMutex[LOGGERS];
Recursive turn[LOGGERS];

// ---- src/appender_base.cpp, src/console_appender.cpp

Recursive appenderMutex[APPENDERS];
byte header[APPENDERS];  // whose record it is of
Recursive streamMutex;
byte line;               // who has begun one on the console

inline ConsoleAppender_DoAppend() {
    ThreadMutex_Lock(streamMutex);                // threads::ScopedLock const lock(*impl_->streamMutex);
    atomic { assert(line == NOBODY); line = me }  // std::fwrite(header.data(), header.size(), 1, stream)
    assert(line == me);                           // std::fwrite(text.data(), text.size(), 1, stream)
    atomic { assert(line == me); line = NOBODY }  // std::fputc('\n', stream)
    ThreadMutex_Unlock(streamMutex)               // }
}

inline AppenderBase_Append(l, a) {
    ThreadMutex_Lock(appenderMutex[a]);           // threads::ScopedLock const lock(impl_->mutex);
    header[a] = me;                               // impl_->formatHeader(impl_->header, record);
    assert(header[a] == me && list[l] == sinks);
    DoAppend(l, a);                               // DoAppend(record);
    assert(header[a] == me && list[l] == sinks);
    header[a] = (appenderMutex[a].depth > 1 -> me : NOBODY);
    ThreadMutex_Unlock(appenderMutex[a])          // }
}

// ---- src/logsink.cpp

inline LogSink_Consume(l) {
    AppenderBase_Append(l, 0)                     // appender->Append(record);
#if APPENDERS > 1
    ; AppenderBase_Append(l, 1)
#endif
}

// ---- src/fork_list.cpp, in the child

#define SharedMutex_Private_BeginAnew(m) m.readers = 0; m.isExclusive = false
#define ThreadMutex_Private_BeginAnew(m) m.owner = NOBODY; m.depth = 0

inline WriterGate_BeginAnew() {
    gateMutex = NOBODY;                           // new (&mutex_) std::mutex;
    asleep = 0;                                   // new (&changed_) std::condition_variable;
    pending = 0;                                  // pending_.store(0, std::memory_order_relaxed);
    done = 0                                      // done_ = 0;
}

inline ForkList_BeginAnew() {
    listMutex = NOBODY;                           // listMutex = PTHREAD_MUTEX_INITIALIZER;
    WriterGate_BeginAnew();                       // heir->beginAnew_(heir->owner_);
    SharedMutex_Private_BeginAnew(coreMutex);
    SharedMutex_Private_BeginAnew(loggerMutex[0]);
    ThreadMutex_Private_BeginAnew(turn[0]);
    ThreadMutex_Private_BeginAnew(appenderMutex[0]);
    ThreadMutex_Private_BeginAnew(streamMutex)
}

// ---- src/logcore.cpp

inline LogCoreImpl_PushRecord(l) {
    SharedMutex_LockShared(coreMutex);            // threads::ScopedSharedLock const lock(mutex_);
    if
    :: pushed == generation ->                    // if (generation == generation_.Get()) {
        pushed = 0;
        if
        :: list[l] != 0 ->                        // for (SinkEntry const& entry : sinks) {
            LogSink_Consume(l)                    // sinks_[entry.first]->Consume(record);
        :: else
        fi
    :: else -> pushed = 0
    fi
    SharedMutex_UnlockShared(coreMutex)           // }
}

inline LogCoreImpl_CollectSinks(l) {
    WriterGate_StepAside();                       // StepAside();
    SharedMutex_LockShared(coreMutex);            // threads::ScopedSharedLock const lock(mutex_);
    list[l] = hierarchy;                          // hierarchy_.Collect(sinks, tagParts);
    collected = generation;                       // return generation_.Get();
    SharedMutex_UnlockShared(coreMutex)           // }
}

inline LogCoreImpl_ReleaseSinks() {
    sinks = 0;                                    // sink.reset();
    // The locks of its appenders leave the list as they are destroyed.
    ForkList_Lock();
    ForkList_Unlock()
}

inline LogCoreImpl_RemoveAllSinks() {
    WriterGate_Enter();                           // WriterGate::Passage const passage(gate_);
    SharedMutex_Lock(coreMutex);                  // threads::ScopedLock const lock(mutex_);
    hierarchy = 0;                                // hierarchy_ = LogHierarchy();
    LogCoreImpl_ReleaseSinks();                   // ReleaseSinks();
    generation++;                                 // generation_.Advance();
    SharedMutex_Unlock(coreMutex);                // }
    WriterGate_Leave()
}

inline LogCoreImpl_AddSink() {
    WriterGate_Enter();                           // WriterGate::Passage const passage(gate_);
    SharedMutex_Lock(coreMutex);                  // threads::ScopedLock const lock(mutex_);
    generation++;                                 // generation_.Advance();
    atomic { configurations++; sinks = configurations }  // sinks_.push_back(sink);
    hierarchy = sinks;                            // Register(ownRules, rules_.emplace_back());
    SharedMutex_Unlock(coreMutex);                // }
    WriterGate_Leave()
}

inline LogCoreImpl_Pause() {
    WriterGate_Enter();                           // gate_.Enter();
    SharedMutex_Lock(coreMutex)                   // mutex_.Lock();
}

inline LogCoreImpl_GoOn() {
    SharedMutex_Unlock(coreMutex);                // mutex_.Unlock();
    WriterGate_Leave()                            // gate_.Leave();
}

inline LogCoreImpl_GoOnInChild() {
    held[me] = 0                                  // threads::HeldLocks() = 0;
}

inline ForkPause_Begin() {
    if
    :: held[me] != 0                              // if (threads::HeldLocks() != 0) {
    :: else ->
        LogCoreImpl_Pause();                      // Core().Pause();
        assert(line == NOBODY);                   // FlushConsole();
        ForkList_Lock();                          // ForkList::Lock();
        isPaused = true                           // isPaused = true;
    fi
}

inline ForkPause_End() {
    if
    :: isPaused ->                                // if (isPaused) {
        isPaused = false;                         // isPaused = false;
        ForkList_Unlock();                        // ForkList::Unlock();
        LogCoreImpl_GoOn()                        // Core().GoOn();
    :: else
    fi
}

inline ForkPause_EndInChild() {
    if
    :: isPaused ->                                // if (isPaused) {
        isPaused = false;                         // isPaused = false;
        ForkList_BeginAnew();                     // ForkList::BeginAnew();
        LogCoreImpl_GoOnInChild()                 // Core().GoOnInChild();
    :: else
    fi
}

// ---- src/logger.cpp, include/tarqlog/logger.h

// Its test is one step, since what is compared is written by who has the turn alone.
inline LoggerImpl_UpdateCache(l) {
    WriterGate_StepAside();                       // core_->StepAside();
    ThreadMutex_Lock(turn[l]);                    // threads::ScopedLock const turn(turn_);
    if
    :: viewGeneration[l] == generation            // if (view_.generation.load(std::memory_order_relaxed) == core_->GetConfigGeneration()) {
    :: else ->
        SharedMutex_Lock(loggerMutex[l]);         // threads::ScopedLock const lock(mutex_);
        LogCoreImpl_CollectSinks(l);              // unsigned int const generation = core_->CollectSinks(sinks_, parts_);
        viewMask[l] = (list[l] != 0);             // view_.mask.store(mask, std::memory_order_relaxed);
        viewGeneration[l] = collected;            // view_.generation.store(generation, std::memory_order_release);
        collected = 0;
        SharedMutex_Unlock(loggerMutex[l])        // }
    fi
    ThreadMutex_Unlock(turn[l])                   // }
}

inline Logger_HasSinkAnew(l) {
    LoggerImpl_UpdateCache(l);                    // impl_->UpdateCache();
    hasSink = viewMask[l]                         // return (view_.mask.load(std::memory_order_relaxed) & severity) != 0;
}

inline Logger_HasSink(l) {
    seen = viewGeneration[l];                     // return view_.generation.load(std::memory_order_acquire) ==
    if
    :: seen == generation ->                      // view_.current->load(std::memory_order_relaxed)
        seen = 0;
        hasSink = viewMask[l]                     // ? (view_.mask.load(std::memory_order_relaxed) & severity) != 0
    :: else ->
        seen = 0;
        Logger_HasSinkAnew(l)                     // : HasSinkAnew(severity);
    fi
}

inline LoggerImpl_PushRecord(l) {
    WriterGate_StepAside();                       // core_->StepAside();
    SharedMutex_LockShared(loggerMutex[l]);       // threads::ScopedSharedLock const lock(mutex_);
    pushed = viewGeneration[l];                   // core_->Deliver(view_.generation.load(std::memory_order_relaxed), sinks_, record);
    LogCoreImpl_PushRecord(l);
    SharedMutex_UnlockShared(loggerMutex[l])      // }
}

// A log statement.
inline Log(l) {
    Logger_HasSink(l);
    if
    :: hasSink ->
        hasSink = false;
        LoggerImpl_PushRecord(l)
    :: else
    fi
}
