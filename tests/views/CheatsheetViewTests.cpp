#include <gtest/gtest.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include "views/qt/CheatsheetViewModel.h"
#include "support/QtViews.h"

namespace tavrin {
namespace {

using testing::centre;
using testing::darkPalette;

AppDomain::State sampleState() {
    AppDomain::State state;
    state.activeNamespace = {"gimp", "", {}, {}, false};
    state.recommendations = {
        {{11, "Export As", "shift + control + e", false, false}, ShortcutSource::userAction, 14, 5400},
        {{12, "Undo", "control + z", true, false}, ShortcutSource::userBookmarked, 0, 0},
        {{13, "Select All", "control + a", false, false}, ShortcutSource::backfill, 0, 0},
        {{14, "Switch Window", "command + tab", false, false}, ShortcutSource::backfill, 0, 0},
    };
    return state;
}

// The cheat sheet drawn as the application draws it (software, offscreen), in its states; the
// pictures go to build/test-artifacts for a person to look at.
class CheatsheetView : public ::testing::Test {
protected:
    void SetUp() override {
        viewModel_.setWindow(&view_);
        view_.setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(&viewModel_)}});
        view_.setResizeMode(QQuickView::SizeRootObjectToView);
    }
    void TearDown() override { QGuiApplication::setPalette(QPalette()); }

    void load(const AppDomain::State& state, ColorScheme scheme) {
        viewModel_.present(presentCheatsheet(state, scheme, PlatformProfile::linuxDesktop()), scheme);
        view_.setSource(testing::viewUrl("AdaptiveCheatsheetView.qml"));
        ASSERT_EQ(view_.status(), QQuickView::Ready);
        view_.setGeometry(880, 100, 400, 400);
        view_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view_));
    }

    QQuickItem* named(const char* objectName) {
        return view_.rootObject()->findChild<QQuickItem*>(QString::fromLatin1(objectName));
    }
    // The showing item whose accessible name this is (buttons are named by their help text).
    QQuickItem* accessible(const QString& name) {
        return testing::findItem(view_.rootObject(),
                                 [&](QQuickItem* item) { return item->property("helpText").toString() == name; });
    }
    void click(QQuickItem* item) {
        QTest::mouseMove(&view_, centre(item));
        QTest::mouseClick(&view_, Qt::LeftButton, {}, centre(item));
    }
    // The card that holds this item.
    static QQuickItem* cardOf(QQuickItem* item) {
        while (item && !item->property("actionName").isValid())
            item = item->parentItem();
        return item;
    }
    // Whether the card's tooltip shows (after its delay).
    static bool helpShown(QQuickItem* card) {
        for (QObject* child : card->children())
            if (QByteArray(child->metaObject()->className()) == "QQuickToolTipAttached")
                return child->property("visible").toBool();
        ADD_FAILURE() << "the card has no tooltip";
        return false;
    }

    void shoot(const QString& name) {
        QTest::qWait(400); // fades and the tooltip delay
        EXPECT_TRUE(testing::savePicture(view_.grabWindow(), QStringLiteral("cheatsheet-") + name));
    }

    CheatsheetViewModel viewModel_;
    QQuickView view_;
};

TEST_F(CheatsheetView, ExpandedWithCardsThenShrunkenToTheCorner) {
    load(sampleState(), ColorScheme::light);
    QQuickItem* list = named("cards");
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->isVisible());
    EXPECT_EQ(list->property("count").toInt(), 4);
    EXPECT_EQ(named("appIcon")->width(), 30);
    EXPECT_TRUE(named("categoryPicker")->isVisible());

    // Hover the first card: its buttons come in and the row makes room for them.
    QTest::mouseMove(&view_, QPoint(150, 110));
    shoot(QStringLiteral("expanded"));

    QSignalSpy shrunken(&viewModel_, &CheatsheetViewModel::isShrunkenChanged);
    viewModel_.toggleShrink();
    ASSERT_TRUE(shrunken.wait(1000));
    EXPECT_EQ(view_.size(), QSize(280, 296));
    EXPECT_EQ(named("appIcon")->width(), 20);
    EXPECT_FALSE(named("categoryPicker")->isVisible());
    shoot(QStringLiteral("shrunken"));
}

