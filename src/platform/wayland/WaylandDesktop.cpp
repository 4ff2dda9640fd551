#include "platform/wayland/WaylandDesktop.h"

#include <cerrno>
#include <csignal>
#include <gio/gio.h>

#include "platform/Log.h"
#include "platform/linux/X11Desktop.h"

namespace tavrin {

WaylandDesktop::WaylandDesktop(MainQueue& mainQueue, std::string compositor)
    : mainQueue_(mainQueue), compositor_(std::move(compositor)),
      entries_(DesktopEntryIndex::load(xdgApplicationFolders())), autostartFolder_(xdgAutostartFolder()) {
    std::error_code ec;
    executable_ = std::filesystem::read_symlink("/proc/self/exe", ec);
    std::string problem;
    toplevels_ = ForeignToplevels::connect([this] { notifyActivation(); }, problem);
    if (!toplevels_)
        Logger(std::string(kLogSubsystem), "Wayland")
            .info("No window list from the compositor (" + problem +
                  "): the application in front comes from the accessibility bus alone.");
}

WaylandDesktop::~WaylandDesktop() {
    *alive_ = false;
    toplevels_.reset(); // its thread ends before the rest goes
}

void WaylandDesktop::setAutostart(std::filesystem::path folder, std::filesystem::path executable) {
    autostartFolder_ = std::move(folder);
    executable_ = std::move(executable);
}

void WaylandDesktop::windowEvent(const WindowEvent& event) {
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        changed = active_.apply(event);
        if (event.kind == WindowEvent::Kind::activate && event.pid && !event.application.empty())
            applications_[*event.pid] = event.application;
    }
    if (changed)
        notifyActivation();
}

void WaylandDesktop::notifyActivation() {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive] {
        if (!alive.lock())
            return;
        for (const auto& handler : std::vector(activationHandlers_))
            handler();
    });
}

bool WaylandDesktop::readsWindowList() const {
    return toplevels_ && toplevels_->connected();
}

std::string WaylandDesktop::displayName(const std::string& idOrName, std::optional<int> pid) const {
    if (auto name = entries_.displayNameFor(idOrName, idOrName))
        return *name;
    if (pid) {
        std::error_code ec;
        const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(*pid) + "/exe", ec).filename();
        if (!ec && !program.empty())
            if (auto name = entries_.displayNameFor(program.string(), program.string()))
                return *name;
    }
    return idOrName;
}

std::optional<std::string> WaylandDesktop::frontApplicationName() const {
    if (readsWindowList()) {
        // A window without an application id (an X11 window without a class) is named by the
        // accessibility bus, as on a compositor without the list.
        const auto windows = toplevels_->toplevels();
        if (windows.empty() || !windows.front().activated)
            return std::nullopt;
        if (!windows.front().appId.empty())
            return displayName(windows.front().appId, std::nullopt);
    }
    std::lock_guard lock(mutex_);
    const auto& window = active_.current();
    if (!window || window->application.empty())
        return std::nullopt;
    return displayName(window->application, window->pid);
}

std::vector<RunningApplication> WaylandDesktop::accessibleApplications() const {
    std::map<int, std::string> known;
    {
        std::lock_guard lock(mutex_);
        known = applications_;
    }
    std::vector<RunningApplication> out;
    for (const auto& [pid, name] : known)
        if (::kill(pid, 0) == 0 || errno == EPERM)
            out.push_back({displayName(name, pid), name, name, pid});
    return out;
}

std::optional<int> WaylandDesktop::frontProcess() const {
    std::lock_guard lock(mutex_);
    const auto& window = active_.current();
    return window ? window->pid : std::nullopt;
}

std::optional<std::vector<WindowInfo>> WaylandDesktop::onScreenWindows() const {
    std::vector<WindowInfo> out;
    if (readsWindowList()) {
        for (const auto& window : toplevels_->toplevels()) {
            const auto owner = displayName(window.appId, std::nullopt);
            out.push_back({owner, X11Desktop::stripApplicationSuffix(window.title, {owner, window.appId})});
        }
        return out;
    }
    // Without a window list, the window in front is all that is known.
    std::lock_guard lock(mutex_);
    if (const auto& window = active_.current(); window && !window->application.empty()) {
        const auto owner = displayName(window->application, window->pid);
        out.push_back({owner, X11Desktop::stripApplicationSuffix(window->title, {owner, window->application})});
    }
    return out;
}

void WaylandDesktop::observeActivation(std::function<void()> handler) {
    activationHandlers_.push_back(std::move(handler));
}

std::string WaylandDesktop::sessionName() const {
    return compositor_.empty() ? "Wayland" : "Wayland (" + compositor_ + ")";
}

bool WaylandDesktop::listsEveryWindow() const {
    return readsWindowList();
}

BottomLeftPoint WaylandDesktop::mouseLocation() const {
    const auto frame = mainScreenFrame();
    return flipped(TopLeftPoint{0, 0}, frame ? frame->height : 0);
}

std::optional<BottomLeftRect> WaylandDesktop::mainScreenFrame() const {
    const auto size = toplevels_ ? toplevels_->outputSize() : std::nullopt;
    if (!size)
        return std::nullopt;
    return BottomLeftRect{0, 0, static_cast<double>(size->first), static_cast<double>(size->second)};
}

std::optional<BottomLeftRect> WaylandDesktop::mainScreenVisibleFrame() const {
    return mainScreenFrame();
}

bool WaylandDesktop::openUrl(const std::string& url) {
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error))
        return true;
    printLine("Cannot open " + url + ": " + (error && error->message ? error->message : "no application for it"));
    g_clear_error(&error);
    return false;
}

bool WaylandDesktop::setLoginItemEnabled(bool enabled) {
    return setAutostartEntry(autostartFolder_, executable_, enabled);
}

} // namespace tavrin
