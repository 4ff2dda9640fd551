#include "app/DesktopSession.h"

#include <cstdlib>

#include "app/HelperCommand.h"
#include "app/MenuLearning.h"
#include "database/DatabaseManager.h"
#include "platform/Clock.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/DesktopEntries.h"
#include "platform/linux/FileWatcher.h"
#include "platform/linux/LinuxApplicationMenus.h"
#include "platform/common/NoGlobalShortcut.h"
#include "platform/linux/X11Desktop.h"
#include "platform/linux/X11GlobalShortcut.h"
#include "platform/linux/X11InputMonitor.h"
#include "platform/linux/X11ScreenCapture.h"
#include "platform/linux/XdgPaths.h"
#include "platform/wayland/AccessibilityBusEvents.h"
#include "platform/wayland/HelperPointing.h"
#include "platform/wayland/PortalScreenCapture.h"
#include "platform/wayland/WaylandApplicationMenus.h"
#include "platform/wayland/WaylandDesktop.h"
#include "platform/wayland/InputDevices.h"
#include "platform/wayland/WaylandInputMonitor.h"
#include "sensing/AccessibilityManager.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManager.h"
#include "vision/onnx/OnnxRuntime.h"

namespace tavrin {

const char* const kHowToEnableAccessibility =
    "Switch it on with `tavrin setup`, or with `gsettings set org.gnome.desktop.interface toolkit-accessibility "
    "true`, then restart the applications you want Tavrin to see.";

namespace {

const char* environment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? value : nullptr;
}

// The compositor's name for the user, from what the session says about itself.
std::string compositorName() {
    if (const char* desktop = environment("XDG_CURRENT_DESKTOP")) {
        const std::string name(desktop);
        return name.substr(0, name.find(':')); // "ubuntu:GNOME" names the first
    }
    return environment("SWAYSOCK") ? "sway" : "";
}

} // namespace

bool isWaylandSession() {
    const char* type = environment("XDG_SESSION_TYPE");
    return environment("WAYLAND_DISPLAY") || (type && std::string(type) == "wayland");
}

struct DesktopSession::Parts {
    // First, so that they go last: everything below may use them. One of the two desktops.
    std::unique_ptr<X11Desktop> x11;
    std::unique_ptr<WaylandDesktop> wayland;
    FrontApplication* front = nullptr;
    Screens* screens = nullptr;
    UrlOpener* urls = nullptr;
    LoginItem* loginItem = nullptr;
    std::unique_ptr<AtspiAccessibility> atspi;
    ElementLookup* elements = nullptr; // the accessibility's own, or the desktop helper's
    std::unique_ptr<LinuxApplicationMenus> menus;
    // Wayland: the accessible applications seen activated, then XWayland's as `menus` reads them.
    std::unique_ptr<WaylandApplicationMenus> waylandMenus;
    const ApplicationMenus* applications = nullptr; // the one of the two in use
    std::unique_ptr<Paths> paths;
    std::unique_ptr<JsonFileUserDefaults> defaults;
    std::filesystem::path catalogue;
    SystemClock clock;
    std::unique_ptr<ScreenCapture> capture;
    OnnxRuntime modelLoader;
    std::unique_ptr<ImageClassifier> classifier;
    std::unique_ptr<ScreenshotManager> screenshots;
    std::unique_ptr<GlobalShortcut> shortcut; // the cheat sheet's
    // Wayland: the accessibility bus's window events and keys, handed to the desktop and the input
    // monitor. Ended first (~DesktopSession), before what its handlers reach.
    std::unique_ptr<AccessibilityBusEvents> busEvents;
    // Wayland, where readable: every key from the keyboards. Ended with the bus events.
    std::unique_ptr<InputDevices> devices;
};

