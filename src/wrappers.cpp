#include "tarqlog/wrappers.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string_view>

#include "tarqlog/header_formats.h"

#include "record_text.h"

namespace tarqlog {

namespace {

void NoHeader(std::string&, LogRecord const&) {}

/// Appends to the record's text in pieces, since WriteData() counts in int.
void WriteText(LogRecord& record, std::string_view text) {
    while (!text.empty()) {
        std::size_t const size = std::min<std::size_t>(text.size(), INT_MAX);
        record.WriteData(text.data(), static_cast<int>(size));
        text.remove_prefix(size);
    }
}

/// The length of the UTF-8 character at the beginning of `text`, which is not empty; 0 when there
/// is none.
std::size_t CharacterLength(std::string_view text) {
    auto const byte = [text](std::size_t i) -> unsigned int {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;  // 0 continues nothing
    };
    unsigned int const first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xc2 || first > 0xf4) {
        return 0;
    }
    // No overlong forms, no surrogates, nothing beyond U+10FFFF.
    unsigned int const lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    unsigned int const highest = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    std::size_t const length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (byte(1) < lowest || byte(1) > highest) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xbf) {
            return 0;
        }
    }
    return length;
}

/// A character, or a byte that belongs to none.
struct Character {
    std::string_view bytes;
    bool isUtf8;

    unsigned char Last() const { return static_cast<unsigned char>(bytes.back()); }

    /// U+0000 to U+001F and U+007F to U+009F; the last byte is then the character's number.
    bool IsControl() const {
        return bytes.size() == 1 ? Last() < 0x20 || Last() == 0x7f
                                 : bytes.size() == 2 && bytes[0] == '\xc2' && Last() < 0xa0;
    }
};

void AppendHex(std::string& text, unsigned char byte) {
    static constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
}

void AppendEscaped(std::string& text, Character const& character) {
    if (character.bytes == "\n") {
        text += "\\n";
    } else if (character.bytes == "\\") {
        text += "\\\\";
    } else if (character.isUtf8 && !character.IsControl()) {
        text += character.bytes;
    } else {
        for (char const byte : character.bytes) {
            text += "\\x";
            AppendHex(text, static_cast<unsigned char>(byte));
        }
    }
}

void AppendJson(std::string& line, Character const& character) {
    if (!character.isUtf8) {
        line += "\\ufffd";
    } else if (character.bytes == "\n") {
        line += "\\n";
    } else if (character.bytes == "\t") {
        line += "\\t";
    } else if (character.IsControl()) {
        line += "\\u00";
        AppendHex(line, character.Last());
    } else {
        if (character.bytes == "\"" || character.bytes == "\\") {
            line += '\\';
        }
        line += character.bytes;
    }
}

void AppendEach(std::string& to, std::string_view text,
                void (*append)(std::string&, Character const&)) {
    while (!text.empty()) {
        std::size_t const length = CharacterLength(text);
        Character const character{text.substr(0, std::max<std::size_t>(length, 1)), length > 0};
        append(to, character);
        text.remove_prefix(character.bytes.size());
    }
}

}  // namespace

struct RewritingAppender::Private {
    boost::shared_ptr<AppenderBase> inner;  // null: nowhere
};

RewritingAppender::RewritingAppender(boost::shared_ptr<AppenderBase> const& inner)
    : AppenderBase(&NoHeader), impl_(new Private{inner}) {}

RewritingAppender::~RewritingAppender() = default;

void RewritingAppender::DoAppend(LogRecord const& record) {
    if (!impl_->inner) {
        return;
    }
    std::string text;
    Rewrite(record, text);
    LogRecord rewritten(record);
    rewritten.Resize(0);
    WriteText(rewritten, text);
    rewritten.WriteData("", 1);  // the NUL that a logger appends
    impl_->inner->Append(rewritten);
}

EscapingAppender::EscapingAppender(boost::shared_ptr<AppenderBase> const& inner)
    : RewritingAppender(inner) {}

EscapingAppender::~EscapingAppender() = default;

void EscapingAppender::Rewrite(LogRecord const& record, std::string& text) {
    AppendEach(text, RecordText(record), AppendEscaped);
}

struct JsonLinesAppender::Private {
    PatternHeader beginning{
        R"({"time":"%Y-%m-%dT%H:%M:%S.%eZ","severity":"%l","thread":%t,"tag":")"};
};

JsonLinesAppender::JsonLinesAppender(boost::shared_ptr<AppenderBase> const& inner)
    : RewritingAppender(inner), impl_(new Private) {
    if (inner) {
        inner->SetHeaderFunc(NoHeader);
    }
}

JsonLinesAppender::~JsonLinesAppender() = default;

void JsonLinesAppender::Rewrite(LogRecord const& record, std::string& text) {
    impl_->beginning(text, record);
    char const* separator = "";
    for (std::string const& part : record.GetTag()) {
        text += separator;
        AppendEach(text, part, AppendJson);
        separator = ".";
    }
    text += R"(","text":")";
    AppendEach(text, RecordText(record), AppendJson);
    text += R"("})";
}

}  // namespace tarqlog
