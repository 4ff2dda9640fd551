#include <onnx/onnx_pb.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>

#include "support/CapturingLogSink.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"
#include "vision/onnx/OnnxModelLoader.h"

namespace tavrin {
namespace {

const std::filesystem::path kModel = TAVRIN_TEST_MODEL;
const std::vector<std::string> kLabels = {"button", "menu item", "text field", "tab", "other"};

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

// The stand-in model's documented behaviour, worked out here independently of the runtime.
std::array<double, 5> documentedScores(int red, int green, int blue, int index) {
    const double r = red / 255.0, g = green / 255.0, b = blue / 255.0;
    const std::array<double, 5> logits = {4 * (2 * r - g - b), 4 * (2 * g - r - b), 4 * (2 * b - r - g), 0.5 * index,
                                          1};
    std::array<double, 5> scores{};
    double sum = 0;
    for (int k = 0; k < 5; ++k)
        sum += scores[k] = std::exp(logits[k]);
    for (auto& score : scores)
        score /= sum;
    return scores;
}

TEST(StandInModel, LabelsAPictureByItsMeanColourAndTheApplication) {
    testing::ScopedLogCapture log;
    OnnxModelLoader loader;
    ImageClassifier classifier(kModel.parent_path(), loader);
    ASSERT_TRUE(classifier.hasModel());
    EXPECT_TRUE(log->logged().empty());
    EXPECT_EQ(classifier.appNameToIndexMapping(), (std::map<std::string, std::int32_t>{{"apple_mail", 5},
                                                                                       {"chrome", 2},
                                                                                       {"firefox", 4},
                                                                                       {"gmail", 1},
                                                                                       {"outlook", 6},
                                                                                       {"safari", 3},
                                                                                       {"slack", 7}}));
    struct Case {
        int r, g, b;
        std::string app, domain;
        int index;
        std::string label;
        float confidence;
    };
    const std::vector<Case> cases = {
        {255, 0, 0, "", "", 0, "button", 0.998742f},
        {0, 255, 0, "slack", "", 7, "menu item", 0.988110f},
        {0, 0, 255, "google_chrome", "gmail", 1, "text field", 0.998525f},
        {128, 128, 128, "", "", 0, "other", 0.404610f},
        {128, 128, 128, "firefox", "", 4, "tab", 0.563734f},
        {128, 128, 128, "xcode", "", 0, "other", 0.404610f},
        {10, 200, 30, "", "", 0, "menu item", 0.986646f},
    };
    for (const auto& c : cases) {
        const auto [label, confidence] = classifier.classify(solid(c.r, c.g, c.b), c.app, c.domain);
        EXPECT_EQ(label, c.label) << c.r << "," << c.g << "," << c.b << " in " << c.app;
        EXPECT_NEAR(confidence, c.confidence, 1e-6);
        const auto scores = documentedScores(c.r, c.g, c.b, c.index);
        // The runtime averages the 50 176 pixels in single precision: a mixed colour is off by a
        // hundredth of a level, which moves the confidence in the fifth digit.
        EXPECT_NEAR(confidence, *std::max_element(scores.begin(), scores.end()), 1e-4);
    }
}

TEST(StandInModel, GivesEveryLabelHighestFirstAndScalesOtherSizesToItsInput) {
    OnnxModelLoader loader;
    const auto model = loader.load(kModel);
    const auto results = model->classify(*solid(128, 128, 128), 4);
    ASSERT_TRUE(results);
    ASSERT_EQ(results->size(), 5u);
    const auto scores = documentedScores(128, 128, 128, 4);
    std::vector<std::pair<double, std::string>> expected;
    for (int k = 0; k < 5; ++k)
        expected.emplace_back(scores[k], kLabels[k]);
    std::stable_sort(expected.begin(), expected.end(), [](auto& a, auto& b) { return a.first > b.first; });
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_EQ((*results)[k].identifier, expected[k].second);
        EXPECT_NEAR((*results)[k].confidence, expected[k].first, 1e-5);
    }