namespace {

// X11 applications under XWayland are read the X11 way (clicks with an exact hit test); none of
// their keys, which the accessibility bus gives already.
std::unique_ptr<InputMonitor> xwaylandClicks(MainQueue& mainQueue, std::unique_ptr<ScreenCapture>& capture) {
    if (!environment("DISPLAY"))
        return nullptr;
    try {
        auto clicks = std::make_unique<X11InputMonitor>(mainQueue);
        capture = std::make_unique<X11ScreenCapture>();
        return clicks;
    } catch (const std::exception& error) {
        Logger(std::string(kLogSubsystem), "Wayland")
            .error(std::string("XWayland cannot be read (") + error.what() + "): clicks are not counted.");
        return nullptr;
    }
}

// Every key from the input devices where this user may read them, named with the compositor's
// keymap (or the system's default layout); the accessibility bus's listener otherwise.
std::unique_ptr<InputDevices> readDeviceKeys(WaylandInputMonitor& input) {
    const auto devices = probeInputDevices();
    input.setDevices(devices);
    const Logger log(std::string(kLogSubsystem), "Wayland");
    if (devices != InputCapabilities::Devices::read) {
        log.info("Keys come from the accessibility bus's listener: the input devices are " +
                 std::string(devices == InputCapabilities::Devices::absent ? "absent" : "not readable") + ".");
        return nullptr;
    }
    std::string problem;
    auto keys = [&]() -> std::unique_ptr<DeviceKeyTranslator> {
        if (const auto keymap = compositorKeymap(problem))
            if (auto translator = DeviceKeyTranslator::fromKeymap(*keymap))
                return translator;
        log.info("No keymap from the compositor (" + (problem.empty() ? "it does not compile" : problem) +
                 "): the input devices' keys are named with the default layout.");
        return DeviceKeyTranslator::fromLayout("");
    }();
    if (!keys)
        return nullptr;
    auto reader = InputDevices::open([&input](unsigned code, int value) { input.deviceKey(code, value); });
    if (!reader) {
        input.setDevices(InputCapabilities::Devices::unreadable);
        log.info("No keyboard among the input devices opened: keys come from the accessibility bus's listener.");
        return nullptr;
    }
    input.readDeviceKeys(std::move(keys));
    return reader;
}

} // namespace

