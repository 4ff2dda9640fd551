#include <gtest/gtest.h>

#include <fstream>

#include "support/CapturingLogSink.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"
#include "vision/onnx/OnnxRuntime.h"

namespace tavrin {
namespace {

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
