// Whatever the paths, the path functions answer what a plain reading of the path answers; an
// extension lies in the file name, and joining or taking the last component adds no separator.

#include <cstddef>
#include <cstdint>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "tarqlog/file.h"

#include "fuzz/property.h"
#include "support/path_oracle.h"

namespace tarqlog {
namespace {

void CheckPath(std::string const& path) {
    std::string::size_type const name = log_utils::GetFilename(path);
    std::string::size_type const extension = log_utils::GetExtension(path);
    RequireEqual(name, ExpectedFilename(path), "the file name is behind the last separator");
    RequireEqual(extension, ExpectedExtension(path), "the extension is the last dot's");
    Require(extension == std::string::npos || extension > name, "an extension is in the file name");

    std::string rest = path;
    log_utils::RemoveTrailingSeparators(&rest);
    RequireEqual(rest, WithoutTrailing(path), "separators at the end are removed");

    std::string const base = log_utils::Basename(path);
    RequireEqual(base, ExpectedBasename(path), "the base name is the last component");
    RequireEqual(log_utils::Basename(base), base, "a base name is its own");
    for (char const c : path) {
        RequireEqual(log_utils::IsPathSeparator(c), c == log_utils::GetPathSeparator(),
                     "there is one separator");
    }
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using tarqlog::RequireEqual;
    FuzzedDataProvider provider(data, size);
    std::string const a = provider.ConsumeRandomLengthString(size);
    std::string const b = provider.ConsumeRemainingBytesAsString();
    tarqlog::CheckPath(a);
    tarqlog::CheckPath(b);
    std::string const joined = tarqlog::log_utils::JoinPath(a, b);
    RequireEqual(joined, tarqlog::ExpectedJoin(a, b), "one separator joins two paths");
    tarqlog::CheckPath(joined);
    return 0;
}
