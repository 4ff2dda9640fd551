#pragma once

#include <string>

namespace tavrin {

// How error reporting is started: the options the hosted service's client takes.
struct ErrorReportingOptions {
    std::string dsn; // empty: nothing leaves the machine
    std::string environment = "production";
    bool debug = true;
    double tracesSampleRate = 1.0;
    double profilesSampleRate = 1.0;
    bool enableCrashHandler = true;
    bool enableAutoSessionTracking = true;
    bool enableAutoPerformanceTracing = true;
    std::string releaseName;
    bool operator==(const ErrorReportingOptions&) const = default;
};

// Error reporting as the application shell uses it. Calls are made on the main thread, return at
// once and never fail: whatever goes wrong is logged, never thrown.
class ErrorReporting {
public:
    virtual ~ErrorReporting() = default;
    // Once, before anything else. Installs the crash handler when the options ask for it, and
    // reports a crash of the previous run.
    virtual void start(const ErrorReportingOptions& options) = 0;
    virtual void captureMessage(const std::string& message) = 0;
    // Starts a transaction that the caller never finishes: it is recorded, not transmitted.
    virtual void startTransaction(const std::string& name, const std::string& operation) = 0;
    // The user every later event names.
    virtual void setUser(const std::string& userId) = 0;
};

} // namespace tavrin
