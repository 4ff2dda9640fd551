// The first-run screens as the application draws them (software, offscreen, the Fusion style):
// their controls answer the pointer and the keyboard, and every text on every screen stays
// legible and whole under a light and a dark palette, at the desktop's font size and at one and a
// half times it. The pictures go to build/test-artifacts for a person to look at.
#include <gtest/gtest.h>

#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <map>
#include <memory>

#include "platform/PlatformProfile.h"
#include "views/qt/FTUEViewModel.h"
#include "support/QtViews.h"

namespace tavrin {
namespace {

using testing::darkPalette;

using Step = FTUEDomain::State::Step;
using AppType = FTUEDomain::State::AppType;
using UserRole = FTUEDomain::State::UserRole;

// The visible text items under `item`, with how opaque they are drawn.
void texts(QQuickItem* item, double opacity, std::vector<QQuickItem*>& out) {
    opacity *= item->opacity();
    if (!item->isVisible() || opacity < 0.5)
        return;
    if (item->inherits("QQuickText") && !item->property("text").toString().trimmed().isEmpty())
        out.push_back(item);
    for (QQuickItem* child : item->childItems())
        texts(child, opacity, out);
}

// Where a text item's glyphs are, in the window.
QRectF glyphs(QQuickItem* text) {
    const double width = text->property("contentWidth").toDouble();
    const double height = text->property("contentHeight").toDouble();
    const int align = text->property("effectiveHorizontalAlignment").toInt();
    const double x = align & Qt::AlignRight     ? text->width() - width
                     : align & Qt::AlignHCenter ? (text->width() - width) / 2
                                                : 0;
    const int vertical = text->property("verticalAlignment").toInt();
    const double y = vertical & Qt::AlignBottom    ? text->height() - height
                     : vertical & Qt::AlignVCenter ? (text->height() - height) / 2
                                                   : 0;
    return text->mapRectToScene(QRectF(x, y, width, height));
}

// The spread of luminance inside a rectangle of the picture: glyphs against what is behind them.
double contrast(const QImage& shot, const QRect& area) {
    double lightest = 0, darkest = 1;
    const QRect inside = area.intersected(shot.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const QColor c = shot.pixelColor(x, y);
            const double l = 0.2126 * c.redF() + 0.7152 * c.greenF() + 0.0722 * c.blueF();
            lightest = std::max(lightest, l);
            darkest = std::min(darkest, l);
        }
    return lightest - darkest;
}

class FTUEView : public ::testing::Test {
protected:
    void SetUp() override {
        defaultFont_ = QGuiApplication::font();
        viewModel_ = std::make_unique<views::FTUEViewModel>(
            PlatformProfile::linuxDesktop(), [this](FTUEDomain::Action action) { sent_.push_back(std::move(action)); },
            [] { return std::vector<std::string>{"Mousepad"}; });
        viewModel_->setVisibleArea(views::ftue::ScreenArea{4000, 3000}); // room for any frame
        view_.setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(viewModel_.get())}});
        view_.setResizeMode(QQuickView::SizeRootObjectToView);
    }
    void TearDown() override {
        QGuiApplication::setPalette(QPalette());
        QGuiApplication::setFont(defaultFont_);
    }

    void show(const FTUEDomain::State& state) {
        viewModel_->update(state);
        const QSize frame(qRound(viewModel_->frameWidth()), qRound(viewModel_->frameHeight()));
        if (!view_.rootObject()) {
            view_.setSource(testing::viewUrl("FTUEView.qml"));
            ASSERT_EQ(view_.status(), QQuickView::Ready);
            view_.resize(frame);
            view_.show();
            view_.requestActivate();
            ASSERT_TRUE(QTest::qWaitForWindowActive(&view_));
        }
        view_.resize(frame);
        QTest::qWait(80); // layouts and the palette settle
    }

    // The showing control with this text.
    QQuickItem* control(const QString& text) {
        return testing::findItem(view_.rootObject(), [&](QQuickItem* item) {
            return item->inherits("QQuickAbstractButton") && item->property("text").toString() == text;
        });
    }
    void click(const QString& text) {
        QQuickItem* item = control(text);
        ASSERT_NE(item, nullptr) << text.toStdString();
        QTest::mouseClick(&view_, Qt::LeftButton, {}, testing::centre(item));
    }
    void key(Qt::Key key) { QTest::keyClick(&view_, key); }
    QString focused() const {
        QQuickItem* item = view_.activeFocusItem();
        return item ? item->property("text").toString() : QString();
    }

    QFont defaultFont_;
    std::vector<FTUEDomain::Action> sent_;
    std::unique_ptr<views::FTUEViewModel> viewModel_;
    QQuickView view_;
};

