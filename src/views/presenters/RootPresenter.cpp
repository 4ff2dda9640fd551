#include "views/presenters/RootPresenter.h"

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

BottomLeftRect ftueFrame(std::optional<BottomLeftRect> visibleFrame, views::ftue::ScreenArea frame) {
    std::optional<views::ftue::ScreenArea> area;
    if (visibleFrame)
        area = views::ftue::ScreenArea{visibleFrame->width, visibleFrame->height};
    const double scale = views::ftue::frameScale(area, frame);
    const double width = frame.width * scale, height = frame.height * scale;
    const BottomLeftRect visible = visibleFrame.value_or(BottomLeftRect{0, 0, width, height});
    return {visible.x + (visible.width - width) / 2, visible.y + (visible.height - height) / 2, width, height};
}

} // namespace tavrin
