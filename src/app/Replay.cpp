#include "app/Replay.h"

#include <fstream>
#include <map>
#include <ostream>
#include <sstream>
#include <variant>

#include <nlohmann/json.hpp>

#include "app/AppDelegate.h"
#include "app/ReplayFormat.h"
#include "app/StateJson.h"
#include "foundation/Folders.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/VirtualScheduler.h"
#include "sensing/AccessibilityManager.h"
#include "app/NoScreenCapture.h"

namespace tavrin {

namespace {

using json = nlohmann::json;
using namespace replay;

// Keeps every event that reaches the analytics manager.
class ReplayAnalytics final : public AnalyticsManaging {
public:
    std::vector<OutputJson> lines;
    void trackEvent(const std::string& name, const std::optional<Properties>& properties) override {
        lines.push_back({{"event", name}, {"properties", toJson(properties)}});
    }
    void setUserId(const std::string&) override {}
    bool equals(const AnalyticsManaging& other) const override { return this == &other; }
};

// Restores the process-wide analytics default when the replay ends.
struct DefaultAnalyticsScope {
    std::shared_ptr<AnalyticsManaging> previous = defaultAnalyticsManager();
    explicit DefaultAnalyticsScope(std::shared_ptr<AnalyticsManaging> manager) {
        setDefaultAnalyticsManager(std::move(manager));
    }
    ~DefaultAnalyticsScope() { setDefaultAnalyticsManager(previous); }
};

} // namespace

AppEnvironment fakeDesktopEnvironment(VirtualScheduler& scheduler, FakeDesktop& desktop, UserDefaults& defaults,
                                      std::function<DatabaseManager&()> database, AccessibilityManaging& accessibility,
                                      ScreenshotManaging& screenshots) {
    return AppEnvironment{
        .mainQueue = &scheduler,
        .executor = &scheduler,
        .clock = &scheduler,
        .elements = &desktop,
        .screens = &desktop,
        .loginItem = &desktop,
        .urls = &desktop,
        .input = &desktop,
        .defaults = &defaults,
        .database = std::move(database),
        .accessibility = [&accessibility]() -> AccessibilityManaging& { return accessibility; },
        .screenshots = [&screenshots]() -> ScreenshotManaging& { return screenshots; },
        .applicationOfProcess = [&desktop](int pid) { return desktop.applicationOfProcess(pid); },
    };
}

int runReplay(const ReplayOptions& options, std::ostream& out, std::ostream& err) {
    // Read and check every line before anything is written.
    std::ifstream file(options.session);
    if (!file) {
        err << "tavrin: cannot read " << options.session.string() << '\n';
        return 1;
    }
    std::vector<Event> events;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        try {
            events.push_back(parseLine(line, events.empty() ? 0.0 : events.back().at));
        } catch (const ReplayError& error) {
            err << "tavrin: " << options.session.string() << ", line " << number << ": " << error.message << '\n';
            return 1;
        }
    }

    std::optional<TemporaryFolder> temporary;
    if (!options.dataDir)
        temporary.emplace("tavrin-replay-");
    const auto dataDir = options.dataDir ? *options.dataDir : temporary->path();

    const Date start =
        options.start ? *options.start : std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    VirtualScheduler scheduler(start);
    FakeDesktop desktop;
    DataDirPaths paths(dataDir, options.catalogueDir);
    JsonFileUserDefaults defaults(paths.userDefaultsFile());
    const PlatformProfile& profile = PlatformProfile::linuxDesktop();
    AccessibilityManager accessibility(desktop, desktop, scheduler, profile);
    NoScreenCapture screenshots;
    auto analytics = std::make_shared<ReplayAnalytics>();
    DefaultAnalyticsScope analyticsScope(analytics);

