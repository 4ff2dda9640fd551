#include <gtest/gtest.h>

#include <fstream>

#include <SQLiteCpp/Database.h>

#include "app/Replay.h"
#include "support/CapturingLogSink.h"
#include "support/Commands.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

using json = nlohmann::json;
using ordered = nlohmann::ordered_json;
using testing::Session;

// Sessions of the small test world: TextEdit with a "Bold" button mapped, a browser with gmail.
struct ReplayTest : ::testing::Test {
    testing::TempDir dir;
    testing::ScopedLogCapture log; // keeps the program's lines out of the test output

    ReplayTest() { testing::writeSmallCatalogue(dir / "catalogue", "linux"); }

    struct Result {
        int status;
        ordered state; // as printed, fields in their printed order
        std::string err;
        std::vector<json> events;
        long count(const char* name) const {
            return std::count_if(events.begin(), events.end(), [&](const json& e) { return e["event"] == name; });
        }
        // The "Click Analysis" events' properties.
        std::vector<json> clicks() const {
            std::vector<json> out;
            for (const auto& event : events)
                if (event["event"] == "Click Analysis")
                    out.push_back(event["properties"]);
            return out;
        }
    };

    // Plays the session; with `keepData`, in dir/data, which stays for the next.
    Result play(const Session& session, bool keepData = false) {
        std::ofstream(dir / "session.jsonl") << session.text;
        ReplayOptions options{.session = dir / "session.jsonl",
                              .catalogueDir = dir / "catalogue",
                              .eventsOut = dir / "events.jsonl",
                              .start = parseDate("2026-11-01T09:00:00.000")};
        if (keepData)
            options.dataDir = dir / "data";
        std::ostringstream out, err;
        const int status = runReplay(options, out, err);
        Result result{status, ordered(), err.str(), {}};
        if (status == 0)
            result.state = ordered::parse(out.str());
        std::ifstream events(dir / "events.jsonl");
        for (std::string line; std::getline(events, line);)
            result.events.push_back(json::parse(line));
        return result;
    }
    std::string status(const char* option = nullptr) {
        auto args = std::vector<std::string>{"status", "--data-dir", (dir / "data").string()};
        if (option)
            args.push_back(option);
        const auto result = testing::run(args);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    }
};

TEST_F(ReplayTest, AWholeSessionEndsInARecommendationWithAYearlySaving) {
    const auto result = play(Session()
                                 .onboarded()
                                 .front(0.5, "TextEdit", "notes.txt")
                                 .button(2, "Bold")
                                 .button(2.1, "Bold", "toggle")
                                 .button(3, "Bold")
                                 .commandKey(4, "i")
                                 .action(5, "toggleShortcutBookmark", {{"id", 14}})
                                 // Paused at the end: a click and a key while paused count for nothing.
                                 .action(6, "pauseCounting", {{"minutes", 5}})
                                 .button(7, "Bold")
                                 .commandKey(8, "i"),
                             true);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.state["activeNamespace"]["app"], "textedit");
    const auto& list = result.state["recommendations"];
    ASSERT_GE(list.size(), 2u);
    EXPECT_EQ(list[0]["shortcutId"], 14) << "the bookmark comes first";
    EXPECT_EQ(list[0]["source"], "userBookmarked");
    EXPECT_EQ(list[1]["actionName"], "Bold");
    EXPECT_EQ(list[1]["source"], "userAction");
    EXPECT_EQ(list[1]["count"], 3);
    EXPECT_GT(list[1]["estimatedAnnualTimeSavings"].get<double>(), 0.0);
    EXPECT_EQ(result.state["ftue"]["ftueCompleted"], true);
    EXPECT_EQ(result.state["pause"],
              (ordered{{"since", "2026-11-01T09:00:06.000"}, {"until", "2026-11-01T09:05:06.000"}}));
    EXPECT_EQ(testing::keys(result.state),
              (std::vector<std::string>{"activeNamespace", "selectedCategory", "recommendations", "learnedShortcuts",
                                        "ftue", "pause", "coaching"}));

    EXPECT_EQ(result.count("Click Analysis"), 3);
    EXPECT_EQ(result.count("Active Namespace Changed"), 1);
    EXPECT_EQ(result.events.back()["event"], "Shortcut Bookmark Toggled");
    std::vector<std::string> foundBy;
    for (const auto& click : result.clicks())
        foundBy.push_back(click["element_found_by"].get<std::string>() + " " +
                          click["final_result_source"].get<std::string>() + " " +
                          click["namespace_id"].get<std::string>());
    EXPECT_EQ(foundBy,
              (std::vector<std::string>{"hit test accessibility app|textedit", "toggle accessibility app|textedit",
                                        "hit test accessibility app|textedit"}))
        << "a click found without a point counts as one found by the hit test, and says how it was found";
    EXPECT_EQ(result.events.back()["properties"]["shortcut_id"], 14);
    SQLite::Database db((dir / "data" / "tavrin" / "db.sqlite").string());
    EXPECT_EQ(db.execAndGet("SELECT COUNT(*) FROM shortcut_usage").getInt(), 1) << "the key at 8 s is not booked";
}

