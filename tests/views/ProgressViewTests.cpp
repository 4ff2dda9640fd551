#include <gtest/gtest.h>

#include <QAccessible>
#include <QDir>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlEngine>
#include <QTest>
#include <thread>

#include "views/qt/ProgressWindow.h"
#include "views/qt/QtEventLoop.h"

namespace tavrin {
namespace {

QPalette darkPalette() {
    QPalette palette;
    for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button})
        palette.setColor(role, QColor(0x2b, 0x2b, 0x2e));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, QColor(0xf0, 0xf0, 0xf0));
    palette.setColor(QPalette::PlaceholderText, QColor(0xa0, 0xa0, 0xa5));
    palette.setColor(QPalette::Mid, QColor(0x55, 0x55, 0x5a));
    return palette;
}

// The accessible names of the items with this role, depth first.
void namesOf(QAccessibleInterface* node, QAccessible::Role role, QStringList& out) {
    if (!node)
        return;
    if (node->role() == role)
        out.push_back(node->text(QAccessible::Name));
    for (int i = 0; i < node->childCount(); ++i)
        namesOf(node->child(i), role, out);
}

// The window as the tray's entry opens it: the figures read off the main thread, then shown, in a
// light and a dark palette; the pictures go to build/test-artifacts for a person to look at.
TEST(ProgressWindowTest, ShowsTheWeeksAsChartAndSpokenTableTheLearnedAndTheTimeSavedInBothPalettes) {
    const auto at = [](const char* text) { return parseDate(text).value(); };
    ProgressReport report;
    const char* mondays[] = {"2026-10-05", "2026-10-12", "2026-10-19", "2026-10-26",
                             "2026-11-02", "2026-11-09", "2026-11-16", "2026-11-23"};
    const std::int64_t clicks[] = {14, 11, 12, 8, 6, 5, 3, 1}, uses[] = {0, 2, 5, 9, 12, 16, 21, 7};
    for (int i = 0; i < 8; ++i)
        report.weeks.push_back({at((std::string(mondays[i]) + "T00:00:00.000").c_str()), clicks[i], uses[i]});
    report.learned = {{4, "n", "mousepad", "Save", "control + s", at("2026-11-20T09:00:00.000")},
                      {7, "n", "mousepad", "Find and Replace", "control + r", at("2026-11-02T09:00:00.000")}};
    report.totalUses = 72;

    for (const bool dark : {false, true}) {
        SCOPED_TRACE(dark ? "dark" : "light");
        QGuiApplication::setPalette(dark ? darkPalette() : QPalette());
        QQmlEngine engine;
        QtEventLoop loop;
        std::thread::id queriedOn;
        ProgressWindow progress(
            engine, loop, loop,
            [&] {
                queriedOn = std::this_thread::get_id();
                return report;
            },
            PlatformProfile::linuxDesktop());
        progress.open();
        ASSERT_NE(progress.window(), nullptr);
        ASSERT_TRUE(QTest::qWaitFor([&] { return progress.window()->isExposed(); }, 5000));
        EXPECT_NE(queriedOn, std::this_thread::get_id()) << "the query ran on the main thread";
        EXPECT_EQ(progress.viewModel().dark(), dark);
        EXPECT_EQ(progress.window()->title(), QStringLiteral("Your Progress"));

        QStringList charts, rows, items;
        QAccessibleInterface* window = QAccessible::queryAccessibleInterface(progress.window());
        namesOf(window, QAccessible::Chart, charts);
        namesOf(window, QAccessible::Row, rows);
        namesOf(window, QAccessible::ListItem, items);
        EXPECT_EQ(charts, QStringList{QStringLiteral("Clicks against shortcut uses, per week")});
        ASSERT_EQ(rows.size(), 8);
        EXPECT_EQ(rows.front(), QStringLiteral("Week of Oct 5: 14 clicks, 0 shortcut uses"));
        EXPECT_EQ(rows.back(), QStringLiteral("Week of Nov 23: 1 click, 7 shortcut uses"));
        EXPECT_EQ(items, (QStringList{QStringLiteral("Save, Ctrl + S, in Mousepad, learned Nov 20, 2026"),
                                      QStringLiteral("Find and Replace, Ctrl + R, in Mousepad, learned Nov 2, 2026")}));

        QTest::qWait(300);
        const QString dir = QStringLiteral(TAVRIN_TEST_ARTIFACTS);
        QDir().mkpath(dir);
        const QImage shot = progress.window()->grabWindow();
        EXPECT_TRUE(shot.save(dir + (dark ? QStringLiteral("/progress-dark.png") : QStringLiteral("/progress.png"))));
        // The window's background follows the palette.
        EXPECT_EQ(shot.pixelColor(2, 2), QGuiApplication::palette().color(QPalette::Window));
    }
    QGuiApplication::setPalette(QPalette());
}

} // namespace
} // namespace tavrin
