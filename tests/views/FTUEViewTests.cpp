#include <gtest/gtest.h>

#include <filesystem>

#include <QEventLoop>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include "platform/PlatformProfile.h"
#include "views/qt/FTUEViewModel.h"

Q_IMPORT_QML_PLUGIN(Tavrin_ViewsPlugin)

namespace tavrin::views {
namespace {

using Step = FTUEDomain::State::Step;

// The first-run view in a window of its own, with a view model fed states by hand; what it sends
// is collected.
struct FTUEViewTest : ::testing::Test {
    std::vector<FTUEDomain::Action> sent;
    FTUEViewModel model{PlatformProfile::linuxDesktop(), [this](FTUEDomain::Action a) { sent.push_back(a); },
                        [] { return std::vector<std::string>{"Mousepad"}; }};
    QQuickView window;
    QStringList warnings;

    void SetUp() override {
        QObject::connect(window.engine(), &QQmlEngine::warnings, [this](const QList<QQmlError>& errors) {
            for (const auto& e : errors)
                warnings << e.toString();
        });
        window.setInitialProperties({{"viewModel", QVariant::fromValue(&model)}});
        window.setResizeMode(QQuickView::SizeRootObjectToView);
        window.resize(1100, 600);
        window.setSource(QUrl("qrc:/Tavrin/Views/FTUEView.qml"));
        ASSERT_EQ(window.status(), QQuickView::Ready) << window.errors().value(0).toString().toStdString();
        window.show();
    }

    void shoot(const std::string& name) {
        // Let fades and colour changes finish.
        QEventLoop settle;
        QTimer::singleShot(400, &settle, &QEventLoop::quit);
        settle.exec();
        const auto dir = std::filesystem::path(TAVRIN_ARTIFACTS);
        std::filesystem::create_directories(dir);
        window.grabWindow().save(QString::fromStdString((dir / (name + ".png")).string()));
    }

    // The visible items whose accessible name is `name`.
    int shown(const QString& name) {
        int found = 0;
        std::function<void(QQuickItem*)> walk = [&](QQuickItem* item) {
            if (!item->isVisible() || item->opacity() == 0)
                return;
            const QVariant accessible = item->property("text");
            if (accessible.toString() == name) {
                ++found; // a button's label is not counted again
                return;
            }
            for (auto* child : item->childItems())
                walk(child);
        };
        walk(window.rootObject());
        return found;
    }
};

TEST_F(FTUEViewTest, ShowsEachStepWithItsCopyAndButton) {
    FTUEDomain::State state;
    model.update(state);
    EXPECT_EQ(shown("Unlock 8 extra days in your year"), 1);
    EXPECT_EQ(shown("Next"), 1);
    shoot("ftue-1-welcome");

    state.currentStep = Step::personalization;
    state.frequentlyUsedApps = {FTUEDomain::State::AppType::email, FTUEDomain::State::AppType::browser};
    model.update(state);
    EXPECT_EQ(shown("Let's get to know you"), 1);
    shoot("ftue-2-personalization");

    state.currentStep = Step::productivityPotential;
    model.update(state);
    EXPECT_EQ(shown("10 minutes per day"), 0); // not calculated yet
    state.potentialTimeSavings = FTUEDomain::timeSavings(2);
    model.update(state);
    EXPECT_EQ(shown("10 minutes per day"), 1);
    shoot("ftue-3-estimate");

    state.currentStep = Step::howToUseTavrin;
    model.update(state);
    EXPECT_EQ(shown("Next"), 0);
    EXPECT_EQ(shown("Skip"), 0);
    state.commandRCounter = 2;
    model.update(state);
    EXPECT_EQ(shown("Skip"), 1);
    shoot("ftue-4-practice");
    state.commandRCounter = 4;
    model.update(state);
    EXPECT_EQ(shown("Great job!"), 1);
    EXPECT_EQ(shown("Let's Do This!"), 1);
    shoot("ftue-4-practice-done");

    state.currentStep = Step::privacySetup;
    model.update(state);
    EXPECT_EQ(shown("Grant Accessibility Permission"), 1);
    EXPECT_EQ(shown("Next"), 0);
    state.accessibilityPermissionGranted = true;
    state.screenRecordingPermissionGranted = true;
    model.update(state);
    EXPECT_EQ(shown("Next"), 1);
    shoot("ftue-5-privacy");

    EXPECT_TRUE(warnings.isEmpty()) << warnings.join('\n').toStdString();
}

} // namespace
} // namespace tavrin::views

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
