#include "app/ConsoleLogSink.h"

#include <ostream>

namespace tavrin {

void ConsoleLogSink::printLine(std::string_view line) {
    if (!verbose_)
        return;
    std::lock_guard lock(mutex_);
    err_ << line << '\n';
}

void ConsoleLogSink::systemLog(LogLevel level, std::string_view subsystem, std::string_view category,
                               std::string_view message) {
    JournalLogSink::systemLog(level, subsystem, category, message);
    if (!verbose_)
        return;
    std::lock_guard lock(mutex_);
    err_ << '[' << category << "] " << message << '\n';
}

} // namespace tavrin
