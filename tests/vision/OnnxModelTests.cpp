#include <onnx/onnx_pb.h>

#include <gtest/gtest.h>

#include <array>
#include <fstream>

#include "support/CapturingLogSink.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"
#include "vision/onnx/OnnxModelLoader.h"

namespace tavrin {
namespace {

const std::filesystem::path kModel = TAVRIN_TEST_MODEL;

ImageRef solid(int r, int g, int b, int width = 224, int height = 224) {
    auto image = std::make_shared<Image>(
        Image{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 4)});
    for (std::size_t i = 0; i < image->rgba.size(); i += 4) {
        image->rgba[i] = static_cast<std::uint8_t>(r);
        image->rgba[i + 1] = static_cast<std::uint8_t>(g);
        image->rgba[i + 2] = static_cast<std::uint8_t>(b);
        image->rgba[i + 3] = 255;
    }
    return image;
}

TEST(StandInModel, LabelsAPictureByItsMeanColourAndTheApplication) {
    testing::ScopedLogCapture log;
    OnnxModelLoader loader;
    ImageClassifier classifier(kModel.parent_path(), loader);
    ASSERT_TRUE(classifier.hasModel());
    EXPECT_TRUE(log->logged().empty());
    EXPECT_EQ(classifier.appNameToIndexMapping().size(), 7u);
    struct Case {
        int r, g, b;
        std::string app, domain;
        std::string label;
        float confidence;
    };
    const std::vector<Case> cases = {{255, 0, 0, "", "", "button", 0.998742f},
                                     {0, 255, 0, "slack", "", "menu item", 0.988110f},
                                     {0, 0, 255, "google_chrome", "gmail", "text field", 0.998525f},
                                     {128, 128, 128, "", "", "other", 0.404610f},
                                     {128, 128, 128, "firefox", "", "tab", 0.563734f},
                                     {10, 200, 30, "", "", "menu item", 0.986646f}};
    for (const auto& c : cases) {
        const auto [label, confidence] = classifier.classify(solid(c.r, c.g, c.b), c.app, c.domain);
        EXPECT_EQ(label, c.label) << c.r << "," << c.g << "," << c.b << " in " << c.app;
        EXPECT_NEAR(confidence, c.confidence, 1e-6);
    }
}

TEST(StandInModel, GivesEveryLabelHighestFirstAndScalesOtherSizesToItsInput) {
    OnnxModelLoader loader;
    const auto model = loader.load(kModel);
    const auto results = model->classify(*solid(128, 128, 128), 4);
    ASSERT_TRUE(results);
    ASSERT_EQ(results->size(), 5u);
    EXPECT_EQ((*results)[0].identifier, "tab");
    EXPECT_EQ((*results)[1].identifier, "other");
    for (std::size_t k = 1; k < results->size(); ++k)
        EXPECT_GE((*results)[k - 1].confidence, (*results)[k].confidence);
    EXPECT_EQ(model->classify(*solid(255, 0, 0, 100, 60), 0), model->classify(*solid(255, 0, 0), 0));
}

// The stand-in model with one metadata entry replaced (or removed, for an empty value) and
// `change` applied, saved in `folder`.
void writeVariant(const std::filesystem::path& folder, const std::string& key, const std::string& value,
                  const std::function<void(onnx::ModelProto&)>& change = {}) {
    onnx::ModelProto model;
    std::ifstream in(kModel, std::ios::binary);
    ASSERT_TRUE(model.ParseFromIstream(&in));
    auto* entries = model.mutable_metadata_props();
    for (int i = entries->size() - 1; i >= 0; --i)
        if (entries->Get(i).key() == key)
            entries->DeleteSubrange(i, 1);
    if (!value.empty()) {
        auto* entry = model.add_metadata_props();
        entry->set_key(key);
        entry->set_value(value);
    }
    if (change)
        change(model);
    std::ofstream out(folder / ImageClassifier::modelFileName, std::ios::binary);
    ASSERT_TRUE(model.SerializeToOstream(&out));
}

TEST(OnnxModelLoader, RefusesFilesThatDoNotKeepTheContractAndSaysWhy) {
    testing::TempDir folder;
    OnnxModelLoader loader;
    auto refusal = [&] {
        try {
            loader.load(folder / ImageClassifier::modelFileName);
        } catch (const ModelError& error) {
            return std::string(error.what());
        }
        return std::string("loaded");
    };
    std::ofstream(folder / ImageClassifier::modelFileName) << "not a model";
    EXPECT_NE(refusal().find("Failed to parse ONNX model"), std::string::npos) << refusal();

    writeVariant(folder.path(), "labels", "", [](onnx::ModelProto& m) {
        m.mutable_graph()->mutable_input(1)->mutable_type()->mutable_tensor_type()->set_elem_type(
            onnx::TensorProto_DataType_INT64);
    });
    EXPECT_EQ(refusal(), "the model's input \"app_name_input\" is not a 32-bit integer of shape [1]");
    writeVariant(folder.path(), "labels", "");
    EXPECT_EQ(refusal(), "the model's metadata has no \"labels\"");
    writeVariant(folder.path(), "image_input_format",
                 R"({"layout":"NHWC","channels":"RGB","width":224,"height":224,"scale":1})");
    EXPECT_EQ(refusal(), "the model's picture layout \"NHWC\" is not supported; NCHW is");
}

} // namespace
} // namespace tavrin
