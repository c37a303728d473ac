#include "tarqlog/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/allocations.h"
#include "support/child.h"
#include "support/interpose.h"
#include "support/path_oracle.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace log_utils {
namespace {

using Strings = std::vector<std::string>;

// Each counts the library's calls of one function. A struck call does nothing, leaves `failure` in
// errno and returns as if it had failed; those that close, and strerror_r, do their work first.
Fault opens, closes, reads, writes, seeks, truncations, syncs, locks;
Fault listings, entries, listingsClosed, stats, spaces, currentDirs, dirChanges;
Fault dirsMade, dirsRemoved, removals, renames, messages;
int failure = EIO;
int interruptions = 0;  // so many calls from now on fail with EINTR

Strings* journal = nullptr;  // takes down the calls
int lastDescriptor = -1;
int lastOpenFlags = -1;
mode_t lastOpenMode = 0;
std::size_t mostBytes = SIZE_MAX;            // of one read or write
long long claimedEnd = -1;                   // what seeking to the end answers, unless negative
int statusesTold = 0;                        // counted by those who change what stat tells
void (*editStatus)(struct stat&) = nullptr;  // changes what stat tells
Strings const* claimedNames = nullptr;       // what readdir lists instead
std::size_t claimedNamesListed = 0;

/// The directories of this process's own, without links in their paths.
Strings& OwnDirectories() {
    static Strings directories;
    return directories;
}

bool IsWithin(std::string const& path, std::string const& directory) {
    return path == directory || path.compare(0, directory.size() + 1, directory + "/") == 0;
}

/// Ends the program before anything outside of its own directories is removed or renamed.
void GuardRemoval(char const* path) {
    int const kept = errno;
    std::string const whole = path;
    std::string::size_type const nameStart = whole.rfind('/') + 1;
    std::string const parent = nameStart == 0 ? "." : whole.substr(0, nameStart);
    char* const real = ::realpath(parent.c_str(), nullptr);
    bool own = real == nullptr;  // where there is nothing, nothing is removed
    for (std::string const& directory : OwnDirectories()) {
        own = own || IsWithin(real + ("/" + whole.substr(nameStart)), directory);
    }
    std::free(real);
    if (!own) {
        std::fprintf(stderr, "will not remove %s\n", path);
        std::abort();
    }
    errno = kept;
}

/// A path as it is told in the journal: without the directory of the test.
std::string Told(std::string const& path) {
    for (std::string const& directory : OwnDirectories()) {
        if (IsWithin(path, directory)) {
            return path == directory ? "." : path.substr(directory.size() + 1);
        }
    }
    return path;
}

std::string Of(int descriptor) {
    return descriptor == lastDescriptor ? "" : " of " + std::to_string(descriptor);
}

/// Takes down what `call` tells. Without a journal nothing is told, which takes no memory.
template <class Call>
void Note(Call call) {
    if (journal != nullptr) {
        journal->push_back(call());
    }
}

/// Whether this call is to fail.
bool Fails(Fault& fault) {
    bool const interrupted = interruptions > 0;
    bool const struck = fault.Strikes();
    if (interrupted) {
        --interruptions;
        errno = EINTR;
    } else if (struck) {
        errno = failure;
    }
    return interrupted || struck;
}

Strings CallsOf(std::function<void()> const& body) {
    Strings calls;
    journal = &calls;
    body();
    journal = nullptr;
    return calls;
}

}  // namespace
}  // namespace log_utils
}  // namespace tarqlog

namespace lu = tarqlog::log_utils;

extern "C" {

int open(char const* path, int flags, ...) {
    static auto* const next = TARQLOG_NEXT(open);
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    lu::Note([&] { return "open " + lu::Told(path); });
    lu::lastOpenFlags = flags;
    lu::lastOpenMode = mode;
    if (lu::Fails(lu::opens)) {
        return -1;
    }
    return lu::lastDescriptor = next(path, flags, mode);
}

int close(int descriptor) {
    static auto* const next = TARQLOG_NEXT(close);
    lu::Note([&] { return "close" + lu::Of(descriptor); });
    int const result = next(descriptor);
    return lu::Fails(lu::closes) ? -1 : result;
}

ssize_t read(int descriptor, void* data, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(read);
    lu::Note([&] { return "read " + std::to_string(size) + lu::Of(descriptor); });
    return lu::Fails(lu::reads) ? -1 : next(descriptor, data, std::min(size, lu::mostBytes));
}

ssize_t write(int descriptor, void const* data, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(write);
    lu::Note([&] { return "write " + std::to_string(size) + lu::Of(descriptor); });
    return lu::Fails(lu::writes) ? -1 : next(descriptor, data, std::min(size, lu::mostBytes));
}

off_t lseek(int descriptor, off_t offset, int whence) {
    static auto* const next = TARQLOG_NEXT(lseek);
    char const* const origin = whence == SEEK_SET   ? "begin"
                               : whence == SEEK_CUR ? "current"
                               : whence == SEEK_END ? "end"
                                                    : "?";
    lu::Note([&] { return "lseek " + std::to_string(offset) + " " + origin + lu::Of(descriptor); });
    if (lu::Fails(lu::seeks)) {
        return -1;
    }
    off_t const position = next(descriptor, offset, whence);
    return whence == SEEK_END && lu::claimedEnd >= 0 ? lu::claimedEnd : position;
}

int ftruncate(int descriptor, off_t size) {
    static auto* const next = TARQLOG_NEXT(ftruncate);
    lu::Note([&] { return "ftruncate " + std::to_string(size) + lu::Of(descriptor); });
    return lu::Fails(lu::truncations) ? -1 : next(descriptor, size);
}

int fsync(int descriptor) {
    static auto* const next = TARQLOG_NEXT(fsync);
    lu::Note([&] { return "fsync" + lu::Of(descriptor); });
    return lu::Fails(lu::syncs) ? -1 : next(descriptor);
}

int flock(int descriptor, int operation) {
    static auto* const next = TARQLOG_NEXT(flock);
    lu::Note([&] { return "flock " + std::to_string(operation) + lu::Of(descriptor); });
    return lu::Fails(lu::locks) ? -1 : next(descriptor, operation);
}

DIR* opendir(char const* path) {
    static auto* const next = TARQLOG_NEXT(opendir);
    lu::Note([&] { return "opendir " + lu::Told(path); });
    return lu::Fails(lu::listings) ? nullptr : next(path);
}

dirent* readdir(DIR* directory) {
    static auto* const next = TARQLOG_NEXT(readdir);
    if (lu::Fails(lu::entries)) {
        return nullptr;
    }
    if (lu::claimedNames == nullptr) {
        return next(directory);
    }
    if (lu::claimedNamesListed == lu::claimedNames->size()) {
        return nullptr;
    }
    static dirent entry;
    std::string const& name = (*lu::claimedNames)[lu::claimedNamesListed++];
    std::snprintf(entry.d_name, sizeof entry.d_name, "%s", name.c_str());
    return &entry;
}

int closedir(DIR* directory) {
    static auto* const next = TARQLOG_NEXT(closedir);
    lu::Note([] { return std::string("closedir"); });
    int const result = next(directory);
    return lu::Fails(lu::listingsClosed) ? -1 : result;
}

int stat(char const* path, struct stat* status) {
    static auto* const next = TARQLOG_NEXT(stat);
    lu::Note([&] { return "stat " + lu::Told(path); });
    if (lu::Fails(lu::stats)) {
        return -1;
    }
    int const result = next(path, status);
    if (result == 0 && lu::editStatus != nullptr) {
        lu::editStatus(*status);
    }
    return result;
}

int statvfs(char const* path, struct statvfs* space) {
    lu::Note([&] { return "statvfs " + lu::Told(path); });
    if (lu::Fails(lu::spaces)) {
        return -1;
    }
    *space = {};
    space->f_bsize = 65536;
    space->f_frsize = 4096;
    space->f_blocks = 3000000000;
    space->f_bfree = 2000000000;
    space->f_bavail = 1000000000;
    return 0;
}

char* getcwd(char* buffer, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(getcwd);
    lu::Note([] { return std::string("getcwd"); });
    return lu::Fails(lu::currentDirs) ? nullptr : next(buffer, size);
}

int chdir(char const* path) {
    static auto* const next = TARQLOG_NEXT(chdir);
    lu::Note([&] { return "chdir " + lu::Told(path); });
    return lu::Fails(lu::dirChanges) ? -1 : next(path);
}

int mkdir(char const* path, mode_t mode) {
    static auto* const next = TARQLOG_NEXT(mkdir);
    char octal[16];
    std::snprintf(octal, sizeof octal, " 0%o", mode);
    lu::Note([&] { return "mkdir " + lu::Told(path) + octal; });
    return lu::Fails(lu::dirsMade) ? -1 : next(path, mode);
}

int rmdir(char const* path) {
    static auto* const next = TARQLOG_NEXT(rmdir);
    lu::GuardRemoval(path);
    lu::Note([&] { return "rmdir " + lu::Told(path); });
    return lu::Fails(lu::dirsRemoved) ? -1 : next(path);
}

int remove(char const* path) {
    static auto* const next = TARQLOG_NEXT(remove);
    lu::GuardRemoval(path);
    lu::Note([&] { return "remove " + lu::Told(path); });
    return lu::Fails(lu::removals) ? -1 : next(path);
}

int unlink(char const* path) {
    static auto* const next = TARQLOG_NEXT(unlink);
    lu::GuardRemoval(path);
    lu::Note([&] { return "unlink " + lu::Told(path); });
    return next(path);
}

int rename(char const* from, char const* to) {
    static auto* const next = TARQLOG_NEXT(rename);
    lu::GuardRemoval(from);
    lu::GuardRemoval(to);
    lu::Note([&] { return "rename " + lu::Told(from) + " " + lu::Told(to); });
    return lu::Fails(lu::renames) ? -1 : next(from, to);
}

char* strerror_r(int error, char* buffer, std::size_t size) {
    static auto* const next = TARQLOG_NEXT(strerror_r);
    char* const message = next(error, buffer, size);
    lu::Fails(lu::messages);
    return message;
}

}  // extern "C"

