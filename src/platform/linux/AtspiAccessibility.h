#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/AccessibilityTrust.h"
#include "platform/ElementLookup.h"
#include "platform/linux/AccessibleApplications.h"

namespace tavrin {

class AtspiElement;
namespace atspi {
struct Found;
}

// Accessibility on Linux through AT-SPI. libatspi is not safe to use from several threads, so
// every call runs on one worker thread of this object; callers wait for the answer, at most about
// a second: calls time out after 0.5 s, and an application that timed out is left alone for a
// while, so a hung application never stalls the caller for long.
class AtspiAccessibility final : public AccessibilityTrust, public ElementLookup, public AccessibleApplications {
public:
    // `displayName` empty means $DISPLAY (the window under a point is found through X11).
    explicit AtspiAccessibility(const std::string& displayName = {});
    ~AtspiAccessibility() override;

    // Whether the accessibility bus answers and has accessibility switched on.
    static bool busIsAvailable();

    bool isTrusted() const override;
    // Switches accessibility on (it persists in the desktop settings). Applications already
    // running may need a restart to be seen: X11Desktop::applicationsToRestart names them.
    void promptForTrust() override;
    ElementAtPoint elementAt(TopLeftPoint point) const override;
    // The element at `local`, a point in the coordinates of the window of process `pid` that is in
    // front with `title`: how a Wayland session finds it, where a desktop helper tells the window
    // and the point in it. Any thread.
    ElementAtPoint elementInWindow(int pid, const std::string& title, TopLeftPoint local) const;
    // Whether the process exists (one of another user counts too).
    bool isRunningApplication(int processId) const override;
    std::optional<std::string> applicationName(int processId) const override;
    bool readsInsideWindowAt(TopLeftPoint point) const override;

    // Runs `work` on the worker thread and waits for it; no value when it did not finish in time.
    template <class F>
    auto call(F work, std::chrono::milliseconds limit = std::chrono::milliseconds(1500)) const
        -> std::optional<decltype(work())> {
        auto task = std::make_shared<std::packaged_task<decltype(work())()>>(std::move(work));
        auto result = task->get_future();
        post([task] { (*task)(); });
        if (result.wait_for(limit) != std::future_status::ready)
            return std::nullopt;
        return result.get();
    }

    // Drops a reference on the worker thread, without waiting.
    void release(void* accessible) const;

    // A process that timed out is skipped until this long has passed.
    static constexpr std::chrono::seconds backOff{10};
    // How long one call to an application may take before it counts as not responding.
    static constexpr std::chrono::milliseconds callTimeout{500};

    struct Worker; // the thread and what only it touches

private:
    friend class AtspiElement;
    void post(std::function<void()> task) const;
    ElementAtPoint element(std::optional<atspi::Found> found) const;

    std::unique_ptr<Worker> worker_;
};

} // namespace tavrin
