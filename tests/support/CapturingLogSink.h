#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace tavrin::testing {

// Records every printed line and system-log message while it is installed.
class CapturingLogSink final : public LogSink {
public:
    struct Entry {
        LogLevel level;
        std::string category;
        std::string message;
    };

    void printLine(std::string_view line) override {
        std::lock_guard lock(mutex_);
        printed_.emplace_back(line);
    }
    void systemLog(LogLevel level, std::string_view, std::string_view category, std::string_view message) override {
        std::lock_guard lock(mutex_);
        logged_.push_back({level, std::string(category), std::string(message)});
    }

    std::vector<std::string> printed() const {
        std::lock_guard lock(mutex_);
        return printed_;
    }
    std::vector<Entry> logged() const {
        std::lock_guard lock(mutex_);
        return logged_;
    }
    std::vector<std::string> loggedMessages() const {
        std::vector<std::string> out;
        for (const auto& entry : logged())
            out.push_back(entry.message);
        return out;
    }
    void clear() {
        std::lock_guard lock(mutex_);
        printed_.clear();
        logged_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> printed_;
    std::vector<Entry> logged_;
};

// Installs a capturing sink for the life of a test.
class ScopedLogCapture {
public:
    ScopedLogCapture() : sink_(std::make_shared<CapturingLogSink>()), previous_(setLogSink(sink_)) {}
    ~ScopedLogCapture() { setLogSink(previous_); }
    CapturingLogSink& operator*() const { return *sink_; }
    CapturingLogSink* operator->() const { return sink_.get(); }

private:
    std::shared_ptr<CapturingLogSink> sink_;
    std::shared_ptr<LogSink> previous_;
};

} // namespace tavrin::testing
