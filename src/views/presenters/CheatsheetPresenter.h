#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/Geometry.h"
#include "platform/PlatformProfile.h"
#include "views/presenters/ShortcutCardPresenter.h"

namespace tavrin {

// The line under the title: which site is in front, or that the application's shortcuts are not
// known yet.
struct CheatsheetSubtitle {
    std::string text;
    bool showsInfo = false;  // an "info.circle" image after the text
    std::string infoTooltip; // the image's help text
    std::string helpUrl;     // opened by a tap on the image; empty when the tap does nothing
    bool operator==(const CheatsheetSubtitle&) const = default;
};

// "Tavrin" without an application; else its normalised name with blanks for "_", capitalised
// word by word for `locale` (an ICU locale id, "" for the process's default).
std::string cheatsheetTitle(const AppDomain::ActiveNamespace& place, std::string_view locale = "");

// The subtitle rule, first match wins: the mail site (with its help link), the spreadsheet site,
// nothing for a supported application, the profile's "not yet supported" line without a site,
// else nothing.
std::optional<CheatsheetSubtitle> cheatsheetSubtitle(const AppDomain::ActiveNamespace& place,
                                                     const PlatformProfile& profile, std::string_view locale = "");

struct CheatsheetPresentation {
    std::string title;
    std::optional<CheatsheetSubtitle> subtitle;
    ShortcutCategory category = ShortcutCategory::recommended;
    // Nothing recommended: the welcome panel stands in for the list, whatever the category.
    bool showsWelcome = true;
    std::vector<ShortcutCardPresentation> cards; // in the order of the state's list
    // The nudge in force for a screen reader to announce ("Save: Ctrl + S"), its time as a token
    // that changes with every new nudge (0: none).
    std::string nudgeAnnouncement;
    std::int64_t nudgedAt = 0;
    bool operator==(const CheatsheetPresentation&) const = default;
};

CheatsheetPresentation presentCheatsheet(const AppDomain::State& state, ColorScheme scheme,
                                         const PlatformProfile& profile, std::string_view locale = "");

// Where the shrink control puts the window, as a frame in top-left screen coordinates (X11's):
// the bottom right corner of the visible frame, 280 by 296 when expanded, 400 by 400 when
// `isShrunken` (the state before the tap).
TopLeftRect shrinkTarget(bool isShrunken, const TopLeftRect& visibleFrame);

} // namespace tavrin