namespace tarqlog {
namespace log_utils {
namespace {

/// A directory of the test's own, and the only kind in which anything may be removed.
class OwnDirectory : public TemporaryDirectory {
public:
    OwnDirectory() {
        char* const real = ::realpath(Path().c_str(), nullptr);
        OwnDirectories().emplace_back(real);
        std::free(real);
    }
};

class FileTest : public testing::Test {
protected:
    ~FileTest() override {
        interruptions = 0;
        mostBytes = SIZE_MAX;
        claimedEnd = -1;
        editStatus = nullptr;
        claimedNames = nullptr;
        claimedNamesListed = 0;
        statusesTold = 0;
    }

    std::string Path(std::string const& name) const { return directory_.File(name); }

    /// Makes a file and answers its path.
    std::string Made(std::string const& name, std::string const& content = "") const {
        WriteWholeFile(Path(name), content);
        return Path(name);
    }

    std::string MadeDirectory(std::string const& name) const {
        if (::mkdir(Path(name).c_str(), 0700) != 0) {
            throw std::runtime_error("cannot make " + name);
        }
        return Path(name);
    }

    bool Exists(std::string const& name) const {
        return ::access(Path(name).c_str(), F_OK) == 0 || IsLink(name);
    }

    bool IsLink(std::string const& name) const {
        char target[1];
        return ::readlink(Path(name).c_str(), target, sizeof target) >= 0;
    }

    OwnDirectory const directory_;
};

using FileOpenTest = FileTest;
using FileTransferTest = FileTest;
using FilePositionTest = FileTest;
using FileLockTest = FileTest;
using WholeFileTest = FileTest;
using DirectoryTest = FileTest;
using StatusTest = FileTest;
using RemovalTest = FileTest;
using RotationTest = FileTest;

/// What a file's mode says of who may do what.
mode_t Permissions(std::string const& path) {
    int const descriptor = ::open(path.c_str(), O_RDONLY, 0);
    struct stat status = {};
    ::fstat(descriptor, &status);
    ::close(descriptor);
    return status.st_mode & 0777U;
}

void SetTimes(std::string const& path, timespec const& access, timespec const& modification) {
    timespec const times[] = {access, modification};
    if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
        throw std::runtime_error("cannot set the times of " + path);
    }
}

/// Expects `body` to stop the process by an assertion in file.cpp, on whichever line.
void ExpectStopped(std::function<void()> const& body, std::string const& function,
                   std::string const& expression) {
    ChildResult const result = RunInChild([&] {
        body();
        return 0;
    });
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.output, "");
    std::string::size_type const numberEnd = result.errors.find(": ");
    ASSERT_NE(numberEnd, std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.substr(0, 13), "src/file.cpp:");
    EXPECT_EQ(result.errors.substr(13, numberEnd - 13).find_first_not_of("0123456789"),
              std::string::npos);
    EXPECT_EQ(result.errors.substr(numberEnd),
              ": " + function + ": Assertion '" + expression + "' failed.\n");
}

// The test's own means.

TEST_F(FileTest, NothingOutsideOfTheTestsOwnDirectoryIsRemoved) {
    std::string const foreign = MadeDirectory("foreign");
    MadeDirectory("foreign/directory");
    std::string const file = Made("foreign/file");
    std::string const own = MadeDirectory("own");
    std::string const ownFile = Made("own/file");
    ASSERT_EQ(::symlink("../foreign", Path("own/link").c_str()), 0);
    std::function<bool()> const attempts[] = {
        [&] { return Remove(file); },
        [&] { return Remove(Path("foreign/directory")); },
        [&] { return Remove(Path("own/link/file")); },
        [&] { return Remove(Path("own/../foreign/file")); },
        [&] { return RemoveAll(foreign); },
        [&] { return RemoveAll(Path("own/link")); },
        [&] { return RenameFile(file, Path("own/taken")); },
        [&] { return RenameFile(ownFile, file); },
        [&] { return RotateFilesByLastModifTime(foreign, 0), true; },
        [&] { return ::unlink(file.c_str()) == 0; },
        [&] { return ::chdir(foreign.c_str()) == 0 && Remove("file"); },
    };
    for (std::function<bool()> const& attempt : attempts) {
        SCOPED_TRACE(&attempt - attempts);
        ChildResult const result = RunInChild([&] {
            OwnDirectories().back() += "/own";
            return attempt() ? 0 : 1;
        });

        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_EQ(result.errors.substr(0, 16), "will not remove ");
    }
    EXPECT_TRUE(Exists("foreign/file"));
    EXPECT_TRUE(Exists("foreign/directory"));
    EXPECT_TRUE(Exists("own/file"));
}

TEST_F(FileTest, EveryFaultStrikesOnceAndIsCounted) {
    std::string const path = Made("file", "0123456789");
    File file(path, File::kRead | File::kWrite);
    char buffer[4];
    long long space = 0;
    Strings names;
    Status status;
    struct {
        Fault& fault;
        std::function<bool()> call;
    } const cases[] = {
        {opens, [&] { return File().Open(path, File::kRead); }},
        {reads, [&] { return file.Read(buffer, 4) >= 0; }},
        {writes, [&] { return file.Write("a") >= 0; }},
        {seeks, [&] { return file.Seek(0, File::kBegin) >= 0; }},
        {truncations, [&] { return file.Clear(); }},
        {syncs, [&] { return file.Sync(); }},
        {locks, [&] { return file.Unlock(); }},
        {listings, [&] { return GetDirectoryContents(directory_.Path(), &names); }},
        {stats, [&] { return GetStatus(path, &status); }},
        {spaces, [&] { return GetDiskSpaceInfo(path, &space, nullptr, nullptr); }},
        {currentDirs, [&] { return !GetCurrentDir().empty(); }},
        {dirChanges, [&] { return SetCurrentDir(directory_.Path()); }},
        {dirsMade, [&] { return MakeDirectory(Path("directory")); }},
        {dirsRemoved, [&] { return Remove(Path("directory")); }},
        {renames, [&] { return RenameFile(path, path); }},
        {removals, [&] { return Remove(path); }},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(&each - cases);
        failure = ENOTTY;
        errno = 0;
        long const before = each.fault.Calls();
        each.fault.StrikeAt(1);

        EXPECT_FALSE(each.call());
        EXPECT_EQ(errno, ENOTTY);
        EXPECT_EQ(each.fault.Hits(), 1);
        EXPECT_EQ(each.fault.Calls() - before, 1);

        if (&each.fault == &dirsRemoved || &each.fault == &removals) {
            continue;  // done below, when nothing needs them any more
        }
        EXPECT_TRUE(each.call()) << "without the fault";
        EXPECT_EQ(each.fault.Hits(), 1);
    }
    EXPECT_TRUE(Remove(Path("directory")));
    EXPECT_TRUE(Remove(path));
}

// Opening and closing.

static_assert(!std::is_polymorphic<File>::value, "not a base");
static_assert(sizeof(File) == sizeof(int), "a descriptor and nothing else");
static_assert(std::is_same<std::underlying_type<File::SeekOrigin>::type, int>::value,
              "any int is an origin");
static_assert(std::is_same<decltype(File::kCreate | File::kWrite), unsigned int>::value,
              "flags are unsigned");
static_assert(File::kCreate == 1 && File::kRead == 2 && File::kWrite == 4 && File::kAppend == 8 &&
                  File::kTruncate == 16,
              "a promise");
static_assert(File::kCurrent == 0 && File::kBegin == 1 && File::kEnd == 2, "a promise");
static_assert(std::is_base_of<Error, OpenFileError>::value, "caught as an Error, too");

TEST_F(FileOpenTest, FileCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<File>::value);
    EXPECT_FALSE(std::is_copy_assignable<File>::value);
}

TEST_F(FileOpenTest, NewFileIsNotOpenAndMakesNoCall) {
    EXPECT_EQ(CallsOf([] {
                  File file;
                  EXPECT_FALSE(file.IsOpen());
                  file.Close();
              }),
              Strings());
}

TEST_F(FileOpenTest, FlagsChooseTheAccessMode) {
    struct {
        unsigned int flags;
        int mode;
    } const cases[] = {
        {0, O_RDONLY},
        {File::kRead, O_RDONLY},
        {File::kWrite, O_WRONLY},
        {File::kRead | File::kWrite, O_RDWR},
        {File::kAppend, O_RDONLY},
        {6, O_RDWR},
    };
    std::string const path = Made("file");
    for (auto const& each : cases) {
        SCOPED_TRACE(each.flags);
        File file;

        EXPECT_TRUE(file.Open(path, each.flags));
        EXPECT_EQ(lastOpenFlags & O_ACCMODE, each.mode);
    }
}

TEST_F(FileOpenTest, EachFlagAddsItsOwnAndOtherBitsAddNothing) {
    std::string const path = Made("file");
    for (unsigned int flags = 0; flags < 32; ++flags) {
        int expected = O_CLOEXEC;
        expected |= (flags & 4U) == 0 ? O_RDONLY : (flags & 2U) == 0 ? O_WRONLY : O_RDWR;
        expected |= (flags & 1U) != 0 ? O_CREAT : 0;
        expected |= (flags & 8U) != 0 ? O_APPEND : 0;
        expected |= (flags & 16U) != 0 ? O_TRUNC : 0;
        for (unsigned int others : {0U, 32U, 64U, 0xffffffe0U}) {
            SCOPED_TRACE(std::to_string(flags) + "|" + std::to_string(others));
            File file;

            EXPECT_TRUE(file.Open(path, flags | others));
            EXPECT_EQ(lastOpenFlags, expected);
            EXPECT_EQ(lastOpenMode, 0664U);
        }
    }
}

