#ifndef TARQLOG_TOOLS_MERGE_H_
#define TARQLOG_TOOLS_MERGE_H_

#include <cstddef>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "rolled_log.h"

namespace tarqlog::tool {

/// Several logs as one, in the order of time. Records of one log stay in their order: where its
/// clock was set back, they follow the one before at once. Of those of one time the one whose log
/// was named first comes first.
class Merge {
public:
    /// @param names  a log is read once, whether it is named twice, by whatever ways, or beside one
    ///               that has rolled into it
    Merge(std::vector<std::string> const& names, bool follows);

    /// The log whose Front() is next; null when none has any for now. Pops that of the call before.
    RolledLog const* Next();

    /// These are for all logs. Report() returns whether all could be read.
    void NoteTime();
    void Stop();
    bool HasStopped() const;
    bool Report() const;

private:
    using Entry = std::pair<long long, std::size_t>;  // a log's time and its number

    void Enter(std::size_t log);
    void Leave();

    std::deque<RolledLog> logs_;
    std::vector<Entry> queue_;       // a heap of the logs that have something
    std::vector<std::size_t> idle_;  // those that have nothing for now
    bool isTaken_ = false;           // whether what the first in the queue has was given away
    bool startsRound_ = true;        // the idle ones are asked again after all others are through,
    int taken_ = 0;                  // or after many records
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_MERGE_H_
