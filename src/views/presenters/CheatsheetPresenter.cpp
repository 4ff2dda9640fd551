#include "foundation/Text.h"
#include "views/presenters/CheatsheetPresenter.h"

#include <algorithm>
#include <string>

#include <unicode/ustring.h>

namespace tavrin {

namespace {

// "google_chrome" as "Google Chrome": blanks for underscores, then each word's first letter in
// title case and the rest in lower case, by the locale's word boundaries.
std::string displayName(std::string_view normalised, std::string_view locale) {
    std::string spaced(normalised);
    std::replace(spaced.begin(), spaced.end(), '_', ' ');
    const std::u16string source = toUtf16(spaced);
    const std::string localeId(locale);
    const char* localePointer = localeId.empty() ? nullptr : localeId.c_str();
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length =
        u_strToTitle(nullptr, 0, source.data(), static_cast<int32_t>(source.size()), nullptr, localePointer, &status);
    std::u16string out(static_cast<std::size_t>(length), u'\0');
    status = U_ZERO_ERROR;
    u_strToTitle(out.data(), length, source.data(), static_cast<int32_t>(source.size()), nullptr, localePointer,
                 &status);
    return U_SUCCESS(status) ? toUtf8(out) : spaced;
}

constexpr std::string_view kMailHelpUrl = "https://support.google.com/mail/answer/6594";

} // namespace

std::string cheatsheetTitle(const AppDomain::ActiveNamespace& place, std::string_view locale) {
    if (place.app.empty())
        return "Tavrin";
    return displayName(place.app, locale);
}

std::optional<CheatsheetSubtitle> cheatsheetSubtitle(const AppDomain::ActiveNamespace& place,
                                                     const PlatformProfile& profile, std::string_view locale) {
    if (place.domain == "gmail")
        return CheatsheetSubtitle{displayName(place.domain, locale), true, "Learn how to enable Gmail shortcuts",
                                  std::string(kMailHelpUrl)};
    if (place.domain == "google_sheets")
        return CheatsheetSubtitle{displayName(place.domain, locale), false, {}, {}};
    if (place.isSupported)
        return std::nullopt;
    if (place.domain.empty())
        return CheatsheetSubtitle{profile.unsupportedAppSubtitle, true, profile.unsupportedAppTooltip, {}};
    return std::nullopt;
}

CheatsheetPresentation presentCheatsheet(const AppDomain::State& state, ColorScheme scheme,
                                         const PlatformProfile& profile, std::string_view locale) {
    CheatsheetPresentation sheet;
    sheet.title = cheatsheetTitle(state.activeNamespace, locale);
    sheet.subtitle = cheatsheetSubtitle(state.activeNamespace, profile, locale);
    sheet.category = state.selectedCategory;
    sheet.showsWelcome = state.recommendations.empty();
    const auto& nudge = state.coaching.nudge;
    if (nudge) {
        sheet.nudgeAnnouncement = nudgeAnnouncement(*nudge, profile);
        sheet.nudgedAt = millisecondsSinceEpoch(nudge->at);
    }
    if (sheet.showsWelcome)
        return sheet;
    if (state.selectedCategory == ShortcutCategory::learned) {
        for (const LearnedShortcut& shortcut : state.learnedShortcuts)
            sheet.cards.push_back(presentCard(shortcut, ShortcutCategory::learned, scheme, profile));
    } else {
        for (const ShortcutRecommendation& shortcut : state.recommendations)
            sheet.cards.push_back(presentCard(shortcut, ShortcutCategory::recommended, scheme, profile));
    }
    for (ShortcutCardPresentation& card : sheet.cards)
        coachCard(card, state.coaching.note(card.shortcutId), nudge, profile, locale);
    return sheet;
}

TopLeftRect shrinkTarget(bool isShrunken, const TopLeftRect& visibleFrame) {
    const double width = isShrunken ? 400 : 280;
    const double height = isShrunken ? 400 : 296;
    return {visibleFrame.x + visibleFrame.width - width, visibleFrame.y + visibleFrame.height - height, width, height};
}

} // namespace tavrin
