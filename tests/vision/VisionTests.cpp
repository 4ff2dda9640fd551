#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "platform/fake/VirtualScheduler.h"
#include "support/CapturingLogSink.h"
#include "support/FakeVision.h"
#include "support/Fakes.h"
#include "support/TempDir.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManager.h"

namespace tavrin {

namespace {

using testing::FakeModelLoader;

ImageRef picture(int width = 224, int height = 224) {
    return std::make_shared<const Image>(
        Image{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 4, 200)});
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
        {"google_chrome", "", "chrome"},
        {"mail", "", "apple_mail"},
        {"google_chrome", "gmail", "gmail"},
        {"xcode", "gmail", "gmail"},
        {"google_chrome", "github", "chrome"},
        {"xcode", "", ""},
        {"Slack", "", ""},  // exact names only
        {"chrome", "", ""}, // the model's name is not an application name
        {"slack", "Gmail", "slack"}};
    for (const auto& [app, domain, expected] : cases)
        EXPECT_EQ(classifier->modelAppName(app, domain), expected) << app << " on " << domain;
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
        {"{\"gmail\":1,\"chrome\":3000000000}", "Failed to parse app_name_to_idx JSON: "}};
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

// Every way a call fails, with the classifier's code and text, and what the start logged.
TEST_F(ImageClassifierTest, EachFailureHasItsCodeAndText) {
    const struct {
        const char* what;
        void (*arrange)(ImageClassifierTest&);
        ImageRef image;
        int code;
        const char* text;
        const char* logged;
    } cases[] = {{"no model file", [](auto& t) { std::filesystem::remove(t.resources / "tavrin_v0_3.onnx"); },
                  picture(), 1, "Failed to convert NSImage to CGImage",
                  "Failed to find the model file 'tavrin_v0_3.mlpackage' in the main bundle."},
                 {"a model that does not load", [](auto& t) { t.loader.loadError = "Failed to parse ONNX model: /x"; },
                  picture(), 1, "Failed to convert NSImage to CGImage",
                  "Failed to load the model: Failed to parse ONNX model: /x"},
                 {"no picture", [](auto&) {}, nullptr, 1, "Failed to convert NSImage to CGImage", nullptr},
                 {"an empty picture", [](auto&) {}, picture(0, 0), 1, "Failed to convert NSImage to CGImage", nullptr},
                 {"no results", [](auto& t) { t.loader.results = std::vector<ClassificationObservation>{}; }, picture(),
                  2, "Failed to get classification results", nullptr},
                 {"output of another kind", [](auto& t) { t.loader.results.reset(); }, picture(), 2,
                  "Failed to get classification results", nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        testing::writeModelFile(resources.path());
        loader = {};
        c.arrange(*this);
        log->clear();
        const auto classifier = make();
        EXPECT_EQ(log->loggedMessages(), c.logged ? std::vector<std::string>{c.logged} : std::vector<std::string>{});
        try {
            classifier->classify(c.image, "slack", "");
            ADD_FAILURE() << "no error";
        } catch (const CodedError& error) {
            EXPECT_EQ(error.domain(), "ImageClassifier");
            EXPECT_EQ(std::make_pair(error.code(), error.description()), std::make_pair(c.code, std::string(c.text)));
        }
    }

    // The runtime's own errors pass through as they are.
    loader = {};
    auto classifier = make();
    classifier->classify(picture(), "", "");
    loader.model->error = "Requested blob \"app_name_input\" not found";
    EXPECT_THROW(classifier->classify(picture(), "", ""), ModelError);
}

using Strings = std::vector<std::string>;

TEST(CaptureRect, IsCentredOnThePointAndCutToTheDisplayOrEmpty) {
    const PixelSize size{224, 224}, display{1280, 800};
    // Points count from the bottom left; rectangles from the top left.
    EXPECT_EQ(captureRect({640, 400}, size, display), (PixelRect{528, 288, 224, 224}));
    EXPECT_EQ(captureRect({0, 800}, size, display), (PixelRect{0, 0, 112, 112})) << "top-left corner: a quarter";
    EXPECT_EQ(captureRect({1280, 0}, size, display), (PixelRect{1168, 688, 112, 112})) << "bottom-right corner";
    EXPECT_EQ(captureRect({1279, 400}, size, display), (PixelRect{1167, 288, 113, 224}));
    EXPECT_EQ(captureRect({100, 650}, size, display), (PixelRect{0, 38, 212, 224}));
    EXPECT_EQ(captureRect({640.4, 400.6}, size, display), (PixelRect{528, 287, 224, 224}));
    EXPECT_EQ(captureRect({1391, 400}, size, display), (PixelRect{1279, 288, 1, 224})) << "one column left";
    // Nothing at all off the display.
    EXPECT_EQ(captureRect({5000, 400}, size, display), std::nullopt);
    EXPECT_EQ(captureRect({640, 912}, size, display), std::nullopt);
    EXPECT_EQ(captureRect({NAN, 400}, size, display), std::nullopt);
    EXPECT_EQ(captureRect({640, 400}, size, {0, 0}), std::nullopt);
}

// Outcomes as short lines: "captured A 224x224", "classified A button 0.75", ...
class RecordingStore final : public ScreenshotStore {
public:
    Strings events;
    std::string app, domain;

    static std::string name(const Uuid& uuid) { return std::string(1, static_cast<char>('A' + uuid.bytes[0])); }
    void screenshotCaptured(const Uuid& uuid, ImageRef image) override {
        events.push_back("captured " + name(uuid) + " " + std::to_string(image->width) + "x" +
                         std::to_string(image->height));
    }
    void screenshotCaptureFailed(const Uuid& uuid, const ScreenshotError& error) override {
        const char* kinds[] = {"unknown", "noPermission", "timeout"};
        events.push_back("captureFailed " + name(uuid) + " " + kinds[static_cast<int>(error.kind)] +
                         (error.underlying.description.empty() ? "" : ": " + error.underlying.description));
    }
    void screenshotClassified(const Uuid& uuid, const std::string& subType, float confidence) override {
        char text[16];
        std::snprintf(text, sizeof text, "%.2f", confidence);
        events.push_back("classified " + name(uuid) + " " + subType + " " + text);
    }
    void screenshotClassificationFailed(const Uuid& uuid, const ErrorValue& error) override {
        events.push_back("classificationFailed " + name(uuid) + " " + error.description);
    }
    void screenRecordingPermissionDenied(const ErrorValue& error) override {
        events.push_back("permissionDenied " + error.description);
    }
    std::pair<std::string, std::string> activeApplication() const override { return {app, domain}; }
};

struct ScreenshotManagerTest : ::testing::Test {
    VirtualScheduler scheduler;
    testing::ManualExecutor executor;
    testing::FakeScreenCapture screen;
    testing::TempDir resources;
    testing::FakeModelLoader loader;
    testing::ScopedLogCapture log;
    RecordingStore store;
    std::optional<ImageClassifier> classifier;
    std::optional<ScreenshotManager> manager;

    ScreenshotManagerTest() {
        testing::writeModelFile(resources.path());
        manager.emplace(ScreenshotManager::Configuration{.capture = &screen,
                                                         .classifier = [this]() -> ImageClassifier& {
                                                             if (!classifier)
                                                                 classifier.emplace(resources.path(), loader);
                                                             return *classifier;
                                                         },
                                                         .mainQueue = &scheduler,
                                                         .executor = &executor});
        manager->setStore(&store);
    }

    // Runs everything that is ready, on the main queue and the executor, without moving time.
    void settle() {
        for (;;) {
            scheduler.runUntilIdle();
            if (executor.idle())
                return;
            executor.runAll();
        }
    }
};

TEST_F(ScreenshotManagerTest, APictureGoesToTheStoreThenItsLabelForThePlaceInFront) {
    store.app = "google_chrome";
    store.domain = "gmail";
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(0));
    EXPECT_TRUE(store.events.empty()) << "the capture starts later, not inside the call";
    settle();
    EXPECT_EQ(store.events, (Strings{"captured A 224x224", "classified A button 0.75"}));
    EXPECT_EQ(screen.areas, (std::vector<PixelRect>{{528, 288, 224, 224}}));
    EXPECT_EQ(loader.model->indices, std::vector<std::int32_t>{1}) << "gmail's index";
    EXPECT_FALSE(scheduler.hasPendingTimers()) << "the time-out is cancelled";
    EXPECT_TRUE(log->printed().empty());
}

