#include "platform/linux/JournalLogSink.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <syslog.h>
#include <systemd/sd-journal.h>

namespace tavrin {

void JournalLogSink::printLine(std::string_view line) {
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void JournalLogSink::systemLog(LogLevel level, std::string_view subsystem, std::string_view category,
                               std::string_view message) {
    const int priority = level == LogLevel::error ? LOG_ERR : level == LogLevel::info ? LOG_INFO : LOG_DEBUG;
    const std::string text(message), sub(subsystem), cat(category);
    sd_journal_send("MESSAGE=%s", text.c_str(), "PRIORITY=%i", priority, "SYSLOG_IDENTIFIER=tavrin",
                    "TAVRIN_SUBSYSTEM=%s", sub.c_str(), "TAVRIN_CATEGORY=%s", cat.c_str(), nullptr);
}

} // namespace tavrin