TEST_F(FileOpenTest, AppendersFlagsAppendOrStartAnew) {
    std::string const path = Made("file", "old ");

    File(path, 45).Write("new ");
    EXPECT_EQ(lastOpenFlags, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC);
    EXPECT_EQ(ReadWholeFile(path), "old new ");

    File(path, 53).Write("anew");
    EXPECT_EQ(lastOpenFlags, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
    EXPECT_EQ(ReadWholeFile(path), "anew");
}

TEST_F(FileOpenTest, MissingFileIsMadeWithTheModeLessTheUmask) {
    struct {
        mode_t mask;
        mode_t mode;
    } const cases[] = {{0000, 0664}, {0022, 0644}, {0027, 0640}, {0077, 0600}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.mask);
        std::string const path = Path("file" + std::to_string(each.mask));
        mode_t const before = ::umask(each.mask);

        bool const opened = File().Open(path, File::kCreate | File::kWrite | File::kAppend);
        ::umask(before);

        EXPECT_TRUE(opened);
        EXPECT_EQ(Permissions(path), each.mode);
    }
}

TEST_F(FileOpenTest, FailedOpenTellsErrnoAndMakesNothing) {
    File file;
    errno = 0;

    EXPECT_FALSE(file.Open(Path("missing"), File::kRead | File::kWrite | File::kTruncate));

    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(Exists("missing"));
}

TEST_F(FileOpenTest, OpenClosesTheOldFileFirst) {
    File file(Made("old"), File::kRead);
    std::string const path = Made("new", "new");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Open(path, File::kRead)); }),
              (Strings{"close", "open new"}));

    char data[3];
    EXPECT_EQ(file.Read(data, 3), 3);
    EXPECT_EQ(std::string(data, 3), "new");
}

TEST_F(FileOpenTest, FailedOpenOfAnOpenFileLeavesItClosed) {
    File file(Made("old"), File::kRead);
    int const old = lastDescriptor;

    EXPECT_FALSE(file.Open(Path("missing"), File::kRead));

    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(::fcntl(old, F_GETFD), -1) << "still open";
}

TEST_F(FileOpenTest, FailingCloseOfTheOldFileIsNotTold) {
    File file(Made("old"), File::kRead);
    closes.StrikeAt(1);

    EXPECT_TRUE(file.Open(Made("new"), File::kRead));

    EXPECT_EQ(closes.Hits(), 1);
    EXPECT_TRUE(file.IsOpen());
}

TEST_F(FileOpenTest, InterruptedOpenIsNotTriedAgain) {
    File file;
    std::string const path = Made("file");
    interruptions = 1;

    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(file.Open(path, File::kRead)); }), Strings{"open file"});
    EXPECT_EQ(errno, EINTR);
}

TEST_F(FileOpenTest, DescriptorZeroIsOpen) {
    std::string const path = Made("file", "content");
    ChildResult const result = RunInChild([&] {
        ::close(0);
        File file;
        bool const opened = file.Open(path, File::kRead);
        std::printf("%d %d %d %d ", opened, lastDescriptor, file.IsOpen(), closes.Calls() == 0);
        long const before = closes.Calls();
        file.Close();
        std::printf("%ld\n", closes.Calls() - before);
        return 0;
    });

    EXPECT_EQ(result.output, "1 0 1 0 1\n");
}

TEST_F(FileOpenTest, DescriptorIsClosedAtExec) {
    File const file(Made("file"), File::kRead);

    EXPECT_EQ(::fcntl(lastDescriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(FileOpenTest, CloseClosesOnceAndMayBeRepeated) {
    File file(Made("file"), File::kRead);

    EXPECT_EQ(CallsOf([&] {
                  file.Close();
                  EXPECT_FALSE(file.IsOpen());
                  file.Close();
              }),
              Strings{"close"});
}

TEST_F(FileOpenTest, DestructorClosesAnOpenFile) {
    std::string const path = Made("file");

    EXPECT_EQ(CallsOf([&] { File const file(path, File::kRead); }),
              (Strings{"open file", "close"}));
    EXPECT_EQ(::fcntl(lastDescriptor, F_GETFD), -1) << "still open";
}

TEST_F(FileOpenTest, FailingCloseIsNotToldAndKeepsErrno) {
    File file(Made("file"), File::kRead);
    failure = EIO;
    errno = 2;
    closes.StrikeAt(1);

    file.Close();

    EXPECT_EQ(closes.Hits(), 1);
    EXPECT_EQ(errno, 2);
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileOpenTest, OperationsOfAClosedFileFailInTheSystem) {
    File file;
    char data[4];
    lastDescriptor = -1;
    std::function<bool()> const operations[] = {
        [&] { return file.Read(data, 4) == -1; },
        [&] { return file.ReadAll(data, 4) == -1; },
        [&] { return file.Write("abcd") == -1; },
        [&] { return file.WriteAll("abcd") == -1; },
        [&] { return file.Seek(0, File::kBegin) == -1; },
        [&] { return file.Tell() == -1; },
        [&] { return !file.Clear(); },
        [&] { return !file.Sync(); },
        [&] { return !file.Lock(true, true); },
        [&] { return !file.Unlock(); },
    };
    for (std::function<bool()> const& failed : operations) {
        SCOPED_TRACE(&failed - operations);
        errno = 0;

        EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(failed()); }).size(), 1U);
        EXPECT_TRUE(errno == EBADF || errno == EINVAL) << errno;
    }
}

// The opening constructor.

TEST_F(FileOpenTest, ConstructorThrowsTheSystemsMessageAndThePath) {
    std::string const path = Path("missing");
    try {
        File const file(path, File::kRead);
        FAIL() << "opened";
    } catch (OpenFileError const& error) {
        EXPECT_EQ(error.what(), "No such file or directory: " + path);
        EXPECT_EQ(error.GetOpenErrno(), 2);
        EXPECT_EQ(error.GetErrno(), 2);
    }
}

TEST_F(FileOpenTest, ConstructorOpensWithItsFlags) {
    File file(Path("file"), File::kCreate | File::kWrite);

    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(lastOpenFlags, O_WRONLY | O_CREAT | O_CLOEXEC);
    EXPECT_EQ(lastOpenMode, 0664U);
}

TEST_F(FileOpenTest, BothErrnoNumbersOfAFailedOpeningAreKept) {
    errno = 0;
    failure = 77;
    messages.StrikeAt(1);
    try {
        File const file(Path("missing"), File::kRead);
        FAIL() << "opened";
    } catch (OpenFileError const& error) {
        EXPECT_EQ(messages.Hits(), 1);
        EXPECT_EQ(error.GetOpenErrno(), 2);
        EXPECT_EQ(error.GetErrno(), 77);
        EXPECT_EQ(error.what(), "No such file or directory: " + Path("missing"));
    }
}

TEST_F(FileOpenTest, EverySystemErrorHasItsMessage) {
    for (int number = 1; number < 150; ++number) {
        SCOPED_TRACE(number);
        failure = number;
        opens.StrikeAt(1);
        try {
            File const file("some/path", File::kRead);
            FAIL() << "opened";
        } catch (OpenFileError const& error) {
            EXPECT_EQ(error.what(), std::generic_category().message(number) + ": some/path");
            EXPECT_EQ(error.GetOpenErrno(), number);
        }
    }
}

TEST_F(FileOpenTest, FailedOpeningIsCaughtAsAnyOfItsBases) {
    EXPECT_THROW(File(Path("missing"), File::kRead), OpenFileError);
    EXPECT_THROW(File(Path("missing"), File::kRead), Error);
    EXPECT_THROW(File(Path("missing"), File::kRead), std::runtime_error);
}

TEST_F(FileOpenTest, OpenErrorKeepsWhatItIsGiven) {
    errno = 3;
    OpenFileError const original("abc", 5);
    errno = 4;
    OpenFileError const copy(original);

    EXPECT_STREQ(copy.what(), "abc");
    EXPECT_EQ(copy.GetErrno(), 3);
    EXPECT_EQ(copy.GetOpenErrno(), 5);
}

// Reading and writing.

TEST_F(FileTransferTest, ReadIsOneCallAndAnswersItsResult) {
    File file(Made("file", "0123456789"), File::kRead);
    char data[100] = {};

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Read(data, 4), 4); }), Strings{"read 4"});
    EXPECT_STREQ(data, "0123");
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Read(data, 100), 6); }), Strings{"read 100"});
    EXPECT_EQ(std::string(data, 6), "456789");
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Read(data, 100), 0); }), Strings{"read 100"});
}

TEST_F(FileTransferTest, WriteIsOneCallAndAnswersItsResult) {
    std::string const path = Path("file");
    File file(path, File::kCreate | File::kWrite);
    mostBytes = 3;

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Write("abcdefgh", 5), 3); }), Strings{"write 5"});
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Write("12345678"), 3); }), Strings{"write 8"});

    EXPECT_EQ(ReadWholeFile(path), "abc123");
}

TEST_F(FileTransferTest, TextIsWrittenWithItsNuls) {
    std::string const path = Path("file");
    File file(path, File::kCreate | File::kWrite);

    EXPECT_EQ(file.Write(std::string("a\0b", 3)), 3);
    EXPECT_EQ(file.WriteAll(std::string("c\0d", 3)), 3);

    EXPECT_EQ(ReadWholeFile(path), std::string("a\0bc\0d", 6));
}

TEST_F(FileTransferTest, NothingIsOneCallToo) {
    File file(Made("file", "0123456789"), File::kRead | File::kWrite);
    char data[1] = {'x'};
    Strings const oneRead = {"read 0"};
    Strings const oneWrite = {"write 0"};

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Read(data, 0), 0); }), oneRead);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.ReadAll(data, 0), 0); }), oneRead);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Write(data, 0), 0); }), oneWrite);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Write(""), 0); }), oneWrite);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.WriteAll(data, 0), 0); }), oneWrite);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.WriteAll(""), 0); }), oneWrite);
    EXPECT_EQ(data[0], 'x');
}

