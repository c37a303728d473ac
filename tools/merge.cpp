#include "merge.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tarqlog::tool {

namespace {

/// Whether `name` is NAME.1 to NAME.9 of one of `names` that is read for itself.
bool IsRolled(std::string const& name, std::vector<std::string> const& names) {
    if (name.size() < 3 || name[name.size() - 2] != '.' || name.back() < '1' || name.back() > '9') {
        return false;
    }
    std::string const live = name.substr(0, name.size() - 2);
    return std::find(names.begin(), names.end(), live) != names.end() && !IsRolled(live, names);
}

}  // namespace

Merge::Merge(std::vector<std::string> const& names, bool follows) {
    for (auto name = names.begin(); name != names.end(); ++name) {
        bool const isRepeated = std::find(names.begin(), name, *name) != name;
        if (!isRepeated && !IsRolled(*name, names)) {
            idle_.push_back(logs_.size());
            logs_.emplace_back(*name, follows);
        }
    }
}

RolledLog const* Merge::Next() {
    if (isTaken_) {
        std::size_t const log = queue_.front().second;
        logs_[log].Pop();
        Leave();
        Enter(log);
        isTaken_ = false;
    }
    if (startsRound_) {
        startsRound_ = false;
        for (std::size_t const log : std::exchange(idle_, {})) {
            Enter(log);
        }
    }
    while (!queue_.empty()) {
        std::size_t const log = queue_.front().second;
        RolledLog::State const state = logs_[log].Find();
        if (state == RolledLog::State::kRecord) {
            isTaken_ = true;
            return &logs_[log];
        }
        if (state == RolledLog::State::kBegun) {
            break;  // those after it wait for it
        }
        Leave();
        idle_.push_back(log);
    }
    startsRound_ = true;
    return nullptr;
}

void Merge::NoteQuiet() {
    for (RolledLog& log : logs_) {
        log.NoteQuiet();
    }
}

void Merge::Stop() {
    for (RolledLog& log : logs_) {
        log.Stop();
    }
}

bool Merge::Report() const {
    for (RolledLog const& log : logs_) {
        log.Report();
    }
    return std::none_of(logs_.begin(), logs_.end(),
                        [](RolledLog const& log) { return log.HasFailed(); });
}

/// Puts a log into the queue, if it has anything.
void Merge::Enter(std::size_t log) {
    if (logs_[log].Find() == RolledLog::State::kNone) {
        idle_.push_back(log);
        return;
    }
    queue_.emplace_back(logs_[log].FrontTime(), log);
    std::push_heap(queue_.begin(), queue_.end(), std::greater<>());
}

/// Takes the first log off the queue.
void Merge::Leave() {
    std::pop_heap(queue_.begin(), queue_.end(), std::greater<>());
    queue_.pop_back();
}

}  // namespace tarqlog::tool
