#pragma once

// What the desktop commands (watch, setup, inspect) share: the loop they run on, the signals that
// end it, and the session they open on it.

#include <atomic>
#include <csignal>
#include <memory>
#include <ostream>
#include <thread>

#include "app/DesktopSession.h"
#include "platform/common/EventLoop.h"
#include "platform/common/Threads.h"
#include "platform/linux/InstanceLock.h"

namespace tavrin {

// Ctrl+C and SIGTERM end the loop instead of the process, so that the monitors stop in order.
// The signals are blocked before any thread starts (threads inherit the mask) and taken by one
// thread that asks the loop to quit.
class QuitOnSignal {
public:
    QuitOnSignal() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    }
    ~QuitOnSignal() {
        if (thread_.joinable()) {
            done_ = true;
            pthread_kill(thread_.native_handle(), SIGTERM);
            thread_.join();
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    void listen(EventLoop& loop) {
        thread_ = startThread([this, &loop] {
            int signal = 0;
            sigwait(&signals_, &signal);
            if (!done_)
                loop.quit();
        });
    }

private:
    sigset_t signals_{}, previous_{};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

// The main loop and the workers of a command; the session runs on them and goes before them.
struct CommandLoop {
    EventLoop loop;
    ThreadPool workers{2};
    void settle() { tavrin::settle(loop, workers); }
};

// Opens the session on the loop; prints the problem and gives none when it cannot.
std::unique_ptr<DesktopSession> openSession(const DesktopSession::Options& options, CommandLoop& loop,
                                            std::ostream& err);

// Only one process counts a session's clicks: two would count each click twice. No lock, and a
// message that names the other process, when one holds it already.
std::unique_ptr<InstanceLock> takeInstanceLock(const std::string& role, std::ostream& err);

// `tavrin shortcut focus`: asks the running application to hand the keyboard to the cheat sheet, as
// its shortcut does (for a desktop without global shortcuts, where the user binds this command to
// keys in the desktop's settings). Status 1 with a line on `err` when none runs or it does not answer.
int focusRunningCheatsheet(std::ostream& err);

// Starts it; prints why and answers false when the database cannot be opened.
bool startSession(DesktopSession& session, std::ostream& err);

} // namespace tavrin
