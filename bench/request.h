#ifndef TARQLOG_BENCH_REQUEST_H_
#define TARQLOG_BENCH_REQUEST_H_

#include <array>
#include <cstddef>
#include <string>

namespace tarqlog::bench {

constexpr unsigned long kRequestIds =
    90000;  // all of five digits, so that every batch has as many bytes

inline std::array<std::string, 4> const kPaths = {"/index.html", "/login", "/img/logo.png",
                                                  "/api/v1/orders"};

/// What a record tells: "request 10299 took 399 us path /index.html status 204". Computed as it is
/// asked for, so that a statement which asks for nothing costs nothing.
class Request {
public:
    explicit Request(long index) : index_(static_cast<unsigned long>(index)) {}

    int Id() const { return static_cast<int>(10000 + index_ % kRequestIds); }
    int Us() const { return static_cast<int>(100 + index_ * 37 % 900); }
    std::string const& Path() const { return kPaths[index_ % kPaths.size()]; }
    int Status() const { return index_ / 4 % 2 == 0 ? 200 : 404; }

private:
    unsigned long const index_;
};

/// The text of a record that is no request: `size` bytes.
inline std::string Filler(std::size_t size) {
    return std::string(size, 'x');
}

/// What the record with that number says.
/// @param size  of the Filler(), or 0 for a request
inline std::string TextOf(long index, std::size_t size = 0) {
    if (size > 0) {
        return Filler(size);
    }
    Request const request(index);
    return "request " + std::to_string(request.Id()) + " took " + std::to_string(request.Us()) +
           " us path " + request.Path() + " status " + std::to_string(request.Status());
}

}  // namespace tarqlog::bench

#endif  // TARQLOG_BENCH_REQUEST_H_
