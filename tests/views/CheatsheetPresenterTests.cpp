#include <gtest/gtest.h>

#include "views/presenters/CheatsheetKeyboard.h"
#include "views/presenters/CheatsheetPresenter.h"
#include "views/presenters/ProgressPresenter.h"

namespace tavrin {
namespace {

const PlatformProfile& linuxProfile = PlatformProfile::linuxDesktop();
const PlatformProfile& macProfile = PlatformProfile::macOS();

ShortcutBase base(std::int64_t id, std::string name, std::string keys, bool bookmarked = false, bool learned = false) {
    return {id, std::move(name), std::move(keys), bookmarked, learned};
}

ShortcutRecommendation recommendation(ShortcutBase shortcut, ShortcutSource source, double saving = 0) {
    return {std::move(shortcut), source, 3, saving};
}

TEST(TimePhrase, WholeHoursAndMinutesWithTheirWords) {
    struct Case {
        double seconds;
        TimePhrase phrase;
    };
    const Case cases[] = {
        {0, {"less than 1", "minute"}},
        {59, {"less than 1", "minute"}},
        {59.99, {"less than 1", "minute"}},
        {60, {"1", "minute"}},
        {120, {"2", "minutes"}},
        {3599, {"59", "minutes"}},
        {3600, {"1", "hour"}},
        {3659, {"1", "hour"}},
        {3660, {"1 hour and 1", "minute"}},
        {5400, {"1 hour and 30", "minutes"}},
        {7200, {"2", "hours"}},
        {7260, {"2 hours and 1", "minute"}},
        {90000, {"25", "hours"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.seconds);
        EXPECT_EQ(timePhrase(c.seconds), c.phrase);
    }
}

TEST(KeyChips, ImagesFirstThenTextsThenUpperCaseMatchedWithoutCase) {
    using Chips = std::vector<KeyChip>;
    EXPECT_EQ(keyChips("command + t", macProfile), (Chips{{"command", "command"}, {"", "T"}}));
    EXPECT_EQ(keyChips("Command + T", macProfile), (Chips{{"command", "command"}, {"", "T"}}));
    EXPECT_EQ(keyChips("f5", macProfile), (Chips{{"", "F5"}}));
    EXPECT_EQ(keyChips("option + shift + esc", macProfile), (Chips{{"", "Opt"}, {"", "Shft"}, {"escape", "esc"}}));
    EXPECT_EQ(keyChips("control + up_arrow + space", macProfile),
              (Chips{{"", "Ctrl"}, {"arrow.up", "up_arrow"}, {"space", "space"}}));
    EXPECT_EQ(keyChips("control + slash + open_bracket + BRACE_RIGHT", macProfile),
              (Chips{{"", "Ctrl"}, {"", "/"}, {"", "["}, {"", "}"}}));
    EXPECT_EQ(keyChips("control + ä", macProfile), (Chips{{"", "Ctrl"}, {"", "Ä"}}));
    // Only " + " separates keys: the plus key itself is named "plus".
    EXPECT_EQ(keyChips("control + plus", macProfile), (Chips{{"", "Ctrl"}, {"", "+"}}));
    EXPECT_EQ(keyChips("control+t", macProfile), (Chips{{"", "CONTROL+T"}}));
    EXPECT_EQ(keyChips("", macProfile), Chips{});
}

TEST(KeyChips, TheLinuxKeyboardNamesCommandAndOptionByItsOwnLabels) {
    using Chips = std::vector<KeyChip>;
    EXPECT_EQ(keyChips("command + option + Left", linuxProfile),
              (Chips{{"", "Super"}, {"", "Alt"}, {"arrow.left", "left"}}));
    EXPECT_EQ(keyChips("control + shift + tab", linuxProfile), (Chips{{"", "Ctrl"}, {"", "Shft"}, {"", "Tab"}}));
}

// What each button does and says: the learned tab cannot report, only marking as learned plays
// the check (and sends a second later), and a mark's button names its undoing once set.
TEST(CardButtons, ByTabAndMarks) {
    const auto summary = [](ShortcutCategory tab, bool bookmarked, bool learned) {
        std::string out;
        for (const CardButton& b : cardButtons(tab, base(1, "Save", "control + s", bookmarked, learned)))
            out += std::to_string(static_cast<int>(b.command)) + " " + b.helpText +
                   (b.playsLearnedAnimation ? " " + std::to_string(b.sendDelayMs()) : "") + "|";
        return out;
    };
    EXPECT_EQ(summary(ShortcutCategory::recommended, false, false),
              "0 Bookmark this Shortcut|1 Mark as Learned 1000|2 Report Issue with Shortcut|");
    EXPECT_EQ(summary(ShortcutCategory::recommended, true, true),
              "0 Remove Bookmark|1 Unmark as Learned|2 Report Issue with Shortcut|");
    EXPECT_EQ(summary(ShortcutCategory::learned, true, false), "0 Remove Bookmark|1 Remove from Learned|");
}

TEST(ShortcutCard, BadgeBackgroundAndTooltipBySourceAndScheme) {
    const std::string plain =
        "Shortcut: Reload\nKeys: control + r\n\nPress the key combination to activate this shortcut.";

    auto card = presentCard(recommendation(base(7, "Reload", "control + r"), ShortcutSource::userAction, 5400),
                            ShortcutCategory::recommended, ColorScheme::light, linuxProfile);
    EXPECT_EQ(card.badgeImage, "lightbulb.fill");
    EXPECT_EQ(card.badgeColor, NamedColor::yellow);
    EXPECT_EQ(card.background, (Tint{NamedColor::yellow, 0.1}));
    EXPECT_EQ(card.tooltip, plain + "\n\n💡 We noticed you frequently use this action!\n\nLearning this shortcut could "
                                    "save you approximately 1 hour and 30 minutes per year, if you maintain this "
                                    "frequency.");
    EXPECT_EQ(card.chips, (std::vector<KeyChip>{{"", "Ctrl"}, {"", "R"}}));
    EXPECT_EQ(card.buttons.size(), 3u);

    card = presentCard(recommendation(base(7, "Reload", "control + r", true), ShortcutSource::userBookmarked, 5400),
                       ShortcutCategory::recommended, ColorScheme::dark, linuxProfile);
    EXPECT_EQ(card.badgeImage, "bookmark.fill");
    EXPECT_EQ(card.badgeColor, NamedColor::white);
    EXPECT_EQ(card.background, (Tint{NamedColor::blue, 0.2}));
    EXPECT_EQ(card.tooltip, plain);

    card = presentCard(recommendation(base(7, "Reload", "control + r"), ShortcutSource::backfill, 5400),
                       ShortcutCategory::recommended, ColorScheme::light, linuxProfile);
    EXPECT_EQ(card.badgeImage, "");
    EXPECT_EQ(card.background, (Tint{NamedColor::gray, 0.1}));
    EXPECT_EQ(card.tooltip, plain);

    card = presentCard(LearnedShortcut{base(7, "Reload", "control + r", false, true), {}}, ShortcutCategory::learned,
                       ColorScheme::dark, linuxProfile);
    EXPECT_EQ(card.badgeImage, "");
    EXPECT_EQ(card.background, (Tint{NamedColor::gray, 0.2}));
    EXPECT_EQ(card.tooltip, plain);
    EXPECT_EQ(card.buttons.size(), 2u);
}

// The coach's additions, card by card: the application's keys in the chips and the tooltip, the
// offer (before the badge when both stand), the badge, and the nudge's mark on its card only.
TEST(Cheatsheet, TheCoachShowsTheApplicationsKeysTheOfferTheBadgeAndMarksTheNudgedCard) {
    AppDomain::State state;
    state.recommendations = {recommendation(base(1, "Save", "control + s"), ShortcutSource::userAction),
                             recommendation(base(2, "Undo", "control + z"), ShortcutSource::backfill),
                             recommendation(base(3, "Go Up", "option + up_arrow"), ShortcutSource::backfill)};
    const Date seen = parseDate("2026-11-20T09:00:00.000").value();
    state.coaching.notes = {{1, ApplicationKeys{"control + option + s", "mousepad", "File", seen}, true, true},
                            {2, ApplicationKeys{"f9", "mousepad", "", seen}, false, true}};
    state.coaching.nudge = Nudge{3, "Go Up", "option + up_arrow", std::nullopt, seen, false};

    const auto sheet = presentCheatsheet(state, ColorScheme::light, linuxProfile, "en");
    ASSERT_EQ(sheet.cards.size(), 3u);
    const auto& save = sheet.cards[0];
    EXPECT_EQ(save.shortcutKeys, "control + option + s");
    EXPECT_EQ(spokenKeys(save.chips), "Ctrl + Alt + S");
    EXPECT_EQ(save.tooltip.substr(0, 43), "Shortcut: Save\nKeys: control + option + s\n\n");
    EXPECT_NE(save.tooltip.find("\n\nKeys as Mousepad's File menu shows them (read 2026-11-20); the catalogue has "
                                "Ctrl + S."),
              std::string::npos);
    EXPECT_EQ(save.coachNote, "You've got this: mark as learned?");
    ASSERT_EQ(save.offerButtons.size(), 2u);
    EXPECT_EQ(cardAction(save.offerButtons[0].command, 1), AppDomain::Action{AppDomain::toggleShortcutLearned{1}});
    EXPECT_TRUE(save.offerButtons[0].playsLearnedAnimation);
    EXPECT_EQ(cardAction(save.offerButtons[1].command, 1), AppDomain::Action{AppDomain::declineGraduation{1}});
    EXPECT_EQ(save.nudgedAt, 0);

    const auto& undo = sheet.cards[1];
    EXPECT_NE(undo.tooltip.find("Keys as Mousepad shows them (read 2026-11-20); the catalogue has Ctrl + Z."),
              std::string::npos);
    EXPECT_EQ(undo.coachNote, "back for practice");
    EXPECT_TRUE(undo.offerButtons.empty());

    EXPECT_EQ(sheet.cards[2].nudgedAt, millisecondsSinceEpoch(seen));
    EXPECT_EQ(sheet.cards[2].coachNote, "");
    EXPECT_EQ(sheet.nudgedAt, millisecondsSinceEpoch(seen));
    EXPECT_EQ(sheet.nudgeAnnouncement, "Go Up: Alt + Up Arrow");
}

TEST(CheatsheetHeader, TitleAndSubtitleRuleInItsOrder) {
    using Place = AppDomain::ActiveNamespace;
    EXPECT_EQ(cheatsheetTitle(Place{}), "Tavrin");
    EXPECT_EQ(cheatsheetTitle(Place{"google_chrome", "", {}, {}, true}, "en"), "Google Chrome");
    EXPECT_EQ(cheatsheetTitle(Place{"LIBRE_office calc", "", {}, {}, true}, "en"), "Libre Office Calc");
    EXPECT_EQ(cheatsheetTitle(Place{"éditeur_de_texte", "", {}, {}, true}, "fr"), "Éditeur De Texte");
    // Turkish capitalises a dotted i.
    EXPECT_EQ(cheatsheetTitle(Place{"istanbul", "", {}, {}, true}, "tr"), "İstanbul");

    const Place gmail{"firefox", "gmail", {}, {}, true};
    EXPECT_EQ(cheatsheetSubtitle(gmail, linuxProfile, "en"),
              (CheatsheetSubtitle{"Gmail", true, "Learn how to enable Gmail shortcuts",
                                  "https://support.google.com/mail/answer/6594"}));
    EXPECT_EQ(cheatsheetSubtitle(Place{"firefox", "google_sheets", {}, {}, false}, linuxProfile, "en"),
              (CheatsheetSubtitle{"Google Sheets", false, "", ""}));
    EXPECT_EQ(cheatsheetSubtitle(Place{"firefox", "github", {}, {}, true}, linuxProfile), std::nullopt);
    EXPECT_EQ(cheatsheetSubtitle(Place{"mousepad", "", {}, {}, true}, linuxProfile), std::nullopt);
    EXPECT_EQ(cheatsheetSubtitle(Place{"firefox", "unknown_site", {}, {}, false}, linuxProfile), std::nullopt);
    EXPECT_EQ(cheatsheetSubtitle(Place{"gimp", "", {}, {}, false}, linuxProfile),
              (CheatsheetSubtitle{"Desktop shortcuts", true,
                                  "App not yet supported. Showing default desktop shortcuts.", ""}));
    EXPECT_EQ(cheatsheetSubtitle(Place{"gimp", "", {}, {}, false}, macProfile)->text, "macOS shortcuts");
}

TEST(Cheatsheet, ListsTheSelectedTabAndTheWelcomePanelWithoutRecommendations) {
    AppDomain::State state;
    state.learnedShortcuts = {{base(3, "Copy", "control + c", false, true), {}}};
    state.selectedCategory = ShortcutCategory::learned;

    auto sheet = presentCheatsheet(state, ColorScheme::light, linuxProfile);
    EXPECT_TRUE(sheet.showsWelcome);
    EXPECT_TRUE(sheet.cards.empty());
    EXPECT_EQ(sheet.category, ShortcutCategory::learned);
    EXPECT_EQ(sheet.title, "Tavrin");

    state.recommendations = {recommendation(base(2, "Paste", "control + v", true), ShortcutSource::userBookmarked),
                             recommendation(base(1, "Save", "control + s"), ShortcutSource::userAction, 60)};
    sheet = presentCheatsheet(state, ColorScheme::light, linuxProfile);
    EXPECT_FALSE(sheet.showsWelcome);
    ASSERT_EQ(sheet.cards.size(), 1u);
    EXPECT_EQ(sheet.cards[0].actionName, "Copy");

    state.selectedCategory = ShortcutCategory::recommended;
    sheet = presentCheatsheet(state, ColorScheme::light, linuxProfile);
    ASSERT_EQ(sheet.cards.size(), 2u);
    EXPECT_EQ(sheet.cards[0].shortcutId, 2);
    EXPECT_EQ(sheet.cards[1].shortcutId, 1);
}

TEST(Progress, WeeksAsChartAndTableTheLearnedWithTheirKeysAndTheTimeSaved) {
    const auto at = [](const char* text) { return parseDate(text).value(); };
    ProgressReport report;
    report.weeks = {{at("2026-11-09T00:00:00.000"), 1, 0}, {at("2026-11-16T00:00:00.000"), 12, 30}};
    report.learned = {{4, "n", "mousepad", "Save", "control + s", at("2026-11-20T23:59:00.000")}};
    report.totalUses = 1000; // 2200 s
    const auto shown = presentProgress(report, linuxProfile, "en");
    EXPECT_EQ(shown.weeks, (std::vector<ProgressPresentation::Week>{
                               {"Nov 9", 1, 0, "Week of Nov 9: 1 click, 0 shortcut uses"},
                               {"Nov 16", 12, 30, "Week of Nov 16: 12 clicks, 30 shortcut uses"}}));
    EXPECT_EQ((std::pair<std::int64_t, std::int64_t>(shown.scaleStep, shown.scaleTop)),
              (std::pair<std::int64_t, std::int64_t>(8, 32)));
    EXPECT_EQ(shown.learned,
              (std::vector<ProgressPresentation::Learned>{{"Save", "Mousepad", "Ctrl + S", "Nov 20, 2026",
                                                           "Save, Ctrl + S, in Mousepad, learned Nov 20, 2026"}}));
    EXPECT_EQ(shown.noneLearned, "");
    EXPECT_EQ(shown.timeSaved, "Shortcut uses saved you 36 minutes so far (1000 uses, 2.2 s each).");
    const auto empty = presentProgress({}, linuxProfile);
    EXPECT_EQ((std::pair<std::int64_t, std::int64_t>(empty.scaleStep, empty.scaleTop)),
              (std::pair<std::int64_t, std::int64_t>(1, 4)));
    EXPECT_EQ(empty.noneLearned, "None yet: a shortcut you use more than you click offers itself on its card.");
}

TEST(ShrinkTarget, BottomRightOfTheVisibleFrameWhereverTheWindowIs) {
    EXPECT_EQ(shrinkTarget(false, TopLeftRect{0, 0, 1280, 800}), (TopLeftRect{1000, 504, 280, 296}));
    EXPECT_EQ(shrinkTarget(true, TopLeftRect{0, 0, 1280, 800}), (TopLeftRect{880, 400, 400, 400}));
    // A panel on the left and one at the top, on a second screen to the right.
    EXPECT_EQ(shrinkTarget(false, TopLeftRect{1320, 30, 1880, 1050}), (TopLeftRect{2920, 784, 280, 296}));
}

namespace keyboard {

using Kind = FocusStop::Kind;
using Effect = SheetKeyOutcome::Effect;
const auto recommended = ShortcutCategory::recommended;
const auto learned = ShortcutCategory::learned;

FocusStop tab(ShortcutCategory category) {
    return {.kind = Kind::tab, .tab = category};
}
FocusStop card(std::int64_t id) {
    return {.kind = Kind::card, .card = id};
}
FocusStop button(std::int64_t id, int index) {
    return {.kind = Kind::button, .card = id, .button = index};
}
FocusStop control(HeaderControl which) {
    return {.kind = Kind::control, .control = which};
}
const auto info = HeaderControl::info;
const auto shrink = HeaderControl::shrink;
const auto pin = HeaderControl::pin;
const auto menu = HeaderControl::menu;

// Cards 7 and 9 with three buttons each, and card 4 with two, in the learned tab.
CheatsheetPresentation sheet(std::vector<std::int64_t> ids = {7, 9, 4}) {
    CheatsheetPresentation presentation{.category = learned, .showsWelcome = false};
    for (const std::int64_t id : ids)
        presentation.cards.push_back({.shortcutId = id, .buttons = std::vector<CardButton>(id == 4 ? 2 : 3)});
    return presentation;
}

TEST(CheatsheetKeyboard, EachKeyMovesPressesOrGivesBackAsTheUserExpects) {
    // The window: expanded, shrunken, or expanded with the menu button and a subtitle with its info.
    enum Frame { full, shrunk, decked };
    struct Case {
        const char* name;
        Frame frame;
        std::optional<FocusStop> at;
        SheetKey key;
        SheetKeyOutcome outcome;
    };
    const auto move = [](FocusStop to) { return SheetKeyOutcome{Effect::move, to}; };
    const Case cases[] = {
        {"tab walks tabs, cards and buttons", full, tab(learned), SheetKey::tab, move(card(7))},
        {"tab from a card to its first button", full, card(7), SheetKey::tab, move(button(7, 0))},
        {"tab from the last button to the next card", full, button(7, 2), SheetKey::tab, move(card(9))},
        {"tab wraps round to the header", full, button(4, 1), SheetKey::tab, move(control(shrink))},
        {"tab wraps to the header when shrunken", shrunk, button(4, 1), SheetKey::tab, move(control(shrink))},
        {"shift-tab back from a card to the buttons before it", full, card(9), SheetKey::backtab, move(button(7, 2))},
        {"shift-tab from the first tab to the header", full, tab(recommended), SheetKey::backtab, move(control(pin))},
        {"shift-tab wraps round", decked, control(info), SheetKey::backtab, move(button(4, 1))},
        {"down from a button to the next card", full, button(7, 1), SheetKey::down, move(card(9))},
        {"down from a tab to the first card", full, tab(recommended), SheetKey::down, move(card(7))},
        {"down at the last card stays", full, card(4), SheetKey::down, {}},
        {"up from the first card to the tab in force", full, card(7), SheetKey::up, move(tab(learned))},
        {"up from the first card to the header when shrunken", shrunk, card(7), SheetKey::up, move(control(shrink))},
        {"up from a tab to the header's first button", decked, tab(learned), SheetKey::up, move(control(info))},
        {"right between the tabs", full, tab(recommended), SheetKey::right, move(tab(learned))},
        {"right past the last tab stays", full, tab(learned), SheetKey::right, {}},
        {"right into a card's buttons", full, card(9), SheetKey::right, move(button(9, 0))},
        {"right past the last button stays", full, button(4, 1), SheetKey::right, {}},
        {"left from the first button back to its card", full, button(9, 0), SheetKey::left, move(card(9))},
        {"left at a card stays", full, card(9), SheetKey::left, {}},
        {"press on a tab", full, tab(recommended), SheetKey::press, {Effect::press, tab(recommended)}},
        {"press on a button", full, button(9, 2), SheetKey::press, {Effect::press, button(9, 2)}},
        {"press on a card steps into its buttons", full, card(4), SheetKey::press, move(button(4, 0))},
        {"escape gives the keyboard back", full, button(9, 2), SheetKey::escape, {Effect::giveBack, std::nullopt}},
        {"a key from nowhere lands on the first card", full, std::nullopt, SheetKey::down, move(card(7))},
        {"a key at a card that went lands on the first card", full, card(5), SheetKey::tab, move(card(7))},
        {"a tab not shown is a stop that went", shrunk, tab(learned), SheetKey::right, move(card(7))},
        {"tab from the header's last button to the tabs", full, control(pin), SheetKey::tab, move(tab(recommended))},
        {"tab along the header to the menu button", decked, control(pin), SheetKey::tab, move(control(menu))},
        {"right along the header", decked, control(info), SheetKey::right, move(control(shrink))},
        {"right past the menu button stays", decked, control(menu), SheetKey::right, {}},
        {"left at the header's first button stays", full, control(shrink), SheetKey::left, {}},
        {"down from the header to the tab in force", decked, control(menu), SheetKey::down, move(tab(learned))},
        {"down from the header to the first card when shrunken", shrunk, control(pin), SheetKey::down, move(card(7))},
        {"up from the header stays", full, control(pin), SheetKey::up, {}},
        {"press on a header button", decked, control(menu), SheetKey::press, {Effect::press, control(menu)}},
        {"the menu without its button is a stop that went", full, control(menu), SheetKey::press, move(card(7))},
        {"the info without its subtitle is a stop that went", full, control(info), SheetKey::left, move(card(7))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CheatsheetPresentation shown = sheet();
        if (c.frame == decked)
            shown.subtitle = CheatsheetSubtitle{.text = "Gmail", .showsInfo = true};
        EXPECT_EQ(
            sheetKey(shown, SheetWindow{.shrunken = c.frame == shrunk, .hasMenu = c.frame == decked}, c.at, c.key),
            c.outcome);
    }
}

TEST(CheatsheetKeyboard, StartsAtTheFirstCardElseTheTabInForceElseTheHeader) {
    const SheetWindow expanded, shrunken{.shrunken = true}, withMenu{.hasMenu = true};
    EXPECT_EQ(firstFocus(sheet(), shrunken), card(7));
    CheatsheetPresentation welcome = sheet();
    welcome.showsWelcome = true;
    EXPECT_EQ(firstFocus(welcome, expanded), tab(learned));
    EXPECT_EQ(firstFocus(welcome, shrunken), control(shrink));
    EXPECT_EQ(focusOrder(welcome, withMenu),
              (std::vector{control(shrink), control(pin), control(menu), tab(recommended), tab(learned)}));
    // What each header button is called and does, as its state has it.
    welcome.subtitle =
        CheatsheetSubtitle{.showsInfo = true, .infoTooltip = "Gmail's shortcuts", .helpUrl = "https://x"};
    EXPECT_EQ(headerControlText(info, welcome, false, true),
              (HeaderControlText{"Gmail's shortcuts", "Opens the site's own list of shortcuts in the browser"}));
    EXPECT_EQ(headerControlText(shrink, welcome, true, true).name, "Expand");
    EXPECT_EQ(headerControlText(pin, welcome, false, true),
              (HeaderControlText{"Unpin", "Lets other windows cover the cheat sheet"}));
    EXPECT_EQ(headerControlText(pin, welcome, false, false).name, "Pin");
}

TEST(CheatsheetKeyboard, FocusStaysWithTheSameStopOrTakesThePlaceOfOneThatWent) {
    struct Case {
        const char* name;
        std::optional<FocusStop> at;
        std::vector<std::int64_t> after;
        std::optional<FocusStop> kept;
    };
    const Case cases[] = {
        {"the same card, moved", card(9), {9, 7}, card(9)},
        {"a card that went: the one now at its place", button(9, 1), {7, 4}, card(4)},
        {"the last card that went: the last one left", card(4), {7, 9}, card(9)},
        {"a button whose card moved", button(9, 2), {4, 9}, button(9, 2)},
        {"no card left: the tab in force", card(7), {}, tab(learned)},
        {"nowhere stays nowhere", std::nullopt, {9}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(keptFocus(focusOrder(sheet(), {}), sheet(c.after), {}, c.at), c.kept);
    }
    CheatsheetPresentation fewer = sheet({9});
    fewer.cards[0].buttons.resize(1);
    EXPECT_EQ(keptFocus(focusOrder(sheet(), {}), fewer, {}, button(9, 2)), card(9));
}

} // namespace keyboard

} // namespace
} // namespace tavrin
