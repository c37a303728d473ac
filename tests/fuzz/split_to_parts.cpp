// Whatever the tag, no part is empty and none holds the separator; the parts have every other
// character in its order; they are cut at separators alone; and joined they are the same tag again.

#include "split_to_parts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/property.h"
#include "support/tag_oracle.h"

namespace tarqlog {
namespace {

typedef std::vector<std::string> Parts;

Parts Split(std::string const& tag) {
    Parts parts = {"before"};
    SplitToParts(tag, parts);
    RequireEqual<std::string>(parts.at(0), "before", "what was there stays");
    return Parts(parts.begin() + 1, parts.end());
}

void CheckTag(std::string const& tag) {
    Parts const parts = Split(tag);
    for (std::string const& part : parts) {
        Require(!part.empty(), "no part is empty");
        Require(part.find('.') == std::string::npos, "no part holds the separator");
    }
    std::string others = tag;
    others.erase(std::remove(others.begin(), others.end(), '.'), others.end());
    RequireEqual(Join(parts, ""), others, "the parts have every character but the separators");
    RequireEqual(parts, SplitByCharacter(tag), "tags are cut at separators alone");
    RequireEqual(Split(Join(parts, ".")), parts, "joined, the parts are the same tag");
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    tarqlog::CheckTag(std::string(reinterpret_cast<char const*>(data), size));
    return 0;
}
