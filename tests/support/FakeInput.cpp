// Moves and clicks the pointer and presses keys on the KWin test desktop, as xdotool does on X11,
// through KWin's fake-input protocol (offered to every client when KWin runs with
// KWIN_WAYLAND_NO_PERMISSION_CHECKS=1):
//
//   tavrin_fake_input [--times] move X Y | down [left|right] | up [left|right] |
//                     click [left|right] | key NAME | sleep MS ...
//
// Steps run in order; X and Y are in the compositor's layout. NAME is a key's name as xdotool spells
// it (a to z, 0 to 9, Escape, Return, Tab, space, F1 to F12, Control_L, Shift_L, Alt_L, Super_L).
// Each step waits until the compositor has read it. --times prints each button step with the
// monotonic clock's milliseconds. Exit status 1 with a line on standard error when the compositor
// or the protocol is missing, 2 for a bad step.
#include <linux/input-event-codes.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <map>
#include <optional>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <wayland-client.h>

#include "fake-input-client-protocol.h"

namespace {

org_kde_kwin_fake_input* fakeInput = nullptr;

void global(void*, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t version) {
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 && version >= 4)
        fakeInput = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
}

void globalRemove(void*, wl_registry*, std::uint32_t) {}

const wl_registry_listener registryListener{global, globalRemove};

std::optional<std::uint32_t> keyCode(const std::string& name) {
    static const std::map<std::string, std::uint32_t> named{
        {"Escape", KEY_ESC},          {"Return", KEY_ENTER},      {"Tab", KEY_TAB},       {"space", KEY_SPACE},
        {"Control_L", KEY_LEFTCTRL},  {"Shift_L", KEY_LEFTSHIFT}, {"Alt_L", KEY_LEFTALT}, {"Super_L", KEY_LEFTMETA},
        {"BackSpace", KEY_BACKSPACE}, {"Down", KEY_DOWN},         {"Up", KEY_UP},         {"Left", KEY_LEFT},
        {"Right", KEY_RIGHT},
    };
    if (auto it = named.find(name); it != named.end())
        return it->second;
    static const char* letters = "qwertyuiop";
    static const char* home = "asdfghjkl";
    static const char* bottom = "zxcvbnm";
    if (name.size() == 1) {
        char c = name[0];
        if (auto* p = std::strchr(letters, c); p && c)
            return KEY_Q + static_cast<std::uint32_t>(p - letters);
        if (auto* p = std::strchr(home, c); p && c)
            return KEY_A + static_cast<std::uint32_t>(p - home);
        if (auto* p = std::strchr(bottom, c); p && c)
            return KEY_Z + static_cast<std::uint32_t>(p - bottom);
        if (c == '0')
            return KEY_0;
        if (c >= '1' && c <= '9')
            return KEY_1 + static_cast<std::uint32_t>(c - '1');
    }
    if (name.size() >= 2 && name[0] == 'F') {
        int n = std::atoi(name.c_str() + 1);
        if (n >= 1 && n <= 10)
            return KEY_F1 + static_cast<std::uint32_t>(n - 1);
        if (n == 11 || n == 12)
            return KEY_F11 + static_cast<std::uint32_t>(n - 11);
    }
    return std::nullopt;
}

double now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) * 1000.0 + static_cast<double>(t.tv_nsec) / 1e6;
}

int bad(const std::string& what) {
    std::cerr << "tavrin_fake_input: " << what << '\n';
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> steps(argv + 1, argv + argc);
    bool times = !steps.empty() && steps[0] == "--times";
    if (times)
        steps.erase(steps.begin());
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::cerr << "tavrin_fake_input: no Wayland compositor (WAYLAND_DISPLAY)\n";
        return 1;
    }
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, nullptr);
    wl_display_roundtrip(display);
    if (!fakeInput) {
        std::cerr << "tavrin_fake_input: the compositor offers no fake input (KWin with "
                     "KWIN_WAYLAND_NO_PERMISSION_CHECKS=1)\n";
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(fakeInput, "Tavrin tests", "drives the test desktop");
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const std::string& step = steps[i];
        auto argument = [&]() -> std::optional<std::string> {
            if (i + 1 < steps.size())
                return steps[++i];
            return std::nullopt;
        };
        if (step == "move") {
            auto x = argument();
            auto y = argument();
            if (!x || !y)
                return bad("move needs X and Y");
            org_kde_kwin_fake_input_pointer_motion_absolute(fakeInput, wl_fixed_from_int(std::atoi(x->c_str())),
                                                            wl_fixed_from_int(std::atoi(y->c_str())));
        } else if (step == "down" || step == "up" || step == "click") {
            std::uint32_t button = BTN_LEFT;
            if (i + 1 < steps.size() && (steps[i + 1] == "left" || steps[i + 1] == "right"))
                button = argument() == "right" ? BTN_RIGHT : BTN_LEFT;
            std::vector<bool> states =
                step == "click" ? std::vector<bool>{true, false} : std::vector<bool>{step == "down"};
            for (bool down : states) {
                if (times)
                    std::cout << (down ? "down " : "up ") << std::fixed << now() << '\n';
                org_kde_kwin_fake_input_button(
                    fakeInput, button, down ? WL_POINTER_BUTTON_STATE_PRESSED : WL_POINTER_BUTTON_STATE_RELEASED);
                wl_display_roundtrip(display);
            }
        } else if (step == "key") {
            auto name = argument();
            auto code = name ? keyCode(*name) : std::nullopt;
            if (!code)
                return bad("unknown key " + name.value_or(""));
            org_kde_kwin_fake_input_keyboard_key(fakeInput, *code, WL_KEYBOARD_KEY_STATE_PRESSED);
            org_kde_kwin_fake_input_keyboard_key(fakeInput, *code, WL_KEYBOARD_KEY_STATE_RELEASED);
        } else if (step == "sleep") {
            auto ms = argument();
            if (!ms)
                return bad("sleep needs milliseconds");
            std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(ms->c_str())));
        } else {
            return bad("unknown step " + step);
        }
        wl_display_roundtrip(display);
    }
    org_kde_kwin_fake_input_destroy(fakeInput);
    wl_display_disconnect(display);
    return 0;
}
