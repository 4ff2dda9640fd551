#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/GlobalShortcut.h"

namespace tavrin {

// A global shortcut through the desktop portal's GlobalShortcuts interface (a Wayland session,
// where no application may grab keys): a session with the portal, the combination offered as the
// preferred trigger of one shortcut ("LOGO+ALT+c"), which the desktop may show the user to confirm
// or change, and its Activated signal. KDE Plasma's portal offers it; GNOME's and the wlroots
// compositors' do not, and the binding is refused with a reason (`Binding::otherKeysMayWork` false).
//
// Every call to the portal is asynchronous on Qt's event loop (QtDBus), so nothing here ever blocks
// the main thread: a portal that does not answer within `patience` gives a refusal, and an answer
// that comes later still binds. Main thread.
class PortalGlobalShortcut final : public GlobalShortcut {
public:
    // The id of the shortcut at the portal (a persisted contract: desktops keep the user's keys
    // under it) and the description the desktop shows beside it.
    static constexpr const char* kShortcutId = "focus-cheat-sheet";
    static constexpr const char* kDescription = "Focus Cheat Sheet";

    // `busAddress` empty: the session bus.
    explicit PortalGlobalShortcut(std::chrono::milliseconds patience = std::chrono::seconds(10),
                                  const std::string& busAddress = {});
    ~PortalGlobalShortcut() override;

    void bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
              std::function<void(const Activation&)> activated) override;
    void unbind() override;

    class Client; // the QtDBus side

private:
    std::unique_ptr<Client> client_;
};

} // namespace tavrin
