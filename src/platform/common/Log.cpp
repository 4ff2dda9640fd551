#include "platform/Log.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace tavrin {

namespace {

std::mutex sinkMutex;
std::shared_ptr<LogSink> currentSink;

std::shared_ptr<LogSink> sink() {
    std::lock_guard lock(sinkMutex);
    return currentSink;
}

} // namespace

std::shared_ptr<LogSink> setLogSink(std::shared_ptr<LogSink> sink) {
    std::lock_guard lock(sinkMutex);
    std::swap(currentSink, sink);
    return sink;
}

void printLine(std::string_view line) {
    if (auto s = sink()) {
        s->printLine(line);
        return;
    }
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

void Logger::info(std::string_view message) const {
    if (auto s = sink())
        s->systemLog(LogLevel::info, subsystem_, category_, message);
}

void Logger::error(std::string_view message) const {
    if (auto s = sink())
        s->systemLog(LogLevel::error, subsystem_, category_, message);
}

} // namespace tavrin