std::unique_ptr<DesktopSession> DesktopSession::open(const Options& options, MainQueue& mainQueue, Executor& executor,
                                                     std::string& problem) {
    const bool wayland = options.display.empty() && isWaylandSession();
    const char* display = options.display.empty() ? std::getenv("DISPLAY") : options.display.c_str();
    if (!wayland && (!display || !*display)) {
        problem = "no desktop session: neither DISPLAY nor WAYLAND_DISPLAY is set. Tavrin watches an X11 or a "
                  "Wayland session; run it from a terminal inside the desktop.";
        return nullptr;
    }
    if (!AtspiAccessibility::busIsAvailable()) {
        problem = "the accessibility bus does not answer. Install at-spi2-core (sudo apt install at-spi2-core) and "
                  "log in again; on a desktop without a session bus, start it with dbus-run-session.";
        return nullptr;
    }
    std::unique_ptr<DesktopSession> session(new DesktopSession(mainQueue));
    auto parts = std::make_unique<Parts>();
    parts->paths = userPaths(options.dataDir);
    parts->catalogue = options.catalogueDir.empty() ? parts->paths->resourcesDirectory() : options.catalogueDir;
    try {
        parts->defaults = std::make_unique<JsonFileUserDefaults>(parts->paths->userDefaultsFile());
        if (!wayland) {
            parts->x11 = std::make_unique<X11Desktop>(session->mainQueue_, options.display);
            session->input_ = std::make_unique<X11InputMonitor>(session->mainQueue_, options.display);
            parts->capture = std::make_unique<X11ScreenCapture>(options.display);
        }
    } catch (const std::exception& error) {
        problem = std::string("cannot use the X11 display ") + display + ": " + error.what();
        return nullptr;
    }
    parts->atspi = std::make_unique<AtspiAccessibility>(options.display);
    if (wayland) {
        auto desktop = std::make_unique<WaylandDesktop>(session->mainQueue_, compositorName());
        auto input = std::make_unique<WaylandInputMonitor>(session->mainQueue_,
                                                           xwaylandClicks(session->mainQueue_, parts->capture));
        parts->capture = std::make_unique<PortalScreenCapture>(std::move(parts->capture));
        WaylandDesktop* d = desktop.get();
        WaylandInputMonitor* i = input.get();
        parts->busEvents = std::make_unique<AccessibilityBusEvents>(AccessibilityBusEvents::Handlers{
            .window = [d](const WindowEvent& event) { d->windowEvent(event); },
            .key = [i](const ForwardedKey& key) { i->forwardedKey(key); },
        });
        parts->devices = readDeviceKeys(*input);
        desktop->setAutostart(xdgAutostartFolder(), options.loginItemExecutable);
        parts->elements = parts->atspi.get();
        session->input_ = std::move(input);
        if (auto link = startSessionHelperLink()) {
            const auto focus = [d](const WindowEvent& event) { d->windowEvent(event); };
            auto pointing = std::make_unique<HelperPointing>(session->mainQueue_, std::move(session->input_),
                                                             *parts->atspi, *desktop, std::move(link), focus);
            parts->elements = pointing.get();
            session->input_ = std::move(pointing);
        }
        parts->wayland = std::move(desktop);
        parts->front = parts->wayland.get();
        parts->screens = parts->wayland.get();
        parts->urls = parts->wayland.get();
        parts->loginItem = parts->wayland.get();
        parts->shortcut = std::make_unique<NoGlobalShortcut>(
            "in a Wayland session only the desktop application asks the desktop portal for global shortcuts");
    } else {
        parts->x11->setAccessibleApplications(parts->atspi.get());
        parts->x11->setAutostart(xdgAutostartFolder(), options.loginItemExecutable);
        parts->elements = parts->atspi.get();
        parts->front = parts->x11.get();
        parts->screens = parts->x11.get();
        parts->urls = parts->x11.get();
        parts->loginItem = parts->x11.get();
        try {
            parts->shortcut = std::make_unique<X11GlobalShortcut>(session->mainQueue_, options.display);
        } catch (const std::exception& error) {
            parts->shortcut =
                std::make_unique<NoGlobalShortcut>(std::string("the display refuses it: ") + error.what());
        }
    }
    parts->menus = std::make_unique<LinuxApplicationMenus>(*parts->atspi, options.display);
    parts->applications = parts->menus.get();
    if (parts->wayland) {
        parts->waylandMenus = std::make_unique<WaylandApplicationMenus>(*parts->wayland, *parts->menus);
        parts->applications = parts->waylandMenus.get();
    }
    session->accessibility_ = std::make_unique<AccessibilityManager>(*parts->front, *parts->atspi, session->mainQueue_,
                                                                     PlatformProfile::linuxDesktop());
    session->executor_ = std::make_unique<ScopedExecutor>(executor);
    session->parts_ = std::move(parts);

    std::optional<AnalyticsClient::Configuration> analytics;
    if (options.productAnalytics)
        if (const auto support = session->parts_->paths->applicationSupportDirectory(); support && !support->empty()) {
            analytics.emplace();
            analytics->storage = *support / "tavrin" / "analytics";
            if (!options.analyticsEndpoint.empty())
                analytics->endpoint = options.analyticsEndpoint;
        }

    DesktopSession* self = session.get();
    Parts* p = self->parts_.get();
    p->screenshots = std::make_unique<ScreenshotManager>(ScreenshotManager::Configuration{
        .capture = p->capture.get(),
        .classifier = [self]() -> ImageClassifier& { return self->classifier(); },
        .mainQueue = &self->mainQueue_,
        .executor = self->executor_.get(),
    });
    AppEnvironment environment{
        .mainQueue = &self->mainQueue_,
        .executor = self->executor_.get(),
        .clock = &p->clock,
        .elements = p->elements,
        .screens = p->screens,
        .loginItem = p->loginItem,
        .urls = p->urls,
        .input = self->input_.get(),
        .defaults = p->defaults.get(),
        .database = [self]() -> DatabaseManager& { return self->database(); },
        .accessibility = [self]() -> AccessibilityManaging& { return *self->accessibility_; },
        .screenshots = [p]() -> ScreenshotManaging& { return *p->screenshots; },
        .applicationOfProcess = [p](int pid) { return p->applications->applicationName(pid); },
        .learnPendingMenuItems =
            [self, p](const std::string& namespaceId, const std::string& app, int pid, const std::string& value) {
                return MenuLearning::learnPendingItems(self->database(), *p->menus, namespaceId, app, pid, value);
            },
        // No classifier to load at start: the model runtime comes with the first picture to classify.
        .manageLoginItem = false,
        .productAnalytics = analytics,
    };
    environment.globalShortcut = p->shortcut.get();
    if (options.shell)
        options.shell(environment, *p->paths);
    session->app_ = std::make_unique<AppDelegate>(std::move(environment));
    return session;
}