    const auto small = model->classify(*solid(255, 0, 0, 100, 60), 0);
    const auto full = model->classify(*solid(255, 0, 0), 0);
    EXPECT_EQ(small, full);
}

// The stand-in model, changed by `change`, saved as the classifier's model file in `folder`.
void writeVariant(const std::filesystem::path& folder, const std::function<void(onnx::ModelProto&)>& change) {
    onnx::ModelProto model;
    std::ifstream in(kModel, std::ios::binary);
    ASSERT_TRUE(model.ParseFromIstream(&in));
    change(model);
    std::ofstream out(folder / ImageClassifier::modelFileName, std::ios::binary);
    ASSERT_TRUE(model.SerializeToOstream(&out));
}

void setMetadata(onnx::ModelProto& model, const std::string& key, const std::optional<std::string>& value) {
    auto* props = model.mutable_metadata_props();
    for (int i = 0; i < props->size(); ++i)
        if (props->Get(i).key() == key) {
            if (value)
                props->Mutable(i)->set_value(*value);
            else
                props->DeleteSubrange(i, 1);
            return;
        }
    if (value) {
        auto* entry = model.add_metadata_props();
        entry->set_key(key);
        entry->set_value(*value);
    }
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

    const auto renameAppInput = [](onnx::ModelProto& m) {
        m.mutable_graph()->mutable_input(1)->set_name("app");
        for (auto& node : *m.mutable_graph()->mutable_node())
            for (auto& input : *node.mutable_input())
                if (input == "app_name_input")
                    input = "app";
    };
    const std::vector<std::pair<std::function<void(onnx::ModelProto&)>, std::string>> cases = {
        {renameAppInput, "the model has no input named \"app_name_input\""},
        {[](auto& m) {
             m.mutable_graph()->mutable_input(1)->mutable_type()->mutable_tensor_type()->set_elem_type(
                 onnx::TensorProto_DataType_INT64);
         },
         "the model's input \"app_name_input\" is not a 32-bit integer of shape [1]"},
        {[](auto& m) { setMetadata(m, "labels", std::nullopt); }, "the model's metadata has no \"labels\""},
        {[](auto& m) { setMetadata(m, "labels", "\"button\""); }, "the model's \"labels\" are not a list of texts"},
        {[](auto& m) {
             setMetadata(m, "image_input_format",
                         R"({"layout":"NHWC","channels":"RGB","width":224,"height":224,"scale":1})");
         },
         "the model's picture layout \"NHWC\" is not supported"},
        {[](auto& m) {
             setMetadata(m, "image_input_format",
                         R"({"layout":"NCHW","channels":"RGB","width":100,"height":224,"scale":1})");
         },
         "the picture size in the model's \"image_input_format\" does not match its input"},
    };
    for (const auto& [change, reason] : cases) {
        writeVariant(folder.path(), change);
        const auto said = refusal();
        EXPECT_EQ(said.substr(0, reason.size()), reason) << said;
    }
}

TEST(StandInModel, WithoutItsIndexTableEveryApplicationIsFedAsUnknown) {
    testing::TempDir folder;
    writeVariant(folder.path(), [](onnx::ModelProto& m) { setMetadata(m, "app_name_to_idx", std::nullopt); });
    testing::ScopedLogCapture log;
    OnnxModelLoader loader;
    ImageClassifier classifier(folder.path(), loader);
    EXPECT_EQ(log->loggedMessages(), std::vector<std::string>{"app_name_to_idx not found in model metadata"});
    const auto [label, confidence] = classifier.classify(solid(128, 128, 128), "firefox", "");
    EXPECT_EQ(label, "other") << "firefox's index would make it a tab";
    EXPECT_NEAR(confidence, 0.404610f, 1e-6);
}

TEST(StandInModel, ASwappedChannelOrderIsTheModelsToSay) {
    testing::TempDir folder;
    writeVariant(folder.path(), [](onnx::ModelProto& m) {
        setMetadata(m, "image_input_format",
                    R"({"layout":"NCHW","channels":"BGR","width":224,"height":224,"scale":0.00392156862745098})");
    });
    OnnxModelLoader loader;
    ImageClassifier classifier(folder.path(), loader);
    EXPECT_EQ(classifier.classify(solid(255, 0, 0), "", "").first, "text field") << "red read as blue";
}

} // namespace
} // namespace tavrin
