#ifndef TARQLOG_TOOLS_STANDARD_STREAMS_H_
#define TARQLOG_TOOLS_STANDARD_STREAMS_H_

#include <cstdio>
#include <vector>

namespace tarqlog::tool {

/// Fills those of the descriptors 0 to 2 that are closed, so that no FILE gets their numbers: reads
/// end at once and writes fail.
void FillClosedDescriptors();

/// Whether what is written to `output` comes back from `input`, since both are open on one file.
bool FeedsBack(int output, int input);

/// The standard streams that records go to, and the first failure to write to them.
class OutputStreams {
public:
    /// `stream` is null, stdout or stderr.
    void Add(std::FILE* stream);

    /// Makes the streams write in large pieces, or line by line where they lead to the same file.
    /// Before the first output.
    void SetBuffers();

    /// Whether all writes went well. To be asked after each, while `errno` is still the failing
    /// one's.
    bool AreIntact();

    /// Hands everything to the system; as AreIntact().
    bool Flush();

    /// Says what failed, once, but for a reader that has gone, who knows it.
    void Report();

private:
    std::vector<std::FILE*> streams_;
    std::FILE* failed_ = nullptr;
    int error_ = 0;  // the `errno` of the first failure
    bool isReported_ = false;
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_STANDARD_STREAMS_H_
