#include "views/presenters/RootPresenter.h"

#include <algorithm>

namespace tavrin {

RootPresentation presentRoot(const AppDomain::State& state) {
    if (state.ftue.ftueCompleted)
        return {RootPresentation::Content::cheatsheet, true, false};
    return {RootPresentation::Content::ftue, false, true};
}

BottomLeftRect cheatsheetFrame(std::optional<BottomLeftRect> visibleFrame) {
    const BottomLeftRect visible = visibleFrame.value_or(BottomLeftRect{});
    return {visible.width - 400, visible.y + 300, 400, 400};
}

BottomLeftRect ftueFrame(std::optional<BottomLeftRect> visibleFrame) {
    double scale = 1;
    if (visibleFrame)
        scale = std::min({visibleFrame->width / 1100, visibleFrame->height / 600, 1.0});
    const double width = 1100 * scale, height = 600 * scale;
    const BottomLeftRect visible = visibleFrame.value_or(BottomLeftRect{0, 0, width, height});
    return {visible.x + (visible.width - width) / 2, visible.y + (visible.height - height) / 2, width, height};
}

} // namespace tavrin
