#include "views/qt/FTUEViewModel.h"

#include <QEvent>
#include <QFontInfo>
#include <QGuiApplication>
#include <QTimer>

#include "platform/PlatformProfile.h"
#include "views/presenters/FTUEPresenter.h"
#include "views/qt/ShortcutListModel.h"

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
            {"isGranted", item.isGranted},
            {"buttonPulses", item.buttonPulses}};
}

FTUEViewModel::Screen screenOf(FTUEDomain::State::Step step) {
    using Step = FTUEDomain::State::Step;
    switch (step) {
    case Step::welcome:
        break;
    case Step::personalization:
        return FTUEViewModel::Screen::Personalization;
    case Step::productivityPotential:
        return FTUEViewModel::Screen::ProductivityPotential;
    case Step::howToUseTavrin:
        return FTUEViewModel::Screen::HowToUseTavrin;
    case Step::privacySetup:
        return FTUEViewModel::Screen::PrivacySetup;
    }
    return FTUEViewModel::Screen::Welcome;
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
    if (qGuiApp) {
        setDefaultFontPixels(desktopFontPixels());
        qGuiApp->installEventFilter(this);
    }
}

bool FTUEViewModel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationFontChange)
        setDefaultFontPixels(desktopFontPixels());
    return QObject::eventFilter(watched, event);
}

double desktopFontPixels() {
    return QFontInfo(QGuiApplication::font()).pixelSize();
}

QVariantMap FTUEViewModel::fonts() const {
    using presenter::TextStyle;
    const auto size = [this](TextStyle style) { return presenter::textPixels(style, defaultFontPixels_); };
    return {{"largeTitle", size(TextStyle::largeTitle)},   {"title2", size(TextStyle::title2)},
            {"title3", size(TextStyle::title3)},           {"headline", size(TextStyle::headline)},
            {"callout", size(TextStyle::callout)},         {"body", size(TextStyle::body)},
            {"subheadline", size(TextStyle::subheadline)}, {"footnote", size(TextStyle::footnote)}};
}

QVariantMap FTUEViewModel::colors() const {
    const bool dark = scheme_ == ColorScheme::dark;
    // Fills take the named colours; text in colour takes a shade that stands out from the palette's
    // window, darker on light and lighter on dark.
    return {{"blue", viewColor(NamedColor::blue, scheme_)},
            {"green", viewColor(NamedColor::green, scheme_)},
            {"gray", viewColor(NamedColor::gray, scheme_)},
            {"blueText", dark ? QColor(0x79, 0xb8, 0xff) : QColor(0x1f, 0x6f, 0xeb)},
            {"greenText", dark ? QColor(0x3c, 0xc7, 0x5f) : QColor(0x1a, 0x7f, 0x37)},
            {"warning", dark ? QColor(0xe3, 0xb3, 0x41) : QColor(0x9a, 0x67, 0x00)}};
}

void FTUEViewModel::setDefaultFontPixels(double pixels) {
    if (!(pixels > 0) || pixels == defaultFontPixels_)
        return;
    defaultFontPixels_ = pixels;
    emit fontsChanged();
    updateFrameScale();
}

void FTUEViewModel::setColorScheme(ColorScheme scheme) {
    if (scheme == scheme_)
        return;
    scheme_ = scheme;
    emit colorsChanged();
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
void FTUEViewModel::update(const FTUEDomain::State& state) {
    assign(this, screen_, screenOf(state.currentStep), &FTUEViewModel::screenChanged);

    const auto button = presenter::navigationButton(state);
    const QString title = button ? q(button->title) : QString();
    const bool secondary = button && button->style == presenter::ButtonStyle::secondary;
    const bool pulses = button && button->pulses;
    if (title != navigationTitle_ || secondary != navigationSecondary_ || pulses != navigationPulses_) {
        navigationTitle_ = title;
        navigationSecondary_ = secondary;
        navigationPulses_ = pulses;
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
    if (rows != savingsRows_ || presenter::calculatePulses(state) != calculatePulses_) {
        savingsRows_ = rows;
        calculatePulses_ = presenter::calculatePulses(state);
        emit savingsRowsChanged();
    }

    QVariantList shortcuts;
    for (const auto& shortcut : presenter::recommendedShortcuts(state, profile_))
        shortcuts << QVariantMap{
            {"name", q(shortcut.name)}, {"keys", q(shortcut.keys)}, {"isHighlighted", shortcut.isHighlighted}};
    assign(this, shortcuts_, shortcuts, &FTUEViewModel::shortcutsChanged);

    const auto panel = presenter::practicePanel(state);
    QVariantList indicators;
    for (const auto& indicator : panel.indicators) {
        const char* look = indicator.state == presenter::IndicatorState::done   ? "done"
                           : indicator.state == presenter::IndicatorState::next ? "next"
                                                                                : "waiting";
        indicators << QVariantMap{{"number", QString::number(indicator.number)}, {"state", QString(look)}};
    }
    if (panel.finished != practiceFinished_ || indicators != indicators_ || q(panel.remainingText) != remainingText_ ||
        panel.remainingVisible != remainingVisible_) {
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
    visibleArea_ = area;
    updateFrameScale();
}

void FTUEViewModel::updateFrameScale() {
    assign(this, frameScale_, presenter::frameScale(visibleArea_, frameSize()), &FTUEViewModel::frameScaleChanged);
}

void FTUEViewModel::setInputCapabilities(const InputCapabilities& input) {
    assign(this, keySourceNotice_, q(presenter::keySourceNotice(input)), &FTUEViewModel::keySourceNoticeChanged);
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
