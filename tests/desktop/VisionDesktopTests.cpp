// Runs inside scripts/virtual-desktop: the screen is painted with known colours, then read by the
// X11 capture and by `tavrin inspect --picture`.
#include <gtest/gtest.h>

#include <png.h>

#include "platform/linux/X11ScreenCapture.h"
#include "support/Desktop.h"
#include "support/PaintedScreen.h"
#include "support/TempDir.h"
#include "vision/ScreenshotManager.h"

namespace tavrin {
namespace {

using testing::PaintedScreen;

std::uint32_t pixel(const Image& image, int x, int y) {
    const auto* p = &image.rgba[(static_cast<std::size_t>(y) * image.width + x) * 4];
    EXPECT_EQ(p[3], 255) << "opaque";
    return (std::uint32_t{p[0]} << 16) | (std::uint32_t{p[1]} << 8) | p[2];
}

class VisionDesktopTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_NE(std::getenv("DISPLAY"), nullptr) << "run these tests through scripts/virtual-desktop";
        screen_ = new PaintedScreen;
    }
    static void TearDownTestSuite() {
        delete screen_;
        screen_ = nullptr;
    }
    static PaintedScreen* screen_;
};
PaintedScreen* VisionDesktopTest::screen_ = nullptr;

TEST_F(VisionDesktopTest, ThePictureAroundThePointIsTheScreenWithoutThePointer) {
    // The pointer sits beside the picture's centre, where the red and blue halves meet (not on it:
    // the screen's centre is where it starts, and a move there would never be reported).
    ASSERT_TRUE(testing::runCommand("xdotool mousemove --sync 642 402"));
    X11ScreenCapture capture;
    const auto content = capture.shareableContent();
    ASSERT_EQ(content.displays, std::vector<PixelSize>{(PixelSize{1280, 800})});
    const auto area = captureRect({640, 400}, {224, 224}, content.displays[0]);
    ASSERT_EQ(area, (PixelRect{528, 288, 224, 224}));
    const Image image = capture.capture(*area, {224, 224});
    EXPECT_TRUE(capture.usesSharedMemory());
    ASSERT_EQ(image.width, 224);
    ASSERT_EQ(image.height, 224);
    for (int y = 0; y < 224; ++y)
        for (int x = 0; x < 224; ++x)
            ASSERT_EQ(pixel(image, x, y), x < 112 ? PaintedScreen::red : PaintedScreen::blue) << x << "," << y;
}

TEST_F(VisionDesktopTest, ACornerGivesAQuarterScaledUpToTheFullPicture) {
    X11ScreenCapture capture;
    const auto area = captureRect({0, 800}, {224, 224}, {1280, 800});
    ASSERT_EQ(area, (PixelRect{0, 0, 112, 112}));
    const Image image = capture.capture(*area, {224, 224});
    ASSERT_EQ(image.width, 224);
    // 112 pixels of 16-pixel squares, doubled: squares of 32, read at their centres.
    for (int row = 0; row < 7; ++row)
        for (int column = 0; column < 7; ++column)
            EXPECT_EQ(pixel(image, column * 32 + 16, row * 32 + 16),
                      (row + column) % 2 ? PaintedScreen::white : PaintedScreen::green)
                << "square " << column << "," << row;
}

TEST_F(VisionDesktopTest, PlainRequestsReadTheSamePixelsAsSharedMemory) {
    X11ScreenCapture shared;
    X11ScreenCapture plain({}, X11ScreenCapture::Transfer::plainRequests);
    for (const PixelRect area : {PixelRect{0, 0, 112, 112}, PixelRect{0, 38, 212, 224}, PixelRect{1167, 288, 113, 224},
                                 PixelRect{528, 288, 224, 224}}) {
        const Image a = shared.capture(area, {224, 224});
        const Image b = plain.capture(area, {224, 224});
        EXPECT_EQ(a.rgba, b.rgba) << area.x << "," << area.y << " " << area.width << "x" << area.height;
    }
    EXPECT_TRUE(shared.usesSharedMemory());
    EXPECT_FALSE(plain.usesSharedMemory());
}

// The whole picture path as a click takes it: the capture, the stand-in model, the file.
TEST_F(VisionDesktopTest, InspectSavesThePictureAndPrintsItsLabel) {
    testing::TempDir folder;
    const auto file = folder / "blue.png";
    auto inspect = testing::Process::start(
        {TAVRIN_EXECUTABLE, "inspect", "900", "400", "--picture", file, "--app", "google_chrome", "--domain", "gmail"},
        folder.path());
    EXPECT_EQ(inspect.wait(), 0) << inspect.errors();
    const auto output = inspect.output();
    EXPECT_NE(output.find("Picture around (900.0, 400.0): 224 by 224, saved to " + file.string()), std::string::npos)
        << output;
    EXPECT_NE(output.find("Label: text field, confidence 0.998525 (application \"google_chrome\", model name "
                          "\"gmail\", index 1)"),
              std::string::npos)
        << output;

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, file.c_str())) << png.message;
    png.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(png));
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr));
    EXPECT_EQ(png.width, 224u);
    EXPECT_EQ(png.height, 224u);
    EXPECT_EQ((std::vector<std::uint8_t>{pixels[0], pixels[1], pixels[2]}), (std::vector<std::uint8_t>{0, 0, 255}));

    const auto none = folder / "none.png";
    auto off = testing::Process::start({TAVRIN_EXECUTABLE, "inspect", "5000", "400", "--picture", none}, folder.path());
    EXPECT_EQ(off.wait(), 1);
    EXPECT_EQ(off.errors(), "tavrin: no picture around (5000.0, 400.0): Nothing of the 224 by 224 area around the "
                            "point lies on the 1280 by 800 display\n");
    EXPECT_FALSE(std::filesystem::exists(none));
}

} // namespace
} // namespace tavrin