TEST_F(FileTransferTest, FailedTransferTellsErrno) {
    File file(Made("file", "0123456789"), File::kRead | File::kWrite);
    char data[4];
    struct {
        Fault& fault;
        std::function<int()> transfer;
    } const cases[] = {
        {reads, [&] { return file.Read(data, 4); }},
        {reads, [&] { return file.ReadAll(data, 4); }},
        {writes, [&] { return file.Write(data, 4); }},
        {writes, [&] { return file.Write("text"); }},
        {writes, [&] { return file.WriteAll(data, 4); }},
        {writes, [&] { return file.WriteAll("text"); }},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(&each - cases);
        for (int number : {EIO, EINTR}) {
            SCOPED_TRACE(number);
            failure = number;
            errno = 0;
            each.fault.StrikeAt(1);

            EXPECT_EQ(CallsOf([&] { EXPECT_EQ(each.transfer(), -1); }).size(), 1U);
            EXPECT_EQ(errno, number);
        }
    }
}

TEST_F(FileTransferTest, ReadAllReadsOnUntilAllHasCome) {
    File file(Made("file", "0123456789"), File::kRead);
    char data[11] = {};
    mostBytes = 3;

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.ReadAll(data, 10), 10); }),
              (Strings{"read 10", "read 7", "read 4", "read 1"}));

    EXPECT_STREQ(data, "0123456789");
}

TEST_F(FileTransferTest, ReadAllEndsWithTheFile) {
    File file(Made("file", "0123456789"), File::kRead);
    char data[100] = {};

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.ReadAll(data, 100), 10); }),
              (Strings{"read 100", "read 90"}));

    EXPECT_STREQ(data, "0123456789");
}

TEST_F(FileTransferTest, WriteAllWritesOnUntilAllIsWritten) {
    for (bool asText : {false, true}) {
        SCOPED_TRACE(asText);
        std::string const path = Path("file");
        File file(path, File::kCreate | File::kWrite | File::kTruncate);
        mostBytes = 3;

        EXPECT_EQ(CallsOf([&] {
                      EXPECT_EQ(
                          asText ? file.WriteAll("0123456789") : file.WriteAll("0123456789abc", 10),
                          10);
                  }),
                  (Strings{"write 10", "write 7", "write 4", "write 1"}));

        EXPECT_EQ(ReadWholeFile(path), "0123456789");
    }
}

TEST_F(FileTransferTest, WriteAllEndsWhenAWriteTakesNothing) {
    std::string const path = Path("file");
    File file(path, File::kCreate | File::kWrite);
    mostBytes = 0;

    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.WriteAll("0123456789"), 0); }), Strings{"write 10"});

    EXPECT_EQ(ReadWholeFile(path), "");
}

TEST_F(FileTransferTest, LaterFailureHidesWhatWentBefore) {
    File file(Made("file", "0123456789"), File::kRead | File::kWrite);
    char data[10];
    mostBytes = 3;
    for (int number : {EIO, EINTR}) {
        SCOPED_TRACE(number);
        failure = number;
        file.Seek(0, File::kBegin);
        reads.StrikeAt(2);
        EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.ReadAll(data, 10), -1); }),
                  (Strings{"read 10", "read 7"}));
        EXPECT_EQ(errno, number);

        errno = 0;
        writes.StrikeAt(3);
        EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.WriteAll("0123456789"), -1); }),
                  (Strings{"write 10", "write 7", "write 4"}));
        EXPECT_EQ(errno, number);
    }
}

TEST_F(FileTransferTest, NullOrNegativeSizeStopsTheProcess) {
    File file(Made("file"), File::kRead | File::kWrite);
    char data[4] = {};
    struct {
        char const* function;
        std::function<void()> call;
    } const cases[] = {
        {"Read", [&] { file.Read(nullptr, 0); }},
        {"Read", [&] { file.Read(nullptr, 4); }},
        {"Read", [&] { file.Read(data, -1); }},
        {"Read", [&] { file.Read(data, INT_MIN); }},
        {"Read", [&] { file.ReadAll(nullptr, 0); }},
        {"Read", [&] { file.ReadAll(data, -1); }},
        {"Write", [&] { file.Write(nullptr, 0); }},
        {"Write", [&] { file.Write(data, -1); }},
        {"Write", [&] { file.WriteAll(nullptr, 4); }},
        {"Write", [&] { file.WriteAll(data, INT_MIN); }},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(&each - cases);
        ExpectStopped(each.call, each.function, "data && dataSize >= 0");
    }
}

// The position, the size and the storage.

TEST_F(FilePositionTest, SeekCountsFromItsOrigin) {
    File file(Made("file", "0123456789"), File::kRead);
    struct {
        long long offset;
        int origin;
        long long position;
        char const* call;
    } const cases[] = {
        {4, 1, 4, "lseek 4 begin"},
        {0, 0, 4, "lseek 0 current"},
        {3, 0, 7, "lseek 3 current"},
        {-2, 0, 5, "lseek -2 current"},
        {0, 2, 10, "lseek 0 end"},
        {-1, 2, 9, "lseek -1 end"},
        {0, 1, 0, "lseek 0 begin"},
        {5, 2, 15, "lseek 5 end"},
        {5000000000, 1, 5000000000, "lseek 5000000000 begin"},
        {-4999999999, 0, 1, "lseek -4999999999 current"},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.call);
        auto const origin = static_cast<File::SeekOrigin>(each.origin);

        EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Seek(each.offset, origin), each.position); }),
                  Strings{each.call});
        EXPECT_EQ(CallsOf([&] { EXPECT_EQ(file.Tell(), each.position); }),
                  Strings{"lseek 0 current"});
    }
}

TEST_F(FilePositionTest, SeekBeforeTheStartFails) {
    File file(Made("file", "0123456789"), File::kRead);
    errno = 0;

    EXPECT_EQ(file.Seek(-1, File::kBegin), -1);

    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(file.Tell(), 0);
}

TEST_F(FilePositionTest, UnknownOriginStopsTheProcess) {
    File file(Made("file"), File::kRead);
    for (int origin : {3, 4, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(origin);
        ExpectStopped([&] { file.Seek(0, static_cast<File::SeekOrigin>(origin)); }, "Seek",
                      "!\"unknown origin\"");
    }
}

TEST_F(FilePositionTest, ClearLeavesThePositionAndSoAHole) {
    std::string const path = Path("file");
    File file(path, File::kCreate | File::kWrite);
    file.Write("old");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Clear()); }), Strings{"ftruncate 0"});
    EXPECT_EQ(ReadWholeFile(path), "");
    EXPECT_EQ(file.Tell(), 3);

    file.Write("new");
    EXPECT_EQ(ReadWholeFile(path), std::string("\0\0\0new", 6));
}

TEST_F(FilePositionTest, ClearedFileThatAppendsStartsAtTheNewEnd) {
    std::string const path = Path("file");
    File file(path, File::kCreate | File::kWrite | File::kAppend);
    file.Write("old");

    EXPECT_TRUE(file.Clear());
    file.Write("new");

    EXPECT_EQ(ReadWholeFile(path), "new");
}

TEST_F(FilePositionTest, InterruptedClearIsTriedAgain) {
    std::string const path = Made("file", "old");
    File file(path, File::kWrite);
    interruptions = 2;

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Clear()); }),
              (Strings{"ftruncate 0", "ftruncate 0", "ftruncate 0"}));

    EXPECT_EQ(ReadWholeFile(path), "");
}

TEST_F(FilePositionTest, FailedClearIsNotTriedAgain) {
    File file(Made("file", "old"), File::kWrite);
    failure = EIO;
    truncations.StrikeAt(1);

    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(file.Clear()); }), Strings{"ftruncate 0"});
    EXPECT_EQ(errno, EIO);
}

TEST_F(FilePositionTest, SyncIsOneCallEvenWhenInterrupted) {
    File file(Made("file"), File::kWrite);
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Sync()); }), Strings{"fsync"});

    interruptions = 1;
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(file.Sync()); }), Strings{"fsync"});
    EXPECT_EQ(errno, EINTR);
}

// Locks.

TEST_F(FileLockTest, LockAsksForWhatItIsTold) {
    File file(Made("file"), File::kRead);
    struct {
        bool exclusive;
        bool nonBlocking;
        int operation;
    } const cases[] = {
        {false, false, LOCK_SH},
        {false, true, LOCK_SH | LOCK_NB},
        {true, false, LOCK_EX},
        {true, true, LOCK_EX | LOCK_NB},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.operation);
        EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Lock(each.exclusive, each.nonBlocking)); }),
                  Strings{"flock " + std::to_string(each.operation)});
    }
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Unlock()); }),
              Strings{"flock " + std::to_string(LOCK_UN)});
}

TEST_F(FileLockTest, ExclusiveLockKeepsOthersOutUntilUnlock) {
    std::string const path = Made("file");
    File holder(path, File::kRead);
    File other(path, File::kRead);

    EXPECT_TRUE(holder.Lock(true, true));
    errno = 0;
    EXPECT_FALSE(other.Lock(true, true));
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_FALSE(other.Lock(false, true));

    EXPECT_TRUE(holder.Unlock());
    EXPECT_TRUE(other.Lock(true, true));
}

TEST_F(FileLockTest, SharedLockLetsOthersShareIt) {
    std::string const path = Made("file");
    File holder(path, File::kRead);
    File other(path, File::kRead);

    EXPECT_TRUE(holder.Lock(false, true));
    EXPECT_TRUE(other.Lock(false, true));
    EXPECT_FALSE(other.Lock(true, true));
}

TEST_F(FileLockTest, InterruptedLockAndUnlockAreTriedAgain) {
    File file(Made("file"), File::kRead);
    interruptions = 2;
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Lock(true, false)); }).size(), 3U);

    interruptions = 2;
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(file.Unlock()); }).size(), 3U);
}