DesktopSession::DesktopSession(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

DesktopSession::~DesktopSession() {
    stop();
    if (parts_) {
        parts_->busEvents.reset(); // its handlers reach the input monitor, which goes first
        parts_->devices.reset();   // so do the devices'
        parts_->defaults->setChangeHandler({});
    }
    // Run bodies end first: they still use the database and the accessibility bus.
    executor_.reset();
    app_.reset();
}

DatabaseManager& DesktopSession::database() {
    // Opened once, on the main thread during start(); later callers on other threads find it.
    if (!database_)
        database_ = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = parts_->paths.get(),
            .defaults = parts_->defaults.get(),
            .clock = &parts_->clock,
            .catalogueDirectory = parts_->catalogue,
        });
    return *database_;
}

ImageClassifier& DesktopSession::classifier() {
    if (!parts_->classifier)
        parts_->classifier =
            std::make_unique<ImageClassifier>(parts_->paths->resourcesDirectory(), parts_->modelLoader);
    return *parts_->classifier;
}

ScreenshotManager& DesktopSession::screenshots() {
    return *parts_->screenshots;
}

void DesktopSession::start() {
    // In the order of the application's start-up, before anything else can fail half-way.
    database();
    app_->applicationDidFinishLaunching();
    menuLearning_ = std::make_unique<MenuLearning>(
        store(), [this]() -> DatabaseManager& { return database(); }, *parts_->applications, *executor_, mainQueue_);
    started_ = true;
    AppDelegate* app = app_.get();
    JsonFileUserDefaults* defaults = parts_->defaults.get();
    defaults->setChangeHandler([app](const std::vector<std::string>& keys) { app->defaultsChanged(keys); });
    try {
        std::filesystem::create_directories(defaults->file().parent_path());
        defaultsWatcher_ = std::make_unique<FileWatcher>(defaults->file(), [defaults] { defaults->reload(); });
    } catch (const std::exception& error) {
        // The application still runs; changes made by the commands then count from the next start.
        printLine(std::string("Not following changes to the preferences: ") + error.what());
    }
    defaults->reload(); // what changed before the watch began
}

void DesktopSession::stop() {
    if (!started_)
        return;
    started_ = false;
    menuLearning_.reset();
    defaultsWatcher_.reset();
    app_->applicationWillTerminate();
}

WindowFocus* DesktopSession::windowFocus() {
    return parts_->x11.get();
}

FrontApplication& DesktopSession::frontApplication() {
    return *parts_->front;
}

Screens& DesktopSession::screens() {
    return *parts_->screens;
}

SessionCapabilities DesktopSession::capabilities() const {
    return {parts_->front->sessionName(), parts_->front->listsEveryWindow(), input_->capabilities()};
}

SessionCapabilities expectedSessionCapabilities() {
    if (isWaylandSession()) {
        const std::string compositor = compositorName();
        return {compositor.empty() ? "Wayland" : "Wayland (" + compositor + ")", true,
                WaylandInputMonitor::capabilitiesWith(environment("DISPLAY") != nullptr, probeInputDevices())};
    }
    if (!environment("DISPLAY"))
        return {};
    return {"X11", true, {}};
}

const ApplicationMenus& DesktopSession::applicationMenus() const {
    return *parts_->applications;
}

std::vector<std::string> DesktopSession::applicationsToRestart() const {
    // A Wayland session has no list of windows with their processes to probe.
    return parts_->x11 ? parts_->x11->applicationsToRestart() : std::vector<std::string>{};
}

std::unique_ptr<Paths> userPaths(const std::filesystem::path& dataDir) {
    if (dataDir.empty())
        return std::make_unique<XdgPaths>();
    return std::make_unique<DataDirPaths>(std::filesystem::absolute(dataDir), defaultResourcesDirectory());
}

std::unique_ptr<ApplicationMenus> openApplicationMenus(std::string& problem) {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        problem = "no X11 display: DISPLAY is not set.";
        return nullptr;
    }
    if (!AtspiAccessibility::busIsAvailable()) {
        problem = "the accessibility bus does not answer. Install at-spi2-core and log in again.";
        return nullptr;
    }
    return std::make_unique<LinuxApplicationMenus>(std::make_unique<AtspiAccessibility>());
}

bool DesktopSession::accessibilityEnabled() const {
    return parts_->atspi->isTrusted();
}

} // namespace tavrin
