#include <gtest/gtest.h>

#include <QAnimationDriver>
#include <QCoreApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QSignalSpy>
#include <QVariantAnimation>
#include <QtQml/qqmlextensionplugin.h>
#include <memory>

#include "views/qt/ShortcutListModel.h"
#include "support/QtViews.h"

Q_IMPORT_QML_PLUGIN(Tavrin_ViewsPlugin)

namespace tavrin {
namespace {

// Animations and QML timers on a clock the test moves, one millisecond at a time.
class ManualAnimationDriver : public QAnimationDriver {
public:
    // Qt adds elapsed() to the time at which the driver last started.
    ManualAnimationDriver() {
        connect(this, &QAnimationDriver::started, this, [this] { base_ = now_; });
    }
    void advanceBy(int ms) {
        for (int i = 0; i < ms; ++i) {
            QCoreApplication::processEvents(); // lets new animations register and timers fire
            ++now_;
            advance();
        }
    }
    qint64 elapsed() const override { return now_ - base_; }

private:
    qint64 now_ = 0;
    qint64 base_ = 0;
};

QVariantMap button(const QString& icon, bool animated) {
    return {{"icon", icon},
            {"source", QString("icons/%1.svg").arg(icon)},
            {"color", QColor(Qt::gray)},
            {"helpText", icon},
            {"animated", animated}};
}

class ShortcutCardView : public ::testing::Test {
protected:
    void SetUp() override {
        driver_.install();
        // While only timers wait, Qt stops the driver and falls back to real time: keep one
        // animation running so the QML timers fire on the manual clock.
        keepAlive_.setStartValue(0.0);
        keepAlive_.setEndValue(1.0);
        keepAlive_.setDuration(1000);
        keepAlive_.setLoopCount(-1);
        keepAlive_.start();
    }
    void TearDown() override {
        card_.reset();
        keepAlive_.stop();
        driver_.uninstall();
    }

    QObject* makeCard(bool learned) {
        QQmlComponent component(&engine_, testing::viewUrl("ShortcutCard.qml"));
        if (component.isError()) {
            ADD_FAILURE() << component.errorString().toStdString();
            return nullptr;
        }
        const QVariantList buttons{button("bookmark", false),
                                   learned ? button("checkmark.circle.fill", false) : button("checkmark.circle", true),
                                   button("flag", false)};
        card_.reset(component.createWithInitialProperties({{"shortcutId", QVariant::fromValue(qint64(7))},
                                                           {"actionName", "Reload"},
                                                           {"chips", QVariantList{}},
                                                           {"badgeSource", ""},
                                                           {"badgeColor", QColor(Qt::yellow)},
                                                           {"backgroundColor", QColor(Qt::gray)},
                                                           {"tooltip", "Shortcut: Reload"},
                                                           {"buttons", buttons},
                                                           {"coachNote", ""},
                                                           {"offerButtons", QVariantList{}},
                                                           {"nudgedAt", QVariant::fromValue(qint64(0))}}));
        if (!card_)
            ADD_FAILURE() << component.errorString().toStdString();
        return card_.get();
    }

    void tap(int index) { QMetaObject::invokeMethod(card_.get(), "tap", Q_ARG(QVariant, index)); }
    double ink() const { return card_->property("inkFillProgress").toDouble(); }
    bool animating() const { return card_->property("isAnimating").toBool(); }
    bool markedDone() const { return card_->property("isMarkedDone").toBool(); }

    ManualAnimationDriver driver_;
    QVariantAnimation keepAlive_;
    QQmlEngine engine_;
    std::unique_ptr<QObject> card_;
};

// Marking as learned: the press is reported at once (the view model sends it a second later), the
// ink fills in 0.5 s, the fade starts at 1.5 s and lasts 0.3 s; every button of the card is
// ignored from the tap to the fade's end.
TEST_F(ShortcutCardView, TheLearnedAnimationIgnoresTapsUntilItEnds) {
    QObject* card = makeCard(false);
    ASSERT_NE(card, nullptr);
    QSignalSpy commands(card, SIGNAL(buttonPressed(int)));

    tap(1);
    ASSERT_EQ(commands.count(), 1);
    EXPECT_EQ(commands[0][0].toInt(), 1);
    EXPECT_TRUE(markedDone());
    EXPECT_TRUE(animating());
    driver_.advanceBy(250);
    EXPECT_GT(ink(), 0.2);
    EXPECT_LT(ink(), 0.8);
    tap(1); // a second tap on the same button
    tap(0); // and on another
    tap(2);
    driver_.advanceBy(260);
    EXPECT_DOUBLE_EQ(ink(), 1.0);
    driver_.advanceBy(990); // 1500 ms: fading out
    driver_.advanceBy(20);
    EXPECT_FALSE(markedDone());
    EXPECT_TRUE(animating());
    tap(0);
    driver_.advanceBy(270);
    EXPECT_TRUE(animating());
    driver_.advanceBy(40); // 1830 ms
    EXPECT_FALSE(animating());
    EXPECT_DOUBLE_EQ(ink(), 0.0);
    EXPECT_EQ(commands.count(), 1);

    tap(0); // live again: at once
    ASSERT_EQ(commands.count(), 2);
    EXPECT_EQ(commands[1][0].toInt(), 0);
    driver_.advanceBy(2000);
    EXPECT_EQ(commands.count(), 2);
}

// An already learned shortcut's check is a plain toggle: no animation, sent at once.
TEST_F(ShortcutCardView, UnmarkingSendsAtOnceWithoutAnimation) {
    QObject* card = makeCard(true);
    ASSERT_NE(card, nullptr);
    QSignalSpy commands(card, SIGNAL(buttonPressed(int)));
    tap(1);
    ASSERT_EQ(commands.count(), 1);
    EXPECT_EQ(commands[0][0].toInt(), 1);
    EXPECT_FALSE(markedDone());
    EXPECT_FALSE(animating());
    tap(2);
    EXPECT_EQ(commands.count(), 2);
}

} // namespace
} // namespace tavrin
