#include "reporting/CrashHandler.h"

#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "platform/common/Threads.h"

namespace tavrin {

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

// Filled before the handlers are installed; the handler only reads them.
char recordPath[PATH_MAX];
char releaseLine[512];
std::size_t releaseLength = 0;

// Appends the decimal digits of `value` to `out`; async-signal-safe.
std::size_t appendNumber(char* out, long long value) {
    char digits[24];
    std::size_t n = 0;
    const bool negative = value < 0;
    unsigned long long v = negative ? 0ULL - static_cast<unsigned long long>(value) : value;
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v);
    std::size_t length = 0;
    if (negative)
        out[length++] = '-';
    while (n)
        out[length++] = digits[--n];
    return length;
}

std::size_t appendText(char* out, const char* text) {
    const std::size_t length = std::strlen(text);
    std::memcpy(out, text, length);
    return length;
}

void onFatalSignal(int signal) {
    const int fd = ::open(recordPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0) {
        char text[96];
        std::size_t length = appendText(text, "signal ");
        length += appendNumber(text + length, signal);
        length += appendText(text + length, "\ntime ");
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        length += appendNumber(text + length, now.tv_sec);
        text[length++] = '\n';
        [[maybe_unused]] auto a = ::write(fd, text, length);
        [[maybe_unused]] auto b = ::write(fd, releaseLine, releaseLength);
        ::close(fd);
    }
    // SA_RESETHAND has put the default action back: the signal now ends the process as it would
    // have without us (with a core dump where the system keeps them).
    ::raise(signal);
}

} // namespace

bool installCrashHandler(const std::filesystem::path& record, const std::string& release) {
    const std::string path = record.string();
    const std::string line = "release " + release + "\n";
    if (path.size() >= sizeof recordPath || line.size() >= sizeof releaseLine)
        return false;
    std::memcpy(recordPath, path.c_str(), path.size() + 1);
    std::memcpy(releaseLine, line.c_str(), line.size());
    releaseLength = line.size();

    // The handler runs on the thread's signal stack, so that a stack overflow can still be
    // recorded: this thread's here, the others' as they start (startThread).
    prepareThisThread();
    struct sigaction action {};
    action.sa_handler = onFatalSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_ONSTACK | SA_RESETHAND;
    bool ok = true;
    for (const int signal : kFatalSignals)
        ok = ::sigaction(signal, &action, nullptr) == 0 && ok;
    return ok;
}

std::optional<CrashRecord> takeCrashRecord(const std::filesystem::path& record) {
    std::ifstream in(record);
    if (!in)
        return std::nullopt;
    CrashRecord crash;
    bool haveSignal = false;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key == "signal")
            haveSignal = static_cast<bool>(words >> crash.signal);
        else if (key == "time")
            words >> crash.time;
        else if (key == "release")
            std::getline(words >> std::ws, crash.release);
    }
    in.close();
    std::error_code ignored;
    std::filesystem::remove(record, ignored);
    if (!haveSignal)
        return std::nullopt;
    return crash;
}

std::string signalName(int signal) {
    switch (signal) {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGBUS:
        return "SIGBUS";
    case SIGILL:
        return "SIGILL";
    case SIGFPE:
        return "SIGFPE";
    case SIGABRT:
        return "SIGABRT";
    default:
        return "signal " + std::to_string(signal);
    }
}

} // namespace tavrin
