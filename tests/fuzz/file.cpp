// Whatever is done to files, directories and up to three File objects, in whatever order: each call
// answers as the model of a file system does, which is one map in memory, and in the end the
// directory holds what the model holds.

#include "tarqlog/file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/property.h"
#include "support/temporary_directory.h"

namespace tarqlog::log_utils {
namespace {

typedef std::vector<std::string> Strings;

constexpr char const* kPaths[] = {"a", "b", "c", "a/x", "a/y", "b/x", "b/x/z"};
constexpr int kFiles = 3;
constexpr int kLongest = 300;          // transfer, in bytes
constexpr long long kFarthest = 5000;  // position, in bytes

/// The content of a file, which outlives its name while it is open.
struct Content {
    std::string bytes;
    std::array<char, kFiles> locks = {};  // of each File: 'x' exclusive, 's' shared, or none
};

/// What is under a name: a directory when it has no content.
typedef std::shared_ptr<Content> Node;

class ModelledFile;

/// Directories and files; answers as the calls of the system do for their owner.
class Model {
public:
    bool IsThere(std::string const& path) const { return nodes_.count(path) != 0; }
    bool IsFile(std::string const& path) const { return IsThere(path) && nodes_.at(path); }
    bool IsDirectory(std::string const& path) const { return IsThere(path) && !nodes_.at(path); }

    /// Null when there is no such file and none is made.
    Node Open(std::string const& path, bool create, bool truncate) {
        if (create && !IsThere(path) && HasParent(path)) {
            nodes_[path] = std::make_shared<Content>();
        }
        if (!IsFile(path)) {
            return nullptr;
        }
        if (truncate) {
            nodes_[path]->bytes.clear();
        }
        return nodes_[path];
    }

    bool MakeDirectory(std::string const& path) {
        return HasParent(path) && nodes_.emplace(path, nullptr).second;
    }

    Strings Children(std::string const& path) const {
        Strings names;
        for (auto const& [name, unused] : nodes_) {
            bool const isBelow = name.compare(0, path.size() + 1, path + "/") == 0;
            if (isBelow && name.find('/', path.size() + 1) == std::string::npos) {
                names.push_back(name.substr(path.size() + 1));
            }
        }
        return names;
    }

    bool Remove(std::string const& path) {
        return Children(path).empty() && nodes_.erase(path) == 1;
    }

    bool RemoveAll(std::string const& path) {
        for (std::string const& name : Children(path)) {
            RemoveAll(path + "/" + name);
        }
        return Remove(path);
    }

    bool Rename(std::string const& from, std::string const& to) {
        bool const isWithinItself = to.compare(0, from.size() + 1, from + "/") == 0;
        if (!IsThere(from) || !HasParent(to) || isWithinItself) {
            return false;
        }
        if (from == to) {
            return true;
        }
        if (IsThere(to) && (IsFile(from) != IsFile(to) || !Remove(to))) {
            return false;
        }
        Move(from, to);
        return true;
    }

    /// Directories have no bytes here.
    std::map<std::string, std::string> List() const {
        std::map<std::string, std::string> listing;
        for (auto const& [path, content] : nodes_) {
            listing[path + (content ? "" : "/")] = content ? content->bytes : "";
        }
        return listing;
    }

private:
    bool HasParent(std::string const& path) const {
        std::string::size_type const slash = path.rfind('/');
        return slash == std::string::npos || IsDirectory(path.substr(0, slash));
    }

    void Move(std::string const& from, std::string const& to) {
        for (std::string const& name : Children(from)) {
            Move(from + "/" + name, to + "/" + name);
        }
        nodes_[to] = nodes_[from];
        nodes_.erase(from);
    }

    std::map<std::string, Node> nodes_;
};

/// A File of the model.
class ModelledFile {
public:
    explicit ModelledFile(std::size_t index) : index_(index) {}

    bool Open(Model& model, std::string const& path, unsigned int flags) {
        Close();
        content_ = model.Open(path, (flags & File::kCreate) != 0, (flags & File::kTruncate) != 0);
        writes_ = (flags & File::kWrite) != 0;
        reads_ = !writes_ || (flags & File::kRead) != 0;
        appends_ = (flags & File::kAppend) != 0;
        position_ = 0;
        return IsOpen();
    }

    void Close() {
        Unlock();
        content_.reset();
    }