TEST_F(ReplayTest, ClicksBeforeOnboardingAreDroppedAndTheFlowCanBeWalked) {
    const auto result = play(Session()
                                 .at(0, {{"trusted", true}})
                                 .button(1, "Bold")
                                 .action(2, "ftue", {{"nextStep", json::object()}})
                                 .action(2.5, "ftue", {{"toggleFrequentApp", {{"app", "Web Browser"}}}}));
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.state["ftue"]["currentStep"], 1);
    EXPECT_EQ(result.state["ftue"]["ftueCompleted"], false);
    ASSERT_EQ(result.events.size(), 1u);
    EXPECT_EQ(result.events[0]["event"], "FTUE Step Completed");
}

TEST_F(ReplayTest, OnAKnownSiteTheBrowsersOwnButtonsCountInTheBrowsersNamespace) {
    testing::writeCatalogue(dir / "catalogue",
                            "os|linux,os,linux,true,false,false\n"
                            "app|chromium_web_browser,app,chromium_web_browser,true,false,true\n"
                            "domain|github,domain,github,true,false,false\n",
                            "20,app|chromium_web_browser,Reload,,true,1,20,control + r\n"
                            "21,app|chromium_web_browser,New Tab,,true,2,21,control + t\n"
                            "30,domain|github,Search,,true,1,30,/\n"
                            "31,domain|github,File Finder,,true,2,31,t\n",
                            "app|chromium_web_browser,Reload,AXTitle,Reload\n"
                            "domain|github,Search,AXTitle,Search or jump to\u2026\n");
    const auto onSite = play(Session()
                                 .onboarded()
                                 .front(0.5, "Chromium Web Browser", "Issues - GitHub")
                                 .button(2, "Reload")
                                 .button(3, "Search or jump to\u2026")
                                 .button(4, "Star"),
                             true);
    ASSERT_EQ(onSite.status, 0) << onSite.err;
    EXPECT_EQ(onSite.state["activeNamespace"]["domainNamespaceId"], "domain|github");
    std::vector<std::pair<std::string, std::string>> clicks; // (namespace, what the click counted as)
    for (const auto& click : onSite.clicks())
        clicks.emplace_back(click["namespace_id"], click["final_result_element_clicked"]);
    EXPECT_EQ(clicks,
              (std::vector<std::pair<std::string, std::string>>{
                  {"app|chromium_web_browser", "Reload"}, {"domain|github", "Search"}, {"domain|github", "unknown"}}))
        << "the site's mapping first, then the browser's; a value neither knows stays the site's unknown";
    const auto& siteList = onSite.state["recommendations"];
    ASSERT_FALSE(siteList.empty());
    EXPECT_EQ(siteList[0]["actionName"], "Search") << "the list on the site stays the site's";
    EXPECT_EQ(siteList.dump().find("Reload"), std::string::npos);

    // Same data folder, a page that is no known site: the browser's list has gained the click.
    const auto offSite = play(Session().onboarded().front(0.5, "Chromium Web Browser", "New Tab").at(1, {}), true);
    ASSERT_EQ(offSite.status, 0) << offSite.err;
    EXPECT_EQ(offSite.state["activeNamespace"]["domainNamespaceId"], nullptr);
    const auto& browserList = offSite.state["recommendations"];
    ASSERT_FALSE(browserList.empty());
    EXPECT_EQ(browserList[0]["actionName"], "Reload");
    EXPECT_EQ(browserList[0]["source"], "userAction");
    EXPECT_EQ(browserList[0]["count"], 1);

    // Coverage per place: identified clicks against all.
    const auto coverage = status("--coverage");
    EXPECT_NE(coverage.find("domain|github                           1 / 2 (50%)"), std::string::npos) << coverage;
    EXPECT_NE(coverage.find("app|chromium_web_browser                1 / 1 (100%)"), std::string::npos) << coverage;
}

