#ifndef TARQLOG_SRC_FORK_LIST_H_
#define TARQLOG_SRC_FORK_LIST_H_

namespace tarqlog {

/// Calls the BeginAnew() of its owner, which must not throw, allocate or take a lock, in the child
/// of a fork: for what the child must make anew, a lock, which another thread may have held when it
/// was copied, or bytes that the parent will write.
///
/// The last member of its owner, so that it is in the list of the process only while all of the
/// owner is there: other threads fork while this one constructs or destroys.
class ForkHeir {
public:
    template <class Owner>
    explicit ForkHeir(Owner& owner)
        : owner_(&owner), beginAnew_([](void* heir) { static_cast<Owner*>(heir)->BeginAnew(); }) {
        Join();
    }
    ~ForkHeir();

    ForkHeir(ForkHeir const&) = delete;
    ForkHeir& operator=(ForkHeir const&) = delete;

private:
    friend class ForkList;

    void Join();

    void* const owner_;
    void (*const beginAnew_)(void* owner);
    ForkHeir* previous_ = nullptr;
    ForkHeir* next_ = nullptr;
};

/// The list of the process. Its lock is the last one that anybody takes.
class ForkList {
public:
    /// Keeps the list as it is while the process forks.
    static void Lock();

    /// In the parent.
    static void Unlock();

    /// In the child, in place of Unlock(), where there is no other thread yet.
    static void BeginAnew();

    /// In the child: tells ThreadSanitizer, whose books were copied, that this thread does not hold
    /// the system's `lock` any more.
    static void Disown(void* lock);
};

}  // namespace tarqlog

#endif  // TARQLOG_SRC_FORK_LIST_H_
