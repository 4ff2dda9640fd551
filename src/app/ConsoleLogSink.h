#pragma once

#include <iosfwd>
#include <mutex>

#include "platform/linux/JournalLogSink.h"

namespace tavrin {

// The log sink of the headless commands. Standard output belongs to the command's result, so the
// program's diagnostic lines and system-log messages go to standard error only with --verbose;
// the command reports its own failures in one line. System-log messages always reach the journal.
class ConsoleLogSink final : public JournalLogSink {
public:
    ConsoleLogSink(std::ostream& err, bool verbose) : err_(err), verbose_(verbose) {}
    void printLine(std::string_view line) override;
    void systemLog(LogLevel level, std::string_view subsystem, std::string_view category,
                   std::string_view message) override;

private:
    std::mutex mutex_;
    std::ostream& err_;
    bool verbose_;
};

} // namespace tavrin