// The role and the applications answer a click and the keyboard (Tab, Space, the arrows); each
// control shows what the store holds.
TEST_F(FTUEView, TheQuestionsAnswerThePointerAndTheKeyboard) {
    FTUEDomain::State state;
    state.currentStep = Step::personalization;
    show(state);

    click(QStringLiteral("Email Client"));
    EXPECT_EQ(sent_, (std::vector<FTUEDomain::Action>{FTUEDomain::toggleFrequentApp{AppType::email}}));
    EXPECT_FALSE(control(QStringLiteral("Email Client"))->property("checked").toBool()) << "until the store says";
    state.frequentlyUsedApps = {AppType::email};
    viewModel_->update(state);
    EXPECT_TRUE(control(QStringLiteral("Email Client"))->property("checked").toBool());

    for (int i = 0; i < 3; ++i)
        key(Qt::Key_Tab);
    EXPECT_EQ(focused(), "Web Browser");
    key(Qt::Key_Space);

    click(QStringLiteral("UX/UI Designer")); // the role already held: it stays chosen
    state.userRole = UserRole::designerUXUI;
    viewModel_->update(state);
    EXPECT_TRUE(control(QStringLiteral("UX/UI Designer"))->property("checked").toBool());
    key(Qt::Key_Down);
    EXPECT_EQ(focused(), "Software Engineer");
    key(Qt::Key_Up);
    key(Qt::Key_Up); // round the top, to the last role
    EXPECT_EQ(focused(), "Other");
    key(Qt::Key_Space);
    state.userRole = UserRole::other;
    viewModel_->update(state);
    for (const char* role : {"UX/UI Designer", "Software Engineer", "Other"})
        EXPECT_EQ(control(QString::fromLatin1(role))->property("checked").toBool(), role == std::string("Other"));
    EXPECT_EQ(sent_,
              (std::vector<FTUEDomain::Action>{
                  FTUEDomain::toggleFrequentApp{AppType::email}, FTUEDomain::toggleFrequentApp{AppType::browser},
                  FTUEDomain::setUserRole{UserRole::designerUXUI}, FTUEDomain::setUserRole{UserRole::softwareEngineer},
                  FTUEDomain::setUserRole{UserRole::designerUXUI}, FTUEDomain::setUserRole{UserRole::other},
                  FTUEDomain::setUserRole{UserRole::other}}));
}

// Every screen under both palettes, at the desktop's font size and one and a half times it:
// each text stands out from what is behind it, lies inside the frame, is not cut short and
// overlaps no other; larger text makes larger screens.
TEST_F(FTUEView, EveryScreenIsLegibleAndWholeInBothPalettesAndAtLargerText) {
    struct Screen {
        const char* name;
        FTUEDomain::State state;
    };
    std::vector<Screen> screens;
    FTUEDomain::State state;
    screens.push_back({"welcome", state});
    state.currentStep = Step::personalization;
    state.userRole = UserRole::softwareEngineer;
    state.frequentlyUsedApps = {AppType::email, AppType::browser};
    screens.push_back({"personalization", state});
    state.currentStep = Step::productivityPotential;
    state.potentialTimeSavings = FTUEDomain::timeSavings(2);
    screens.push_back({"estimate", state});
    state.currentStep = Step::howToUseTavrin;
    state.commandRCounter = 2;
    screens.push_back({"practice", state});
    state.commandRCounter = 4;
    screens.push_back({"practice-done", state});
    state.currentStep = Step::privacySetup;
    state.accessibilityPermissionGranted = true;
    screens.push_back({"privacy", state});

    struct Look {
        const char* name;
        bool dark;
        double textScale;
    };
    const double desktop = QFontInfo(defaultFont_).pixelSize();
    std::map<std::string, double> titleHeight;
    for (const Look look : {Look{"light", false, 1.0}, Look{"dark", true, 1.0}, Look{"dark-large", true, 1.5},
                            Look{"light-large", false, 1.5}}) {
        QGuiApplication::setPalette(look.dark ? darkPalette() : QPalette());
        QFont font = defaultFont_;
        font.setPixelSize(qRound(desktop * look.textScale));
        QGuiApplication::setFont(font);
        viewModel_->setColorScheme(look.dark ? ColorScheme::dark : ColorScheme::light);
        for (const Screen& screen : screens) {
            SCOPED_TRACE(std::string(look.name) + " " + screen.name);
            show(screen.state);
            if (std::string(screen.name) == "privacy") // the restart notice comes a second later
                QTest::qWait(1100);
            if (std::string(screen.name) == "practice") // the count fades in
                QTest::qWait(350);
            const QImage shot = view_.grabWindow();
            testing::savePicture(shot, QStringLiteral("ftue-screens/%1-%2").arg(look.name, screen.name));

            QQuickItem* frame = view_.rootObject()->findChild<QQuickItem*>(QStringLiteral("ftueFrame"));
            ASSERT_NE(frame, nullptr);
            const QRectF bounds = frame->mapRectToScene(QRectF(0, 0, frame->width(), frame->height()));
            std::vector<QQuickItem*> shown;
            texts(view_.rootObject(), 1, shown);
            ASSERT_GT(shown.size(), 3u);
            for (std::size_t i = 0; i < shown.size(); ++i) {
                QQuickItem* text = shown[i];
                const QRectF rect = glyphs(text);
                const std::string what = text->property("text").toString().toStdString();
                EXPECT_TRUE(bounds.adjusted(-1, -1, 1, 1).contains(rect)) << what << " leaves the frame";
                EXPECT_FALSE(text->property("truncated").toBool()) << what << " is cut short";
                if (text->isEnabled()) { // a disabled button's caption is faint on purpose
                    EXPECT_GT(contrast(shot, rect.toAlignedRect()), 0.3) << what << " does not stand out";
                }
                for (std::size_t j = i + 1; j < shown.size(); ++j)
                    EXPECT_FALSE(rect.adjusted(1, 1, -1, -1).intersects(glyphs(shown[j])))
                        << what << " overlaps " << shown[j]->property("text").toString().toStdString();
                if (what == "Unlock 8 extra days in your year")
                    titleHeight[look.name] = rect.height();
            }
        }
    }
    EXPECT_GT(titleHeight["dark-large"], 1.4 * titleHeight["dark"]);
}

} // namespace
} // namespace tavrin
