#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include "State/FTUEDomain.h"
#include "views/presenters/FTUEPresenter.h"
#include "views/presenters/ShortcutCardPresenter.h"

namespace tavrin {
struct PlatformProfile;
}

namespace tavrin::views {

// The first-run screens' view of the first-run state. It holds what the presenters made of the
// last state it was given and tells QML only about what changed; each invokable sends one action.
// Lives on the GUI thread.
class FTUEViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the application")

    Q_PROPERTY(QVariantMap texts READ texts CONSTANT)
    Q_PROPERTY(QStringList userRoles READ userRoles CONSTANT)
    Q_PROPERTY(QStringList appTypes READ appTypes CONSTANT)
    Q_PROPERTY(QStringList daysOfWeek READ daysOfWeek CONSTANT)
    Q_PROPERTY(int calendarLeadingBlanks READ calendarLeadingBlanks CONSTANT)
    Q_PROPERTY(int calendarDayCount READ calendarDayCount CONSTANT)

    // The frame as drawn for the desktop's font (it grows with larger text), and its scale to fit
    // the screen.
    Q_PROPERTY(double frameWidth READ frameWidth NOTIFY fontsChanged)
    Q_PROPERTY(double frameHeight READ frameHeight NOTIFY fontsChanged)
    Q_PROPERTY(double frameScale READ frameScale NOTIFY frameScaleChanged)
    // Lengths in the frame are multiplied by this; text sizes in pixels by style: largeTitle,
    // title2, title3, headline, callout, body, subheadline, footnote.
    Q_PROPERTY(double layoutScale READ layoutScale NOTIFY fontsChanged)
    Q_PROPERTY(QVariantMap fonts READ fonts NOTIFY fontsChanged)
    // The accent colours of the palette in force: blue, green, gray (fills), blueText, greenText
    // and warning (text).
    Q_PROPERTY(QVariantMap colors READ colors NOTIFY colorsChanged)
    Q_PROPERTY(Screen screen READ screen NOTIFY screenChanged)
    Q_PROPERTY(QString navigationTitle READ navigationTitle NOTIFY navigationChanged)
    Q_PROPERTY(bool navigationSecondary READ navigationSecondary NOTIFY navigationChanged)
    Q_PROPERTY(bool navigationPulses READ navigationPulses NOTIFY navigationChanged)
    Q_PROPERTY(bool calculatePulses READ calculatePulses NOTIFY savingsRowsChanged)
    Q_PROPERTY(int userRole READ userRole NOTIFY userRoleChanged)
    Q_PROPERTY(QVariantList chosenApps READ chosenApps NOTIFY chosenAppsChanged)
    Q_PROPERTY(QVariantList savingsRows READ savingsRows NOTIFY savingsRowsChanged)
    Q_PROPERTY(QVariantList shortcuts READ shortcuts NOTIFY shortcutsChanged)
    Q_PROPERTY(bool practiceFinished READ practiceFinished NOTIFY practiceChanged)
    Q_PROPERTY(QVariantList indicators READ indicators NOTIFY practiceChanged)
    Q_PROPERTY(QString remainingText READ remainingText NOTIFY practiceChanged)
    Q_PROPERTY(bool remainingVisible READ remainingVisible NOTIFY practiceChanged)
    Q_PROPERTY(QVariantMap accessibilityItem READ accessibilityItem NOTIFY permissionsChanged)
    Q_PROPERTY(QVariantMap screenRecordingItem READ screenRecordingItem NOTIFY permissionsChanged)
    Q_PROPERTY(QString restartNotice READ restartNotice NOTIFY restartNoticeChanged)
    Q_PROPERTY(QString keySourceNotice READ keySourceNotice NOTIFY keySourceNoticeChanged)
    Q_PROPERTY(bool dataShareAgreement READ dataShareAgreement NOTIFY dataShareAgreementChanged)

public:
    // The screen of each step, by name for QML.
    enum class Screen { Welcome, Personalization, ProductivityPotential, HowToUseTavrin, PrivacySetup };
    Q_ENUM(Screen)

    using Send = std::function<void(FTUEDomain::Action)>;
    // Names the applications that must restart to be seen; called a moment after the
    // accessibility permission has been granted.
    using ApplicationsToRestart = std::function<std::vector<std::string>()>;

    FTUEViewModel(const PlatformProfile& profile, Send send, ApplicationsToRestart applicationsToRestart,
                  QObject* parent = nullptr);

