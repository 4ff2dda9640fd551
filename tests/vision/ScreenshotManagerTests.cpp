#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "platform/fake/VirtualScheduler.h"
#include "support/CapturingLogSink.h"
#include "support/FakeVision.h"
#include "support/TempDir.h"
#include "vision/ScreenshotManager.h"

namespace tavrin {
namespace {

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
        manager.emplace(ScreenshotManager::Configuration{
            .capture = &screen,
            .classifier = [this]() -> ImageClassifier& {
                if (!classifier)
                    classifier.emplace(resources.path(), loader);
                return *classifier;
            },
            .mainQueue = &scheduler,
            .executor = &executor,
        });
        manager->setStore(&store);
    }

    static Uuid uuid(char name) {
        Uuid id;
        id.bytes[0] = static_cast<std::uint8_t>(name - 'A');
        return id;
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
    manager->captureAndClassifyScreenshot({640, 400}, uuid('A'));
    EXPECT_TRUE(store.events.empty()) << "the capture starts later, not inside the call";
    settle();
    EXPECT_EQ(store.events, (Strings{"captured A 224x224", "classified A button 0.75"}));
    EXPECT_EQ(screen.areas, (std::vector<PixelRect>{{528, 288, 224, 224}}));
    EXPECT_EQ(loader.model->indices, std::vector<std::int32_t>{1}) << "gmail's index";
    EXPECT_FALSE(scheduler.hasPendingTimers()) << "the time-out is cancelled";
    EXPECT_TRUE(log->printed().empty());
}

TEST_F(ScreenshotManagerTest, NoPictureWithinOneSecondIsATimeoutAndTheLateReadIsSkipped) {
    manager->captureAndClassifyScreenshot({640, 400}, uuid('A'));
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
    manager->captureAndClassifyScreenshot({640, 400}, uuid('A'));
    scheduler.runUntilIdle();
    scheduler.advance(Duration(0.1));
    manager->captureAndClassifyScreenshot({100, 100}, uuid('B'));
    settle();
    EXPECT_EQ(store.events, (Strings{"captureFailed A unknown: The capture was cancelled", "captured B 224x224",
                                     "classified B button 0.75"}));
    EXPECT_EQ(log->printed(), (Strings{"Failed to capture screenshot: The capture was cancelled",
                                       "Unknown error occurred: The capture was cancelled"}));
    EXPECT_EQ(screen.areas.size(), 1u) << "only the newer one reads the screen";
    scheduler.advance(Duration(3));
    EXPECT_EQ(store.events.size(), 3u) << "no time-out of either afterwards";
}

TEST_F(ScreenshotManagerTest, APictureThatArrivesAfterTheCaptureEndedIsDropped) {
    manager->captureAndClassifyScreenshot({640, 400}, uuid('A'));
    scheduler.runUntilIdle();
    executor.runAll(); // the picture is read and on its way back
    manager->cancelCapture();
    settle();
    scheduler.advance(Duration(3));
    EXPECT_EQ(store.events, Strings{"captureFailed A unknown: The capture was cancelled"});

    // And the other way round: once the picture is in, neither cancelling nor time ends it again.
    manager->captureAndClassifyScreenshot({640, 400}, uuid('B'));
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
        Strings events, printed;
    };
    const std::vector<Case> cases = {
        {[](auto& t) { t.loader.results = std::vector<ClassificationObservation>{}; },
         {640, 400},
         {"captured A 224x224", "classificationFailed A Failed to get classification results"},
         {"Classification failed: ImageClassifier error 2: Failed to get classification results"}},
        {[](auto& t) { t.screen.permission = false; },
         {640, 400},
         {"captureFailed A noPermission"},
         {"Failed to capture screenshot: noPermission"}},
        {[](auto& t) { t.screen.displays.clear(); },
         {640, 400},
         {"captureFailed A unknown: No display found"},
         {"Failed to capture screenshot: ScreenshotManager error 1: No display found",
          "Unknown error occurred: No display found"}},
        {[](auto&) {},
         {5000, 400},
         {"captureFailed A unknown: " + offDisplay},
         {"Failed to capture screenshot: " + offDisplay, "Unknown error occurred: " + offDisplay}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.events.back());
        screen = {};
        store.events.clear();
        log->clear();
        c.arrange(*this);
        manager->captureAndClassifyScreenshot(c.point, uuid('A'));
        settle();
        EXPECT_EQ(store.events, c.events);
        EXPECT_EQ(log->printed(), c.printed);
        EXPECT_FALSE(scheduler.hasPendingTimers());
        if (!screen.permission) {
            EXPECT_EQ(screen.contentCalls, 0) << "without the permission the screen is not touched";
        }
    }
}

TEST_F(ScreenshotManagerTest, WithoutAStoreOnlyTheLinesAreLeft) {
    manager->setStore(nullptr);
    manager->captureAndClassifyScreenshot({640, 400}, uuid('A'));
    settle();
    EXPECT_EQ(log->printed(), (Strings{"Store is nil", "Store is nil"}));
    EXPECT_FALSE(classifier) << "nothing to classify for";

    log->clear();
    screen.permission = false;
    manager->captureAndClassifyScreenshot({640, 400}, uuid('B'));
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
    EXPECT_EQ(log->printed(),
              (Strings{"Screen capture permission granted", "Available displays: 1", "Available windows: 3"}));
    EXPECT_TRUE(store.events.empty());

    const std::vector<std::pair<int, std::string>> refusals = {
        {-3801, "Screen capture permission denied by user"},
        {-3802, "Failed to start screen capture"},
        {-3803, "App is missing required entitlements for screen capture"},
        {-3805, "Unknown screen capture error: The stream was interrupted"},
    };
    for (const auto& [code, line] : refusals) {
        log->clear();
        store.events.clear();
        screen.refusal = ScreenAccessError("The stream was interrupted", code);
        ask();
        EXPECT_EQ(log->printed(), Strings{line});
        EXPECT_EQ(store.events, Strings{"permissionDenied The stream was interrupted"});
    }

    log->clear();
    store.events.clear();
    screen.refusal = ScreenAccessError("the connection to the X server was lost");
    ask();
    EXPECT_EQ(log->printed(), Strings{"Unexpected error: the connection to the X server was lost"});
    EXPECT_TRUE(store.events.empty()) << "nothing is sent for an unexpected error";

    EXPECT_EQ(answers, (std::vector<bool>{true, false, false, false, false, false}));
}

} // namespace
} // namespace tavrin