    bool IsOpen() const { return content_ != nullptr; }

    /// How many bytes come, and what they are.
    int Read(int size, std::string& bytes) {
        if (!IsOpen() || !reads_) {
            return -1;
        }
        std::string const& all = content_->bytes;
        auto const begin = std::min(static_cast<std::size_t>(position_), all.size());
        bytes = all.substr(begin, static_cast<std::size_t>(size));
        position_ += static_cast<long long>(bytes.size());
        return static_cast<int>(bytes.size());
    }

    int Write(std::string const& text) {
        if (!IsOpen() || !writes_) {
            return -1;
        }
        if (text.empty()) {
            return 0;
        }
        std::string& all = content_->bytes;
        auto const begin = appends_ ? all.size() : static_cast<std::size_t>(position_);
        all.resize(std::max(all.size(), begin + text.size()));  // zeros fill a hole
        all.replace(begin, text.size(), text);
        position_ = static_cast<long long>(begin + text.size());
        return static_cast<int>(text.size());
    }

    long long Seek(long long offset, File::SeekOrigin origin) {
        if (!IsOpen()) {
            return -1;
        }
        long long const size = static_cast<long long>(content_->bytes.size());
        long long const from = origin == File::kBegin ? 0 : origin == File::kEnd ? size : position_;
        if (from + offset < 0) {
            return -1;
        }
        return position_ = from + offset;
    }

    bool Clear() {
        bool const mayWrite = IsOpen() && writes_;
        if (mayWrite) {
            content_->bytes.clear();
        }
        return mayWrite;
    }

    /// Another lock is given up first, and for good when this one is refused.
    bool Lock(bool exclusive) {
        char const wanted = exclusive ? 'x' : 's';
        if (!IsOpen() || content_->locks[index_] == wanted) {
            return IsOpen();
        }
        Unlock();
        for (char const lock : content_->locks) {
            if (lock == 'x' || (lock == 's' && exclusive)) {
                return false;
            }
        }
        content_->locks[index_] = wanted;
        return true;
    }

    bool Unlock() {
        if (IsOpen()) {
            content_->locks[index_] = 0;
        }
        return IsOpen();
    }

private:
    std::size_t const index_;
    Node content_;
    bool reads_ = false;
    bool writes_ = false;
    bool appends_ = false;
    long long position_ = 0;
};

void SetModificationTime(std::string const& path, std::time_t seconds) {
    timespec const times[] = {{seconds, 0}, {seconds, 0}};
    Require(::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0, "a time can be set");
}

/// One input: the calls, each to the library and to the model.
class Comparison {
public:
    explicit Comparison(FuzzedDataProvider& provider) : provider_(provider) {
        std::filesystem::create_directory("files");
        std::filesystem::current_path("files");
        home_ = GetCurrentDir();
    }
    ~Comparison() {
        std::filesystem::current_path("..");
        std::filesystem::remove_all("files");
    }

    Comparison(Comparison const&) = delete;
    Comparison& operator=(Comparison const&) = delete;

    void Step() {
        switch (provider_.ConsumeIntegralInRange(0, 4)) {
            case 0:
                OpenOrClose();
                break;
            case 1:
                Transfer();
                break;
            case 2:
                Position();
                break;
            case 3:
                ChangeNames();
                break;
            default:
                Look();
        }
    }

    void CompareFiles() {
        std::map<std::string, std::string> listing;
        for (auto const& entry : std::filesystem::recursive_directory_iterator(".")) {
            std::string const path = entry.path().lexically_relative(".").string();
            listing[path + (entry.is_directory() ? "/" : "")] =
                entry.is_directory() ? "" : ReadWholeFile(path);
        }
        RequireEqual(listing, model_.List(), "the directory holds what the model holds");
    }

private:
    std::string TakePath() { return provider_.PickValueInArray(kPaths); }

    int TakeSize() { return provider_.ConsumeIntegralInRange(0, kLongest); }

    /// Picks the File of the next call.
    void TakeFile() { current_ = provider_.ConsumeIntegralInRange<std::size_t>(0, kFiles - 1); }
    File& Actual() { return files_[current_]; }
    ModelledFile& Expected() { return expected_[current_]; }

