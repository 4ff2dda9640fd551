#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "State/AppDomain.h"
#include "State/StateJson.h"
#include "support/FakeElement.h"
#include "support/Fakes.h"
#include "support/OnDiskStore.h"
#include "support/TestDependencies.h"
#include "support/TestStore.h"

namespace tavrin::testing {

// The root feature's world: the small catalogue in a temp-dir database, a tracker the test drives,
// virtual time, and a recorder as the analytics manager of the state and the installed default. The dependencies start
// unimplemented; a scenario takes the live ones it uses with the `use` functions.
struct AppDomainFixture : ::testing::Test, OnDiskStore {
    using State = AppDomain::State;
    using Action = AppDomain::Action;
    using Store = TestStore<State, Action>;

    VirtualScheduler scheduler{*parseDate("2026-11-23T09:00:00.000")};
    FakeAccessibility accessibility;
    FakeScreenshots screenshots;
    std::shared_ptr<RecordingAnalytics> analytics = std::make_shared<RecordingAnalytics>();
    std::shared_ptr<AnalyticsManaging> previousDefault = defaultAnalyticsManager();
    Dependencies deps = unimplementedDependencies();

    AppDomainFixture() {
        storeClock = &scheduler;
        writeSmallCatalogue(catalogue);
        start();
        setDefaultAnalyticsManager(analytics);
        log->clear();
    }
    void TearDown() override {
        analytics->verify();
        setDefaultAnalyticsManager(previousDefault);
    }

    void useDatabase() {
        deps.database = DatabaseClient::live([this]() -> DatabaseManager& { return *db; });
    }
    void useDefaults() { deps.userDefaults = UserDefaultsClient::live(defaults); }
    // The clock and its timers.
    void useClock() {
        deps.now = [this] { return scheduler.now(); };
        deps.mainQueue = &scheduler;
    }
    void useTracker() {
        deps.accessibility = [this]() -> AccessibilityManaging& { return accessibility; };
        deps.mainQueue = &scheduler;
    }

    // A store for "user-1" on version "1.2.3", the recorder as its analytics manager.
    std::unique_ptr<Store> makeStore(State initial = {}) {
        initial.currentUserId = "user-1";
        initial.appVersion = "1.2.3";
        initial.analyticsManager = analytics;
        return std::make_unique<Store>(
            std::move(initial), AppDomain::RootReducer(deps), scheduler, [](const State& s) { return toJson(s); },
            [](const Action& a) { return std::string(caseName(a)); });
    }

    // What a changed list brings: the refresh, the list as `list` makes it, and the event if any.
    static void refreshed(Store& store, const std::function<void(State&)>& list,
                          std::optional<AppDomain::trackEvent> event = std::nullopt) {
        store.receive(AppDomain::updateShortcuts{});
        store.receive(AppDomain::getRecommendations{}, list);
        if (event)
            store.receive(*event);
    }
    static std::function<void(State&)> listOf(std::initializer_list<std::int64_t> ids) {
        return [list = backfill(ids)](State& s) { s.recommendations = list; };
    }

    // Puts the store in TextEdit, as the tracker would: the catalogue's first five shortcuts there.
    void enterTextEdit(Store& store) {
        analytics->expect({"Active Namespace Changed"});
        store.send(AppDomain::activeNamespaceChanged{"TextEdit", std::nullopt}, [](State& s) {
            s.activeNamespace = {"textedit", "", "app|textedit", std::nullopt, true};
        });
        refreshed(store, listOf({10, 11, 12, 13, 14}),
                  AppDomain::trackEvent{"Active Namespace Changed", Properties{{"app", "textedit"}, {"domain", ""}}});
    }

    // A store in TextEdit, on the database and the clock.
    std::unique_ptr<Store> storeInTextEdit(State initial = {}) {
        useDatabase();
        useClock();
        auto store = makeStore(std::move(initial));
        enterTextEdit(*store);
        return store;
    }

    // The catalogue's entries of these ids, as the list shows them before any click or mark.
    static std::vector<ShortcutRecommendation> backfill(std::initializer_list<std::int64_t> ids) {
        std::vector<ShortcutRecommendation> list;
        for (const auto id : ids)
            for (const auto& row : kSmallCatalogueShortcuts)
                if (row.id == id)
                    list.push_back({{id, row.name, row.keys, false, false}, ShortcutSource::backfill, 0, 0.0});
        return list;
    }
    static std::vector<std::int64_t> ids(const std::vector<ShortcutRecommendation>& list) {
        std::vector<std::int64_t> out;
        for (const auto& item : list)
            out.push_back(item.base.shortcutId);
        return out;
    }

    // What a click on TextEdit's Bold button brings to the store.
    static AppDomain::inspectUIElement clickOnBold(std::uint8_t n) {
        return {AccessibleElementRef(FakeElement::make({{"AXTitle", "Bold"}})), uuid(n)};
    }
};

} // namespace tavrin::testing
