#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tavrin {

// What the crash handler wrote when the process died of a fatal signal.
struct CrashRecord {
    int signal = 0;
    long long time = 0; // seconds since 1970
    std::string release;
};

// Installs handlers for the fatal signals (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT) that write a
// small record to `record` with async-signal-safe calls only, then let the signal kill the
// process as it would have. Process-wide, on every thread: the handler runs on the thread's own
// signal stack (prepareThisThread), so a stack overflow is recorded too, on the main thread and on
// every thread the program starts. A later call replaces the path and release. Returns false when
// the path is too long or the handlers cannot be installed.
bool installCrashHandler(const std::filesystem::path& record, const std::string& release);

// Reads and removes a record left by a crash; no value when there is none (or it is unreadable,
// in which case it is removed too).
std::optional<CrashRecord> takeCrashRecord(const std::filesystem::path& record);

// "SIGSEGV" for 11; "signal N" for one without a name here.
std::string signalName(int signal);

} // namespace tavrin
