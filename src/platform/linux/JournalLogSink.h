#pragma once

#include "platform/Log.h"

namespace tavrin {

// The system log on Linux: the systemd journal, with subsystem and category as fields
// (TAVRIN_SUBSYSTEM, TAVRIN_CATEGORY). Printed lines go to `printTo` (standard output on the
// desktop); without a journal, messages are dropped silently.
class JournalLogSink : public LogSink {
public:
    void printLine(std::string_view line) override;
    void systemLog(LogLevel level, std::string_view subsystem, std::string_view category,
                   std::string_view message) override;
};

} // namespace tavrin