    std::unique_ptr<DatabaseManager> database;
    try {
        database = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &scheduler, .catalogueDirectory = options.catalogueDir});
    } catch (const std::exception& error) {
        err << "tavrin: cannot open the database: " << error.what() << '\n';
        return 1;
    }

    // What the session says about the moment before start.
    for (const auto& event : events) {
        if (event.at > 0)
            break;
        if (std::holds_alternative<Onboarded>(event.payload)) {
            FTUEDomain::State finished;
            finished.currentStep = FTUEStep::privacySetup;
            finished.accessibilityPermissionGranted = true;
            finished.ftueCompleted = true;
            defaults.setObject(FTUEDomain::CodableState::from(finished).stored(),
                               FTUEDomain::CodableState::defaultsKey);
        } else if (const auto* trusted = std::get_if<Trusted>(&event.payload)) {
            desktop.trusted = trusted->value;
        }
    }

    auto environment = fakeDesktopEnvironment(
        scheduler, desktop, defaults, [&]() -> DatabaseManager& { return *database; }, accessibility, screenshots);
    // Deterministic click names: the same session gives the same UUIDs.
    environment.uuid = [counter = std::uint64_t{0}]() mutable {
        Uuid uuid;
        const auto n = ++counter;
        for (int i = 0; i < 8; ++i)
            uuid.bytes[15 - i] = static_cast<std::uint8_t>(n >> (8 * i));
        uuid.bytes[6] = 0x40;
        uuid.bytes[8] = 0x80;
        return uuid;
    };
    environment.profile = &profile;
    AppDelegate delegate(std::move(environment));
    // Every nudge that appeared, as it stood last.
    std::vector<Nudge> nudges;
    auto nudgeWatch = delegate.store().observe([&nudges](const AppDomain::State& state) {
        const auto& nudge = state.coaching.nudge;
        if (!nudge)
            return;
        if (!nudges.empty() && nudges.back().shortcutId == nudge->shortcutId && nudges.back().at == nudge->at)
            nudges.back() = *nudge;
        else
            nudges.push_back(*nudge);
    });
    delegate.applicationDidFinishLaunching();
    scheduler.runUntilIdle();

    for (const auto& event : events) {
        const auto wait = Duration{event.at} - scheduler.elapsed();
        if (wait > Duration::zero())
            scheduler.advance(wait);
        std::visit(
            [&](const auto& payload) {
                using T = std::decay_t<decltype(payload)>;
                if constexpr (std::is_same_v<T, Trusted>) {
                    desktop.trusted = payload.value;
                } else if constexpr (std::is_same_v<T, Front>) {
                    if (payload.pid)
                        desktop.applications[*payload.pid] = payload.app;
                    desktop.activate(payload.app, payload.windows);
                } else if constexpr (std::is_same_v<T, Click>) {
                    if (payload.tree) {
                        const auto& hit = payload.tree->nodes.at(payload.hit);
                        // The tree lives as long as the handle on its hit node.
                        auto keepAlive = std::shared_ptr<const AccessibleElement>(payload.tree, hit.get());
                        desktop.elementAtPoint = {ElementAtPoint::Outcome::found, AccessibleElementRef(keepAlive), {}};
                        for (const auto& [id, node] : payload.tree->nodes)
                            if (node->pid)
                                desktop.runningProcesses.insert(*node->pid);
                        if (payload.foundBy != ElementFinding::hitTest) {
                            desktop.clickFound({AccessibleElementRef(keepAlive), payload.foundBy});
                            return;
                        }
                    } else {
                        desktop.elementAtPoint = {ElementAtPoint::Outcome::noElement, {}, {}};
                    }
                    // Session points are screen points from the top left; the pointer counts from
                    // the bottom, and the inspector flips it back.
                    const double height = desktop.screen ? desktop.screen->height : 0;
                    desktop.click(payload.button, flipped(payload.point, height), payload.synthetic);
                } else if constexpr (std::is_same_v<T, Key>) {
                    desktop.key(payload.event);
                } else if constexpr (std::is_same_v<T, SendAction>) {
                    delegate.store().send(payload.action);
                } else if constexpr (std::is_same_v<T, Suspend>) {
                    scheduler.suspend(payload.length);
                }
            },
            event.payload);
        scheduler.runUntilIdle();
    }

    const auto& state = delegate.store().state();
    std::ostringstream cards;
    if (options.cards)
        printCheatsheet(state, profile, cards);
    const OutputJson result = {
        {"activeNamespace", toJson(state.activeNamespace)},
        {"selectedCategory", std::string(rawValue(state.selectedCategory))},
        {"recommendations", toJson(state.recommendations)},
        {"learnedShortcuts", toJson(state.learnedShortcuts)},
        {"ftue",
         {{"currentStep", static_cast<std::int64_t>(state.ftue.currentStep)},
          {"ftueCompleted", state.ftue.ftueCompleted}}},
        {"pause", state.pause ? OutputJson(state.pause->toStored()) : OutputJson()},
        {"coaching",
         {{"nudges", toJson(nudges)},
          {"notes", toJson(state.coaching.notes)},
          {"preferences", OutputJson::parse(state.coaching.preferences.toStored().dump())}}},
    };
    delegate.applicationWillTerminate();
    scheduler.runUntilIdle();

    if (options.eventsOut) {
        std::ofstream events(*options.eventsOut, std::ios::trunc);
        for (const auto& event : analytics->lines)
            events << event.dump() << '\n';
        if (!events) {
            err << "tavrin: cannot write " << options.eventsOut->string() << '\n';
            return 1;
        }
    }
    if (options.cards)
        out << cards.str();
    else
        out << result.dump(2) << '\n';
    return 0;
}

} // namespace tavrin