// The learned mark goes out a second after the tap, from the view model: a list that changes in
// that second (another application in front) takes the card with it, not the mark.
TEST_F(CheatsheetView, TheLearnedMarkOutlivesItsCard) {
    std::vector<AppDomain::Action> sent;
    viewModel_.setSend([&](AppDomain::Action action) { sent.push_back(std::move(action)); });
    load(sampleState(), ColorScheme::light);
    QQuickItem* learn = accessible(QStringLiteral("Mark as Learned"));
    ASSERT_NE(learn, nullptr);
    click(learn);

    AppDomain::State elsewhere;
    elsewhere.activeNamespace = {"mousepad", "", {}, {}, true};
    elsewhere.recommendations = {{{40, "Save", "control + s", false, false}, ShortcutSource::backfill, 0, 0}};
    viewModel_.present(presentCheatsheet(elsewhere, ColorScheme::light, PlatformProfile::linuxDesktop()),
                       ColorScheme::light);
    QTest::qWait(850);
    EXPECT_TRUE(sent.empty());
    QTest::qWait(400);
    EXPECT_EQ(sent, (std::vector<AppDomain::Action>{AppDomain::toggleShortcutLearned{11}}));
}

// The card's help shows while the pointer is over the card and not over one of its buttons (which
// have their own), also after the buttons were rebuilt under the pointer (a bookmark changes them).
TEST_F(CheatsheetView, TheCardsHelpComesBackAfterItsButtonsAreRebuiltUnderThePointer) {
    load(sampleState(), ColorScheme::light);
    QQuickItem* bookmark = accessible(QStringLiteral("Bookmark this Shortcut"));
    ASSERT_NE(bookmark, nullptr);
    QQuickItem* card = cardOf(bookmark);
    ASSERT_NE(card, nullptr);
    const QPoint name = card->mapToScene(QPointF(40, card->height() / 2)).toPoint();
    QTest::mouseMove(&view_, name);
    EXPECT_TRUE(QTest::qWaitFor([&] { return helpShown(card); }, 2000));
    QTest::mouseMove(&view_, centre(bookmark));
    EXPECT_FALSE(helpShown(card));

    AppDomain::State bookmarked = sampleState();
    bookmarked.recommendations[0].base.isBookmarked = true;
    viewModel_.present(presentCheatsheet(bookmarked, ColorScheme::light, PlatformProfile::linuxDesktop()),
                       ColorScheme::light);
    ASSERT_NE(accessible(QStringLiteral("Remove Bookmark")), nullptr);
    QTest::mouseMove(&view_, name);
    EXPECT_TRUE(QTest::qWaitFor([&] { return helpShown(card); }, 2000));
    shoot(QStringLiteral("card-help"));
}

// The sheet's corners are round (the header stops short of them), and so is a card's: its ink
// fill ends straight, its corners follow the card's.
TEST_F(CheatsheetView, CornersAreRoundAndTheInkEndsStraight) {
    load(sampleState(), ColorScheme::light);
    QQuickItem* card = cardOf(accessible(QStringLiteral("Bookmark this Shortcut")));
    ASSERT_NE(card, nullptr);
    card->setProperty("inkFillProgress", 0.5);
    QTest::qWait(50);
    const QImage shot = view_.grabWindow();
    const QColor sheet = shot.pixelColor(200, 390); // below the cards
    const QColor header = shot.pixelColor(200, 4);
    EXPECT_NE(header, sheet);
    for (const QPoint corner : {QPoint(1, 1), QPoint(398, 1)})
        EXPECT_EQ(shot.pixelColor(corner), sheet) << corner.x() << "," << corner.y();

    const QPointF origin = card->mapToScene(QPointF(0, 0));
    const int top = static_cast<int>(origin.y()) + 1;
    const int inkEnd = static_cast<int>(origin.x() + card->width() / 2) - 2;
    EXPECT_EQ(shot.pixelColor(inkEnd, top), shot.pixelColor(static_cast<int>(origin.x()) + 40, top));
    const QPoint corner = origin.toPoint();
    EXPECT_EQ(shot.pixelColor(corner), shot.pixelColor(corner - QPoint(0, 3)));
    shoot(QStringLiteral("rounded"));
}