TEST_F(FileLockTest, FailedLockAndUnlockAreNotTriedAgain) {
    File file(Made("file"), File::kRead);
    failure = ENOLCK;
    locks.StrikeAt(1);
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(file.Lock(true, false)); }).size(), 1U);
    EXPECT_EQ(errno, ENOLCK);

    errno = 0;
    locks.StrikeAt(1);
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(file.Unlock()); }).size(), 1U);
    EXPECT_EQ(errno, ENOLCK);
}

// Whole files.

std::vector<char> Bytes(std::string const& text) {
    return std::vector<char>(text.begin(), text.end());
}

TEST_F(WholeFileTest, ReadFileReplacesWhatWasThere) {
    std::string const path = Made("file", std::string("new\0text", 8));
    std::vector<char> bytes = Bytes("old bytes");
    std::string text = "old text";

    EXPECT_TRUE(ReadFile(path, &bytes));
    EXPECT_TRUE(ReadFile(path, &text));

    EXPECT_EQ(bytes, Bytes(std::string("new\0text", 8)));
    EXPECT_EQ(text, std::string("new\0text", 8));
}

TEST_F(WholeFileTest, ReadFileAsksForTheSizeAndReadsOnce) {
    std::string const path = Made("file", "0123456789");
    std::vector<char> bytes;

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(ReadFile(path, &bytes)); }),
              (Strings{"open file", "lseek 0 end", "lseek 0 begin", "read 10", "close"}));
    EXPECT_EQ(lastOpenFlags, O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(lastOpenMode, 0664U);
}

TEST_F(WholeFileTest, ReadFileTakesItsMemoryOnce) {
    std::string const path = Made("file", std::string(10000, 'x'));
    std::vector<char> bytes;
    unsigned long const before = AllocationCount();

    EXPECT_TRUE(ReadFile(path, &bytes));

    EXPECT_GE(AllocationCount() - before, 1UL) << "the counter counts";
    EXPECT_EQ(LastAllocationSize(), 10000U);
    EXPECT_EQ(bytes, Bytes(std::string(10000, 'x')));
}

TEST_F(WholeFileTest, ReadFileReadsOnWhenAReadStopsShort) {
    std::string const path = Made("file", "0123456789");
    std::string text;
    mostBytes = 6;

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(ReadFile(path, &text)); }),
              (Strings{"open file", "lseek 0 end", "lseek 0 begin", "read 10", "read 4", "close"}));
    EXPECT_EQ(text, "0123456789");
}

TEST_F(WholeFileTest, EmptyFileReadsAsNothingWithoutARead) {
    std::string const path = Made("file");
    std::vector<char> bytes = Bytes("old");
    std::string text = "old";

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(ReadFile(path, &bytes)); }),
              (Strings{"open file", "lseek 0 end", "lseek 0 begin", "close"}));
    EXPECT_TRUE(ReadFile(path, &text));

    EXPECT_EQ(bytes, Bytes(""));
    EXPECT_EQ(text, "");
}

TEST_F(WholeFileTest, MissingFileLeavesWhatWasThere) {
    std::vector<char> bytes = Bytes("old");
    std::string text = "old";
    errno = 0;

    EXPECT_FALSE(ReadFile(Path("missing"), &bytes));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(ReadFile(Path("missing"), &text));

    EXPECT_EQ(bytes, Bytes("old"));
    EXPECT_EQ(text, "old");
}

TEST_F(WholeFileTest, FailedReadEmptiesAVectorAndLeavesAString) {
    std::string const path = Made("file", std::string(1000, 'x'));
    std::vector<char> bytes = Bytes("old");
    std::string text = "old";
    ErrnoAfterDelete const disturbed(ENOTTY);
    for (int number : {EIO, EINTR}) {
        SCOPED_TRACE(number);
        failure = number;
        reads.StrikeAt(1);
        closes.StrikeAt(1);
        errno = 0;
        EXPECT_FALSE(ReadFile(path, &bytes));
        EXPECT_EQ(errno, number);
        EXPECT_EQ(bytes, Bytes(""));

        reads.StrikeAt(1);
        errno = 0;
        EXPECT_FALSE(ReadFile(path, &text));
        EXPECT_EQ(errno, number);
        EXPECT_EQ(text, "old");
    }
    EXPECT_EQ(reads.Hits(), 4);
    EXPECT_EQ(closes.Hits(), 2);
}

TEST_F(WholeFileTest, FileThatShrinksGivesLessAndOneThatGrowsNoMore) {
    std::string const path = Made("file", "0123456789");
    std::string text;
    claimedEnd = 15;
    EXPECT_TRUE(ReadFile(path, &text));
    EXPECT_EQ(text, "0123456789");

    claimedEnd = 5;
    EXPECT_TRUE(ReadFile(path, &text));
    EXPECT_EQ(text, "01234");
}

TEST_F(WholeFileTest, FileWithoutASizeIsNotRead) {
    std::string const path = Made("file", "0123456789");
    std::vector<char> bytes = Bytes("old");
    failure = ESPIPE;
    errno = 0;
    seeks.StrikeAt(1);

    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(ReadFile(path, &bytes)); }),
              (Strings{"open file", "lseek 0 end", "close"}));

    EXPECT_EQ(errno, ESPIPE);
    EXPECT_EQ(bytes, Bytes("old"));
}

TEST_F(WholeFileTest, FileOfTwoGibibytesOrMoreIsNotRead) {
    std::string const path = Made("file");
    std::vector<char> bytes = Bytes("old");
    for (long long size : {2147483648LL, 5000000000LL}) {
        SCOPED_TRACE(size);
        ASSERT_EQ(::truncate(path.c_str(), size), 0);  // takes no space on the disk
        unsigned long const before = AllocationCount();

        EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(ReadFile(path, &bytes)); }),
                  (Strings{"open file", "lseek 0 end", "close"}));
        EXPECT_LT(AllocationCount() - before, 100UL);
        EXPECT_LT(LastAllocationSize(), 2147483648U);
        EXPECT_EQ(bytes, Bytes("old"));
    }
}

TEST_F(WholeFileTest, OneByteLessIsReadAndWithoutMemoryTheFileIsClosed) {
    std::string const path = Made("file");
    std::vector<char> bytes;
    claimedEnd = 2147483647;
    long const before = closes.Calls();
    bool refused = false;
    {
        AllocationLimit const none(0);
        try {
            ReadFile(path, &bytes);
        } catch (std::bad_alloc const&) {
            refused = true;
        }
    }

    EXPECT_TRUE(refused);
    EXPECT_EQ(LastAllocationSize(), 2147483647U);
    EXPECT_EQ(closes.Calls() - before, 1);
}

TEST_F(WholeFileTest, FileThatIsEmptiedWhileItIsReadIsEmpty) {
    std::string const path = Made("file");
    std::vector<char> bytes = Bytes("old");
    claimedEnd = 5;

    EXPECT_TRUE(ReadFile(path, &bytes));

    EXPECT_EQ(bytes, Bytes(""));
}

TEST_F(WholeFileTest, WriteFileWritesOnceAndReplacesTheContent) {
    std::string const path = Made("file", "an older and longer content");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(WriteFile(path, std::string("new\0text", 8))); }),
              (Strings{"open file", "write 8", "close"}));
    EXPECT_EQ(lastOpenFlags, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
    EXPECT_EQ(lastOpenMode, 0664U);

    EXPECT_EQ(ReadWholeFile(path), std::string("new\0text", 8));
}

// 32 bits have no room for such a text. A sanitizer's memory is not the one that the program folds,
// and it would watch gigabytes.
#if defined(TARQLOG_HUGE_TEXT_PATH) && !defined(TARQLOG_TEST_ASAN) && !defined(TARQLOG_TEST_TSAN)
TEST_F(WholeFileTest, TextOfTwoGibibytesIsNotWritten) {
    ChildResult const result =
        RunProgram(TARQLOG_HUGE_TEXT_PATH, {"WriteFile", "2147483648", Made("file", "old")});

    EXPECT_EQ(result.output, "0\n") << result.errors;
    EXPECT_EQ(ReadWholeFile(Path("file")), "old");
}

TEST_F(FileTransferTest, TextWhoseLengthIsNegativeAsAnIntStopsTheProcess) {
    for (char const* operation : {"Write", "WriteAll"}) {
        SCOPED_TRACE(operation);
        ChildResult const result =
            RunProgram(TARQLOG_HUGE_TEXT_PATH, {operation, "2147483648", Made("file", "old")});

        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_NE(result.errors.find(": Write: Assertion 'data && dataSize >= 0' failed.\n"),
                  std::string::npos)
            << result.errors;
        EXPECT_EQ(ReadWholeFile(Path("file")), "old");
    }
}
#endif

TEST_F(WholeFileTest, WriteFileOfNothingMakesAnEmptyFileWithoutAWrite) {
    for (std::string const& path : {Path("missing"), Made("file", "old")}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(WriteFile(path, "")); }),
                  (Strings{"open " + path.substr(path.rfind('/') + 1), "close"}));
        EXPECT_EQ(ReadWholeFile(path), "");
    }
}

TEST_F(WholeFileTest, WriteThatStopsShortFailsAndIsNotContinued) {
    std::string const path = Path("file");
    mostBytes = 6;

    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(WriteFile(path, "0123456789")); }),
              (Strings{"open file", "write 10", "close"}));

    EXPECT_EQ(ReadWholeFile(path), "012345");
}

TEST_F(WholeFileTest, FailedWriteTellsErrnoWhateverTheClosing) {
    failure = EINTR;
    errno = 0;
    writes.StrikeAt(1);

    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(WriteFile(Path("file"), "0123456789")); }),
              (Strings{"open file", "write 10", "close"}));

    EXPECT_EQ(errno, EINTR);
}

TEST_F(WholeFileTest, FailingCloseDoesNotCount) {
    std::string const path = Path("file");
    std::string text;
    closes.StrikeAt(1);
    EXPECT_TRUE(WriteFile(path, "text"));
    closes.StrikeAt(1);
    EXPECT_TRUE(ReadFile(path, &text));

    EXPECT_EQ(closes.Hits(), 2);
    EXPECT_EQ(text, "text");
}