TEST_F(ScreenshotManagerTest, NoPictureWithinOneSecondIsATimeoutAndTheLateReadIsSkipped) {
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(0));
    scheduler.runUntilIdle(); // started; its read waits on the executor
    scheduler.advance(Duration(0.999));
    EXPECT_TRUE(store.events.empty());
    scheduler.advance(Duration(0.001));
    EXPECT_EQ(store.events, Strings{"captureFailed A timeout"});
    EXPECT_EQ(log->printed(), Strings{"Failed to capture screenshot: timeout"});

    settle();
    scheduler.advance(Duration(5));
    EXPECT_EQ(store.events.size(), 1u) << "reported once";
    EXPECT_TRUE(screen.areas.empty());
}

TEST_F(ScreenshotManagerTest, ANewerCaptureCancelsTheOlderOne) {
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(0));
    scheduler.runUntilIdle();
    scheduler.advance(Duration(0.1));
    manager->captureAndClassifyScreenshot({100, 100}, testing::uuid(1));
    settle();
    EXPECT_EQ(store.events, (Strings{"captureFailed A unknown: The capture was cancelled", "captured B 224x224",
                                     "classified B button 0.75"}));
    EXPECT_EQ(screen.areas.size(), 1u) << "only the newer one reads the screen";
    scheduler.advance(Duration(3));
    EXPECT_EQ(store.events.size(), 3u) << "no time-out of either afterwards";
}

