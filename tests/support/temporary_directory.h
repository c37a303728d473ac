#ifndef TARQLOG_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H_
#define TARQLOG_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H_

#include <filesystem>
#include <string>

namespace tarqlog {

/// A fresh directory, removed with all that is in it.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        std::filesystem::path const& parent = std::filesystem::temp_directory_path());
    ~TemporaryDirectory();

    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

    std::string const& Path() const { return path_; }

    /// The path of `name` in the directory.
    std::string File(std::string const& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// Writes a file anew, or throws.
void WriteWholeFile(std::string const& path, std::string const& content);

/// The content of a file; throws when it cannot be read.
std::string ReadWholeFile(std::string const& path);

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H_
