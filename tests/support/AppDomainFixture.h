#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <SQLiteCpp/Statement.h>

#include "State/AppDomain.h"
#include "State/StateJson.h"
#include "database/DatabaseManager.h"
#include "support/CapturingLogSink.h"
#include "support/FakeElement.h"
#include "support/Fakes.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"
#include "support/TestDependencies.h"
#include "support/TestStore.h"

namespace tavrin::testing {

// The root feature's world: the small catalogue in a temp-dir database, defaults in memory, a
// tracker the test drives, virtual time, and a recorder as the analytics manager of the state and
// the installed default. The dependencies start unimplemented; a scenario takes the live ones it
// uses with the `use` functions.
struct AppDomainFixture : ::testing::Test {
    using State = AppDomain::State;
    using Action = AppDomain::Action;
    using Store = TestStore<State, Action>;

    TempDir home;
    VirtualScheduler scheduler{*parseDate("2026-11-23T09:00:00.000")};
    InMemoryUserDefaults defaults;
    FakeAccessibility accessibility;
    FakeScreenshots screenshots;
    ScopedLogCapture log;
    std::shared_ptr<RecordingAnalytics> analytics = std::make_shared<RecordingAnalytics>();
    std::shared_ptr<AnalyticsManaging> previousDefault = defaultAnalyticsManager();
    DataDirPaths paths{home.path(), home / "catalogue"};
    std::unique_ptr<DatabaseManager> db;
    Dependencies deps = unimplementedDependencies();

    AppDomainFixture() {
        writeSmallCatalogue(home / "catalogue");
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &scheduler, .catalogueDirectory = home / "catalogue"});
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

    // Puts the store in TextEdit, as the tracker would: the catalogue's first five shortcuts there.
    void enterTextEdit(Store& store) {
        analytics->expect({"Active Namespace Changed"});
        store.send(AppDomain::activeNamespaceChanged{"TextEdit", std::nullopt}, [](State& s) {
            s.activeNamespace = {"textedit", "", "app|textedit", std::nullopt, true};
        });
        store.receive(AppDomain::updateShortcuts{});
        store.receive(AppDomain::getRecommendations{}, [](State& s) {
            s.recommendations = backfill({10, 11, 12, 13, 14});
        });
        store.receive(
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

    std::int64_t count(const char* table) {
        SQLite::Statement query(db->db(), std::string("SELECT COUNT(*) FROM ") + table);
        query.executeStep();
        return query.getColumn(0).getInt64();
    }

    static Uuid uuid(std::uint8_t n) {
        Uuid id;
        id.bytes[0] = n;
        return id;
    }
    // What a click on TextEdit's Bold button brings to the store.
    static AppDomain::inspectUIElement clickOnBold(std::uint8_t n) {
        return {AccessibleElementRef(FakeElement::make({{"AXTitle", "Bold"}})), uuid(n)};
    }
};

} // namespace tavrin::testing
