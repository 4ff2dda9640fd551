#include <gtest/gtest.h>

#include "support/CapturingLogSink.h"
#include "support/FakeVision.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"

namespace tavrin {
namespace {

using testing::FakeModelLoader;

ImageRef picture(int width = 224, int height = 224) {
    return std::make_shared<const Image>(
        Image{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 4, 200)});
}

// The code and text of the classifier's own error thrown by `call`.
template <class Call> std::pair<int, std::string> classifierError(Call call) {
    try {
        call();
    } catch (const CodedError& error) {
        EXPECT_EQ(error.domain(), "ImageClassifier");
        return {error.code(), error.description()};
    }
    ADD_FAILURE() << "no error";
    return {};
}

struct ImageClassifierTest : ::testing::Test {
    testing::TempDir resources;
    FakeModelLoader loader;
    testing::ScopedLogCapture log;

    ImageClassifierTest() { testing::writeModelFile(resources.path()); }
    std::unique_ptr<ImageClassifier> make() { return std::make_unique<ImageClassifier>(resources.path(), loader); }
};

TEST_F(ImageClassifierTest, ApplicationsGetTheModelsNamesAndTheGmailSiteWinsOverAnyApplication) {
    const auto classifier = make();
    const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
        {"gmail", "", "gmail"},      {"google_chrome", "", "chrome"},
        {"safari", "", "safari"},    {"firefox", "", "firefox"},
        {"mail", "", "apple_mail"},  {"microsoft_outlook", "", "outlook"},
        {"slack", "", "slack"},      {"google_chrome", "gmail", "gmail"},
        {"xcode", "gmail", "gmail"}, {"google_chrome", "github", "chrome"},
        {"xcode", "", ""},           {"Slack", "", ""}, // exact names only
        {"chrome", "", ""},                             // the model's name is not an application name
        {"slack", "Gmail", "slack"},
    };
    for (const auto& [app, domain, expected] : cases)
        EXPECT_EQ(classifier->modelAppName(app, domain), expected) << app << " on " << domain;
    EXPECT_EQ(classifier->appNameMapping().size(), 7u);
}

TEST_F(ImageClassifierTest, TheModelGetsItsOwnIndexAndZeroForAnApplicationItDoesNotKnow) {
    const auto classifier = make();
    EXPECT_EQ(classifier->classify(picture(), "google_chrome", ""), std::make_pair(std::string("button"), 0.75f));
    classifier->classify(picture(), "google_chrome", "gmail");
    classifier->classify(picture(), "xcode", "");
    classifier->classify(picture(), "mail", "github");
    EXPECT_EQ(loader.model->indices, (std::vector<std::int32_t>{2, 1, 0, 5}));
    EXPECT_TRUE(log->logged().empty());
}

TEST_F(ImageClassifierTest, AMissingOrUnreadableIndexTableIsLoggedAndEveryApplicationGetsZero) {
    const std::vector<std::pair<std::optional<std::string>, std::string>> cases = {
        {std::nullopt, "app_name_to_idx not found in model metadata"},
        {"{\"chrome\":2,\"caf\xc3\": 3}", "Failed to convert app_name_to_idx string to data"},
        {"[2, 3]", "Failed to parse app_name_to_idx JSON: "},
        {"{\"chrome\":\"2\"}", "Failed to parse app_name_to_idx JSON: "},
        {"{\"gmail\":1,\"chrome\":3000000000}", "Failed to parse app_name_to_idx JSON: "},
    };
    for (const auto& [table, line] : cases) {
        log->clear();
        loader.metadata.clear();
        if (table)
            loader.metadata["app_name_to_idx"] = *table;
        const auto classifier = make();
        ASSERT_EQ(log->logged().size(), 1u) << line;
        const auto entry = log->logged().front();
        EXPECT_EQ(entry.level, LogLevel::error);
        EXPECT_EQ(entry.category, "Classification");
        EXPECT_EQ(entry.message.substr(0, line.size()), line);
        if (line.back() == ' ') {
            EXPECT_GT(entry.message.size(), line.size()) << "the reason follows";
        }
        // Nothing half-read: the table stays empty, and classification still works.
        EXPECT_TRUE(classifier->appNameToIndexMapping().empty()) << line;
        classifier->classify(picture(), "gmail", "");
        EXPECT_EQ(loader.model->indices.back(), 0);
    }
}

TEST_F(ImageClassifierTest, WithoutTheModelOrWithOneThatDoesNotLoadEveryCallFailsWithCodeOne) {
    std::filesystem::remove(resources / "tavrin_v0_3.onnx");
    const auto classifier = make();
    EXPECT_TRUE(loader.loaded.empty());
    ASSERT_EQ(log->logged().size(), 1u);
    EXPECT_EQ(log->logged()[0].level, LogLevel::error);
    EXPECT_EQ(log->logged()[0].message, "Failed to find the model file 'tavrin_v0_3.mlpackage' in the main bundle.");
    EXPECT_FALSE(classifier->hasModel());
    EXPECT_EQ(classifierError([&] { classifier->classify(picture(), "slack", ""); }),
              std::make_pair(1, std::string("Failed to convert NSImage to CGImage")));

    // A model that does not load: logged with the reason, and the same failure.
    testing::writeModelFile(resources.path());
    loader.loadError = "Failed to parse ONNX model: /x/tavrin_v0_3.onnx";
    log->clear();
    const auto unloaded = make();
    EXPECT_EQ(log->loggedMessages(),
              std::vector<std::string>{"Failed to load the model: Failed to parse ONNX model: /x/tavrin_v0_3.onnx"});
    EXPECT_EQ(classifierError([&] { unloaded->classify(picture(), "slack", ""); }).first, 1);
}

TEST_F(ImageClassifierTest, NoPictureFailsWithCodeOneNoResultsWithCodeTwoAndTheRuntimesErrorsPassThrough) {
    loader.results = std::vector<ClassificationObservation>{};
    auto classifier = make();
    EXPECT_EQ(classifierError([&] { classifier->classify(nullptr, "", ""); }).first, 1);
    EXPECT_EQ(classifierError([&] { classifier->classify(picture(0, 0), "", ""); }).first, 1);
    EXPECT_EQ(classifierError([&] { classifier->classify(picture(), "", ""); }),
              std::make_pair(2, std::string("Failed to get classification results")));
    loader.results.reset(); // output not of the expected kind
    classifier = make();
    EXPECT_EQ(classifierError([&] { classifier->classify(picture(), "", ""); }).first, 2);

    loader.model->error = "Requested blob \"app_name_input\" not found";
    try {
        classifier->classify(picture(), "", "");
        ADD_FAILURE() << "no error";
    } catch (const ModelError& error) {
        EXPECT_STREQ(error.what(), "Requested blob \"app_name_input\" not found");
    }
}

} // namespace
} // namespace tavrin
