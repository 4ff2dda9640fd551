#include <gtest/gtest.h>

#include "sensing/UIElementAnalyzer.h"
#include "support/FakeElement.h"

namespace tavrin {
namespace {

using testing::FakeElement;
using Records = std::vector<UIElementAnalyzer::Record>;

std::optional<std::string> properValue(const std::shared_ptr<FakeElement>& clicked) {
    const auto records =
        UIElementAnalyzer::collectElementInfo(clicked, 0, UIElementAnalyzer::maxDepth, "Root", std::nullopt);
    const auto record = UIElementAnalyzer::findProperValue(records);
    if (!record)
        return std::nullopt;
    return std::get<3>(*record);
}

// The path of each element read, in reading order (every element here has one title).
std::vector<std::string> paths(const Records& records) {
    std::vector<std::string> out;
    for (const auto& record : records)
        if (std::get<2>(record) == "AXTitle")
            out.push_back(std::get<1>(record));
    return out;
}

TEST(UIElementAnalyzerTest, TheClickedElementsOwnTextWinsInAttributeOrder) {
    auto button =
        FakeElement::make({{"AXRole", "AXButton"}, {"AXDescription", "Reload this page"}, {"AXTitle", "Reload"}});
    EXPECT_EQ(properValue(button), "Reload");
    button->attributes.erase("AXTitle");
    EXPECT_EQ(properValue(button), "Reload this page");
    button->attributes = {{"AXRoleDescription", "button"}, {"AXIdentifier", "reload"}, {"AXRole", "AXButton"}};
    EXPECT_EQ(properValue(button), std::nullopt) << "role, role description and identifier are never chosen";
}

TEST(UIElementAnalyzerTest, GenericWordsGiveWayToNeighboursNearestFirst) {
    auto toolbar = FakeElement::make({{"AXTitle", "Formatting"}});
    auto clicked = toolbar->adopt(FakeElement::make({{"AXTitle", "group"}}));
    EXPECT_EQ(properValue(clicked), "Formatting") << "the parent's title";

    auto icon = clicked->adopt(FakeElement::make({{"AXDescription", "Bold"}}));
    EXPECT_EQ(properValue(clicked), "Bold") << "the first child comes before the parent at the same depth";

    icon->attributes = {{"AXTitle", "Link"}};
    EXPECT_EQ(properValue(clicked), "Formatting") << "generic words are refused whatever their case";
    icon->adopt(FakeElement::make({{"AXTitle", "Glyph"}}));
    EXPECT_EQ(properValue(clicked), "Formatting") << "the nearer of two named relatives";
}

TEST(UIElementAnalyzerTest, WalksTwoLevelsOutWithoutClimbingBack) {
    auto grandparent = FakeElement::make({{"AXTitle", "window"}});
    grandparent->parentElement = FakeElement::make({{"AXTitle", "too far"}}); // depth 3
    auto parent = grandparent->adopt(FakeElement::make({{"AXTitle", "toolbar"}}));
    auto clicked = parent->adopt(FakeElement::make({{"AXTitle", "Bold"}}));
    auto child = clicked->adopt(FakeElement::make({{"AXTitle", "icon"}}));
    child->adopt(FakeElement::make({{"AXTitle", "glyph"}}));

    const auto records =
        UIElementAnalyzer::collectElementInfo(clicked, 0, UIElementAnalyzer::maxDepth, "Root", std::nullopt);
    EXPECT_EQ(paths(records), (std::vector<std::string>{
                                  "Root",
                                  "Root > Child[0]", // read at the child step
                                  "Root > Child[0]", // and again by the walk on the child
                                  "Root > Child[0] > Child[0]",
                                  "Root > Child[0] > Child[0]",
                                  "Root > Parent",
                                  "Root > Parent",
                                  "Root > Parent > Child[0]", // the clicked element again: no guard here
                                  "Root > Parent > Child[0]",
                                  "Root > Parent > Parent",
                                  "Root > Parent > Parent",
                              }))
        << "no parent step from the child, since that is where it came from";
    for (const auto& record : records)
        EXPECT_NE(std::get<3>(record), "too far");
}

TEST(UIElementAnalyzerTest, SkipsNonStringsAndStopsAtSelfParents) {
    auto clicked = FakeElement::make({{"AXValue", std::nullopt}, {"AXTitle", ""}, {"AXHelp", "Makes text bold"}});
    clicked->parentIsSelf = true;
    const auto records = UIElementAnalyzer::collectElementInfo(clicked, 0, 2, "Root", std::nullopt);
    ASSERT_EQ(records.size(), 1u) << "a number and an empty string leave no record; no self-recursion";
    EXPECT_EQ(std::get<2>(records[0]), "AXHelp");
    EXPECT_EQ(properValue(FakeElement::make()), std::nullopt);
}

TEST(UIElementAnalyzerTest, TrimsNewlinesAndCutsLongValuesOnCharacters) {
    EXPECT_EQ(UIElementAnalyzer::cleanValue("\n  Save \r\n"), "  Save ");
    EXPECT_EQ(UIElementAnalyzer::cleanValue("\n\n"), "");
    EXPECT_EQ(UIElementAnalyzer::cleanValue("\u2028Line\u2029"), "Line");

    const std::string hundred(100, 'a');
    EXPECT_EQ(UIElementAnalyzer::cleanValue(hundred), hundred);
    EXPECT_EQ(UIElementAnalyzer::cleanValue(hundred + "b"), hundred + "...");

    // 101 user-perceived characters, each several bytes: an accented letter, a flag, a family.
    std::string accented, flags;
    for (int i = 0; i < 101; ++i) {
        accented += "e\u0301";
        flags += "\U0001F1E9\U0001F1EA";
    }
    const auto cutAccented = UIElementAnalyzer::cleanValue(accented);
    EXPECT_EQ(cutAccented, accented.substr(0, 300) + "...");
    EXPECT_EQ(UIElementAnalyzer::cleanValue(flags), flags.substr(0, 800) + "...");
    EXPECT_EQ(UIElementAnalyzer::cleanValue(accented.substr(0, 300)), accented.substr(0, 300)) << "exactly 100";

    // A newline-only record is still recorded, with an empty value.
    auto clicked = FakeElement::make({{"AXTitle", "\n"}});
    const auto records = UIElementAnalyzer::collectElementInfo(clicked, 0, 2, "Root", std::nullopt);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(std::get<3>(records[0]), "");
}

} // namespace
} // namespace tavrin