    // Takes the state the store holds now; emits the signals of what changed.
    void update(const FTUEDomain::State& state);
    // The visible part of the main screen (without panels), or none without a screen.
    void setVisibleArea(std::optional<ftue::ScreenArea> area);
    // The desktop's default font, in pixels; followed from the application's font by default.
    void setDefaultFontPixels(double pixels);
    void setColorScheme(ColorScheme scheme);
    // What the session lets Tavrin see of the keys, said in the permission step.
    void setInputCapabilities(const InputCapabilities& input);

    QVariantMap texts() const { return texts_; }
    QStringList userRoles() const;
    QStringList appTypes() const;
    QStringList daysOfWeek() const;
    int calendarLeadingBlanks() const;
    int calendarDayCount() const;

    double frameWidth() const { return frameSize().width; }
    double frameHeight() const { return frameSize().height; }
    double frameScale() const { return frameScale_; }
    double layoutScale() const { return ftue::layoutScale(defaultFontPixels_); }
    QVariantMap fonts() const;
    QVariantMap colors() const;
    Screen screen() const { return screen_; }
    QString navigationTitle() const { return navigationTitle_; }
    bool navigationSecondary() const { return navigationSecondary_; }
    bool navigationPulses() const { return navigationPulses_; }
    bool calculatePulses() const { return calculatePulses_; }
    int userRole() const { return userRole_; }
    QVariantList chosenApps() const { return chosenApps_; }
    QVariantList savingsRows() const { return savingsRows_; }
    QVariantList shortcuts() const { return shortcuts_; }
    bool practiceFinished() const { return practiceFinished_; }
    QVariantList indicators() const { return indicators_; }
    QString remainingText() const { return remainingText_; }
    bool remainingVisible() const { return remainingVisible_; }
    QVariantMap accessibilityItem() const { return accessibilityItem_; }
    QVariantMap screenRecordingItem() const { return screenRecordingItem_; }
    QString restartNotice() const { return restartNotice_; }
    QString keySourceNotice() const { return keySourceNotice_; }
    bool dataShareAgreement() const { return dataShareAgreement_; }

    Q_INVOKABLE void next();
    Q_INVOKABLE void setUserRole(int index);
    Q_INVOKABLE void toggleFrequentApp(int index);
    Q_INVOKABLE void calculateTimeSavings();
    Q_INVOKABLE void requestAccessibilityPermission();
    Q_INVOKABLE void requestScreenRecordingPermission();
    Q_INVOKABLE void toggleDataShareAgreement();
    // The calendar's next highlighted day after `day`.
    Q_INVOKABLE int nextHighlightedDay(int day) const;

signals:
    void frameScaleChanged();
    void fontsChanged();
    void colorsChanged();
    void screenChanged();
    void navigationChanged();
    void userRoleChanged();
    void chosenAppsChanged();
    void savingsRowsChanged();
    void shortcutsChanged();
    void practiceChanged();
    void permissionsChanged();
    void restartNoticeChanged();
    void keySourceNoticeChanged();
    void dataShareAgreementChanged();

protected:
    // Follows the application's font (the desktop's), which Qt announces by an event.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showApplicationsToRestart();
    ftue::ScreenArea frameSize() const { return ftue::frameSize(defaultFontPixels_); }
    void updateFrameScale();

    const PlatformProfile& profile_;
    Send send_;
    ApplicationsToRestart applicationsToRestart_;
    QVariantMap texts_;
    bool accessibilityGranted_ = false;

    std::optional<ftue::ScreenArea> visibleArea_;
    double defaultFontPixels_ = ftue::kDrawnFontPixels;
    ColorScheme scheme_ = ColorScheme::light;
    double frameScale_ = 1.0;
    Screen screen_ = Screen::Welcome;
    QString navigationTitle_;
    bool navigationSecondary_ = false;
    bool navigationPulses_ = false;
    bool calculatePulses_ = true;
    int userRole_ = 0;
    QVariantList chosenApps_;
    QVariantList savingsRows_;
    QVariantList shortcuts_;
    bool practiceFinished_ = false;
    QVariantList indicators_;
    QString remainingText_;
    bool remainingVisible_ = false;
    QVariantMap accessibilityItem_;
    QVariantMap screenRecordingItem_;
    QString restartNotice_;
    QString keySourceNotice_;
    bool dataShareAgreement_ = true;
};

// The application's default font in pixels, as the desktop sets it (its size and the screen's dpi).
double desktopFontPixels();

} // namespace tavrin::views
