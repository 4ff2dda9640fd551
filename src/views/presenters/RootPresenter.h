#pragma once

#include <optional>
#include <string>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/Geometry.h"
#include "views/presenters/FTUEPresenter.h"

namespace tavrin {

// What the one window shows and how it sits on the screen. Plain C++: the Qt side only applies it.
struct RootPresentation {
    enum class Content { ftue, cheatsheet };
    Content content = Content::ftue;
    // The cheat sheet floats above other windows and never takes the keyboard from the
    // application the user works in; the first-run flow is an ordinary window that does.
    bool floating = false;
    bool takesFocus = true;
    bool operator==(const RootPresentation&) const = default;
};

// The first-run flow until it has completed, the cheat sheet afterwards (by the first-run state's
// own flag, not the root state's copy).
RootPresentation presentRoot(const AppDomain::State& state);

// Where the cheat sheet goes when it appears, in the screen's bottom-left convention: 400 by 400,
// x at the visible frame's width minus 400 (the width, not the right edge), y 300 above the
// visible frame's bottom. Without a screen, (-400, 300).
BottomLeftRect cheatsheetFrame(std::optional<BottomLeftRect> visibleFrame);

// The first-run window: its frame (1100 by 600 for the drawn font size) scaled down to fit the
// visible frame, never up, in the middle of it.
BottomLeftRect ftueFrame(std::optional<BottomLeftRect> visibleFrame,
                         views::ftue::ScreenArea frame = views::ftue::frameSize());

} // namespace tavrin