TEST_F(WholeFileTest, WriteFileThatCannotOpenFails) {
    errno = 0;
    EXPECT_FALSE(WriteFile(Path("missing/file"), "text"));
    EXPECT_EQ(errno, ENOENT);
}

// Paths.

std::string::size_type const npos = std::string::npos;

/// All strings of 'a', '.' and '/' up to a length.
Strings AllPaths(std::size_t longest) {
    Strings all = {""};
    for (std::size_t i = 0; all[i].size() < longest; ++i) {
        for (char c : {'a', '.', '/'}) {
            all.push_back(all[i] + c);
        }
    }
    return all;
}

TEST(PathTest, SlashIsTheOnlySeparator) {
    EXPECT_EQ(GetPathSeparator(), '/');
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c) {
        EXPECT_EQ(IsPathSeparator(static_cast<char>(c)), c == '/') << c;
    }
}

TEST(PathTest, FilenameBeginsAfterTheLastSeparator) {
    struct {
        char const* path;
        std::string::size_type position;
    } const cases[] = {{"", npos},  {"dir/", npos}, {"/", npos}, {"file", 0},
                       {"/a/b", 3}, {"/a", 1},      {"a//b", 3}, {"..", 0}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.path);
        EXPECT_EQ(GetFilename(each.path), each.position);
    }
}

TEST(PathTest, FilenameOfEveryPathHoldsNoSeparatorAndFollowsOne) {
    for (std::string const& path : AllPaths(8)) {
        SCOPED_TRACE(path);
        ASSERT_EQ(GetFilename(path), ExpectedFilename(path));
    }
}

TEST(PathTest, ExtensionBeginsWithTheLastDotOfTheName) {
    struct {
        char const* path;
        std::string::size_type position;
    } const cases[] = {{"", npos},       {".bashrc", npos}, {"a/b.c", 3},          {"a.b/c", npos},
                       {"x.", 1},        {"..", 1},         {"dir/.hidden", npos}, {"a.tar.gz", 5},
                       {"a.b/", npos},   {"a", npos},       {".", npos},           {"...", 2},
                       {"a.b/.c", npos}, {"/.x.y", 3}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.path);
        EXPECT_EQ(GetExtension(each.path), each.position);
    }
}

TEST(PathTest, ExtensionOfEveryPathIsTheLastDotUnlessItBeginsTheName) {
    for (std::string const& path : AllPaths(8)) {
        SCOPED_TRACE(path);
        ASSERT_EQ(GetExtension(path), ExpectedExtension(path));
    }
}

TEST(PathTest, TrailingSeparatorsAreRemovedInPlace) {
    struct {
        char const* path;
        char const* rest;
    } const cases[] = {{"", ""},   {"/", ""},    {"///", ""},       {"a/", "a"},
                       {"a", "a"}, {"/a", "/a"}, {"a//b//", "a//b"}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.path);
        std::string path = each.path;
        RemoveTrailingSeparators(&path);
        EXPECT_EQ(path, each.rest);
    }
    for (std::string path : AllPaths(8)) {
        SCOPED_TRACE(path);
        std::string const expected = WithoutTrailing(path);
        RemoveTrailingSeparators(&path);
        ASSERT_EQ(path, expected);
    }
}

TEST(PathTest, BasenameIsTheLastComponent) {
    struct {
        char const* path;
        char const* name;
    } const cases[] = {{"", ""},      {"/", "/"},       {"///", "/"},   {"/usr/lib/", "lib"},
                       {"a/b/", "b"}, {"file", "file"}, {"a/..", ".."}, {"/a//", "a"}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.path);
        EXPECT_EQ(Basename(each.path), each.name);
    }
    for (std::string const& path : AllPaths(8)) {
        SCOPED_TRACE(path);
        ASSERT_EQ(Basename(path), ExpectedBasename(path));
    }
}

TEST(PathTest, JoinPutsOneSeparatorBetweenAndTrimsTheLeftSideAlone) {
    struct {
        char const* a;
        char const* b;
        char const* joined;
    } const cases[] = {
        {"", "b", "b"},       {"a", "", "a"},      {"", "", ""},           {"a", "b", "a/b"},
        {"/", "/x", "/x"},    {"x/", "/y", "x/y"}, {"x//", "//y", "x//y"}, {"a/", "b", "a/b"},
        {"a//", "b", "a//b"}, {"a", "/b", "a/b"},  {"a", "//b", "a//b"},   {"a/", "", "a/"},
        {"", "/b", "/b"},     {"///", "//", "//"},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(std::string(each.a) + " and " + each.b);
        EXPECT_EQ(JoinPath(each.a, each.b), each.joined);
    }
    for (std::string const& a : AllPaths(4)) {
        for (std::string const& b : AllPaths(4)) {
            SCOPED_TRACE(a + " and " + b);
            ASSERT_EQ(JoinPath(a, b), ExpectedJoin(a, b));
        }
    }
}

TEST(PathTest, ExhaustedMemoryPassesOutOfJoining) {
    std::string const b = "a-file-with-a-long-name";
    for (std::string const a : {"a-folder-with-a-long-name", "a-folder-with-a-long-name/"}) {
        SCOPED_TRACE(a);
        std::string joined;
        unsigned long allowed = 0;
        for (bool done = false; !done; ++allowed) {
            try {
                AllocationLimit const limit(allowed);
                joined = JoinPath(a, b);
                done = true;
            } catch (std::bad_alloc const&) {
            }
        }
        EXPECT_EQ(joined, "a-folder-with-a-long-name/a-file-with-a-long-name");
        EXPECT_GT(allowed, 1U);
    }
}

// Directories.

Strings Sorted(Strings names) {
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(DirectoryTest, ListingReplacesWhatWasThereWithAllNames) {
    Made("file");
    Made(".hidden");
    MadeDirectory("directory");
    Strings names = {"old"};

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(GetDirectoryContents(directory_.Path(), &names)); }),
              (Strings{"opendir .", "closedir"}));

    EXPECT_EQ(Sorted(names), (Strings{".", "..", ".hidden", "directory", "file"}));
}

TEST_F(DirectoryTest, EmptyDirectoryHasTwoNames) {
    Strings names;
    EXPECT_TRUE(GetDirectoryContents(directory_.Path(), &names));
    EXPECT_EQ(Sorted(names), (Strings{".", ".."}));
}

TEST_F(DirectoryTest, NamesComeAsTheSystemListsThem) {
    Strings const listed = {"b", ".", "a", "..", "c", "a"};
    claimedNames = &listed;
    Strings names;

    EXPECT_TRUE(GetDirectoryContents(directory_.Path(), &names));

    EXPECT_EQ(names, listed);
}

TEST_F(DirectoryTest, WhatCannotBeListedLeavesTheNames) {
    Strings names = {"old"};
    errno = 0;
    EXPECT_FALSE(GetDirectoryContents(Path("missing"), &names));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(GetDirectoryContents(Made("file"), &names)); }),
              (Strings{"opendir file"}));
    EXPECT_EQ(errno, ENOTDIR);

    EXPECT_EQ(names, Strings{"old"});
}

TEST_F(DirectoryTest, ListingWithoutAnyNameFailsAndClearsTheNames) {
    Strings names = {"old"};
    failure = EIO;
    errno = 0;
    entries.StrikeAt(1);
    EXPECT_FALSE(GetDirectoryContents(directory_.Path(), &names));
    EXPECT_EQ(names, Strings());
    EXPECT_EQ(errno, EIO);
}

TEST_F(DirectoryTest, ClosingTheDirectoryKeepsErrno) {
    Strings names;
    Strings const nothing;
    claimedNames = &nothing;
    failure = EIO;
    errno = 2;
    listingsClosed.StrikeAt(1);

    EXPECT_FALSE(GetDirectoryContents(directory_.Path(), &names));

    EXPECT_EQ(listingsClosed.Hits(), 1);
    EXPECT_EQ(errno, 2);
}

TEST_F(DirectoryTest, WithoutMemoryForANameTheDirectoryIsClosed) {
    std::string const path = directory_.Path();
    static Strings const listed = {std::string(100, 'a'), std::string(100, 'b'),
                                   std::string(100, 'c')};
    claimedNames = &listed;
    for (unsigned long allowed : {0UL, 1UL, 2UL, 3UL}) {
        SCOPED_TRACE(allowed);
        claimedNamesListed = 0;
        Strings names;
        long const before = listingsClosed.Calls();
        bool refused = false;
        {
            AllocationLimit const some(allowed);
            try {
                GetDirectoryContents(path, &names);
            } catch (std::bad_alloc const&) {
                refused = some.Refused() == 1;
            }
        }
        EXPECT_TRUE(refused);
        EXPECT_EQ(listingsClosed.Calls() - before, 1);
    }
}

TEST_F(DirectoryTest, NullForTheNamesStopsTheProcess) {
    ExpectStopped([&] { GetDirectoryContents(Path("missing"), nullptr); }, "GetDirectoryContents",
                  "contents");
}

TEST_F(DirectoryTest, DirectoryIsMadeWithTheModeLessTheUmask) {
    mode_t const before = ::umask(0027);
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(MakeDirectory(Path("one"))); }), Strings{"mkdir one 0770"});
    ::umask(0);
    EXPECT_TRUE(MakeDirectory(Path("other")));
    ::umask(before);

    EXPECT_EQ(Permissions(Path("one")), 0750U);
    EXPECT_EQ(Permissions(Path("other")), 0770U);
}