TEST_F(CheatsheetView, DarkSchemeFollowsThePalette) {
    QGuiApplication::setPalette(darkPalette());
    const ColorScheme scheme = colorSchemeOf(QGuiApplication::palette().color(QPalette::Window));
    EXPECT_EQ(scheme, ColorScheme::dark);
    load(sampleState(), scheme);
    EXPECT_TRUE(viewModel_.dark());
    shoot(QStringLiteral("dark"));
}

// The coach on the cards: the offer under its row with buttons that answer, and a nudge for a card
// below the fold that scrolls it to the top and raises the alert a screen reader announces.
TEST_F(CheatsheetView, TheOfferAnswersAndANudgeBringsItsCardUpWithAnAlert) {
    std::vector<AppDomain::Action> sent;
    viewModel_.setSend([&](AppDomain::Action action) { sent.push_back(std::move(action)); });
    AppDomain::State state = sampleState();
    for (std::int64_t id = 15; id < 21; ++id)
        state.recommendations.push_back(
            {{id, "Action " + std::to_string(id), "control + " + std::to_string(id - 14), false, false},
             ShortcutSource::backfill,
             0,
             0});
    state.coaching.notes = {{11, std::nullopt, true, false}, {13, std::nullopt, false, true}};
    for (const ColorScheme scheme : {ColorScheme::light, ColorScheme::dark}) {
        SCOPED_TRACE(scheme == ColorScheme::dark);
        sent.clear();
        state.coaching.nudge.reset();
        QGuiApplication::setPalette(scheme == ColorScheme::dark ? darkPalette() : QPalette());
        load(state, scheme);
        QQuickItem* decline = accessible(QStringLiteral("Not Now, Ask Again in a Week"));
        ASSERT_NE(decline, nullptr);
        EXPECT_EQ(cardOf(decline)->height(), 64);
        click(decline);
        EXPECT_EQ(sent, (std::vector<AppDomain::Action>{AppDomain::declineGraduation{11}}));
        shoot(scheme == ColorScheme::dark ? QStringLiteral("offer-dark") : QStringLiteral("offer"));

        state.coaching.nudge = Nudge{19, "Action 19", "control + 5", std::nullopt, Date{std::chrono::seconds(9)}};
        viewModel_.present(presentCheatsheet(state, scheme, PlatformProfile::linuxDesktop()), scheme);
        QQuickItem* alert = named("nudgeAlert");
        ASSERT_NE(alert, nullptr);
        EXPECT_TRUE(alert->isVisible());
        QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(alert);
        ASSERT_NE(spoken, nullptr);
        EXPECT_EQ(spoken->role(), QAccessible::AlertMessage);
        EXPECT_EQ(spoken->text(QAccessible::Name), "Action 19: Ctrl + 5");
        QTest::qWait(350);
        EXPECT_GT(named("cards")->property("contentY").toDouble(), 100);
        shoot(scheme == ColorScheme::dark ? QStringLiteral("coached-dark") : QStringLiteral("coached"));
    }
}

