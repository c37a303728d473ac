#include "line_logger.h"

#include <cstddef>
#include <vector>

#include <tarqlog/logcore.h>
#include <tarqlog/logfilter.h>
#include <tarqlog/logrecord.h>

#include "line_prefix.h"

namespace tarqlog::tool {

namespace {

constexpr std::size_t kMaxChannels = 10000;  // sub-tags come from the input and could go on forever

/// The levels that get through the rules for `tag` and the masks of the appenders.
Severity TakenLevels(std::string const& tag, std::vector<Destination> const& destinations) {
    std::vector<SinkEntry> entries;
    LogCore::Get()->CollectSinks(entries, FilterRule(tag, kAllSeverities).GetTag());
    Severity taken = Severity();
    for (SinkEntry const& entry : entries) {
        taken |= entry.second & destinations[entry.first].appender->GetSevertiy();
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

LineLogger::Channel::Channel(std::string const& tag, std::vector<Destination> const& destinations)
    : logger(tag.c_str()), taken(TakenLevels(tag, destinations)) {}

LineLogger::LineLogger(Options const& options)
    : options_(options), ownChannel_(options.tag, options.destinations) {}

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
    level_ = options_.level;
    if (options_.prioPrefix) {
        level_ = TakePriority(text).value_or(level_);
    }
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
    return channels_.try_emplace(std::string(subTag), tag, options_.destinations).first->second;
}

void LineLogger::Push(std::string_view text) {
    LogRecord record(level_);
    record.WriteData(text.data(), static_cast<int>(text.size()));
    channel_->logger.PushRecord(record);
    ++counts_.delivered[LevelIndex(level_)];
}

}  // namespace tarqlog::tool
