#include "collectors/pace.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "collectors/daemon.h"

namespace tarqlog {

GrowingFile::GrowingFile(std::string path, std::string mark)
    : path_(std::move(path)), mark_(std::move(mark)) {}

long GrowingFile::CountLines() {
    if (!file_.is_open()) {
        file_.open(path_, std::ios::binary);
    }
    file_.clear();  // its end was only that of the last time
    char buffer[65536];
    while (file_.read(buffer, sizeof buffer), file_.gcount() > 0) {
        rest_.append(buffer, static_cast<std::size_t>(file_.gcount()));
        std::string::size_type begin = 0;
        std::string::size_type end = 0;
        while ((end = rest_.find('\n', begin)) != std::string::npos) {
            lines_ += rest_.substr(begin, end - begin).find(mark_) != std::string::npos ? 1 : 0;
            begin = end + 1;
        }
        rest_.erase(0, begin);
    }
    return lines_;
}

Pace::Pace(std::string const& file, long window, std::string const& mark)
    : file_(file, mark), window_(window) {}

void Pace::Await() {
    std::lock_guard<std::mutex> const lock(mutex_);
    AwaitAtMost(window_ - 1);
    ++sent_;
}

void Pace::AwaitAll() {
    std::lock_guard<std::mutex> const lock(mutex_);
    AwaitAtMost(0);
}

void Pace::GiveUpOne() {
    std::lock_guard<std::mutex> const lock(mutex_);
    --sent_;
}

void Pace::AwaitAtMost(long onTheirWay) {
    if (sent_ - shown_ <= onTheirWay) {
        return;
    }
    try {
        if (!inVain_) {
            WaitUntil("lines", [&] {
                shown_ = file_.CountLines();
                return sent_ - shown_ <= onTheirWay;
            });
            return;
        }
    } catch (std::runtime_error const&) {
        inVain_ = true;
    }
    throw std::runtime_error("datagrams are lost: of " + std::to_string(sent_) +
                             " records sent, only " + std::to_string(shown_) + " have come to " +
                             file_.Path());
}

}  // namespace tarqlog
