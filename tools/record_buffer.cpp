#include "record_buffer.h"

#include <algorithm>
#include <cerrno>

namespace tarqlog::tool {

// What is cut off a record may be about to be its part, or the header after it.
RecordBuffer::RecordBuffer() : input_(kMaxPart + kMaxHeader + kChunkBytes) {}

void RecordBuffer::Begin() {
    input_.Drop(AtHand().size());
    scanned_ = size_ = 0;
    place_ = Place::kOutside;
    hasEnded_ = false;
}

bool RecordBuffer::Find() {
    while (size_ == 0) {
        bool const isFurther = !AtHand().empty() && (place_ == Place::kInside    ? FindEnd()
                                                     : place_ == Place::kForeign ? DropForeignLine()
                                                                                 : EnterLine());
        if (!isFurther) {
            return false;
        }
    }
    return true;
}

FileRecord RecordBuffer::Front() const {
    FileRecord record;
    record.header = header_;
    record.header.tag = tag_;
    record.bytes = AtHand().substr(0, size_);
    record.text = record.bytes.substr(header_.size);
    if (isWhole_ && !record.text.empty() && record.text.back() == '\n') {
        record.text.remove_suffix(1);
    }
    return record;
}

void RecordBuffer::Pop() {
    Take(size_, isWhole_ ? Place::kBetween : Place::kInside);
    header_.size = 0;
}

long long RecordBuffer::Fill(int descriptor) {
    ssize_t size = -1;
    do {
        size = input_.Read(descriptor);
    } while (size < 0 && errno == EINTR);
    return size;
}

void RecordBuffer::EndRecord() {
    if (place_ != Place::kInside || size_ > 0) {
        return;
    }
    // What is scanned is the record's, and so is a line feed behind it: only then it may be over.
    std::string_view::size_type const lineFeed = AtHand().rfind('\n', scanned_);
    if (lineFeed != std::string_view::npos && lineFeed >= header_.size) {
        Complete(lineFeed + 1, true);
    }
}

/// Whether a header begins at `offset`. If that cannot be told yet, `isCut` is set.
bool RecordBuffer::IsHeaderAt(std::size_t offset, LineHeader& header, bool& isCut) const {
    HeaderFound const found = FindHeader(AtHand().substr(offset), header);
    isCut = found == HeaderFound::kCut && !hasEnded_;
    return found == HeaderFound::kYes;
}

/// At the start of a line. False when more must be read to tell what it is; so are those below.
bool RecordBuffer::EnterLine() {
    LineHeader header;
    bool isCut = false;
    if (IsHeaderAt(0, header, isCut)) {
        header_ = header;
        tag_ = header.tag;
    } else if (isCut) {
        return false;
    } else if (place_ == Place::kOutside) {
        ++foreignLines_;
        place_ = Place::kForeign;
        return true;
    }
    place_ = Place::kInside;
    scanned_ = header_.size;
    return true;
}

bool RecordBuffer::DropForeignLine() {
    std::string_view::size_type const lineFeed = AtHand().find('\n');
    bool const hasEnd = lineFeed != std::string_view::npos;
    Take(hasEnd ? lineFeed + 1 : AtHand().size(), hasEnd ? Place::kOutside : Place::kForeign);
    return hasEnd;
}

bool RecordBuffer::FindEnd() {
    for (;;) {
        std::string_view const part = AtHand().substr(0, kMaxPart);
        std::string_view::size_type const lineFeed = part.find('\n', scanned_);
        if (lineFeed == std::string_view::npos) {
            scanned_ = part.size();
            bool const isFull = part.size() == kMaxPart;
            if (isFull || hasEnded_) {
                Complete(part.size(), !isFull);
            }
            return isFull || hasEnded_;
        }
        LineHeader next;
        bool isCut = false;
        bool const isLast = hasEnded_ && lineFeed + 1 == AtHand().size();
        if (isLast || IsHeaderAt(lineFeed + 1, next, isCut)) {
            Complete(lineFeed + 1, true);
            return true;
        }
        if (isCut) {
            scanned_ = lineFeed;
            return false;
        }
        scanned_ = lineFeed + 1;
    }
}

/// A header alone is no record: the library writes none without a text. At the end of a file its
/// text may be about to come.
void RecordBuffer::Complete(std::size_t size, bool isWhole) {
    std::string_view const bytes = AtHand().substr(0, size);
    size_ = size;
    isWhole_ = isWhole;
    if (header_.size > 0 && Front().text.empty()) {
        foreignLines_ +=
            static_cast<unsigned long long>(std::count(bytes.begin(), bytes.end(), '\n'));
        Pop();
    }
}

void RecordBuffer::Take(std::size_t size, Place next) {
    input_.Drop(size);
    scanned_ = size_ = 0;
    place_ = next;
}

}  // namespace tarqlog::tool
