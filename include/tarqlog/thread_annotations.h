#ifndef TARQLOG_THREAD_ANNOTATIONS_H_
#define TARQLOG_THREAD_ANNOTATIONS_H_

// What a mutex guards, in words that Clang's -Wthread-safety checks. Empty for other compilers.

/// The attribute by its name in Clang, for those below; nothing elsewhere.
#if defined(__clang__)
#define TARQLOG_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define TARQLOG_THREAD_ATTRIBUTE(attribute)
#endif

/// The class is a lock; `kind` names it in warnings.
#define TARQLOG_CAPABILITY(kind) TARQLOG_THREAD_ATTRIBUTE(capability(kind))
/// The class holds a lock from its constructor to its destructor.
#define TARQLOG_SCOPED_CAPABILITY TARQLOG_THREAD_ATTRIBUTE(scoped_lockable)
/// The member is read with the lock held in any mode and written with it held exclusively.
#define TARQLOG_GUARDED_BY(mutex) TARQLOG_THREAD_ATTRIBUTE(guarded_by(mutex))
/// The function takes the lock and returns with it held; without an argument the lock is `this`.
#define TARQLOG_ACQUIRE(...) TARQLOG_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TARQLOG_ACQUIRE_SHARED(...) TARQLOG_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
/// The function takes the lock when it returns `success`.
#define TARQLOG_TRY_ACQUIRE(success) TARQLOG_THREAD_ATTRIBUTE(try_acquire_capability(success))
/// The function releases the lock: held exclusively, shared, or in either mode.
#define TARQLOG_RELEASE(...) TARQLOG_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TARQLOG_RELEASE_SHARED(...) TARQLOG_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define TARQLOG_RELEASE_GENERIC(...) \
    TARQLOG_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
/// The caller holds the lock: exclusively, or in any mode.
#define TARQLOG_REQUIRES(mutex) TARQLOG_THREAD_ATTRIBUTE(requires_capability(mutex))
#define TARQLOG_REQUIRES_SHARED(mutex) TARQLOG_THREAD_ATTRIBUTE(requires_shared_capability(mutex))
/// The function is the lock's own inside, or unlocked by contract; a comment beside it says which.
#define TARQLOG_NO_THREAD_SAFETY_ANALYSIS TARQLOG_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif  // TARQLOG_THREAD_ANNOTATIONS_H_
