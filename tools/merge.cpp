#include "merge.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "input_name.h"

namespace tarqlog::tool {

namespace {

constexpr int kMaxRound = 20'000;  // records: some milliseconds

/// The file that `name` stands for, by whatever way it is named.
std::string ToPath(std::string const& name) {
    std::error_code error;
    std::filesystem::path const path = std::filesystem::weakly_canonical(name, error);
    return IsStandardInput(name) || error ? name : path.string();
}

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
    std::vector<std::string> paths;
    std::transform(names.begin(), names.end(), std::back_inserter(paths), &ToPath);
    for (auto path = paths.begin(); path != paths.end(); ++path) {
        bool const isRepeated = std::find(paths.begin(), path, *path) != path;
        if (!isRepeated && !IsRolled(*path, paths)) {
            idle_.push_back(logs_.size());
            logs_.emplace_back(names[static_cast<std::size_t>(path - paths.begin())], follows);
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
    if (startsRound_ || ++taken_ == kMaxRound) {
        startsRound_ = false;
        taken_ = 0;
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

bool Merge::HasStopped() const {
    return std::all_of(logs_.begin(), logs_.end(),
                       [](RolledLog const& log) { return log.HasStopped(); });
}

void Merge::NoteTime() {
    for (RolledLog& log : logs_) {
        log.NoteTime();
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
