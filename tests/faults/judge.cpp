#include "faults/judge.h"

#include <algorithm>
#include <optional>

namespace tarqlog::faults {

void Judge::Read(std::string_view content) {
    last_.assign(last_.size(), -1);
    while (!content.empty()) {
        std::size_t const end = content.find('\n');
        std::string_view const piece = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (IsPreamble(piece)) {
            continue;
        }
        bool const hasEnd = end != std::string_view::npos;
        bool const isWhole = ReadPiece(piece, hasEnd);
        torn_ += isWhole && hasEnd ? 0 : 1;
    }
}

bool Judge::IsPreamble(std::string_view piece) const {
    bool isPreamble = false;
    for (std::string_view rest = preamble_; !rest.empty() && !isPreamble;) {
        std::size_t const size = std::min(rest.find('|'), rest.size());
        isPreamble = piece.substr(0, size) == rest.substr(0, size);
        rest.remove_prefix(std::min(size + 1, rest.size()));
    }
    return isPreamble;
}

/// A piece is what stands between two line feeds. Whole texts in it count, even when it is torn.
/// False when it is.
bool Judge::ReadPiece(std::string_view piece, bool hasEnd) {
    bool isWhole = false;
    for (std::size_t at = piece.find('#'); at != std::string_view::npos; at = piece.find('#', at)) {
        std::optional<ParsedLine> const parsed = ParseText(piece.substr(at));
        if (!parsed) {
            ++at;
            continue;
        }
        std::string_view const header = piece.substr(0, at);
        at += parsed->size;
        if (at == piece.size() && IsHeader(header, header_)) {
            isWhole = true;
            headerSize_ = std::max(headerSize_, header.size());
        }
        Note(parsed->line);
        unended_ += at == piece.size() && hasEnd ? 0 : 1;
    }
    return isWhole;
}

void Judge::Note(Line line) {
    auto const thread = static_cast<std::size_t>(line.thread);
    auto const number = static_cast<std::size_t>(line.number);
    if (thread >= found_.size()) {
        found_.resize(thread + 1);
        last_.resize(thread + 1, -1);
    }
    std::vector<int>& copies = found_[thread];
    if (number >= copies.size()) {
        copies.resize(number + 1 + number / 2);
    }
    doubled_ += ++copies[number] > 1 ? 1 : 0;
    reordered_ += line.number < last_[thread] ? 1 : 0;
    last_[thread] = std::max(last_[thread], line.number);
}

bool Judge::IsFound(std::size_t thread, long number) const {
    return thread < found_.size() && static_cast<std::size_t>(number) < found_[thread].size() &&
           found_[thread][static_cast<std::size_t>(number)] > 0;
}

Verdict Judge::Decide(std::vector<long> const& due, Window const& window) const {
    Verdict verdict;
    verdict.doubled = doubled_;
    verdict.reordered = reordered_;
    verdict.torn = torn_;
    verdict.unended = unended_;
    for (std::vector<int> const& copies : found_) {
        verdict.found +=
            std::count_if(copies.begin(), copies.end(), [](int count) { return count > 0; });
    }
    for (std::size_t thread = 0; thread < due.size(); ++thread) {
        bool warned = false;  // a later line could not wait
        long lost = 0;
        for (long number = due[thread] - 1; number >= 0; --number) {
            Line const line = {static_cast<int>(thread), static_cast<int>(number)};
            warned = warned || LevelOf(line) != Level::kInfo;
            if (!IsFound(thread, number)) {
                ++lost;
                verdict.lostOutside += number < window.begin || number >= window.end ? 1 : 0;
                verdict.lostBeforeWarning += warned ? 1 : 0;
                verdict.lostBytes += static_cast<long>(headerSize_ + TextOf(line).size() + 1);
            }
        }
        verdict.lost += lost;
        verdict.lostOfOneThread = std::max(verdict.lostOfOneThread, lost);
    }
    return verdict;
}

}  // namespace tarqlog::faults