TEST_F(DirectoryTest, DirectoryThatExistsOrHasNoParentIsNotMade) {
    EXPECT_FALSE(MakeDirectory(MadeDirectory("directory")));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(MakeDirectory(Path("a/b")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Exists("a"));
}

TEST_F(DirectoryTest, CurrentDirectoryIsChangedAndTold) {
    std::string const real = OwnDirectories().back();
    ChildResult const result = RunInChild([&] {
        Strings const calls = CallsOf([&] {
            std::printf("%d ", SetCurrentDir(directory_.Path()));
            std::printf("%s", GetCurrentDir().c_str());
        });
        EXPECT_EQ(calls, (Strings{"chdir " + Told(directory_.Path()), "getcwd"}));
        return testing::Test::HasFailure() ? 1 : 0;
    });

    EXPECT_EQ(result.output, "1 " + real);
    EXPECT_EQ(result.exitStatus, 0) << result.output;
}

TEST_F(DirectoryTest, DirectoryThatCannotBeEnteredFails) {
    std::string const before = GetCurrentDir();
    EXPECT_FALSE(SetCurrentDir(Path("missing")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(GetCurrentDir(), before);
}

TEST_F(DirectoryTest, FailedGetCurrentDirIsEmpty) {
    failure = EACCES;
    currentDirs.StrikeAt(1);
    EXPECT_EQ(GetCurrentDir(), "");
    EXPECT_EQ(errno, EACCES);
}

TEST_F(DirectoryTest, CurrentDirectoryOfMoreThan1024CharactersIsNotTold) {
    std::string const real = OwnDirectories().back();
    struct {
        std::string::size_type length;
        std::string output;
    } const cases[] = {{1023, "1023"}, {1024, "1024"}, {1025, "0"}, {1300, "0"}};
    for (auto const& each : cases) {
        SCOPED_TRACE(each.length);
        ChildResult const result = RunInChild([&] {
            ::chdir(real.c_str());
            std::string::size_type length = real.size();
            while (length < each.length) {
                // Never so long that one character were left for a separator without a name.
                std::string::size_type const left = each.length - length - 1;
                std::string const name(left > 200 ? 100 : left, 'd');
                ::mkdir(name.c_str(), 0700);
                ::chdir(name.c_str());
                length += 1 + name.size();
            }
            std::printf("%zu", GetCurrentDir().size());
            return 0;
        });
        EXPECT_EQ(result.output, each.output);
    }
}

TEST_F(DirectoryTest, SpaceIsToldInBytes) {
    long long total = 0;
    long long available = 0;
    long long free = 0;

    EXPECT_EQ(CallsOf([&] {
                  EXPECT_TRUE(GetDiskSpaceInfo(directory_.Path(), &total, &available, &free));
              }),
              Strings{"statvfs ."});

    EXPECT_EQ(total, 12288000000000);
    EXPECT_EQ(available, 4096000000000);
    EXPECT_EQ(free, 8192000000000);
}

TEST_F(DirectoryTest, NullSkipsAValueOfTheSpace) {
    for (int skipped = 0; skipped < 8; ++skipped) {
        SCOPED_TRACE(skipped);
        long long values[] = {-1, -1, -1};
        auto const pointer = [&](int i) { return (skipped >> i & 1) != 0 ? nullptr : &values[i]; };

        EXPECT_TRUE(GetDiskSpaceInfo(directory_.Path(), pointer(0), pointer(1), pointer(2)));

        EXPECT_EQ(values[0], pointer(0) != nullptr ? 12288000000000 : -1);
        EXPECT_EQ(values[1], pointer(1) != nullptr ? 4096000000000 : -1);
        EXPECT_EQ(values[2], pointer(2) != nullptr ? 8192000000000 : -1);
    }
}

TEST_F(DirectoryTest, FailedSpaceLeavesTheValues) {
    long long total = 1;
    long long available = 2;
    long long free = 3;
    failure = ENOENT;
    spaces.StrikeAt(1);

    EXPECT_FALSE(GetDiskSpaceInfo(Path("missing"), &total, &available, &free));

    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(total, 1);
    EXPECT_EQ(available, 2);
    EXPECT_EQ(free, 3);
}

// The status.

static_assert(std::is_same<std::underlying_type<Status::Type>::type, int>::value, "of 32 bits");
static_assert(Status::kOther == 0 && Status::kFile == 1 && Status::kDirectory == 2, "a promise");
static_assert(offsetof(Status, type) < offsetof(Status, size) &&
                  offsetof(Status, size) < offsetof(Status, ctime) &&
                  offsetof(Status, ctime) < offsetof(Status, atime) &&
                  offsetof(Status, atime) < offsetof(Status, mtime),
              "in this order");

TEST_F(StatusTest, StatusTellsSizeAndTimesInWholeSeconds) {
    std::string const path = Made("file", "0123456789");
    SetTimes(path, {1100000000, 999999999}, {1000000000, 999999999});
    editStatus = [](struct stat& status) { status.st_ctime = 1200000000; };
    Status status;

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(GetStatus(path, &status)); }), Strings{"stat file"});

    EXPECT_EQ(status.type, Status::kFile);
    EXPECT_EQ(status.size, 10);
    EXPECT_EQ(status.ctime, 1200000000);
    EXPECT_EQ(status.atime, 1100000000);
    EXPECT_EQ(status.mtime, 1000000000);
}

TEST_F(StatusTest, SizeHas64Bits) {
    std::string const path = Made("file");
    ASSERT_EQ(::truncate(path.c_str(), 5000000000), 0);
    Status status;

    EXPECT_TRUE(GetStatus(path, &status));

    EXPECT_EQ(status.size, 5000000000);
}

TEST_F(StatusTest, FailedStatusIsLeftAsItWas) {
    Status status;
    status.type = Status::kDirectory;
    status.size = 1;
    status.ctime = 2;
    status.atime = 3;
    status.mtime = 4;
    errno = 0;

    EXPECT_FALSE(GetStatus(Path("missing"), &status));

    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(status.type, Status::kDirectory);
    EXPECT_EQ(status.size, 1);
    EXPECT_EQ(status.ctime, 2);
    EXPECT_EQ(status.atime, 3);
    EXPECT_EQ(status.mtime, 4);
}

TEST_F(StatusTest, NullForTheStatusStopsTheProcess) {
    ExpectStopped([&] { GetStatus(Path("missing"), nullptr); }, "GetStatus", "status");
}

mode_t claimedType = 0;

TEST_F(StatusTest, TypeIsABitOfTheMode) {
    std::string const path = Made("file");
    editStatus = [](struct stat& status) { status.st_mode = claimedType | 0644; };
    struct {
        mode_t mode;
        Status::Type type;
    } const cases[] = {
        {S_IFREG, Status::kFile},      {S_IFSOCK, Status::kFile},     {S_IFLNK, Status::kFile},
        {S_IFDIR, Status::kDirectory}, {S_IFBLK, Status::kDirectory}, {S_IFCHR, Status::kOther},
        {S_IFIFO, Status::kOther},     {0, Status::kOther},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.mode);
        claimedType = each.mode;
        Status status;

        EXPECT_TRUE(GetStatus(path, &status));
        EXPECT_EQ(status.type, each.type);
    }
}

TEST_F(StatusTest, LinksAreFollowed) {
    Made("file", "0123456789");
    MadeDirectory("directory");
    ASSERT_EQ(::symlink("file", Path("to-file").c_str()), 0);
    ASSERT_EQ(::symlink("directory", Path("to-directory").c_str()), 0);
    ASSERT_EQ(::symlink("missing", Path("to-nothing").c_str()), 0);
    Status status;

    EXPECT_TRUE(GetStatus(Path("to-file"), &status));
    EXPECT_EQ(status.type, Status::kFile);
    EXPECT_EQ(status.size, 10);
    EXPECT_TRUE(GetStatus(Path("to-directory"), &status));
    EXPECT_EQ(status.type, Status::kDirectory);
    EXPECT_FALSE(GetStatus(Path("to-nothing"), &status));
    EXPECT_TRUE(GetStatus("/dev/null", &status));
    EXPECT_EQ(status.type, Status::kOther);
}

// Renaming and removing.

TEST_F(RemovalTest, RenamedFileReplacesTheOther) {
    std::string const from = Made("from", "new");
    std::string const to = Made("to", "old");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(RenameFile(from, to)); }), Strings{"rename from to"});

    EXPECT_FALSE(Exists("from"));
    EXPECT_EQ(ReadWholeFile(to), "new");
}

TEST_F(RemovalTest, MissingFileIsNotRenamed) {
    std::string const to = Made("to", "old");
    EXPECT_FALSE(RenameFile(Path("missing"), to));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ReadWholeFile(to), "old");
}

TEST_F(RemovalTest, FileIsRemovedAsOneAndADirectoryAsOne) {
    std::string const file = Made("file");
    std::string const directory = MadeDirectory("directory");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(Remove(file)); }), (Strings{"stat file", "remove file"}));
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(Remove(directory)); }),
              (Strings{"stat directory", "rmdir directory"}));

    EXPECT_FALSE(Exists("file"));
    EXPECT_FALSE(Exists("directory"));
}

TEST_F(RemovalTest, WhatIsMissingIsNotRemoved) {
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(Remove(Path("missing"))); }), Strings{"stat missing"});
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(RemovalTest, DirectoryWithContentIsNotRemovedByRemove) {
    MadeDirectory("directory");
    Made("directory/file");

    EXPECT_FALSE(Remove(Path("directory")));

    EXPECT_TRUE(errno == ENOTEMPTY || errno == EEXIST) << errno;
    EXPECT_TRUE(Exists("directory/file"));
}

TEST_F(RemovalTest, SocketIsRemovedAndAPipeStays) {
    ASSERT_EQ(::mkfifo(Path("pipe").c_str(), 0600), 0);
    ChildResult const bound = RunInChild([&] {
        ::chdir(directory_.Path().c_str());  // a socket's path must be short
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "socket");
        int const descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
        return ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address);
    });
    ASSERT_EQ(bound.exitStatus, 0);
    ASSERT_TRUE(Exists("socket"));

    EXPECT_TRUE(Remove(Path("socket")));
    EXPECT_FALSE(Exists("socket"));
    errno = 2;
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(Remove(Path("pipe"))); }), Strings{"stat pipe"});
    EXPECT_EQ(errno, 2);
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(RemoveAll(Path("pipe"))); }),
              (Strings{"stat pipe", "opendir pipe"}));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_TRUE(Exists("pipe"));
}