TEST_F(ScreenshotManagerTest, APictureThatArrivesAfterTheCaptureEndedIsDropped) {
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(0));
    scheduler.runUntilIdle();
    executor.runAll(); // the picture is read and on its way back
    manager->cancelCapture();
    settle();
    scheduler.advance(Duration(3));
    EXPECT_EQ(store.events, Strings{"captureFailed A unknown: The capture was cancelled"});

    // And the other way round: once the picture is in, neither cancelling nor time ends it again.
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(1));
    settle();
    manager->cancelCapture();
    settle();
    scheduler.advance(Duration(3));
    EXPECT_EQ(store.events, (Strings{"captureFailed A unknown: The capture was cancelled", "captured B 224x224",
                                     "classified B button 0.75"}));
}

TEST_F(ScreenshotManagerTest, EachFailureReachesTheStoreOnceWithItsLines) {
    const std::string offDisplay = "Nothing of the 224 by 224 area around the point lies on the 1280 by 800 display";
    struct Case {
        std::function<void(ScreenshotManagerTest&)> arrange;
        BottomLeftPoint point;
        Strings events;
        std::string printed; // the first line
    };
    const std::vector<Case> cases = {
        {[](auto& t) { t.loader.results = std::vector<ClassificationObservation>{}; },
         {640, 400},
         {"captured A 224x224", "classificationFailed A Failed to get classification results"},
         "Classification failed: ImageClassifier error 2: Failed to get classification results"},
        {[](auto& t) { t.screen.permission = false; },
         {640, 400},
         {"captureFailed A noPermission"},
         "Failed to capture screenshot: noPermission"},
        {[](auto& t) { t.screen.displays.clear(); },
         {640, 400},
         {"captureFailed A unknown: No display found"},
         "Failed to capture screenshot: ScreenshotManager error 1: No display found"},
        {[](auto&) {},
         {5000, 400},
         {"captureFailed A unknown: " + offDisplay},
         "Failed to capture screenshot: " + offDisplay}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.events.back());
        screen = {};
        store.events.clear();
        log->clear();
        c.arrange(*this);
        manager->captureAndClassifyScreenshot(c.point, testing::uuid(0));
        settle();
        EXPECT_EQ(store.events, c.events);
        EXPECT_EQ(log->printed().at(0), c.printed);
        EXPECT_FALSE(scheduler.hasPendingTimers());
        if (!screen.permission) {
            EXPECT_EQ(screen.contentCalls, 0) << "without the permission the screen is not touched";
        }
    }
}

TEST_F(ScreenshotManagerTest, WithoutAStoreOnlyTheLinesAreLeft) {
    manager->setStore(nullptr);
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(0));
    settle();
    EXPECT_EQ(log->printed(), (Strings{"Store is nil", "Store is nil"}));
    EXPECT_FALSE(classifier) << "nothing to classify for";

    log->clear();
    screen.permission = false;
    manager->captureAndClassifyScreenshot({640, 400}, testing::uuid(1));
    settle();
    EXPECT_EQ(log->printed(),
              (Strings{"Failed to capture screenshot: noPermission", "Store is nil, cannot send error"}));
}

TEST_F(ScreenshotManagerTest, APermissionRequestReportsWhatMayBeCapturedOrWhyNot) {
    std::vector<bool> answers;
    auto ask = [&] {
        manager->requestScreenRecordingPermission([&](bool granted) { answers.push_back(granted); });
        settle();
    };
    ask();
    EXPECT_EQ(log->printed().at(0), "Screen capture permission granted");
    EXPECT_TRUE(store.events.empty());

    log->clear();
    screen.refusal = ScreenAccessError("the connection to the X server was lost");
    ask();
    EXPECT_EQ(log->printed(), Strings{"Unexpected error: the connection to the X server was lost"});
    EXPECT_TRUE(store.events.empty()) << "nothing is sent for an unexpected error";

    EXPECT_EQ(answers, (std::vector<bool>{true, false}));
}

} // namespace
} // namespace tavrin
