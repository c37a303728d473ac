#ifndef TARQLOG_TOOLS_RECORD_PRINTER_H_
#define TARQLOG_TOOLS_RECORD_PRINTER_H_

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <tarqlog/logger.h>

#include "options.h"
#include "record_buffer.h"
#include "standard_streams.h"

namespace tarqlog::tool {

/// Writes those of the records to standard output that the options ask for: as they stand in the
/// file or, as JSON and on a terminal, through the appenders that the library has for that. Only
/// one at a time: it replaces the clock and the thread id of the records that are built.
class RecordPrinter {
public:
    explicit RecordPrinter(Selection const& selection);
    ~RecordPrinter();

    RecordPrinter(RecordPrinter const&) = delete;
    RecordPrinter& operator=(RecordPrinter const&) = delete;

    /// False when standard output cannot be written to any more.
    bool Print(FileRecord const& record);

    /// Hands everything to the system; as Print().
    bool Flush() { return output_.Flush(); }

    /// Ends the last line. False, and says so unless the reader has gone, when lines were lost.
    bool End();

private:
    Logger& FindLogger(std::string_view tag);
    void PrintBytes(FileRecord const& record);
    void Push(FileRecord const& record, Logger& logger);

    Selection const& selection_;
    OutputStreams output_;
    bool isVerbatim_;
    bool isLineOpen_ = false;  // the last one has no line feed yet
    std::unordered_map<std::string, std::unique_ptr<Logger>> loggers_;  // by tag
    std::string lastTag_;
    Logger* lastLogger_ = nullptr;  // of lastTag_
};

}  // namespace tarqlog::tool

#endif  // TARQLOG_TOOLS_RECORD_PRINTER_H_