TEST_F(CheatsheetView, TheKeyboardWalksTheSheetWithARingInEitherPaletteAndGivesItBack) {
    std::vector<AppDomain::Action> sent;
    int givenBack = 0;
    viewModel_.setSend([&](AppDomain::Action action) { sent.push_back(std::move(action)); });
    viewModel_.setGiveBack([&] { ++givenBack; });
    for (const bool dark : {false, true}) {
        SCOPED_TRACE(dark ? "dark" : "light");
        QGuiApplication::setPalette(dark ? darkPalette() : QPalette());
        const ColorScheme scheme = dark ? ColorScheme::dark : ColorScheme::light;
        load(sampleState(), scheme);
        view_.requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view_));
        viewModel_.takeKeyboard();
        QTest::qWait(50);
        QQuickItem* card = view_.activeFocusItem();
        ASSERT_NE(card, nullptr);
        EXPECT_EQ(card->property("actionName").toString(), QStringLiteral("Export As")) << "the first card";
        QTest::qWait(400);
        const QPoint left = card->mapToScene(QPointF(1, card->height() / 2)).toPoint();
        EXPECT_EQ(view_.grabWindow().pixelColor(left), QGuiApplication::palette().color(QPalette::Highlight))
            << "the ring, in the palette's highlight";
        shoot(dark ? QStringLiteral("keyboard-card-dark") : QStringLiteral("keyboard-card"));

        QTest::keyClick(&view_, Qt::Key_Right);
        EXPECT_EQ(view_.activeFocusItem()->property("helpText").toString(), QStringLiteral("Bookmark this Shortcut"));
        QTest::keyClick(&view_, Qt::Key_Return);
        QTest::keyClick(&view_, Qt::Key_Up); // the card's row, up to the tab in force
        EXPECT_EQ(view_.activeFocusItem()->property("text").toString(), QStringLiteral("Recommended"));
        shoot(dark ? QStringLiteral("keyboard-tab-dark") : QStringLiteral("keyboard-tab"));
        QTest::keyClick(&view_, Qt::Key_Up); // on to the header's first button, the subtitle's info
        EXPECT_EQ(view_.activeFocusItem()->objectName(), QStringLiteral("info"));
        QTest::keyClick(&view_, Qt::Key_Right);
        QQuickItem* shrink = view_.activeFocusItem();
        ASSERT_NE(shrink, nullptr);
        EXPECT_EQ(shrink->objectName(), QStringLiteral("shrink"));
        QAccessibleInterface* named = QAccessible::queryAccessibleInterface(shrink);
        ASSERT_NE(named, nullptr);
        EXPECT_EQ(named->text(QAccessible::Name), QStringLiteral("Shrink"));
        EXPECT_FALSE(named->text(QAccessible::Description).isEmpty());
        QTest::qWait(50);
        EXPECT_EQ(view_.grabWindow().pixelColor(shrink->mapToScene(QPointF(1, shrink->height() / 2)).toPoint()),
                  QGuiApplication::palette().color(QPalette::Highlight))
            << "the header's button has the cards' ring";
        shoot(dark ? QStringLiteral("keyboard-header-dark") : QStringLiteral("keyboard-header"));
        QTest::keyClick(&view_, Qt::Key_Right);
        const bool pinned = viewModel_.isPinned();
        QTest::keyClick(&view_, Qt::Key_Space);
        EXPECT_NE(viewModel_.isPinned(), pinned) << "Space presses the pin";
        QTest::keyClick(&view_, Qt::Key_Return);
        EXPECT_EQ(viewModel_.isPinned(), pinned) << "and Enter";
        EXPECT_EQ(view_.activeFocusItem()->objectName(), QStringLiteral("pin"));
        QTest::keyClick(&view_, Qt::Key_Escape);
        EXPECT_EQ(viewModel_.focusedCard(), -1);
    }
    EXPECT_EQ(givenBack, 2);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_TRUE(std::holds_alternative<AppDomain::toggleShortcutBookmark>(sent[0]));
}

TEST_F(CheatsheetView, NothingRecommendedShowsTheWelcomePanelEvenOnTheLearnedTab) {
    AppDomain::State state;
    state.selectedCategory = ShortcutCategory::learned;
    state.learnedShortcuts = {{{3, "Copy", "control + c", false, true}, {}}};
    load(state, ColorScheme::light);
    EXPECT_FALSE(named("cards")->isVisible());
    shoot(QStringLiteral("welcome"));

    QSignalSpy shrunken(&viewModel_, &CheatsheetViewModel::isShrunkenChanged);
    viewModel_.toggleShrink();
    ASSERT_TRUE(shrunken.wait(1000));
    shoot(QStringLiteral("welcome-shrunken"));
}

} // namespace
} // namespace tavrin
