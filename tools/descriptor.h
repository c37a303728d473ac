#ifndef TARQLOG_TOOLS_DESCRIPTOR_H_
#define TARQLOG_TOOLS_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace tarqlog::tool {

/// Owns a descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { Close(); }

    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Reset(std::exchange(other.number_, -1));
        return *this;
    }

    bool IsOpen() const { return number_ >= 0; }
    int Number() const { return number_; }

    void Reset(int number) {
        Close();
        number_ = number;
    }
    void Close() {
        if (IsOpen()) {
            ::close(number_);
            number_ = -1;
        }
    }

private:
    int number_ = -1;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_DESCRIPTOR_H_
