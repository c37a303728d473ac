#include "line_logger.h"

#include <cstddef>
#include <optional>

#include <tarqlog/explain.h>
#include <tarqlog/logrecord.h>

#include "explanation.h"
#include "level_word.h"
#include "line_prefix.h"

namespace tarqlog::tool {

namespace {

constexpr std::size_t kMaxChannels = 10000;  // sub-tags come from the input and could go on forever

/// The levels that at least one of the destinations takes from a logger of `tag`.
Severity TakenByAny(std::string const& tag) {
    Explanation const explanation = tarqlog::Explain(tag, kAllSeverities);
    Severity taken = Severity();
    for (SinkExplanation const& destination : explanation.sinks) {
        taken |= TakenLevels(destination);
    }
    return taken;
}

std::size_t LevelIndex(Severity level) {
    std::size_t index = 0;
    while ((level >> (index + 1)) != 0) {
        ++index;
    }
    return index;
}

}  // namespace

Counts operator+(Counts const& left, Counts const& right) {
    Counts sum = left;
    sum.lines += right.lines;
    for (std::size_t level = 0; level < sum.delivered.size(); ++level) {
        sum.delivered[level] += right.delivered[level];
    }
    sum.filtered += right.filtered;
    sum.empty += right.empty;
    sum.split += right.split;
    sum.parentTag += right.parentTag;
    return sum;
}

LineLogger::Channel::Channel(std::string const& tag)
    : logger(tag.c_str()), taken(TakenByAny(tag)) {}

LineLogger::LineLogger(Options const& options, Severity level)
    : options_(options), ownLevel_(level), ownChannel_(options.tag) {}

void LineLogger::Log(Piece const& piece) {
    std::string_view text = piece.text;
    if (piece.startsLine) {
        ++counts_.lines;
        StartLine(text, piece.endsLine);
    } else {
        ++counts_.split;
    }
    if (text.empty()) {
        ++counts_.empty;
    } else if ((channel_->taken & level_) == 0 || !channel_->logger.HasSink(level_)) {
        ++counts_.filtered;
    } else {
        Push(text);
    }
}

void LineLogger::StartLine(std::string_view& text, bool endsLine) {
    std::optional<Severity> level;
    if (options_.prioPrefix) {
        level = TakePriority(text);
    }
    if (!level && options_.detect) {
        level = FindLevelWord(text, endsLine);
    }
    level_ = level.value_or(ownLevel_);
    channel_ = options_.subTags ? &FindChannel(FindSubTag(text, endsLine)) : &ownChannel_;
}

LineLogger::Channel& LineLogger::FindChannel(std::string_view subTag) {
    if (subTag.empty()) {
        return ownChannel_;
    }
    auto const known = channels_.find(subTag);
    if (known != channels_.end()) {
        return known->second;
    }
    if (channels_.size() == kMaxChannels) {
        ++counts_.parentTag;
        return ownChannel_;
    }
    std::string const tag = options_.tag + '.' + std::string(subTag);
    return channels_.try_emplace(std::string(subTag), tag).first->second;
}

void LineLogger::Push(std::string_view text) {
    LogRecord record(level_);
    record.WriteData(text.data(), static_cast<int>(text.size()));
    channel_->logger.PushRecord(record);
    ++counts_.delivered[LevelIndex(level_)];
}

}  // namespace tarqlog::tool
