#include "app/HelperCommand.h"

#include <chrono>
#include <ostream>
#include <thread>

#include <glib.h>

#include "platform/Log.h"
#include "platform/linux/DesktopHelpers.h"
#include "platform/linux/HelperLink.h"
#include "platform/linux/XdgPaths.h"

namespace tavrin {

std::unique_ptr<DesktopHelper> sessionDesktopHelper() {
    return makeDesktopHelper(helperDesktopOfSession(), defaultResourcesDirectory() / "helpers", g_get_user_data_dir(),
                             g_get_user_config_dir());
}

std::unique_ptr<HelperLink> startSessionHelperLink() {
    const auto helper = sessionDesktopHelper();
    if (!helper || helper->state() == DesktopHelper::State::notInstalled)
        return nullptr;
    std::string problem;
    auto link = HelperLink::start(helperDesktopOfSession(), problem,
                                  enabledKWinScript(g_get_user_data_dir(), g_get_user_config_dir()));
    if (!link)
        Logger(std::string(kLogSubsystem), "Wayland").error("The desktop helper cannot be reached: " + problem);
    return link;
}

std::string helperConsentText(const DesktopHelper& helper) {
    return "Clicks: on this desktop Tavrin learns where you click from a small " + helper.kind() +
           " of its own. It tells Tavrin, and no other program, where the pointer is in the window in front, that "
           "window's application and title, and when a mouse button goes down. It sees no keys and no window "
           "content, and it answers only while Tavrin runs. You can remove it from Tavrin's menu or with `tavrin "
           "helper remove`.";
}

std::string installHelper(DesktopHelper& helper) {
    std::string problem;
    if (!helper.install(problem))
        return "The " + helper.kind() + " could not be installed: " + problem;
    if (helper.startsAtNextLogin() && helper.state() != DesktopHelper::State::running)
        return "The " + helper.kind() +
               " is installed and switched on. It starts at your next login: log out and "
               "in once.";
    return "The " + helper.kind() + " is installed and switched on.";
}

std::string removeHelper(DesktopHelper& helper) {
    std::string problem;
    if (!helper.remove(problem))
        return "The " + helper.kind() + " could not be removed: " + problem;
    return "The " + helper.kind() + " is switched off and removed.";
}

namespace {

std::string rectText(const TopLeftRect& r) {
    return std::to_string(static_cast<int>(r.x)) + "," + std::to_string(static_cast<int>(r.y)) + " " +
           std::to_string(static_cast<int>(r.width)) + "x" + std::to_string(static_cast<int>(r.height));
}

// What the running helper tells Tavrin now, so that the user sees it: asked as Tavrin asks it.
void showWhatItTells(std::ostream& out) {
    std::string problem;
    auto link = HelperLink::start(helperDesktopOfSession(), problem,
                                  enabledKWinScript(g_get_user_data_dir(), g_get_user_config_dir()));
    if (!link) {
        out << "It tells Tavrin alone, and Tavrin runs now: " << problem << ".\n";
        return;
    }
    std::optional<HelperPointer> pointer;
    for (int attempt = 0; attempt < 20 && !pointer; ++attempt) {
        pointer = link->pointer(std::chrono::milliseconds(100));
        if (!pointer)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!pointer) {
        out << "It did not answer.\n";
        return;
    }
    if (pointer->window.appId.empty() && pointer->window.pid == 0) {
        out << "No window is in front.\n";
        return;
    }
    out << "Window in front: " << pointer->window.appId << " \"" << pointer->window.title << "\" (process "
        << pointer->window.pid << ") at " << rectText(pointer->window.frame)
        << "\nPointer: " << static_cast<int>(pointer->local.x) << "," << static_cast<int>(pointer->local.y)
        << " in its surface at " << rectText(pointer->surface) << ", " << (pointer->inside ? "inside" : "outside")
        << " its frame\n";
}

} // namespace

int runHelper(const std::string& action, std::ostream& out, std::ostream& err) {
    if (action != "status" && action != "install" && action != "remove") {
        err << "tavrin: helper takes status, install or remove\n";
        return 2;
    }
    auto helper = sessionDesktopHelper();
    if (!helper) {
        (action == "status" ? out : err)
            << "This session needs no desktop helper: Tavrin helps itself on X11, and knows helpers for GNOME and "
               "KDE Plasma on Wayland.\n";
        return action == "status" ? 0 : 1;
    }
    if (action == "install") {
        out << installHelper(*helper) << '\n';
        const auto state = helper->state();
        return state == DesktopHelper::State::enabled || state == DesktopHelper::State::running ? 0 : 1;
    }
    if (action == "remove") {
        out << removeHelper(*helper) << '\n';
        return helper->state() == DesktopHelper::State::notInstalled ? 0 : 1;
    }
    const auto state = helper->state();
    out << "Desktop helper (" << helper->kind() << "): " << describe(state) << '\n';
    if (state == DesktopHelper::State::running)
        showWhatItTells(out);
    return 0;
}

} // namespace tavrin
