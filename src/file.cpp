#include "tarqlog/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

#include "tarqlog/assertion.h"

namespace tarqlog::log_utils {

namespace {

static_assert(sizeof(off_t) == 8, "files of 2 GiB and more need _FILE_OFFSET_BITS=64");

constexpr mode_t kFileMode = 0664;
constexpr mode_t kDirectoryMode = 0770;
constexpr unsigned long long kMaxWholeFile = 0x7fffffff;
constexpr std::size_t kMaxCurrentDir = 1024;
constexpr char kSeparator = '/';

/// Undoes at the end of its scope what cleaning up does to `errno`.
class ErrnoKeeper {
public:
    ErrnoKeeper() : errno_(errno) {}
    ~ErrnoKeeper() { errno = errno_; }

    ErrnoKeeper(ErrnoKeeper const&) = delete;
    ErrnoKeeper& operator=(ErrnoKeeper const&) = delete;

private:
    int const errno_;
};

struct DirectoryCloser {
    void operator()(DIR* directory) const {
        ErrnoKeeper const keeper;
        ::closedir(directory);
    }
};

// strerror_r() answers with the message in GNU's library, with a number everywhere else.
template <class Answer>
char const* MessageOf(Answer answer, [[maybe_unused]] char const* buffer) {
    if constexpr (std::is_pointer_v<Answer>) {
        return answer;
    } else {
        return buffer;
    }
}

std::string SystemMessage(int error) {
    char buffer[256] = {};
    return MessageOf(::strerror_r(error, buffer, sizeof buffer), buffer);
}

int ToOpenFlags(unsigned int flags) {
    bool const reads = (flags & File::kRead) != 0;
    bool const writes = (flags & File::kWrite) != 0;
    int openFlags = O_CLOEXEC;
    openFlags |= writes ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY;
    openFlags |= (flags & File::kCreate) != 0 ? O_CREAT : 0;
    openFlags |= (flags & File::kAppend) != 0 ? O_APPEND : 0;
    openFlags |= (flags & File::kTruncate) != 0 ? O_TRUNC : 0;
    return openFlags;
}

/// Calls `transfer` until `dataSize` bytes are through or one call moves none. An interrupted call
/// ends it, on purpose, where UntilUninterrupted() goes on.
template <class Byte, class Transfer>
int TransferAll(Byte* position, int dataSize, Transfer transfer) {
    int remaining = dataSize;
    for (;;) {
        int const transferred = transfer(position, remaining);
        if (transferred < 0) {
            return transferred;
        }
        remaining -= transferred;
        if (transferred == 0 || remaining == 0) {
            return dataSize - remaining;
        }
        position += transferred;
    }
}

template <class Call>
bool UntilUninterrupted(Call call) {
    while (call() != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// Asks for a bit and not for the whole type, on purpose: sockets have a file's bit, too, and block
/// devices a directory's.
Status::Type TypeOf(mode_t mode) {
    if ((mode & S_IFREG) != 0) {
        return Status::kFile;
    }
    return (mode & S_IFDIR) != 0 ? Status::kDirectory : Status::kOther;
}

/// Of a path that is not empty.
bool EndsWithSeparator(std::string const& path) {
    return IsPathSeparator(path.back());
}

/// Where the part after the last separator begins.
std::string::size_type NameStart(std::string const& path) {
    return path.rfind(kSeparator) + 1;  // of npos, 0
}

void StoreBytes(fsblkcnt_t blocks, struct statvfs const& space, long long* bytes) {
    if (bytes != nullptr) {
        *bytes = static_cast<long long>(static_cast<unsigned long long>(blocks) * space.f_frsize);
    }
}

}  // namespace

Error::Error(std::string const& message) : std::runtime_error(message), errno_(errno) {}

Error::~Error() noexcept = default;

OpenFileError::OpenFileError(std::string const& message, int openErrno)
    : Error(message), openErrno_(openErrno) {}

OpenFileError::~OpenFileError() noexcept = default;

File::File(std::string const& path, unsigned int flags) {
    if (!Open(path, flags)) {
        int const openErrno = errno;
        throw OpenFileError(SystemMessage(openErrno) + ": " + path, openErrno);
    }
}

File::~File() {
    Close();
}

bool File::Open(std::string const& path, unsigned int flags) {
    Close();
    descriptor_ = ::open(path.c_str(), ToOpenFlags(flags), kFileMode);
    return IsOpen();
}

void File::Close() noexcept {
    if (IsOpen()) {
        ErrnoKeeper const keeper;
        ::close(descriptor_);
        descriptor_ = -1;
    }
}

// NOLINTBEGIN(readability-make-member-function-const): what they change is the file

int File::Read(void* data, int dataSize) {
    TARQLOG_ASSERT(data && dataSize >= 0);
    return static_cast<int>(::read(descriptor_, data, static_cast<std::size_t>(dataSize)));
}

int File::ReadAll(void* data, int dataSize) {
    return TransferAll(static_cast<char*>(data), dataSize,
                       [this](char* position, int size) { return Read(position, size); });
}

int File::Write(void const* data, int dataSize) {
    TARQLOG_ASSERT(data && dataSize >= 0);
    return static_cast<int>(::write(descriptor_, data, static_cast<std::size_t>(dataSize)));
}

int File::Write(std::string const& text) {
    return Write(text.data(), static_cast<int>(text.size()));
}

int File::WriteAll(void const* data, int dataSize) {
    return TransferAll(static_cast<char const*>(data), dataSize,
                       [this](char const* position, int size) { return Write(position, size); });
}

int File::WriteAll(std::string const& text) {
    return WriteAll(text.data(), static_cast<int>(text.size()));
}

long long File::Seek(long long offset, SeekOrigin origin) {
    static constexpr int kWhence[] = {SEEK_CUR, SEEK_SET, SEEK_END};
    TARQLOG_ASSERT_AS(__FILE__, origin >= kCurrent && origin <= kEnd, "!\"unknown origin\"");
    return ::lseek(descriptor_, offset, kWhence[origin]);
}

long long File::Tell() {
    return Seek(0, kCurrent);
}

bool File::Clear() {
    return UntilUninterrupted([this] { return ::ftruncate(descriptor_, 0); });
}

bool File::Sync() {
    return ::fsync(descriptor_) == 0;
}

bool File::Lock(bool exclusive, bool nonBlocking) {
    int const operation = (exclusive ? LOCK_EX : LOCK_SH) | (nonBlocking ? LOCK_NB : 0);
    return UntilUninterrupted([&] { return ::flock(descriptor_, operation); });
}

bool File::Unlock() {
    return UntilUninterrupted([this] { return ::flock(descriptor_, LOCK_UN); });
}

// NOLINTEND(readability-make-member-function-const)

bool ReadFile(std::string const& path, std::vector<char>* contents) {
    File file;
    if (!file.Open(path, File::kRead)) {
        return false;
    }
    auto const size = static_cast<unsigned long long>(file.Seek(0, File::kEnd));
    if (size > kMaxWholeFile) {
        return false;  // or there is no size: a failure is a very large number here
    }
    file.Seek(0, File::kBegin);
    contents->resize(static_cast<std::size_t>(size));
    if (size == 0) {
        return true;
    }
    int const bytesRead = file.ReadAll(contents->data(), static_cast<int>(size));
    if (bytesRead < 0) {
        ErrnoKeeper const keeper;
        std::vector<char>().swap(*contents);  // frees the memory here, where `errno` is kept
        return false;
    }
    contents->resize(static_cast<std::size_t>(bytesRead));
    return true;
}

bool ReadFile(std::string const& path, std::string* contents) {
    std::vector<char> bytes;
    if (!ReadFile(path, &bytes)) {
        return false;
    }
    contents->assign(bytes.begin(), bytes.end());
    return true;
}

bool WriteFile(std::string const& path, std::string const& contents) {
    if (contents.size() > kMaxWholeFile) {
        return false;
    }
    File file;
    if (!file.Open(path, File::kWrite | File::kCreate | File::kTruncate)) {
        return false;
    }
    return contents.empty() || file.Write(contents) == static_cast<int>(contents.size());
}

bool IsPathSeparator(char c) {
    return c == kSeparator;
}

char GetPathSeparator() {
    return kSeparator;
}

std::string::size_type GetFilename(std::string const& path) {
    if (path.empty() || EndsWithSeparator(path)) {
        return std::string::npos;
    }
    return NameStart(path);
}

std::string::size_type GetExtension(std::string const& path) {
    std::string::size_type const nameStart = GetFilename(path);
    std::string::size_type const dot = path.rfind('.');
    return dot > nameStart ? dot : std::string::npos;  // which either may be, and nothing is larger
}

void RemoveTrailingSeparators(std::string* path) {
    path->erase(path->find_last_not_of(kSeparator) + 1);  // of npos, from the start
}

std::string Basename(std::string const& path) {
    std::string copy = path;
    RemoveTrailingSeparators(&copy);
    if (copy.empty()) {
        return path.substr(0, 1);  // of separators alone, or of nothing
    }
    return copy.substr(NameStart(copy));
}

std::string JoinPath(std::string const& a, std::string const& b) {
    if (a.empty() || b.empty()) {
        return a.empty() ? b : a;
    }
    bool const bBegins = IsPathSeparator(b.front());
    if (EndsWithSeparator(a) && bBegins) {
        std::string trimmed = a;
        RemoveTrailingSeparators(&trimmed);
        return trimmed + b;
    }
    return EndsWithSeparator(a) || bBegins ? a + b : a + kSeparator + b;
}

bool GetDirectoryContents(std::string const& dir, std::vector<std::string>* contents) {
    TARQLOG_ASSERT(contents);
    std::unique_ptr<DIR, DirectoryCloser> const directory(::opendir(dir.c_str()));
    if (directory == nullptr) {
        return false;
    }
    contents->clear();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this directory
    while (dirent const* const entry = ::readdir(directory.get())) {
        contents->emplace_back(entry->d_name);
    }
    return !contents->empty();
}

bool GetStatus(std::string const& path, Status* status) {
    TARQLOG_ASSERT(status);
    struct stat found = {};
    if (::stat(path.c_str(), &found) != 0) {
        return false;
    }
    status->type = TypeOf(found.st_mode);
    status->size = found.st_size;
    status->ctime = found.st_ctime;
    status->atime = found.st_atime;
    status->mtime = found.st_mtime;
    return true;
}

bool GetDiskSpaceInfo(std::string const& path, long long* total, long long* available,
                      long long* free) {
    struct statvfs space = {};
    if (::statvfs(path.c_str(), &space) != 0) {
        return false;
    }
    StoreBytes(space.f_blocks, space, total);
    StoreBytes(space.f_bavail, space, available);
    StoreBytes(space.f_bfree, space, free);
    return true;
}

std::string GetCurrentDir() {
    char path[kMaxCurrentDir + 1] = {};
    return ::getcwd(path, sizeof path) != nullptr ? path : "";
}

bool SetCurrentDir(std::string const& dir) {
    return ::chdir(dir.c_str()) == 0;
}

bool MakeDirectory(std::string const& dir) {
    return ::mkdir(dir.c_str(), kDirectoryMode) == 0;
}

bool RenameFile(std::string const& from, std::string const& to) {
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool Remove(std::string const& path) {
    Status status;
    if (!GetStatus(path, &status)) {
        return false;
    }
    if (status.type == Status::kFile) {
        return ::remove(path.c_str()) == 0;
    }
    return status.type == Status::kDirectory && ::rmdir(path.c_str()) == 0;
}

bool RemoveAll(std::string const& path) {
    if (Remove(path)) {
        return true;
    }
    {
        std::vector<std::string> names;
        if (!GetDirectoryContents(path, &names)) {
            return false;
        }
        for (std::string const& name : names) {
            if (name != "." && name != "..") {
                RemoveAll(path + kSeparator + name);
            }
        }
    }
    return Remove(path);  // with the names gone, `errno` is its own
}

void RotateFilesByLastModifTime(std::string const& dir, unsigned long keep) {
    std::vector<std::string> names;
    if (!GetDirectoryContents(dir, &names)) {
        return;
    }
    std::multimap<long long, std::string> pathsByTime;  // of the same time, as they were listed
    for (std::string const& name : names) {
        std::string path = dir + kSeparator + name;
        Status status;
        if (GetStatus(path, &status) && status.type == Status::kFile) {
            pathsByTime.emplace(status.mtime, std::move(path));
        }
    }
    auto oldest = pathsByTime.begin();
    for (std::size_t excess = pathsByTime.size(); excess > keep; --excess, ++oldest) {
        Remove(oldest->second);
    }
}

}  // namespace tarqlog::log_utils
