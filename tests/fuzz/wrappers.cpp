// Whatever the text and the tag, escapes undone give back the text to the byte, on a line that is
// UTF-8 without control characters; and a JSON line is one object whose tag and text, read back,
// are those of the record, with U+FFFD for each byte that is no UTF-8.

#include "tarqlog/wrappers.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <boost/make_shared.hpp>

#include "fuzz/property.h"
#include "support/installed_hooks.h"
#include "support/noting_appender.h"
#include "support/records.h"
#include "support/tag_oracle.h"
#include "support/text_oracle.h"

namespace tarqlog {
namespace {

constexpr char kBeginning[] =
    R"({"time":"2023-11-14T22:13:20.123Z","severity":"info","thread":4242,"tag":)";
constexpr char kReplacement[] = "\xef\xbf\xbd";

/// The number of the character at the start of `text`, which is not empty; -1 when there is none.
long CharacterAt(std::string const& text, std::size_t& length) {
    static constexpr unsigned char kLead[] = {0x00, 0xc0, 0xe0, 0xf0};
    static constexpr unsigned char kBits[] = {0x7f, 0x1f, 0x0f, 0x07};
    for (length = 1; length <= 4 && length <= text.size(); ++length) {
        auto const first = static_cast<unsigned char>(text[0]);
        std::uint32_t number = first & kBits[length - 1];
        for (std::size_t i = 1; i < length; ++i) {
            number = number << 6 | (static_cast<unsigned char>(text[i]) & 0x3f);
        }
        bool const isSurrogate = number >= 0xd800 && number < 0xe000;
        bool const isLead = (first & ~kBits[length - 1]) == kLead[length - 1];
        if (isLead && !isSurrogate && number < 0x110000 && Utf8(number) == text.substr(0, length)) {
            return static_cast<long>(number);
        }
    }
    length = 1;
    return -1;
}

/// The text with U+FFFD for each byte that is no UTF-8.
std::string Repaired(std::string text) {
    std::string repaired;
    while (!text.empty()) {
        std::size_t length = 0;
        bool const isThere = CharacterAt(text, length) >= 0;
        repaired += isThere ? text.substr(0, length) : kReplacement;
        text.erase(0, length);
    }
    return repaired;
}

void RequirePlainLine(std::string line) {
    while (!line.empty()) {
        std::size_t length = 0;
        long const number = CharacterAt(line, length);
        Require(number >= 0x20 && (number < 0x7f || number >= 0xa0),
                "the line is UTF-8 without control characters");
        line.erase(0, length);
    }
}

/// Takes a JSON string off the start of `line` and returns what it says.
std::string TakeString(std::string& line) {
    std::string value;
    std::size_t i = 1;
    Require(line.size() > 1 && line[0] == '"', "a string begins with a quote");
    for (; i < line.size() && line[i] != '"'; ++i) {
        if (line[i] != '\\') {
            value += line[i];
            continue;
        }
        char const kind = ++i < line.size() ? line[i] : '?';
        if (kind == 'u') {
            Require(i + 4 < line.size(), "four digits follow \\u");
            value +=
                Utf8(static_cast<std::uint32_t>(std::stoul(line.substr(i + 1, 4), nullptr, 16)));
            i += 4;
        } else {
            Require(kind == 'n' || kind == 't' || kind == '"' || kind == '\\', "no other escapes");
            value += kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    Require(i < line.size(), "a string ends with a quote");
    line.erase(0, i + 1);
    return value;
}

void TakeText(std::string& line, std::string const& text) {
    RequireEqual(line.substr(0, text.size()), text, "an object has its form");
    line.erase(0, text.size());
}

template <class Wrapper>
std::string LineOf(LogRecord const& record) {
    auto const inner = boost::make_shared<NotingAppender>();
    Wrapper wrapper(inner);
    wrapper.Append(record);
    RequireEqual<std::size_t>(inner->Texts().size(), 1, "a record is one line");
    return inner->Texts().at(0);
}

void CheckEscapes(LogRecord const& record, std::string const& text) {
    std::string const line = LineOf<EscapingAppender>(record);
    RequirePlainLine(line);
    RequireEqual(Unescaped(line), text, "escapes undone give back the text");
}

void CheckJson(LogRecord const& record, std::string const& text) {
    std::string line = LineOf<JsonLinesAppender>(record);
    RequirePlainLine(line);
    TakeText(line, kBeginning);
    RequireEqual(TakeString(line), Repaired(Join(record.GetTag(), ".")), "the tag comes back");
    TakeText(line, R"(,"text":)");
    RequireEqual(TakeString(line), Repaired(text), "the text comes back");
    RequireEqual<std::string>(line, "}", "an object ends with its brace");
}

void CheckRecord(FuzzedDataProvider& provider) {
    std::vector<std::string> parts;
    while (provider.ConsumeBool()) {
        parts.push_back(provider.ConsumeRandomLengthString(20));
    }
    std::string const text = provider.ConsumeRemainingBytesAsString();
    if (text.empty()) {
        return;  // such a record is written nowhere
    }
    TaggedRecord const record(kInfo, text, parts);
    CheckEscapes(record, text);
    CheckJson(record, text);
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static tarqlog::InstalledHooks const hooks([] { return 1700000000123LL; },
                                               [] { return 4242U; });
    FuzzedDataProvider provider(data, size);
    tarqlog::CheckRecord(provider);
    return 0;
}
