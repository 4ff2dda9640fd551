#include <gtest/gtest.h>

#include "views/presenters/RootPresenter.h"

namespace tavrin {
namespace {

TEST(RootPresenterTest, FirstRunIsAnOrdinaryWindowAndTheCheatsheetFloatsWithoutTakingTheKeyboard) {
    AppDomain::State state;
    EXPECT_EQ(presentRoot(state), (RootPresentation{RootPresentation::Content::ftue, false, true}));
    state.ftue.ftueCompleted = true;
    EXPECT_EQ(presentRoot(state), (RootPresentation{RootPresentation::Content::cheatsheet, true, false}));
}

TEST(RootPresenterTest, PlacesTheWindowsOnTheVisibleFrameInTopLeftScreenCoordinates) {
    const double screenHeight = 800;
    // A 30-pixel panel along the bottom: the cheat sheet's bottom edge is 300 above the panel.
    const BottomLeftRect abovePanel{0, 30, 1280, 770};
    EXPECT_EQ(cheatsheetFrame(abovePanel), (BottomLeftRect{880, 330, 400, 400}));
    EXPECT_EQ(flipped(cheatsheetFrame(abovePanel), screenHeight), (TopLeftRect{880, 70, 400, 400}));
    // A panel on the left moves the window by its width: x is the visible width minus 400.
    EXPECT_EQ(cheatsheetFrame(BottomLeftRect{48, 0, 1232, 800}).x, 832);
    EXPECT_EQ(cheatsheetFrame(std::nullopt), (BottomLeftRect{-400, 300, 400, 400}));

    // The first-run window shrinks to fit a small screen, never grows, and sits in the middle.
    EXPECT_EQ(ftueFrame(BottomLeftRect{0, 0, 1920, 1080}), (BottomLeftRect{410, 240, 1100, 600}));
    const BottomLeftRect small = ftueFrame(BottomLeftRect{0, 0, 1024, 600});
    EXPECT_DOUBLE_EQ(small.width, 1024);
    EXPECT_NEAR(small.height, 600 * 1024.0 / 1100, 1e-9);
    EXPECT_EQ(small.x, 0);
    EXPECT_NEAR(small.y + small.height / 2, 300, 1e-9);
    // Larger desktop text makes a larger frame, fitted the same way.
    EXPECT_EQ(ftueFrame(BottomLeftRect{0, 0, 1920, 1080}, views::ftue::frameSize(21)),
              (BottomLeftRect{135, 90, 1650, 900}));
}

} // namespace
} // namespace tavrin
