#include "support/file_appender_simulator.h"

#include <algorithm>
#include <limits>

namespace tarqlog {

int CallPlan::Write(int size) {
    calls_.push_back(size);
    auto const limit = limits_.find(++writes_);
    return limit == limits_.end() ? size : std::min(limit->second, size);
}

bool CallPlan::Seek() {
    calls_.push_back(kSeek);
    return failingSeeks_.count(++seeks_) == 0;
}

std::shared_ptr<SimulatedFile> SimulatedDirectory::Open(std::string const& name, bool truncate) {
    Entry* entry = Find(name);
    if (entry == nullptr && writable_) {
        entry = &entries_[name];
        entry->file = std::make_shared<SimulatedFile>();
    }
    if (entry == nullptr || entry->file == nullptr || !entry->file->writable) {
        return nullptr;
    }
    if (truncate) {
        entry->file->bytes.clear();
    }
    return entry->file;
}

bool SimulatedDirectory::Remove(std::string const& name) {
    Entry const* const entry = Find(name);
    return writable_ && entry != nullptr && !entry->full && entries_.erase(name) == 1;
}

bool SimulatedDirectory::Rename(std::string const& from, std::string const& to) {
    Entry const* const source = Find(from);
    Entry const* const target = Find(to);
    if (!writable_ || source == nullptr) {
        return false;
    }
    if (target != nullptr) {
        bool const sameKind = (source->file == nullptr) == (target->file == nullptr);
        if (!sameKind || target->full) {
            return false;
        }
    }
    Entry const moved = *source;
    entries_.erase(from);
    entries_[to] = moved;
    return true;
}

bool SimulatedDirectory::Put(std::string const& name, std::string const& bytes) {
    std::shared_ptr<SimulatedFile> const file = Open(name, true);
    if (file == nullptr) {
        return false;
    }
    file->bytes = bytes;
    return true;
}

bool SimulatedDirectory::MakeDirectory(std::string const& name) {
    return writable_ && entries_.emplace(name, Entry()).second;
}

bool SimulatedDirectory::FillDirectory(std::string const& name) {
    Entry* const entry = Find(name);
    if (entry == nullptr || entry->file != nullptr) {
        return false;
    }
    entry->full = true;
    return true;
}

bool SimulatedDirectory::SetFileWritable(std::string const& name, bool writable) {
    Entry* const entry = Find(name);
    if (entry == nullptr || entry->file == nullptr) {
        return false;
    }
    entry->file->writable = writable;
    return true;
}

Listing SimulatedDirectory::List() const {
    Listing listing;
    for (auto const& [name, entry] : entries_) {
        if (entry.file != nullptr) {
            listing[name] = entry.file->bytes;
        } else {
            listing[name + "/"] = entry.full ? "full directory" : "directory";
        }
    }
    return listing;
}

SimulatedDirectory::Entry* SimulatedDirectory::Find(std::string const& name) {
    auto const entry = entries_.find(name);
    return entry == entries_.end() ? nullptr : &entry->second;
}

FileAppenderSimulator::FileAppenderSimulator(SimulatedDirectory& directory, CallPlan& calls,
                                             Events& events, Settings const& settings)
    : directory_(directory),
      calls_(calls),
      events_(events),
      settings_(settings),
      // So many KiB that there is no such number of bytes: beyond every file.
      limit_(std::min(settings.limitKiB, std::numeric_limits<long long>::max() / 1024) * 1024),
      keptFiles_(std::clamp(settings.keptFiles.value_or(0), 0, 9)) {
    OpenFile(!settings_.keptFiles.has_value() && settings_.mode == 1);
}

FileAppenderSimulator::~FileAppenderSimulator() {
    Close();
}

void FileAppenderSimulator::Append(std::uint32_t severity, std::string const& header,
                                   std::string const& text) {
    if (text.empty() || (severity & 63) == 0) {
        return;
    }
    if (!IsOpen() && !OpenFile(false)) {
        return;
    }
    MeetLimit();
    if (!IsOpen()) {
        return;
    }
    if (!WriteRecord(severity, header, text)) {
        ++events_["lost record"];
        file_ = nullptr;
        recordsSinceOpen_ = 0;
        return;
    }
    if (++recordsSinceOpen_ == 64) {
        ++events_[buffer_.empty() ? "periodic close" : "periodic close with a buffer"];
        Close();
    }
}

bool FileAppenderSimulator::Open(int mode) {
    return IsOpen() || OpenFile(mode != 0);
}

bool FileAppenderSimulator::Reopen() {
    if (!buffer_.empty()) {
        ++events_["reopen with a buffer"];
    }
    return OpenFile(false);
}

void FileAppenderSimulator::Flush() {
    WriteBuffer();
    recordsInBuffer_ = 0;
}

void FileAppenderSimulator::Close() {
    Flush();
    file_ = nullptr;
    recordsSinceOpen_ = 0;
}

std::optional<long long> FileAppenderSimulator::BytesToLimit() const {
    if (limit_ == 0 || !IsOpen()) {
        return std::nullopt;
    }
    return limit_ - static_cast<long long>(position_ + buffer_.size());
}

/// Opens the file by its name, whatever was open before.
bool FileAppenderSimulator::OpenFile(bool truncate) {
    file_ = directory_.Open(settings_.name, truncate);
    appending_ = !truncate;
    position_ = 0;  // with O_APPEND too, until the first write
    if (file_ == nullptr) {
        ++events_["failed open"];
    }
    return file_ != nullptr;
}

/// Before a record.
void FileAppenderSimulator::MeetLimit() {
    if (limit_ == 0) {
        return;
    }
    if (!calls_.Seek()) {
        ++events_["failed lseek"];
        Close();
        return;
    }
    std::optional<long long> const left = BytesToLimit();
    if (*left > 0) {
        return;
    }
    if (*left == 0) {
        ++events_["limit met to the byte"];
    }
    if (keptFiles_ == 0) {
        Restart();
    } else {
        Roll();
    }
}

void FileAppenderSimulator::Restart() {
    ++events_["restart"];
    Close();
    directory_.Remove(settings_.name);
    OpenFile(true);
}

void FileAppenderSimulator::Roll() {
    ++events_["roll"];
    Close();
    for (int to = keptFiles_; to >= 1; --to) {
        std::string const from =
            to == 1 ? settings_.name : settings_.name + "." + std::to_string(to - 1);
        bool const moved = directory_.Rename(from, settings_.name + "." + std::to_string(to));
        if (!moved && directory_.Has(from)) {  // a name that is not there yet is nothing special
            ++events_["failed rename"];
        }
    }
    OpenFile(true);
}

bool FileAppenderSimulator::WriteRecord(std::uint32_t severity, std::string const& header,
                                        std::string const& text) {
    if (!IsBuffering()) {
        return WriteDirectly(header, text);
    }
    bool const urgent = (severity & (8 | 16 | 32)) != 0;
    std::size_t const together = header.size() + buffer_.size() + (text.size() + 1);
    if (!urgent && together < 4096) {
        buffer_ += header + text + "\n";
        if (together == 4095) {
            ++events_["collected at 4095"];
        }
        if (++recordsInBuffer_ < settings_.bufferedRecords) {
            return true;
        }
        ++events_["full buffer"];
        recordsInBuffer_ = 0;
        return WriteBuffer();
    }
    if (urgent && !buffer_.empty()) {
        ++events_["urgent behind a buffer"];
    }
    if (!urgent) {
        ++events_["direct write at 4096"];
    }
    if (!urgent && together == 4096) {
        ++events_["direct write at 4096 to the byte"];
    }
    recordsInBuffer_ = 0;
    return WriteBuffer() && WriteDirectly(header, text);
}

/// Empties the buffer, into the file if one is open. False when the file did not take it all.
bool FileAppenderSimulator::WriteBuffer() {
    bool const written = !IsOpen() || buffer_.empty() || WriteAll(buffer_);
    if (!IsOpen() && !buffer_.empty()) {
        ++events_["buffer without a file"];
    }
    buffer_.clear();
    return written;
}

bool FileAppenderSimulator::WriteDirectly(std::string const& header, std::string const& text) {
    return WriteAll(header) && WriteAll(text) && Write("\n") == 1;
}

/// Goes on after a piece; a write that fails or takes nothing is the last.
bool FileAppenderSimulator::WriteAll(std::string bytes) {
    for (;;) {
        int const taken = Write(bytes);
        if (taken <= 0) {
            return false;
        }
        bytes.erase(0, static_cast<std::size_t>(taken));
        if (bytes.empty()) {
            return true;
        }
    }
}

/// One write().
int FileAppenderSimulator::Write(std::string const& bytes) {
    int const taken = calls_.Write(static_cast<int>(bytes.size()));
    if (taken < static_cast<int>(bytes.size())) {
        ++events_["short write"];
    }
    if (taken <= 0) {
        return taken;
    }
    std::string& content = file_->bytes;
    std::size_t const size = static_cast<std::size_t>(taken);
    if (appending_) {
        position_ = content.size();
    }
    content.resize(std::max(content.size(), position_ + size));  // zeros fill a hole
    content.replace(position_, size, bytes, 0, size);
    position_ += size;
    return taken;
}

}  // namespace tarqlog
