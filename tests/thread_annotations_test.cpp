#include "tarqlog/thread_annotations.h"

#include <string>

#include <gtest/gtest.h>

#include "support/compiler.h"

namespace tarqlog {
namespace {

/// A class with a guarded member and two ways to write it; `statement` is a function's whole body.
ChildResult CompileWithGuardedMember(std::string const& statement) {
    std::string const code =
        "#include \"tarqlog/scoped_lock.h\"\n"
        "#include \"tarqlog/thread_mutex.h\"\n"
        "#include \"tarqlog/thread_shared_mutex.h\"\n"
        "using namespace tarqlog::threads;\n"
        "struct Guarded {\n"
        "    void WriteHeld() TARQLOG_REQUIRES(mutex) { value = 1; }\n"
        "    int ReadHeld() TARQLOG_REQUIRES_SHARED(sharedMutex) { return sharedValue; }\n"
        "    void WriteByContract() TARQLOG_NO_THREAD_SAFETY_ANALYSIS { value = 1; }\n"
        "    ThreadMutex mutex;\n"
        "    int value TARQLOG_GUARDED_BY(mutex) = 0;\n"
        "    SharedMutex sharedMutex;\n"
        "    int sharedValue TARQLOG_GUARDED_BY(sharedMutex) = 0;\n"
        "};\n"
        "void Function(Guarded& guarded) { " +
        statement + " }\n";
#if defined(__clang__)
    return Compile(code, {"-Wthread-safety", "-Werror"});
#else
    return Compile(code, {"-Wall", "-Wextra", "-Wpedantic", "-Werror"});
#endif
}

TEST(ThreadAnnotationsTest, OrderlyUseIsAccepted) {
    for (std::string const statement : {
             "ScopedLock<ThreadMutex> lock(guarded.mutex); guarded.value = 2;",
             "ScopedLock<ThreadMutex> lock(guarded.mutex); guarded.WriteHeld();",
             "guarded.mutex.Lock(); guarded.value = 2; guarded.mutex.Unlock();",
             "if (guarded.mutex.TryLock()) { guarded.value = 2; guarded.mutex.Unlock(); }",
             "ScopedLock<SharedMutex> lock(guarded.sharedMutex); guarded.sharedValue = 2;",
             "ScopedSharedLock<SharedMutex> lock(guarded.sharedMutex); guarded.ReadHeld();",
             "guarded.sharedMutex.LockShared(); guarded.ReadHeld(); "
             "guarded.sharedMutex.UnlockShared();",
             "guarded.WriteByContract();",
         }) {
        ChildResult const result = CompileWithGuardedMember(statement);
        EXPECT_EQ(result.exitStatus, 0) << statement << '\n' << result.errors;
    }
}

TEST(ThreadAnnotationsTest, DisorderIsRefusedByTheCompilerThatChecksIt) {
    for (std::string const statement : {
             "guarded.value = 2;",
             "guarded.WriteHeld();",
             "guarded.ReadHeld();",
             "guarded.mutex.Lock();",
             "guarded.mutex.Unlock();",
             "guarded.mutex.TryLock(); guarded.value = 2;",
             "guarded.sharedMutex.LockShared(); guarded.sharedMutex.Unlock();",
             "ScopedSharedLock<SharedMutex> lock(guarded.sharedMutex); guarded.sharedValue = 2;",
         }) {
        ChildResult const result = CompileWithGuardedMember(statement);
#if defined(__clang__)
        EXPECT_NE(result.exitStatus, 0) << statement;
        EXPECT_NE(result.errors.find("-Wthread-safety"), std::string::npos) << result.errors;
#else
        EXPECT_EQ(result.exitStatus, 0) << statement << '\n' << result.errors;
#endif
    }
}

}  // namespace
}  // namespace tarqlog
