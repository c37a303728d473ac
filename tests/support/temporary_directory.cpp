#include "support/temporary_directory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tarqlog {

TemporaryDirectory::TemporaryDirectory(std::filesystem::path const& parent)
    : path_((parent / "tarqlog-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot make " + path_);
    }
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void WriteWholeFile(std::string const& path, std::string const& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string ReadWholeFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace tarqlog
