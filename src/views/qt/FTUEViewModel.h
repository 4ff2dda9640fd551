#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include "State/FTUEDomain.h"
#include "views/presenters/FTUEPresenter.h"

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
    Q_PROPERTY(QString practiceKeys READ practiceKeys CONSTANT)

    Q_PROPERTY(double frameScale READ frameScale NOTIFY frameScaleChanged)
    Q_PROPERTY(int step READ step NOTIFY stepChanged)
    Q_PROPERTY(QString navigationTitle READ navigationTitle NOTIFY navigationChanged)
    Q_PROPERTY(bool navigationSecondary READ navigationSecondary NOTIFY navigationChanged)
    Q_PROPERTY(int userRole READ userRole NOTIFY userRoleChanged)
    Q_PROPERTY(QVariantList chosenApps READ chosenApps NOTIFY chosenAppsChanged)
    Q_PROPERTY(QVariantList savingsRows READ savingsRows NOTIFY savingsRowsChanged)
    Q_PROPERTY(QVariantList shortcuts READ shortcuts NOTIFY shortcutsChanged)
    Q_PROPERTY(int practiceCount READ practiceCount NOTIFY practiceChanged)
    Q_PROPERTY(bool practiceFinished READ practiceFinished NOTIFY practiceChanged)
    Q_PROPERTY(QVariantList indicators READ indicators NOTIFY practiceChanged)
    Q_PROPERTY(QString remainingText READ remainingText NOTIFY practiceChanged)
    Q_PROPERTY(bool remainingVisible READ remainingVisible NOTIFY practiceChanged)
    Q_PROPERTY(QVariantMap accessibilityItem READ accessibilityItem NOTIFY permissionsChanged)
    Q_PROPERTY(QVariantMap screenRecordingItem READ screenRecordingItem NOTIFY permissionsChanged)
    Q_PROPERTY(QString restartNotice READ restartNotice NOTIFY restartNoticeChanged)
    Q_PROPERTY(bool dataShareAgreement READ dataShareAgreement NOTIFY dataShareAgreementChanged)

public:
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

    QVariantMap texts() const { return texts_; }
    QStringList userRoles() const;
    QStringList appTypes() const;
    QStringList daysOfWeek() const;
    int calendarLeadingBlanks() const;
    int calendarDayCount() const;
    QString practiceKeys() const;

    double frameScale() const { return frameScale_; }
    int step() const { return step_; }
    QString navigationTitle() const { return navigationTitle_; }
    bool navigationSecondary() const { return navigationSecondary_; }
    int userRole() const { return userRole_; }
    QVariantList chosenApps() const { return chosenApps_; }
    QVariantList savingsRows() const { return savingsRows_; }
    QVariantList shortcuts() const { return shortcuts_; }
    int practiceCount() const { return practiceCount_; }
    bool practiceFinished() const { return practiceFinished_; }
    QVariantList indicators() const { return indicators_; }
    QString remainingText() const { return remainingText_; }
    bool remainingVisible() const { return remainingVisible_; }
    QVariantMap accessibilityItem() const { return accessibilityItem_; }
    QVariantMap screenRecordingItem() const { return screenRecordingItem_; }
    QString restartNotice() const { return restartNotice_; }
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
    void stepChanged();
    void navigationChanged();
    void userRoleChanged();
    void chosenAppsChanged();
    void savingsRowsChanged();
    void shortcutsChanged();
    void practiceChanged();
    void permissionsChanged();
    void restartNoticeChanged();
    void dataShareAgreementChanged();

private:
    void showApplicationsToRestart();

    const PlatformProfile& profile_;
    Send send_;
    ApplicationsToRestart applicationsToRestart_;
    QVariantMap texts_;
    bool accessibilityGranted_ = false;

    double frameScale_ = 1.0;
    int step_ = 0;
    QString navigationTitle_;
    bool navigationSecondary_ = false;
    int userRole_ = 0;
    QVariantList chosenApps_;
    QVariantList savingsRows_;
    QVariantList shortcuts_;
    int practiceCount_ = 0;
    bool practiceFinished_ = false;
    QVariantList indicators_;
    QString remainingText_;
    bool remainingVisible_ = false;
    QVariantMap accessibilityItem_;
    QVariantMap screenRecordingItem_;
    QString restartNotice_;
    bool dataShareAgreement_ = true;
};

} // namespace tavrin::views
