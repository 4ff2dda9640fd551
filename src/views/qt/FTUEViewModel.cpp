#include "views/qt/FTUEViewModel.h"

#include <QTimer>

#include "platform/PlatformProfile.h"
#include "views/presenters/FTUEPresenter.h"

namespace tavrin::views {

namespace {

namespace presenter = tavrin::views::ftue;

QString q(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QVariantMap permissionMap(const presenter::PermissionItem& item) {
    return {{"icon", q(item.icon)},
            {"title", q(item.title)},
            {"description", q(item.description)},
            {"buttonTitle", q(item.buttonTitle)},
            {"isGranted", item.isGranted}};
}

QVariantMap makeTexts() {
    namespace c = presenter::copy;
    return {
        {"welcomeTitle", q(c::welcomeTitle)},
        {"welcomeSubtitle", q(c::welcomeSubtitle)},
        {"calendarYear", q(c::calendarYear)},
        {"personalizationTitle", q(c::personalizationTitle)},
        {"personalizationSubtitle", q(c::personalizationSubtitle)},
        {"roleQuestion", q(c::roleQuestion)},
        {"appsQuestion", q(c::appsQuestion)},
        {"potentialTitle", q(c::potentialTitle)},
        {"potentialSubtitle", q(c::potentialSubtitle)},
        {"calculateButton", q(c::calculateButton)},
        {"savingsIntro", q(c::savingsIntro)},
        {"howTitle", q(c::howTitle)},
        {"performPanelTitle", q(c::performPanelTitle)},
        {"browserExample", q(c::browserExample)},
        {"clickRefresh", q(c::clickRefresh)},
        {"browserAddress", q(c::browserAddress)},
        {"recommendPanelTitle", q(c::recommendPanelTitle)},
        {"recommendIntro", q(c::recommendIntro)},
        {"tryShortcut", q(c::tryShortcut)},
        {"practiceProgress", q(c::practiceProgress)},
        {"greatJob", q(c::greatJob)},
        {"learnedShortcut", q(c::learnedShortcut)},
        {"suggestMore1", q(c::suggestMore1)},
        {"suggestMore2", q(c::suggestMore2)},
        {"privacyTitle", q(c::privacyTitle)},
        {"privacySubtitle", q(c::privacySubtitle)},
        {"needsPermission", q(c::needsPermission)},
        {"optionalScreenRecording", q(c::optionalScreenRecording)},
        {"revokeLater", q(c::revokeLater)},
        {"dataShareText", q(c::dataShareText)},
        {"dataShareToggle", q(c::dataShareToggle)},
    };
}

// Stores `value` and emits `signal` only when it differs from what was there.
template <class T> void assign(FTUEViewModel* self, T& field, T value, void (FTUEViewModel::*signal)()) {
    if (field == value)
        return;
    field = std::move(value);
    emit(self->*signal)();
}

} // namespace

FTUEViewModel::FTUEViewModel(const PlatformProfile& profile, Send send, ApplicationsToRestart applicationsToRestart,
                             QObject* parent)
    : QObject(parent), profile_(profile), send_(std::move(send)),
      applicationsToRestart_(std::move(applicationsToRestart)), texts_(makeTexts()) {
    update(FTUEDomain::State{});
}

QStringList FTUEViewModel::userRoles() const {
    QStringList roles;
    for (const auto role : FTUEDomain::kAllUserRoles)
        roles << q(FTUEDomain::rawValue(role));
    return roles;
}

QStringList FTUEViewModel::appTypes() const {
    QStringList apps;
    for (const auto app : FTUEDomain::kAllAppTypes)
        apps << q(FTUEDomain::rawValue(app));
    return apps;
}

QStringList FTUEViewModel::daysOfWeek() const {
    QStringList days;
    for (const auto& day : presenter::calendarMonth().daysOfWeek)
        days << q(day);
    return days;
}

int FTUEViewModel::calendarLeadingBlanks() const {
    return presenter::calendarMonth().leadingBlanks;
}
int FTUEViewModel::calendarDayCount() const {
    return presenter::calendarMonth().dayCount;
}
QString FTUEViewModel::practiceKeys() const {
    return q(profile_.practiceKeysCopy);
}

void FTUEViewModel::update(const FTUEDomain::State& state) {
    assign(this, step_, static_cast<int>(state.currentStep), &FTUEViewModel::stepChanged);

    const auto button = presenter::navigationButton(state);
    const QString title = button ? q(button->title) : QString();
    const bool secondary = button && button->style == presenter::ButtonStyle::secondary;
    if (title != navigationTitle_ || secondary != navigationSecondary_) {
        navigationTitle_ = title;
        navigationSecondary_ = secondary;
        emit navigationChanged();
    }

    int roleIndex = 0;
    for (std::size_t i = 0; i < std::size(FTUEDomain::kAllUserRoles); ++i)
        if (FTUEDomain::kAllUserRoles[i] == state.userRole)
            roleIndex = static_cast<int>(i);
    assign(this, userRole_, roleIndex, &FTUEViewModel::userRoleChanged);

    QVariantList chosen;
    for (const auto app : FTUEDomain::kAllAppTypes)
        chosen << (state.frequentlyUsedApps.count(app) > 0);
    assign(this, chosenApps_, chosen, &FTUEViewModel::chosenAppsChanged);

    QVariantList rows;
    for (const auto& row : presenter::savingsRows(state))
        rows << QVariantMap{{"icon", q(row.icon)}, {"text", q(row.text)}};
    assign(this, savingsRows_, rows, &FTUEViewModel::savingsRowsChanged);

    QVariantList shortcuts;
    const auto list = presenter::recommendedShortcuts(state, profile_);
    for (std::size_t i = 0; i < list.size(); ++i)
        shortcuts << QVariantMap{{"name", q(list[i].name)},
                                 {"keys", q(list[i].keys)},
                                 {"isHighlighted", list[i].keys == profile_.practiceKeysCopy}};
    assign(this, shortcuts_, shortcuts, &FTUEViewModel::shortcutsChanged);

    const auto panel = presenter::practicePanel(state);
    QVariantList indicators;
    for (const auto& indicator : panel.indicators) {
        const char* look = indicator.state == presenter::IndicatorState::done   ? "done"
                           : indicator.state == presenter::IndicatorState::next ? "next"
                                                                                : "waiting";
        indicators << QVariantMap{{"number", QString::number(indicator.number)}, {"state", QString(look)}};
    }
    const int count = static_cast<int>(std::min<std::int64_t>(state.commandRCounter, 1 << 30));
    if (count != practiceCount_ || panel.finished != practiceFinished_ || indicators != indicators_ ||
        q(panel.remainingText) != remainingText_ || panel.remainingVisible != remainingVisible_) {
        practiceCount_ = count;
        practiceFinished_ = panel.finished;
        indicators_ = indicators;
        remainingText_ = q(panel.remainingText);
        remainingVisible_ = panel.remainingVisible;
        emit practiceChanged();
    }

    const auto accessibility = permissionMap(presenter::accessibilityItem(state));
    const auto screenRecording = permissionMap(presenter::screenRecordingItem(state));
    if (accessibility != accessibilityItem_ || screenRecording != screenRecordingItem_) {
        accessibilityItem_ = accessibility;
        screenRecordingItem_ = screenRecording;
        emit permissionsChanged();
    }
    if (state.accessibilityPermissionGranted && !accessibilityGranted_ && applicationsToRestart_)
        // Applications that were running register on the accessibility bus a moment after the
        // switch, or never: ask once they have had the time.
        QTimer::singleShot(1000, this, &FTUEViewModel::showApplicationsToRestart);
    accessibilityGranted_ = state.accessibilityPermissionGranted;

    assign(this, dataShareAgreement_, state.dataShareAgreement, &FTUEViewModel::dataShareAgreementChanged);
}

void FTUEViewModel::setVisibleArea(std::optional<ftue::ScreenArea> area) {
    assign(this, frameScale_, presenter::frameScale(area), &FTUEViewModel::frameScaleChanged);
}

void FTUEViewModel::showApplicationsToRestart() {
    assign(this, restartNotice_, q(presenter::restartNotice(applicationsToRestart_())),
           &FTUEViewModel::restartNoticeChanged);
}

void FTUEViewModel::next() {
    send_(FTUEDomain::nextStep{});
}

void FTUEViewModel::setUserRole(int index) {
    if (index >= 0 && index < static_cast<int>(std::size(FTUEDomain::kAllUserRoles)))
        send_(FTUEDomain::setUserRole{FTUEDomain::kAllUserRoles[index]});
}

void FTUEViewModel::toggleFrequentApp(int index) {
    if (index >= 0 && index < static_cast<int>(std::size(FTUEDomain::kAllAppTypes)))
        send_(FTUEDomain::toggleFrequentApp{FTUEDomain::kAllAppTypes[index]});
}

void FTUEViewModel::calculateTimeSavings() {
    send_(FTUEDomain::calculateTimeSavings{});
}
void FTUEViewModel::requestAccessibilityPermission() {
    send_(FTUEDomain::requestAccessibilityPermission{});
}
void FTUEViewModel::requestScreenRecordingPermission() {
    send_(FTUEDomain::requestScreenRecordingPermission{});
}
void FTUEViewModel::toggleDataShareAgreement() {
    send_(FTUEDomain::toggleDataShareAgreement{});
}

int FTUEViewModel::nextHighlightedDay(int day) const {
    return presenter::nextHighlightedDay(day, presenter::calendarMonth());
}

} // namespace tavrin::views
