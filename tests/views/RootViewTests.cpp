#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

#include "platform/fake/FakeDesktop.h"
#include "platform/PlatformProfile.h"
#include "views/qt/FTUEViewModel.h"
#include "views/qt/RootViewModel.h"
#include "views/qt/ShellWindow.h"
#include "views/qt/ViewResources.h"

Q_IMPORT_QML_PLUGIN(Tavrin_ViewsPlugin)

namespace tavrin {
namespace {

// RootView as the application loads it, from the linked-in module, with a view model the test
// drives.
class RootViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        engine_.setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(&viewModel_)},
                                      {QStringLiteral("ftueViewModel"), QVariant::fromValue(&ftueViewModel_)}});
        const QUrl url(QStringLiteral("qrc") + QString::fromLatin1(kViewsResourceRoot) +
                       QStringLiteral("RootView.qml"));
        engine_.load(url);
        window_ = qobject_cast<QQuickWindow*>(engine_.rootObjects().value(0));
        ASSERT_NE(window_, nullptr) << QQmlComponent(&engine_, url).errorString().toStdString();
    }

    // The item with this accessible name inside the window's content, if one is visible.
    QQuickItem* findNamed(const QString& name) {
        QCoreApplication::processEvents();
        std::vector<QQuickItem*> open{window_->contentItem()};
        while (!open.empty()) {
            QQuickItem* item = open.back();
            open.pop_back();
            if (item->isVisible() && item->property("text").toString() == name)
                return item;
            for (QQuickItem* child : item->childItems())
                open.push_back(child);
        }
        return nullptr;
    }

    RootViewModel viewModel_;
    views::FTUEViewModel ftueViewModel_{PlatformProfile::linuxDesktop(), [](FTUEDomain::Action) {}, {}};
    QQmlApplicationEngine engine_;
    QQuickWindow* window_ = nullptr;
};

TEST_F(RootViewTest, ShowsTheFirstRunFlowThenTheCheatsheetWithItsList) {
    EXPECT_EQ(window_->title(), QStringLiteral("Tavrin"));
    EXPECT_FALSE(window_->isVisible()) << "shown by the application once it is placed";
    EXPECT_NE(findNamed(QStringLiteral("Unlock 8 extra days in your year")), nullptr);

    AppDomain::State state;
    state.activeNamespace.app = "mousepad";
    state.recommendations = {{{4, "Save", "control + s", false, false}, ShortcutSource::userAction, 2, 60}};
    viewModel_.cheatsheet()->present(presentCheatsheet(state, ColorScheme::light, PlatformProfile::linuxDesktop()),
                                     ColorScheme::light);
    viewModel_.setShowsCheatsheet(true);
    EXPECT_EQ(findNamed(QStringLiteral("Unlock 8 extra days in your year")), nullptr);
    EXPECT_NE(findNamed(QStringLiteral("Mousepad")), nullptr);
}

TEST_F(RootViewTest, TheCheatsheetFloatsAtItsPlaceAndLeavesTheFocusWhileTheFirstRunFlowTakesIt) {
    FakeDesktop desktop;
    desktop.screen = BottomLeftRect{0, 0, 1280, 800};
    ShellWindow shell(window_, desktop);

    shell.present({RootPresentation::Content::ftue, false, true});
    EXPECT_TRUE(window_->isVisible());
    EXPECT_FALSE(window_->flags() & (Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus));
    EXPECT_EQ(window_->geometry(), QRect(90, 100, 1100, 600));

    shell.present({RootPresentation::Content::cheatsheet, true, false});
    EXPECT_TRUE(window_->flags() & Qt::WindowStaysOnTopHint);
    EXPECT_TRUE(window_->flags() & Qt::WindowDoesNotAcceptFocus);
    EXPECT_EQ(window_->geometry(), QRect(880, 100, 400, 400));

    // Unpinned later: the flags follow, the window stays where the user may have moved it.
    window_->setPosition(10, 20);
    shell.present({RootPresentation::Content::cheatsheet, false, false});
    EXPECT_FALSE(window_->flags() & Qt::WindowStaysOnTopHint);
    EXPECT_EQ(window_->position(), QPoint(10, 20));
}

} // namespace
} // namespace tavrin
