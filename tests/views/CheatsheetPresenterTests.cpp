#include <gtest/gtest.h>

#include "views/presenters/CheatsheetPresenter.h"

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

TEST(ShrinkTarget, BottomRightOfTheVisibleFrameWhereverTheWindowIs) {
    EXPECT_EQ(shrinkTarget(false, TopLeftRect{0, 0, 1280, 800}), (TopLeftRect{1000, 504, 280, 296}));
    EXPECT_EQ(shrinkTarget(true, TopLeftRect{0, 0, 1280, 800}), (TopLeftRect{880, 400, 400, 400}));
    // A panel on the left and one at the top, on a second screen to the right.
    EXPECT_EQ(shrinkTarget(false, TopLeftRect{1320, 30, 1880, 1050}), (TopLeftRect{2920, 784, 280, 296}));
}

} // namespace
} // namespace tavrin