TEST_F(RemovalTest, OfALinkToAFileTheLinkIsRemoved) {
    Made("file");
    ASSERT_EQ(::symlink("file", Path("link").c_str()), 0);

    EXPECT_TRUE(Remove(Path("link")));

    EXPECT_FALSE(Exists("link"));
    EXPECT_TRUE(Exists("file"));
}

TEST_F(RemovalTest, LinkToADirectoryOrToNothingStays) {
    MadeDirectory("directory");
    ASSERT_EQ(::symlink("directory", Path("to-directory").c_str()), 0);
    ASSERT_EQ(::symlink("missing", Path("to-nothing").c_str()), 0);

    EXPECT_FALSE(Remove(Path("to-directory")));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Remove(Path("to-nothing")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(RemoveAll(Path("to-nothing")));

    EXPECT_TRUE(IsLink("to-directory"));
    EXPECT_TRUE(IsLink("to-nothing"));
}

TEST_F(RemovalTest, RemoveAllOfAFileOrAnEmptyDirectoryIsOneRemoval) {
    std::string const file = Made("file");
    std::string const directory = MadeDirectory("directory");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(RemoveAll(file)); }),
              (Strings{"stat file", "remove file"}));
    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(RemoveAll(directory)); }),
              (Strings{"stat directory", "rmdir directory"}));
}

TEST_F(RemovalTest, RemoveAllRemovesTheWholeTree) {
    MadeDirectory("tree");
    MadeDirectory("tree/branch");
    MadeDirectory("tree/branch/twig");
    Made("tree/branch/twig/leaf");
    Made("tree/branch/.hidden");
    Made("tree/...");

    EXPECT_TRUE(RemoveAll(Path("tree")));

    EXPECT_FALSE(Exists("tree"));
}

TEST_F(RemovalTest, RemoveAllListsWhatCouldNotBeRemovedAtOnce) {
    MadeDirectory("tree");
    Made("tree/leaf");

    EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(RemoveAll(Path("tree/"))); }),
              (Strings{"stat tree/", "rmdir tree/", "opendir tree/", "closedir", "stat tree//leaf",
                       "remove tree//leaf", "stat tree/", "rmdir tree/"}));
}

TEST_F(RemovalTest, RemoveAllGoesOnAfterAFailureAndAnswersTheLastResult) {
    MadeDirectory("tree");
    Made("tree/one");
    Made("tree/two");
    ErrnoAfterDelete const disturbed(ENOTTY);
    failure = EACCES;
    std::string const path = Path("tree");
    removals.StrikeAt(1);

    EXPECT_FALSE(RemoveAll(path));
    int const number = errno;

    EXPECT_EQ(removals.Hits(), 1);
    EXPECT_TRUE(number == ENOTEMPTY || number == EEXIST) << number;
    EXPECT_NE(Exists("tree/one"), Exists("tree/two")) << "one of them was removed";
}

TEST_F(RemovalTest, ContentThatIsRemovedMeanwhileIsNoFailure) {
    MadeDirectory("tree");
    Made("tree/leaf");
    Strings const listed = {"gone", "leaf", "."};
    claimedNames = &listed;

    EXPECT_TRUE(RemoveAll(Path("tree")));
    EXPECT_FALSE(Exists("tree"));
}

TEST_F(RemovalTest, RemoveAllOfWhatIsMissingFails) {
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(RemoveAll(Path("missing"))); }),
              (Strings{"stat missing", "opendir missing"}));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(RemovalTest, RemoveAllEmptiesWhatALinkLeadsToAndLeavesTheLink) {
    MadeDirectory("target");
    Made("target/file");
    MadeDirectory("tree");
    ASSERT_EQ(::symlink("../target", Path("tree/link").c_str()), 0);

    EXPECT_FALSE(RemoveAll(Path("tree")));

    EXPECT_TRUE(IsLink("tree/link"));
    EXPECT_TRUE(Exists("target"));
    EXPECT_FALSE(Exists("target/file"));
}

// Rotation.

class Rotated : public RotationTest {
protected:
    void MakeModifiedAt(std::string const& name, time_t seconds, long nanoseconds = 0) const {
        SetTimes(Made(name), {seconds, 0}, {seconds, nanoseconds});
    }

    /// The names that are left of `names`.
    Strings Left(Strings const& names) const {
        Strings left;
        for (std::string const& name : names) {
            if (Exists(name)) {
                left.push_back(name);
            }
        }
        return left;
    }
};

TEST_F(Rotated, NewestFilesAreKept) {
    Strings const names = {"a", "b", "c", "d"};
    for (unsigned long keep = 0; keep < 6; ++keep) {
        SCOPED_TRACE(keep);
        MakeModifiedAt("a", 3000);
        MakeModifiedAt("b", 1000);
        MakeModifiedAt("c", 4000);
        MakeModifiedAt("d", 2000);

        RotateFilesByLastModifTime(directory_.Path(), keep);

        Strings const left[] = {{}, {"c"}, {"a", "c"}, {"a", "c", "d"}, names, names};
        EXPECT_EQ(Left(names), left[keep]);
    }
}

TEST_F(Rotated, LargestNumberKeepsEverything) {
    MakeModifiedAt("a", 1000);
    RotateFilesByLastModifTime(directory_.Path(), ULONG_MAX);
    EXPECT_TRUE(Exists("a"));
}

TEST_F(Rotated, OfTheSameSecondTheFileListedFirstGoesFirst) {
    Strings const listed = {"c", ".", "a", "d", "b"};
    for (unsigned long keep : {3UL, 2UL, 1UL}) {
        SCOPED_TRACE(keep);
        MakeModifiedAt("c", 1000, 900000000);
        MakeModifiedAt("a", 1000, 100000000);
        MakeModifiedAt("d", 1000, 500000000);
        MakeModifiedAt("b", 999, 999999999);
        claimedNames = &listed;
        claimedNamesListed = 0;

        RotateFilesByLastModifTime(directory_.Path(), keep);

        Strings const left[] = {{}, {"d"}, {"a", "d"}, {"c", "a", "d"}};
        EXPECT_EQ(Left({"c", "a", "d", "b"}), left[keep]);
    }
}

TEST_F(Rotated, TimesBeforeTheEpochAreTheOldest) {
    MakeModifiedAt("before", -1000);
    MakeModifiedAt("after", 1000);
    RotateFilesByLastModifTime(directory_.Path(), 1);
    EXPECT_EQ(Left({"before", "after"}), Strings{"after"});
}

TEST_F(Rotated, OnlyFilesTakePart) {
    MakeModifiedAt("file", 1000);
    MakeModifiedAt(".hidden", 2000);
    MadeDirectory("directory");
    ASSERT_EQ(::mkfifo(Path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("missing", Path("to-nothing").c_str()), 0);
    ASSERT_EQ(::symlink("directory", Path("to-directory").c_str()), 0);
    Strings const names = {"file", ".hidden", "directory", "pipe", "to-nothing", "to-directory"};

    RotateFilesByLastModifTime(directory_.Path(), 2);
    EXPECT_EQ(Left(names), names);

    RotateFilesByLastModifTime(directory_.Path(), 0);
    EXPECT_EQ(Left(names), (Strings{"directory", "pipe", "to-nothing", "to-directory"}));
}

TEST_F(Rotated, EachEntryIsAskedOnceAndOnceMoreBeforeItsRemoval) {
    MakeModifiedAt("a", 1000);
    MakeModifiedAt("b", 2000);
    Strings const listed = {"b", "a"};
    claimedNames = &listed;

    EXPECT_EQ(CallsOf([&] { RotateFilesByLastModifTime(directory_.Path(), 1); }),
              (Strings{"opendir .", "closedir", "stat b", "stat a", "stat a", "remove a"}));
}

TEST_F(Rotated, FileThatCannotBeRemovedStaysAndTheNextOneGoes) {
    MakeModifiedAt("a", 1000);
    MakeModifiedAt("b", 2000);
    MakeModifiedAt("c", 3000);
    failure = EACCES;
    removals.StrikeAt(1);

    RotateFilesByLastModifTime(directory_.Path(), 1);

    EXPECT_EQ(removals.Hits(), 1);
    EXPECT_EQ(Left({"a", "b", "c"}), (Strings{"a", "c"}));
}

TEST_F(Rotated, FileThatHasBecomeADirectoryIsRemovedAsOne) {
    MadeDirectory("was-a-file");
    Strings const listed = {"was-a-file"};
    claimedNames = &listed;
    editStatus = [](struct stat& status) {
        status.st_mode = ++statusesTold == 1 ? S_IFREG : status.st_mode;
    };

    EXPECT_EQ(CallsOf([&] { RotateFilesByLastModifTime(directory_.Path(), 0); }),
              (Strings{"opendir .", "closedir", "stat was-a-file", "stat was-a-file",
                       "rmdir was-a-file"}));
}

TEST_F(Rotated, FileThatHasBecomeADirectoryWithContentStays) {
    MadeDirectory("was-a-file");
    Made("was-a-file/content");
    Strings const listed = {"was-a-file"};
    claimedNames = &listed;
    editStatus = [](struct stat& status) {
        status.st_mode = ++statusesTold == 1 ? S_IFREG : status.st_mode;
    };

    EXPECT_EQ(CallsOf([&] { RotateFilesByLastModifTime(directory_.Path(), 0); }),
              (Strings{"opendir .", "closedir", "stat was-a-file", "stat was-a-file",
                       "rmdir was-a-file"}));
    EXPECT_TRUE(Exists("was-a-file/content"));
}

TEST_F(Rotated, MissingDirectoryIsLeftAlone) {
    EXPECT_EQ(CallsOf([&] { RotateFilesByLastModifTime(Path("missing"), 0); }),
              Strings{"opendir missing"});
}

}  // namespace
}  // namespace log_utils
}  // namespace tarqlog
