#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QPersistentModelIndex>
#include <QRandomGenerator>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>

#include "views/qt/CheatsheetViewModel.h"

namespace tavrin {
namespace {

ShortcutCardPresentation card(std::int64_t id, std::string name = {}) {
    ShortcutCardPresentation out;
    out.shortcutId = id;
    out.actionName = name.empty() ? "Action " + std::to_string(id) : name;
    return out;
}

std::vector<std::int64_t> ids(const ShortcutListModel& model) {
    std::vector<std::int64_t> out;
    for (int row = 0; row < model.rowCount(); ++row)
        out.push_back(model.data(model.index(row), ShortcutListModel::ShortcutIdRole).toLongLong());
    return out;
}

std::vector<std::int64_t> ids(const std::vector<ShortcutCardPresentation>& cards) {
    std::vector<std::int64_t> out;
    for (const auto& c : cards)
        out.push_back(c.shortcutId);
    return out;
}

// A refresh keeps the rows of shortcuts that stay (their indexes follow them), so the delegates
// keep their hover and animation; only a changed card reports a change.
TEST(ShortcutListModel, RefreshMovesInsertsChangesAndRemovesWithoutReset) {
    ShortcutListModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.update({card(1), card(2), card(3)}, ColorScheme::light);

    QPersistentModelIndex one(model.index(0));
    QPersistentModelIndex three(model.index(2));
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy moves(&model, &QAbstractItemModel::rowsMoved);
    QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removes(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);

    model.update({card(3), card(1, "Renamed"), card(4)}, ColorScheme::light);

    EXPECT_EQ(ids(model), (std::vector<std::int64_t>{3, 1, 4}));
    EXPECT_EQ(resets.count(), 0);
    EXPECT_EQ(removes.count(), 1);
    EXPECT_EQ(inserts.count(), 1);
    EXPECT_EQ(moves.count(), 1);
    ASSERT_EQ(changes.count(), 1);
    EXPECT_EQ(changes[0][0].toModelIndex().row(), 1);
    EXPECT_EQ(three.row(), 0);
    EXPECT_EQ(one.row(), 1);
    EXPECT_EQ(model.data(one, ShortcutListModel::ActionNameRole).toString(), "Renamed");

    changes.clear();
    model.update({card(3), card(1, "Renamed"), card(4)}, ColorScheme::light);
    EXPECT_EQ(changes.count(), 0);
    model.update({card(3), card(1, "Renamed"), card(4)}, ColorScheme::dark);
    EXPECT_EQ(changes.count(), 3); // colours of the other scheme
}

TEST(ShortcutListModel, ReachesAnyOrderFromAnyOrder) {
    ShortcutListModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QRandomGenerator random(12);
    for (int round = 0; round < 300; ++round) {
        std::vector<ShortcutCardPresentation> cards;
        const int size = random.bounded(7);
        for (int i = 0; i < size; ++i) // duplicates too: the model must not lose count
            cards.push_back(card(random.bounded(1, 8), random.bounded(2) ? "a" : "b"));
        model.update(cards, ColorScheme::light);
        ASSERT_EQ(ids(model), ids(cards));
        for (int row = 0; row < size; ++row)
            ASSERT_EQ(model.data(model.index(row), ShortcutListModel::ActionNameRole).toString().toStdString(),
                      cards[static_cast<std::size_t>(row)].actionName);
    }
    EXPECT_EQ(resets.count(), 0);
}

TEST(ShortcutListModel, RowsCarryTheFilesAndColoursTheCardsDraw) {
    ShortcutListModel model;
    auto shown = presentCard(
        ShortcutRecommendation{{5, "Save", "command + s", false, false}, ShortcutSource::userAction, 4, 600},
        ShortcutCategory::recommended, ColorScheme::dark, PlatformProfile::linuxDesktop());
    model.update({shown}, ColorScheme::dark);
    const QModelIndex row = model.index(0);
    EXPECT_EQ(model.data(row, ShortcutListModel::BadgeSourceRole).toString(), "icons/lightbulb.fill.svg");
    EXPECT_FLOAT_EQ(model.data(row, ShortcutListModel::BackgroundColorRole).value<QColor>().alphaF(), 0.2f);
    EXPECT_EQ(model.data(row, ShortcutListModel::ChipsRole).toList().value(0).toMap()["text"].toString(), "Super");
    const QVariantList buttons = model.data(row, ShortcutListModel::ButtonsRole).toList();
    ASSERT_EQ(buttons.size(), 3);
    EXPECT_EQ(buttons[1].toMap()["source"].toString(), "icons/checkmark.circle.svg");
    EXPECT_TRUE(buttons[1].toMap()["animated"].toBool());
    EXPECT_EQ(buttons[2].toMap()["helpText"].toString(), "Report Issue with Shortcut");
}

TEST(CheatsheetViewModel, SignalsOnlyChangesAndSendsOneActionPerCall) {
    CheatsheetViewModel viewModel;
    std::vector<AppDomain::Action> sent;
    viewModel.setSend([&](AppDomain::Action action) { sent.push_back(std::move(action)); });
    QSignalSpy titles(&viewModel, &CheatsheetViewModel::titleChanged);
    QSignalSpy subtitles(&viewModel, &CheatsheetViewModel::subtitleChanged);
    QSignalSpy welcomes(&viewModel, &CheatsheetViewModel::showsWelcomeChanged);

    AppDomain::State state;
    state.activeNamespace = {"gimp", "", {}, {}, false};
    state.recommendations = {{{9, "Undo", "control + z", false, false}, ShortcutSource::backfill, 0, 0}};
    const auto presentation = presentCheatsheet(state, ColorScheme::light, PlatformProfile::linuxDesktop());
    viewModel.present(presentation, ColorScheme::light);
    viewModel.present(presentation, ColorScheme::light);
    EXPECT_EQ(titles.count(), 1);
    EXPECT_EQ(subtitles.count(), 1);
    EXPECT_EQ(welcomes.count(), 1);
    EXPECT_EQ(viewModel.title(), "Gimp");
    EXPECT_EQ(viewModel.subtitle(), "Desktop shortcuts");
    EXPECT_EQ(viewModel.subtitleTooltip(), "App not yet supported. Showing default desktop shortcuts.");
    EXPECT_FALSE(viewModel.showsWelcome());
    EXPECT_EQ(viewModel.cards()->rowCount(), 1);

    viewModel.selectCategory("Learned");
    viewModel.selectCategory("learned"); // not a tab's name: nothing sent
    viewModel.pressCardButton(9, 0);
    viewModel.pressCardButton(9, 2);
    viewModel.pressCardButton(9, 3); // no such button
    viewModel.pressCardButton(8, 0); // no such card
    EXPECT_EQ(sent, (std::vector<AppDomain::Action>{AppDomain::categoryChanged{ShortcutCategory::learned},
                                                    AppDomain::toggleShortcutBookmark{9}, AppDomain::flagShortcut{9}}));
}

TEST(CheatsheetViewModel, TheNudgeIsAnnouncedOnceWithItsRowAndTheOfferSendsItsAnswer) {
    CheatsheetViewModel viewModel;
    std::vector<AppDomain::Action> sent;
    viewModel.setSend([&](AppDomain::Action action) { sent.push_back(std::move(action)); });
    QSignalSpy nudges(&viewModel, &CheatsheetViewModel::nudgeChanged);
    AppDomain::State state;
    state.recommendations = {{{9, "Undo", "control + z", false, false}, ShortcutSource::backfill, 0, 0},
                             {{4, "Save", "control + s", false, false}, ShortcutSource::backfill, 0, 0}};
    state.coaching.notes = {{9, std::nullopt, true, false}};
    state.coaching.nudge = Nudge{4, "Save", "control + s", std::nullopt, Date{std::chrono::milliseconds(5)}, false};
    const auto presentation = presentCheatsheet(state, ColorScheme::light, PlatformProfile::linuxDesktop());
    viewModel.present(presentation, ColorScheme::light);
    viewModel.present(presentation, ColorScheme::light);
    EXPECT_EQ(nudges.count(), 1);
    EXPECT_EQ(viewModel.nudgeAnnouncement(), "Save: Ctrl + S");
    EXPECT_EQ(viewModel.nudgedRow(), 1);
    EXPECT_EQ(viewModel.nudgedAt(), 5);

    viewModel.pressOfferButton(9, 1);
    viewModel.pressOfferButton(4, 0); // no offer on this card
    EXPECT_EQ(sent, (std::vector<AppDomain::Action>{AppDomain::declineGraduation{9}}));
    state.coaching.nudge.reset();
    viewModel.present(presentCheatsheet(state, ColorScheme::light, PlatformProfile::linuxDesktop()),
                      ColorScheme::light);
    EXPECT_EQ(nudges.count(), 2);
    EXPECT_EQ(viewModel.nudgedRow(), -1);
    EXPECT_EQ(viewModel.nudgeAnnouncement(), "");
}

// Shrinking goes to the bottom right corner of the visible frame from wherever the window is,
// and the flag flips 0.3 s later; a second tap before then sees the old value, so the window
// goes to the same place again and the flag flips twice. Neither goes through the store.
TEST(CheatsheetViewModel, ShrinkAndPinActOnTheWindowOnly) {
    CheatsheetViewModel viewModel;
    int sends = 0;
    viewModel.setSend([&](AppDomain::Action) { ++sends; });
    viewModel.toggleShrink(); // no window: nothing
    viewModel.togglePin();
    EXPECT_TRUE(viewModel.isPinned());

    QWindow window;
    window.setFlags(Qt::Window | Qt::WindowStaysOnTopHint);
    window.setGeometry(40, 30, 400, 400);
    viewModel.setWindow(&window);
    const QRect visible = window.screen()->availableGeometry();

    QSignalSpy shrunken(&viewModel, &CheatsheetViewModel::isShrunkenChanged);
    viewModel.toggleShrink();
    EXPECT_EQ(window.geometry(), QRect(visible.right() + 1 - 280, visible.bottom() + 1 - 296, 280, 296));
    EXPECT_FALSE(viewModel.isShrunken()); // the content changes after the move
    ASSERT_TRUE(shrunken.wait(1000));
    EXPECT_TRUE(viewModel.isShrunken());

    viewModel.toggleShrink();
    EXPECT_EQ(window.geometry(), QRect(visible.right() + 1 - 400, visible.bottom() + 1 - 400, 400, 400));
    viewModel.toggleShrink();
    EXPECT_EQ(window.geometry(), QRect(visible.right() + 1 - 400, visible.bottom() + 1 - 400, 400, 400));
    QTest::qWait(400);
    EXPECT_EQ(shrunken.count(), 3);
    EXPECT_TRUE(viewModel.isShrunken());
    EXPECT_EQ(sends, 0);
}

} // namespace
} // namespace tavrin
