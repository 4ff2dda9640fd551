#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tavrin {

enum class LogLevel { debug, info, error };

// Where the product's diagnostics go. Two channels: the one-line messages the program prints
// (standard output on the desktop), and the system log with subsystem, category and level
// (the journal on Linux). Implementations must be thread-safe.
class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void printLine(std::string_view line) = 0;
    virtual void systemLog(LogLevel level, std::string_view subsystem, std::string_view category,
                           std::string_view message) = 0;
};

// Replaces the process-wide sink; returns the previous one. Until a sink is installed,
// printed lines go to standard output and system-log messages are dropped.
std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink);

// A line the program prints as a diagnostic ("Indexes created successfully").
void printLine(std::string_view line);

// A handle on the system log for one subsystem and category.
class Logger {
public:
    Logger(std::string subsystem, std::string category);
    void info(std::string_view message) const;
    void error(std::string_view message) const;

    const std::string& subsystem() const { return subsystem_; }
    const std::string& category() const { return category_; }

private:
    std::string subsystem_;
    std::string category_;
};

// Subsystem of every system-log message of this program.
inline constexpr std::string_view kLogSubsystem = "tavrin.tavrin.app";

} // namespace tavrin
