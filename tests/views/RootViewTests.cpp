#include <gtest/gtest.h>

#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

#include "platform/fake/FakeDesktop.h"
#include "platform/PlatformProfile.h"
#include "views/qt/FTUEViewModel.h"
#include "views/qt/RootViewModel.h"
#include "views/qt/ShellWindow.h"
#include "support/QtViews.h"

Q_IMPORT_QML_PLUGIN(Tavrin_ViewsPlugin)

namespace tavrin {
namespace {

// RootView as the application loads it, from the linked-in module, placed by the shell window.
class RootViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        engine_.setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(&viewModel_)},
                                      {QStringLiteral("ftueViewModel"), QVariant::fromValue(&ftueViewModel_)}});
        const QUrl url = testing::viewUrl("RootView.qml");
        engine_.load(url);
        window_ = qobject_cast<QQuickWindow*>(engine_.rootObjects().value(0));
        ASSERT_NE(window_, nullptr) << QQmlComponent(&engine_, url).errorString().toStdString();
    }

    RootViewModel viewModel_;
    views::FTUEViewModel ftueViewModel_{PlatformProfile::linuxDesktop(), [](FTUEDomain::Action) {}, {}};
    QQmlApplicationEngine engine_;
    QQuickWindow* window_ = nullptr;
};

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
