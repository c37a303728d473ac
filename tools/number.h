#ifndef TARQLOG_TOOLS_NUMBER_H_
#define TARQLOG_TOOLS_NUMBER_H_

#include <optional>
#include <string>

namespace tarqlog::tool {

/// A number of decimal digits alone; none when there are other characters or too many digits.
std::optional<unsigned long long> ToNumber(std::string const& text);

/// A number of bytes above 0, or of KiB, MiB or GiB with a K, M or G behind it in either case.
std::optional<unsigned long long> ToBytes(std::string const& text);

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_NUMBER_H_