namespace tavrin {
namespace {

using testing::FakeElement;
using Attributes = std::map<std::string, std::optional<std::string>>;

// A clicked element, its parent and the parent's first child (a sibling, unless the clicked one).
struct ClickCase {
    const char* what;
    Attributes clicked;
    Attributes parent;
    std::optional<Attributes> firstOfParent; // absent: the clicked element is the parent's first child
    std::optional<Attributes> child;
    std::optional<std::string> expected; // the proper value of the click; absent: it counts as unknown
};

TEST(UIElementAnalyzerTest, AClickCountsOnlyWhereItsRoleAndPlaceMakeItAnAction) {
    const std::vector<ClickCase> cases = {
        {"GTK menu title", {{"AXRole", "menu"}, {"AXTitle", "Edit"}}, {{"AXRole", "menu bar"}}, {}, {}, {}},
        {"Qt menu title", {{"AXRole", "menu item"}, {"AXTitle", "Edit"}}, {{"AXRole", "menu bar"}}, {}, {}, {}},
        {"menu item of an open menu",
         {{"AXRole", "menu item"}, {"AXTitle", "Copy"}},
         {{"AXRole", "popup menu"}},
         {},
         {},
         "Copy"},
        {"text area whose text is a mapped word",
         {{"AXRole", "text"}, {"AXValue", "Save"}},
         {{"AXRole", "scroll pane"}},
         {},
         {},
         {}},
        {"scroll bar beside a named button",
         {{"AXRole", "scroll bar"}},
         {{"AXRole", "panel"}},
         Attributes{{"AXRole", "push button"}, {"AXTitle", "Close"}},
         {},
         {}},
        {"a tab's close button",
         {{"AXRole", "push button"}, {"AXTitle", "Close"}},
         {{"AXRole", "page tab"}, {"AXTitle", "notes.txt"}},
         {},
         {},
         {}},
        {"empty spot of a tool bar",
         {{"AXRole", "tool bar"}},
         {{"AXRole", "filler"}},
         {},
         Attributes{{"AXRole", "push button"}, {"AXTitle", "New"}},
         {}},
        {"unnamed button beside a named one",
         {{"AXRole", "push button"}},
         {{"AXRole", "tool bar"}},
         Attributes{{"AXRole", "push button"}, {"AXTitle", "New"}},
         {},
         {}},
        {"tool bar button", {{"AXRole", "push button"}, {"AXTitle", "Save"}}, {{"AXRole", "tool bar"}}, {}, {}, "Save"},
        {"caption inside a button",
         {{"AXRole", "static"}, {"AXTitle", ""}},
         {{"AXRole", "push button"}, {"AXTitle", "Reload"}},
         {},
         {},
         "Reload"},
        {"unnamed button with a caption",
         {{"AXRole", "push button"}},
         {{"AXRole", "tool bar"}},
         {},
         Attributes{{"AXRole", "label"}, {"AXTitle", "Paste"}},
         "Paste"},
        {"element without a role: the walk decides", {{"AXTitle", "Save"}}, {}, {}, {}, "Save"},
    };
    for (const auto& c : cases) {
        auto parent = FakeElement::make(c.parent);
        auto clicked = FakeElement::make(c.clicked);
        if (c.firstOfParent) {
            parent->adopt(FakeElement::make(*c.firstOfParent));
            clicked->parentElement = parent;
        } else {
            parent->adopt(clicked);
        }
        if (c.child)
            clicked->adopt(FakeElement::make(*c.child));
        const AccessibleElementRef ref(clicked);
        const auto record = UIElementAnalyzer::properValueOfClick(ref, UIElementAnalyzer::clickTarget(ref));
        EXPECT_EQ(record ? std::optional(std::get<3>(*record)) : std::nullopt, c.expected) << c.what;
    }
}

} // namespace
} // namespace tavrin
