#include <gtest/gtest.h>

#include <fstream>
#include <png.h>

#include "app/PictureFile.h"
#include "support/CapturingLogSink.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"
#include "vision/onnx/OnnxRuntime.h"

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

const std::filesystem::path kModel = TAVRIN_TEST_MODEL;
const std::filesystem::path kModuleFolder = TAVRIN_TEST_MODULE_FOLDER;

std::string messages(const testing::CapturingLogSink& log) {
    std::string all;
    for (const auto& message : log.loggedMessages())
        all += message + "\n";
    return all;
}

TEST(ModelRuntime, LoadsTheModuleOnTheFirstModelAndClassifiesThroughIt) {
    testing::ScopedLogCapture log;
    testing::TempDir elsewhere;
    // The first folder holds no module: the next one is tried.
    OnnxRuntime runtime({elsewhere.path(), kModuleFolder});
    ImageClassifier classifier(kModel.parent_path(), runtime);
    ASSERT_TRUE(classifier.hasModel()) << messages(*log);
    auto red = std::make_shared<Image>(Image{224, 224, std::vector<std::uint8_t>(224 * 224 * 4)});
    for (std::size_t i = 0; i < red->rgba.size(); i += 4) {
        red->rgba[i] = 255;
        red->rgba[i + 3] = 255;
    }
    EXPECT_EQ(classifier.classify(red, "", "").first, "button");
    // A second model comes from the module already loaded; a broken file fails as a model error.
    EXPECT_NE(runtime.load(kModel), nullptr);
    const auto broken = elsewhere.path() / "broken.onnx";
    std::ofstream(broken) << "not a model";
    EXPECT_THROW(runtime.load(broken), ModelError);
}

TEST(ModelRuntime, WithoutTheModuleTheClassifierHasNoModelAndTheLogSaysWhereItLooked) {
    testing::ScopedLogCapture log;
    testing::TempDir empty;
    OnnxRuntime runtime({empty.path() / "lib" / "tavrin"});
    ImageClassifier classifier(kModel.parent_path(), runtime);
    EXPECT_FALSE(classifier.hasModel());
    const auto logged = messages(*log);
    EXPECT_NE(logged.find("the model runtime tavrin-onnx.so is not installed (looked in " +
                          (empty.path() / "lib" / "tavrin").string() + ")"),
              std::string::npos)
        << logged;
}

} // namespace
} // namespace tavrin
