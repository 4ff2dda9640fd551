#include <gtest/gtest.h>

#include <png.h>

#include "app/PictureFile.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

TEST(PictureFile, WritesTheRowsTopToBottomAsRgb) {
    testing::TempDir folder;
    // 3 by 2: red, green, blue over white, black, grey; alpha is not kept.
    const Image image{
        3, 2, {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 9, 255, 255, 255, 255, 0, 0, 0, 255, 128, 128, 128, 0}};
    const auto file = folder / "picture.png";
    ASSERT_EQ(writePng(image, file), std::nullopt);

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, file.c_str())) << png.message;
    EXPECT_EQ(png.width, 3u);
    EXPECT_EQ(png.height, 2u);
    EXPECT_EQ(png.format, static_cast<png_uint_32>(PNG_FORMAT_RGB));
    png.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(png));
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) << png.message;
    EXPECT_EQ(pixels,
              (std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 0, 0, 0, 128, 128, 128}));
}

TEST(PictureFile, SaysWhyItCannotWriteAndLeavesNothing) {
    testing::TempDir folder;
    const Image image{1, 1, {1, 2, 3, 255}};
    const auto problem = writePng(image, folder / "missing" / "picture.png");
    ASSERT_TRUE(problem);
    EXPECT_EQ(*problem, "No such file or directory");
    EXPECT_EQ(writePng(Image{}, folder / "empty.png"), std::optional<std::string>("the picture is empty"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

} // namespace
} // namespace tavrin
