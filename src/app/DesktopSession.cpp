#include "app/DesktopSession.h"

#include <cstdlib>

#include "app/MenuLearning.h"
#include "database/DatabaseManager.h"
#include "platform/Clock.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/DesktopEntries.h"
#include "platform/linux/FileWatcher.h"
#include "platform/linux/LinuxApplicationMenus.h"
#include "platform/linux/X11Desktop.h"
#include "platform/linux/X11InputMonitor.h"
#include "platform/linux/X11ScreenCapture.h"
#include "platform/linux/XdgPaths.h"
#include "sensing/AccessibilityManager.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManager.h"
#include "vision/onnx/OnnxRuntime.h"

namespace tavrin {

const char* const kHowToEnableAccessibility =
    "Switch it on with `tavrin setup`, or with `gsettings set org.gnome.desktop.interface toolkit-accessibility "
    "true`, then restart the applications you want Tavrin to see.";

struct DesktopSession::Parts {
    // First, so that it goes last: everything below may use them.
    std::unique_ptr<X11Desktop> desktop;
    std::unique_ptr<AtspiAccessibility> atspi;
    std::unique_ptr<LinuxApplicationMenus> menus;
    std::unique_ptr<Paths> paths;
    std::unique_ptr<JsonFileUserDefaults> defaults;
    std::filesystem::path catalogue;
    SystemClock clock;
    std::unique_ptr<X11ScreenCapture> capture;
    OnnxRuntime modelLoader;
    std::unique_ptr<ImageClassifier> classifier;
    std::unique_ptr<ScreenshotManager> screenshots;
};

std::unique_ptr<DesktopSession> DesktopSession::open(const Options& options, MainQueue& mainQueue, Executor& executor,
                                                     std::string& problem) {
    const char* display = options.display.empty() ? std::getenv("DISPLAY") : options.display.c_str();
    if (!display || !*display) {
        problem = "no X11 display: DISPLAY is not set. Tavrin watches an X11 session (or XWayland "
                  "applications); run it from a terminal inside the desktop.";
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
        parts->desktop = std::make_unique<X11Desktop>(session->mainQueue_, options.display);
        session->input_ = std::make_unique<X11InputMonitor>(session->mainQueue_, options.display);
        parts->capture = std::make_unique<X11ScreenCapture>(options.display);
    } catch (const std::exception& error) {
        problem = std::string("cannot use the X11 display ") + display + ": " + error.what();
        return nullptr;
    }
    parts->atspi = std::make_unique<AtspiAccessibility>(options.display);
    parts->desktop->setAccessibleApplications(parts->atspi.get());
    parts->menus = std::make_unique<LinuxApplicationMenus>(*parts->atspi, options.display);
    parts->desktop->setAutostart(xdgAutostartFolder(), options.loginItemExecutable);
    session->accessibility_ = std::make_unique<AccessibilityManager>(
        *parts->desktop, *parts->atspi, session->mainQueue_, PlatformProfile::linuxDesktop());
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
        .elements = p->atspi.get(),
        .screens = p->desktop.get(),
        .loginItem = p->desktop.get(),
        .urls = p->desktop.get(),
        .input = self->input_.get(),
        .defaults = p->defaults.get(),
        .database = [self]() -> DatabaseManager& { return self->database(); },
        .accessibility = [self]() -> AccessibilityManaging& { return *self->accessibility_; },
        .screenshots = [p]() -> ScreenshotManaging& { return *p->screenshots; },
        .applicationOfProcess = [p](int pid) { return p->menus->applicationName(pid); },
        // No classifier to load at start: the model runtime comes with the first picture to classify.
        .manageLoginItem = false,
        .productAnalytics = analytics,
    };
    if (options.shell)
        options.shell(environment, *p->paths);
    session->app_ = std::make_unique<AppDelegate>(std::move(environment));
    return session;
}

DesktopSession::DesktopSession(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

DesktopSession::~DesktopSession() {
    stop();
    if (parts_)
        parts_->defaults->setChangeHandler({});
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
        store(), [this]() -> DatabaseManager& { return database(); }, *parts_->menus, *executor_, mainQueue_);
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

FrontApplication& DesktopSession::frontApplication() {
    return *parts_->desktop;
}

Screens& DesktopSession::screens() {
    return *parts_->desktop;
}

const ApplicationMenus& DesktopSession::applicationMenus() const {
    return *parts_->menus;
}

std::vector<std::string> DesktopSession::applicationsToRestart() const {
    return parts_->desktop->applicationsToRestart();
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