    void OpenOrClose() {
        TakeFile();
        if (provider_.ConsumeIntegralInRange(0, 7) == 0) {
            Actual().Close();
            Expected().Close();
            return;
        }
        std::string const path = TakePath();
        auto const flags = provider_.ConsumeIntegral<std::uint8_t>();
        if (model_.IsDirectory(path)) {
            CheckOpeningOfDirectory(path, flags);
            return;
        }
        bool const isOpen = Expected().Open(model_, path, flags);
        RequireEqual(Actual().Open(path, flags), isOpen, "Open()");
        RequireEqual(Actual().IsOpen(), isOpen, "IsOpen()");
        CheckConstructor(path, isOpen);
    }

    void CheckOpeningOfDirectory(std::string const& path, unsigned int flags) {
        bool const opens = (flags & (File::kCreate | File::kWrite | File::kTruncate)) == 0;
        RequireEqual(Actual().Open(path, flags), opens, "Open() of a directory");
        Actual().Close();  // what follows is of files
        Expected().Close();
    }

    void CheckConstructor(std::string const& path, bool isThere) {
        try {
            File const file(path, File::kRead);
            Require(file.IsOpen() && model_.IsFile(path), "the constructor opens");
        } catch (OpenFileError const& error) {
            Require(!isThere, "the constructor opens what Open() does");
            Require(std::string(error.what()).find(": " + path) != std::string::npos &&
                        error.GetOpenErrno() != 0,
                    "the error names the path and the reason");
        }
    }

    void Transfer() {
        TakeFile();
        bool const all = provider_.ConsumeBool();
        if (provider_.ConsumeBool()) {
            std::string const text(static_cast<std::size_t>(TakeSize()), letter_++);
            RequireEqual(all ? Actual().WriteAll(text) : Actual().Write(text),
                         Expected().Write(text), "Write()");
            return;
        }
        int const size = TakeSize();
        std::string bytes(static_cast<std::size_t>(size) + 1, '\0');
        std::string expected;
        int const came =
            all ? Actual().ReadAll(bytes.data(), size) : Actual().Read(bytes.data(), size);
        RequireEqual(came, Expected().Read(size, expected), "Read()");
        RequireEqual(bytes.substr(0, expected.size()), expected, "what Read() brings");
    }

    void Position() {
        TakeFile();
        switch (provider_.ConsumeIntegralInRange(0, 5)) {
            case 0:
            case 1: {
                auto const offset = provider_.ConsumeIntegralInRange(-kFarthest, kFarthest);
                auto const origin =
                    static_cast<File::SeekOrigin>(provider_.ConsumeIntegralInRange(0, 2));
                long long const now = Expected().Seek(0, File::kCurrent);
                bool const isFar = now > kFarthest && offset > 0;  // or files would have no end
                RequireEqual(Actual().Seek(isFar ? 0 : offset, origin),
                             Expected().Seek(isFar ? 0 : offset, origin), "Seek()");
                break;
            }
            case 2:
                RequireEqual(Actual().Clear(), Expected().Clear(), "Clear()");
                break;
            case 3:
                RequireEqual(Actual().Sync(), Expected().IsOpen(), "Sync()");
                break;
            case 4:
                RequireEqual(Actual().Unlock(), Expected().Unlock(), "Unlock()");
                break;
            default: {
                bool const exclusive = provider_.ConsumeBool();
                RequireEqual(Actual().Lock(exclusive, true), Expected().Lock(exclusive), "Lock()");
            }
        }
        RequireEqual(Actual().Tell(), Expected().Seek(0, File::kCurrent), "Tell()");
    }

    void ChangeNames() {
        std::string const path = TakePath();
        switch (provider_.ConsumeIntegralInRange(0, 5)) {
            case 0: {
                std::string const text(static_cast<std::size_t>(TakeSize()), letter_++);
                Node const node = model_.Open(path, true, true);
                RequireEqual(WriteFile(path, text), node != nullptr, "WriteFile()");
                if (node) {
                    node->bytes = text;
                }
                break;
            }
            case 1:
                RequireEqual(MakeDirectory(path), model_.MakeDirectory(path), "MakeDirectory()");
                break;
            case 2: {
                std::string const to = TakePath();
                RequireEqual(RenameFile(path, to), model_.Rename(path, to), "RenameFile()");
                break;
            }
            case 3:
                RequireEqual(Remove(path), model_.Remove(path), "Remove()");
                break;
            case 4:
                RequireEqual(RemoveAll(path), model_.RemoveAll(path), "RemoveAll()");
                break;
            default:
                Rotate(path);
        }
    }