TEST_F(ReplayTest, AnApplicationTheCatalogueLacksTeachesTheShortcutItsClickedItemShows) {
    const auto inScribus = [] { return Session().onboarded().front(0.5, "Scribus", "Document-1", 42); };
    const json menu = {{"AXRole", "menu"}};
    // Nothing is learned from the user's own things, nor into the wrong application (the harvest's
    // own cases say what else is left).
    const std::pair<const char*, Session> nothingLearned[] = {
        {"a password field",
         inScribus().click(1, {{"AXTitle", "Password"}, {"AXRole", "password text"}, {"AXKeyBinding", "<Primary>p"}},
                           menu)},
        {"a web page's button",
         inScribus().click(1, {{"AXTitle", "Bold (Ctrl+B)"}, {"AXRole", "push button"}}, {{"AXRole", "document web"}})},
        {"a recent file",
         inScribus().click(1,
                           {{"AXTitle", "Quarterly Report"}, {"AXRole", "menu item"}, {"AXKeyBinding", "<Primary>1"}},
                           {{"AXTitle", "Open Recent"}, {"AXRole", "menu"}})},
        {"the window list",
         inScribus().click(1, {{"AXTitle", "Minutes"}, {"AXRole", "menu item"}, {"AXKeyBinding", "<Primary>2"}},
                           {{"AXTitle", "Windows"}, {"AXRole", "menu"}})},
        {"an editable item",
         inScribus().click(1, {{"AXTitle", "Draft (Ctrl+D)"}, {"AXRole", "push button"}, {"AXEditable", "true"}},
                           menu)},
        {"another application's window, before the place follows the switch",
         inScribus()
             .front(1, "Inkscape", "a.svg", 77)
             .click(1.1, {{"AXTitle", "Align..."}, {"AXRole", "menu item"}, {"AXKeyBinding", "<Primary><Shift>a"}},
                    menu, 77)},
        {"an application that names no process",
         Session()
             .onboarded()
             .at(0.5, {{"front", {{"app", "Scribus"}, {"windows", {{{"owner", "Scribus"}}}}}}})
             .click(1, {{"AXTitle", "Save As..."}, {"AXRole", "menu item"}, {"AXKeyBinding", "<Primary><Shift>s"}},
                    menu)}};
    for (const auto& [what, session] : nothingLearned) {
        SCOPED_TRACE(what);
        std::filesystem::remove_all(dir / "data");
        const auto played = play(session, true);
        ASSERT_EQ(played.status, 0) << played.err;
        EXPECT_EQ(status().find("Learned shortcuts"), std::string::npos);
    }

    // One click on a menu item with a shortcut: the list shows it, counted once; analytics hear
    // only that a learned action was clicked.
    std::filesystem::remove_all(dir / "data");
    const auto learned = play(
        inScribus().click(
            1, {{"AXTitle", "Save As..."}, {"AXRole", "menu item"}, {"AXKeyBinding", "a;<Alt>f:a;<Primary><Shift>s"}},
            menu),
        true);
    ASSERT_EQ(learned.status, 0) << learned.err;
    const auto& list = learned.state["recommendations"];
    ASSERT_EQ(list.size(), 1u) << learned.state.dump();
    EXPECT_EQ(list[0]["actionName"], "Save As...");
    EXPECT_EQ(list[0]["shortcutKeys"], "control + shift + s");
    EXPECT_EQ(list[0]["source"], "userAction");
    EXPECT_EQ(list[0]["count"], 1);
    EXPECT_GE(list[0]["shortcutId"].get<std::int64_t>(), 1000000000) << "clear of the catalogue's ids";

    // A toolbar button named as the item, without the ellipsis, counts as the same action.
    const auto toolbar = play(inScribus().click(1, {{"AXTitle", "Save As"}, {"AXRole", "push button"}}, menu), true);
    ASSERT_EQ(toolbar.status, 0) << toolbar.err;
    EXPECT_EQ(toolbar.state["recommendations"][0]["count"], 2);
    for (const auto* run : {&learned, &toolbar}) {
        const auto clicks = run->clicks();
        ASSERT_EQ(clicks.size(), 1u);
        EXPECT_EQ(clicks[0]["final_result_element_clicked"], "learned");
        EXPECT_EQ(clicks[0]["accessibility_element_info"], "learned");
        EXPECT_EQ(clicks[0]["accessibility_final_match"], true);
        EXPECT_EQ(json(run->events).dump().find("Save"), std::string::npos);
    }
    const auto after = status();
    EXPECT_NE(after.find("app|scribus"), std::string::npos) << after;
    EXPECT_NE(after.find("Save As..."), std::string::npos) << "learned names are shown: " << after;
}

