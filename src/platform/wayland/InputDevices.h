#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/InputMonitor.h"
#include "platform/linux/X11Keys.h"

struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace tavrin {

// Whether the input devices under `folder` (/dev/input) can be read by this process: `read`
// when at least one event device opens, `unreadable` when there are some and none opens, `absent`
// when there are none.
InputCapabilities::Devices probeInputDevices(const std::filesystem::path& folder = "/dev/input");

// The keymap the compositor gives its clients' keyboards (the xkb text form), so that keys read
// from the devices are named as the user's layout names them. None, with `problem` saying why,
// without a compositor or a keyboard on its seat.
std::optional<std::string> compositorKeymap(std::string& problem);

// Key codes as the input devices give them (evdev codes; 0 release, 1 press, 2 repeat) to the key
// monitor's events, through an xkb keymap: the key's name is its first-level symbol in the layout
// active now, the modifier flags the keymap's state after each key, as on X11.
class DeviceKeyTranslator {
public:
    // From the keymap's text; null when it does not compile.
    static std::unique_ptr<DeviceKeyTranslator> fromKeymap(const std::string& text);
    // From layout names ("de", or empty for the system's default); null when unknown.
    static std::unique_ptr<DeviceKeyTranslator> fromLayout(const std::string& layout);
    ~DeviceKeyTranslator();

    std::vector<KeyEvent> translate(unsigned code, int value);

private:
    DeviceKeyTranslator(xkb_context* context, xkb_keymap* keymap);

    xkb_context* context_;
    xkb_keymap* keymap_;
    xkb_state* state_;
    ModifierMasks masks_;
    KeyEventTranslator translator_;
};

// Reads the keyboards under /dev/input that this process may open, on a thread of its own: each
// key goes to `key` (evdev code and value) on that thread. A device that goes away leaves a line in
// the log; the others go on.
class InputDevices {
public:
    using KeyHandler = std::function<void(unsigned code, int value)>;
    // Null when no keyboard opens.
    static std::unique_ptr<InputDevices> open(KeyHandler key, const std::filesystem::path& folder = "/dev/input");
    ~InputDevices();

    struct Reader;

private:
    explicit InputDevices(std::unique_ptr<Reader> reader);
    std::unique_ptr<Reader> reader_;
};

} // namespace tavrin
