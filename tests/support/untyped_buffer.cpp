#include "support/untyped_buffer.h"

namespace tarqlog {

namespace {

class StringWriter : public std::streambuf {
public:
    std::string* text = nullptr;

protected:
    int_type overflow(int_type character) override {
        text->push_back(traits_type::to_char_type(character));
        return character;
    }
};

}  // namespace

std::streambuf& UntypedBuffer(std::string& text) {
    static StringWriter buffer;
    buffer.text = &text;
    return buffer;
}

}  // namespace tarqlog