// `--cards`: what the cheat sheet shows, for a person on a terminal (`make run` without a display
// plays the shipped demo so).
TEST_F(ReplayTest, CardsShowThePlaceAndEachCardWithItsKeysAndSaving) {
    const std::string shipped = TAVRIN_SHIPPED_RESOURCES;
    std::ofstream(dir / "gmail.jsonl") << Session()
                                              .onboarded()
                                              .front(0.5, "Google Chrome", "Inbox - Gmail")
                                              .action(1, "toggleShortcutLearned", {{"id", 31}})
                                              .action(2, "categoryChanged", {{"category", "Learned"}})
                                              .action(3, "pauseCounting", {{"minutes", 5}})
                                              .text;
    std::ofstream(dir / "textedit.jsonl")
        << Session().onboarded().front(0.5, "TextEdit", "notes.txt").button(2, "Bold").button(3, "Bold").text;
    const struct {
        std::string session, catalogue, cards;
    } cases[] = {{shipped + "/demo-session.jsonl", shipped,
                  "Mousepad\n"
                  "  Print             Ctrl+P  bookmarked\n"
                  "  Save              Ctrl+S  saves about 21 minutes a year (clicked 3 times)\n"
                  "  Find              Ctrl+F  saves about 7 minutes a year (clicked once)\n"
                  "  Open              Ctrl+O  a common shortcut here\n"
                  "  Find and Replace  Ctrl+R  a common shortcut here\n"},
                 {(dir / "gmail.jsonl").string(), (dir / "catalogue").string(),
                  "Google Chrome, on Gmail\n"
                  "  Paused until 2026-11-01T09:05:03.000 UTC: nothing is counted.\n"
                  "  Learned:\n"
                  "  Archive  E\n"},
                 {(dir / "textedit.jsonl").string(), (dir / "catalogue").string(),
                  "Textedit\n"
                  "  Bold    Super+B  saves about 14 minutes a year (clicked 2 times)\n"
                  "  Italic  Super+I  a common shortcut here\n"
                  "  Save    Super+S  a common shortcut here\n"
                  "  Find    Super+F  a common shortcut here\n"
                  "  Print   Super+P  a common shortcut here\n"}};
    for (const auto& [session, catalogue, cards] : cases) {
        SCOPED_TRACE(session);
        const auto shown =
            testing::run({"replay", "--cards", session, "--catalogue", catalogue, "--start", "2026-11-01T09:00:00"});
        ASSERT_EQ(shown.status, 0) << shown.err;
        EXPECT_EQ(shown.out, cards);
    }
}