    /// The files' names are in the order of their times.
    void Rotate(std::string const& path) {
        Strings files;
        for (std::string const& name : model_.Children(path)) {
            if (model_.IsFile(path + "/" + name)) {
                files.push_back(path + "/" + name);
                SetModificationTime(files.back(), static_cast<std::time_t>(files.size()));
            }
        }
        auto const keep = provider_.ConsumeIntegralInRange<std::size_t>(0, 3);
        RotateFilesByLastModifTime(path, keep);
        for (std::size_t i = 0; i + keep < files.size(); ++i) {
            model_.Remove(files[i]);
        }
    }

    void Look() {
        std::string const path = TakePath();
        switch (provider_.ConsumeIntegralInRange(0, 4)) {
            case 0:
                LookAtContent(path);
                break;
            case 1:
                LookAtStatus(path);
                break;
            case 2:
                LookAtNames(path);
                break;
            case 3:
                RequireEqual(SetCurrentDir(path), model_.IsDirectory(path), "SetCurrentDir()");
                RequireEqual(GetCurrentDir(), home_ + (model_.IsDirectory(path) ? "/" + path : ""),
                             "GetCurrentDir()");
                Require(SetCurrentDir(home_), "SetCurrentDir() and back");
                break;
            default: {
                long long total = 0;
                long long available = 0;
                long long free = 0;
                RequireEqual(GetDiskSpaceInfo(path, &total, &available, &free),
                             model_.IsThere(path), "GetDiskSpaceInfo()");
                Require(available <= free && free <= total, "space is a part of the whole");
            }
        }
    }

    void LookAtContent(std::string const& path) {
        if (model_.IsDirectory(path)) {
            return;  // whose size each file system tells in its way
        }
        std::string text = "before";
        std::vector<char> bytes = {'b'};
        bool const isThere = model_.IsFile(path);
        RequireEqual(ReadFile(path, &text), isThere, "ReadFile()");
        RequireEqual(ReadFile(path, &bytes), isThere, "ReadFile() into a vector");
        std::string const expected = isThere ? model_.Open(path, false, false)->bytes : "before";
        RequireEqual(text, expected, "what ReadFile() brings");
        RequireEqual(std::string(bytes.begin(), bytes.end()), isThere ? expected : "b",
                     "what ReadFile() brings into a vector");
    }

    void LookAtStatus(std::string const& path) {
        Status status;
        RequireEqual(GetStatus(path, &status), model_.IsThere(path), "GetStatus()");
        auto const type = model_.IsFile(path)        ? Status::kFile
                          : model_.IsDirectory(path) ? Status::kDirectory
                                                     : Status::kOther;
        RequireEqual(status.type, type, "the type in GetStatus()");
        if (type == Status::kFile) {
            auto const size = model_.Open(path, false, false)->bytes.size();
            RequireEqual(status.size, static_cast<long long>(size), "the size in GetStatus()");
        }
    }

    void LookAtNames(std::string const& path) {
        Strings names = {"before"};
        Strings expected = {"before"};
        if (model_.IsDirectory(path)) {
            expected = model_.Children(path);
            expected.insert(expected.end(), {".", ".."});
        }
        RequireEqual(GetDirectoryContents(path, &names), model_.IsDirectory(path),
                     "GetDirectoryContents()");
        std::sort(names.begin(), names.end());
        std::sort(expected.begin(), expected.end());
        RequireEqual(names, expected, "the names in GetDirectoryContents()");
    }

    FuzzedDataProvider& provider_;
    std::string home_;
    char letter_ = 'a';  // of which the next text is
    Model model_;
    std::size_t current_ = 0;
    std::array<File, kFiles> files_;
    std::array<ModelledFile, kFiles> expected_ = {ModelledFile(0), ModelledFile(1),
                                                  ModelledFile(2)};
};

}  // namespace
}  // namespace tarqlog::log_utils

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static tarqlog::TemporaryDirectory const directory;
    std::filesystem::current_path(directory.Path());
    FuzzedDataProvider provider(data, size);
    tarqlog::log_utils::Comparison comparison(provider);
    while (provider.remaining_bytes() > 0) {
        comparison.Step();
    }
    comparison.CompareFiles();
    return 0;
}
