// Moves and clicks a pointer on a wlroots compositor (the test desktop's sway), as xdotool does on
// X11, through the virtual-pointer protocol:
//
//   tavrin_virtual_pointer [--times] move X Y | down [left|right] | up [left|right] |
//                          click [left|right] | sleep MS ...
//
// Steps run in order; X and Y are in the compositor's layout (the first output's size gives the
// extent). Each step is sent as one pointer frame and waits until the compositor has read it. The
// pointer exists while the command runs, and a new one starts where the compositor's cursor is
// but has not entered any window: begin with a move. --times prints each button step with the
// monotonic clock's milliseconds (for measuring what follows a press).
// Exit status 1 with a line on standard error when the compositor or the protocol is missing,
// 2 for a bad step.
#include <linux/input-event-codes.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <wayland-client.h>

#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

namespace {

struct Globals {
    wl_seat* seat = nullptr;
    zwlr_virtual_pointer_manager_v1* manager = nullptr;
    wl_output* output = nullptr;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

void outputGeometry(void*, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                    const char*, const char*, std::int32_t) {}

void outputMode(void* data, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height, std::int32_t) {
    auto* globals = static_cast<Globals*>(data);
    if (flags & WL_OUTPUT_MODE_CURRENT) {
        globals->width = width;
        globals->height = height;
    }
}

void outputDone(void*, wl_output*) {}
void outputScale(void*, wl_output*, std::int32_t) {}
void outputText(void*, wl_output*, const char*) {}

const wl_output_listener outputListener{outputGeometry, outputMode, outputDone, outputScale, outputText, outputText};

void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
    auto* globals = static_cast<Globals*>(data);
    if (std::strcmp(interface, wl_seat_interface.name) == 0 && !globals->seat)
        globals->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    else if (std::strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0)
        globals->manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
    else if (std::strcmp(interface, wl_output_interface.name) == 0 && !globals->output) {
        globals->output = static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, 2));
        wl_output_add_listener(globals->output, &outputListener, globals);
    }
}

void globalRemove(void*, wl_registry*, std::uint32_t) {}

const wl_registry_listener registryListener{global, globalRemove};

std::uint32_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

bool buttonCode(const std::vector<std::string>& args, std::size_t& i, std::uint32_t& code) {
    code = BTN_LEFT;
    if (i + 1 < args.size() && (args[i + 1] == "left" || args[i + 1] == "right")) {
        code = args[i + 1] == "left" ? BTN_LEFT : BTN_RIGHT;
        ++i;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    const bool times = !args.empty() && args.front() == "--times";
    if (times)
        args.erase(args.begin());
    if (args.empty()) {
        std::cerr << "usage: " << argv[0] << " move X Y | down|up|click [left|right] | sleep MS ...\n";
        return 2;
    }
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::cerr << "virtual pointer: no Wayland compositor (WAYLAND_DISPLAY)\n";
        return 1;
    }
    Globals globals;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, &globals);
    wl_display_roundtrip(display);
    wl_display_roundtrip(display); // the output's mode
    if (!globals.manager || globals.width <= 0 || globals.height <= 0) {
        std::cerr << "virtual pointer: the compositor offers no virtual pointer or no output\n";
        return 1;
    }
    zwlr_virtual_pointer_v1* pointer =
        zwlr_virtual_pointer_manager_v1_create_virtual_pointer(globals.manager, globals.seat);
    auto send = [&] {
        zwlr_virtual_pointer_v1_frame(pointer);
        return wl_display_roundtrip(display) >= 0;
    };
    auto note = [&](const std::string& step) {
        if (times)
            std::cout << milliseconds() << ' ' << step << std::endl;
    };
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& step = args[i];
        std::uint32_t code = 0;
        if (step == "move" && i + 2 < args.size()) {
            const long x = std::strtol(args[i + 1].c_str(), nullptr, 10);
            const long y = std::strtol(args[i + 2].c_str(), nullptr, 10);
            i += 2;
            if (x < 0 || y < 0 || x >= globals.width || y >= globals.height) {
                std::cerr << "virtual pointer: " << x << ", " << y << " is off the screen\n";
                return 2;
            }
            zwlr_virtual_pointer_v1_motion_absolute(pointer, milliseconds(), static_cast<std::uint32_t>(x),
                                                    static_cast<std::uint32_t>(y), globals.width, globals.height);
        } else if ((step == "down" || step == "up") && buttonCode(args, i, code)) {
            note(step);
            zwlr_virtual_pointer_v1_button(pointer, milliseconds(), code,
                                           step == "down" ? WL_POINTER_BUTTON_STATE_PRESSED
                                                          : WL_POINTER_BUTTON_STATE_RELEASED);
        } else if (step == "click" && buttonCode(args, i, code)) {
            note("down");
            zwlr_virtual_pointer_v1_button(pointer, milliseconds(), code, WL_POINTER_BUTTON_STATE_PRESSED);
            if (!send())
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            note("up");
            zwlr_virtual_pointer_v1_button(pointer, milliseconds(), code, WL_POINTER_BUTTON_STATE_RELEASED);
        } else if (step == "sleep" && i + 1 < args.size()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::strtol(args[++i].c_str(), nullptr, 10)));
            continue;
        } else {
            std::cerr << "virtual pointer: unknown step \"" << step << "\"\n";
            return 2;
        }
        if (!send()) {
            std::cerr << "virtual pointer: the compositor closed the connection\n";
            return 1;
        }
    }
    zwlr_virtual_pointer_v1_destroy(pointer);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
}