// The coach's rules, one session each in TextEdit: which nudges appeared (action, keys, and "taken
// back" for one that did not last its second), the notes on the cards, and the list's first entry.
TEST_F(ReplayTest, TheCoachNudgesOnlyForMissesAndFollowsPracticeToGraduationAndBack) {
    const auto at = [](double t) { return R"({"at":)" + std::to_string(t); };
    const auto bold = [&](double t, const char* button = "left", bool synthetic = false) {
        return at(t) + R"(,"click":{"button":")" + button + R"(","x":100,"y":100,"synthetic":)" +
               (synthetic ? "true" : "false") +
               R"(,"target":{"hit":"b","nodes":{"b":{"pid":42,"attrs":{"AXTitle":"Bold"}}}}}})" + "\n";
    };
    const auto save = [&](double t) {
        return at(t) + R"(,"click":{"button":"left","x":100,"y":100,"target":{"hit":"b","nodes":{"b":{"pid":42,)"
                       R"("attrs":{"AXDescription":"Save document"}}}}}})"
                       "\n";
    };
    // The modifiers go down, then the key; all are up again 0.04 s later.
    const auto keys = [&](double t, const char* chars, const char* flags = R"("command")") {
        const std::string down = std::string(R"("chars":")") + chars + R"(","flags":[)" + flags + "]";
        return at(t - 0.02) + R"(,"key":{"type":"flags","flags":[)" + flags + "]}}\n" + at(t) +
               R"(,"key":{"type":"down",)" + down + "}}\n" + at(t + 0.02) + R"(,"key":{"type":"up",)" + down + "}}\n" +
               at(t + 0.04) + R"(,"key":{"type":"flags","flags":[]}})" + "\n";
    };
    const auto line = [&](double t, const std::string& event) { return at(t) + "," + event + "}\n"; };
    const auto menuItem = [](double t, const char* attributes) {
        return Session().click(t, json::parse(attributes), {{"AXRole", "menu"}}).text;
    };
    // A use of Bold a day for eight days: a week of use.
    std::string week;
    for (int day = 0; day < 8; ++day)
        week += keys(1 + day, "b") + line(1.5 + day, R"("suspend":{"days":1})");
    week += keys(9, "b");

    struct Scenario {
        const char* rule;
        std::string session;
        std::vector<std::string> nudges;
        std::vector<std::string> notes;
        std::string first; // the list's first entry: action, source, count
    };
    const std::vector<Scenario> scenarios = {
        {"one nudge per three misses and a minute",
         bold(2) + bold(3) + bold(4) + bold(5) + bold(30) + bold(70),
         {"Bold command + b", "Bold command + b"},
         {},
         "Bold userAction 6"},
        {"\"Not for this one\" ends them",
         bold(2) + line(2.5, R"("action":{"suppressNudges":{"id":10}})") + bold(70) + bold(140) + bold(210),
         {"Bold command + b taken back"},
         {},
         "Bold userAction 4"},
        {"\"Got it\" ends the one shown",
         bold(2) + line(4, R"("action":{"dismissNudge":{"id":10}})") + bold(70) + bold(75) + bold(80) + bold(140),
         {"Bold command + b", "Bold command + b"},
         {},
         "Bold userAction 5"},
        {"the keys pressed a second before or after, a right, side or program's click are no misses",
         keys(1.5, "b") + bold(2) + bold(5) + keys(5.4, "b") + bold(80, "right") + bold(90, "side") +
             bold(100, "left", true),
         {"Bold command + b taken back"},
         {},
         "Bold userAction 4"},
        {"none while paused", line(1, R"("action":{"pauseCounting":{}})") + bold(2), {}, {}, "Bold backfill 0"},
        {"a week of more uses than clicks offers graduation", week, {}, {"10 graduation"}, "Bold backfill 0"},
        {"\"Not now\" keeps the offer away for the week",
         week + line(9.5, R"("action":{"declineGraduation":{"id":10}})") + bold(12),
         {"Bold command + b"},
         {},
         "Bold userAction 1"},
        {"a learned shortcut whose clicks come back returns for practice",
         week + line(10, R"("action":{"toggleShortcutLearned":{"id":10}})") + bold(11) + bold(12) + bold(13),
         {},
         {"10 back for practice"},
         "Bold userAction 3"},
        {"marked learned again, it loses the badge for good",
         week + line(10, R"("action":{"toggleShortcutLearned":{"id":10}})") + bold(11) + bold(12) + bold(13) +
             line(14, R"("action":{"toggleShortcutLearned":{"id":10}})"),
         {},
         {},
         "Italic backfill 0"},
        {"the application's keys over the catalogue's",
         menuItem(2, R"({"AXTitle":"Save","AXRole":"menu item","AXKeyBinding":";;<Primary><Alt>s"})") + save(10) +
             save(20) + save(70) + keys(70.5, "s", R"("control","option")"),
         {"Save control + option + s", "Save control + option + s taken back"},
         {"12 keys control + option + s"},
         "Save userAction 4"},
    };
    for (const auto& scenario : scenarios) {
        SCOPED_TRACE(scenario.rule);
        auto session = Session().onboarded().front(0.5, "TextEdit", "", 42);
        session.text += scenario.session + R"({"at":300})" + "\n";
        const auto result = play(session);
        ASSERT_EQ(result.status, 0) << result.err;
        const auto& coaching = result.state["coaching"];
        std::vector<std::string> nudges, notes;
        for (const auto& nudge : coaching["nudges"])
            nudges.push_back(nudge["actionName"].get<std::string>() + " " + nudge["keys"].get<std::string>() +
                             (nudge["settled"] ? "" : " taken back"));
        for (const auto& note : coaching["notes"]) {
            const auto id = std::to_string(note["shortcutId"].get<int>());
            if (note["offersGraduation"])
                notes.push_back(id + " graduation");
            if (note["backForPractice"])
                notes.push_back(id + " back for practice");
            if (!note["applicationKeys"].is_null())
                notes.push_back(id + " keys " + note["applicationKeys"]["keys"].get<std::string>());
        }
        EXPECT_EQ(nudges, scenario.nudges);
        EXPECT_EQ(notes, scenario.notes);
        const auto& first = result.state["recommendations"].at(0);
        EXPECT_EQ(first["actionName"].get<std::string>() + " " + first["source"].get<std::string>() + " " +
                      std::to_string(first["count"].get<int>()),
                  scenario.first);
    }
}

TEST_F(ReplayTest, AMalformedLineStopsTheReplayBeforeAnythingIsWritten) {
    const std::pair<const char*, const char*> cases[] = {
        {"{\"at\":1,\"click\":{\"button\":\"middle\",\"x\":1,\"y\":1,\"target\":null}}", "\"button\" must be"},
        {"{\"at\":1,\"click\":{\"button\":\"left\",\"foundBy\":\"guess\",\"target\":null}}", "\"foundBy\" must be"},
        {"{\"at\":1,\"click\":{\"button\":\"left\",\"foundBy\":\"tab\",\"target\":null}}", "needs its \"target\""},
        {"{\"at\":0.1}\n{\"at\":0.05}", "goes back in time"},
        {"not json", "not valid JSON"},
        {"{\"at\":1,\"action\":{\"launchRockets\":{}}}", "unknown action \"launchRockets\""},
        {"{\"at\":1,\"key\":{\"type\":\"down\",\"flags\":[\"hyper\"]}}", "unknown modifier"},
        {"{\"at\":1,\"front\":{\"app\":\"A\"},\"trusted\":true}", "one event per line"}};
    for (const auto& [line, message] : cases) {
        SCOPED_TRACE(line);
        auto session = Session().onboarded();
        session.text += std::string(line) + "\n";
        const auto result = play(session, true);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find(", line "), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
        EXPECT_FALSE(std::filesystem::exists(dir / "data" / "tavrin" / "db.sqlite")) << "nothing half-written";
    }
}

} // namespace
} // namespace tavrin
