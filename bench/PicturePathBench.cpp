// What the picture behind a click costs on a private desktop: reading the screen and scaling it to
// 224 by 224, classifying it with the stand-in model, and the whole path through ScreenshotManager
// on a main loop and a worker, as the application runs it. Run by bench/picture-path.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "platform/common/EventLoop.h"
#include "platform/linux/X11ScreenCapture.h"
#include "support/PaintedScreen.h"
#include "vision/ScreenshotManager.h"
#include "vision/onnx/OnnxModelLoader.h"

namespace tavrin {
namespace {

testing::PaintedScreen& paintedScreen() {
    static testing::PaintedScreen screen;
    return screen;
}

X11ScreenCapture::Transfer transfer(const benchmark::State& state) {
    return state.range(0) ? X11ScreenCapture::Transfer::sharedMemoryWherePossible
                          : X11ScreenCapture::Transfer::plainRequests;
}

// Around the screen's centre: 224 by 224 read as they are.
void captureCentre(benchmark::State& state) {
    paintedScreen();
    X11ScreenCapture capture({}, transfer(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(capture.capture({528, 288, 224, 224}, {224, 224}));
}
BENCHMARK(captureCentre)->Arg(1)->Arg(0)->ArgName("sharedMemory")->Unit(benchmark::kMillisecond);

// In a corner: a quarter, 112 by 112, scaled up.
void captureCorner(benchmark::State& state) {
    paintedScreen();
    X11ScreenCapture capture({}, transfer(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(capture.capture({0, 0, 112, 112}, {224, 224}));
}
BENCHMARK(captureCorner)->Arg(1)->Arg(0)->ArgName("sharedMemory")->Unit(benchmark::kMillisecond);

// What start-up pays: reading and checking the file, setting the network up, one warm-up run.
void loadModel(benchmark::State& state) {
    OnnxModelLoader loader;
    for (auto _ : state)
        benchmark::DoNotOptimize(ImageClassifier(std::filesystem::path(TAVRIN_BENCH_MODEL).parent_path(), loader));
}
BENCHMARK(loadModel)->Unit(benchmark::kMillisecond);

void classify(benchmark::State& state) {
    OnnxModelLoader loader;
    ImageClassifier classifier(std::filesystem::path(TAVRIN_BENCH_MODEL).parent_path(), loader);
    const auto picture = std::make_shared<const Image>(Image{224, 224, std::vector<std::uint8_t>(224 * 224 * 4, 200)});
    for (auto _ : state)
        benchmark::DoNotOptimize(classifier.classify(picture, "google_chrome", ""));
}
BENCHMARK(classify)->Unit(benchmark::kMillisecond);

// From captureAndClassifyScreenshot to the label, through the main loop and one worker.
class LabelArrives final : public ScreenshotStore {
public:
    explicit LabelArrives(EventLoop& loop) : loop_(loop) {}
    bool failed = false;
    void screenshotCaptured(const Uuid&, ImageRef) override {}
    void screenshotCaptureFailed(const Uuid&, const ScreenshotError&) override { stop(true); }
    void screenshotClassified(const Uuid&, const std::string&, float) override { stop(false); }
    void screenshotClassificationFailed(const Uuid&, const ErrorValue&) override { stop(true); }
    void screenRecordingPermissionDenied(const ErrorValue&) override {}
    std::pair<std::string, std::string> activeApplication() const override { return {"slack", ""}; }

private:
    void stop(bool failure) {
        failed = failed || failure;
        loop_.quit();
    }
    EventLoop& loop_;
};

void wholePath(benchmark::State& state) {
    paintedScreen();
    EventLoop loop;
    X11ScreenCapture capture;
    OnnxModelLoader loader;
    ImageClassifier classifier(std::filesystem::path(TAVRIN_BENCH_MODEL).parent_path(), loader);
    ThreadPool pool(1);
    LabelArrives store(loop);
    ScreenshotManager manager({
        .capture = &capture,
        .classifier = [&]() -> ImageClassifier& { return classifier; },
        .mainQueue = &loop,
        .executor = &pool,
    });
    manager.setStore(&store);
    for (auto _ : state) {
        manager.captureAndClassifyScreenshot({640, 400}, Uuid{});
        loop.run();
    }
    manager.setStore(nullptr);
    if (store.failed)
        state.SkipWithError("a capture or a classification failed");
}
BENCHMARK(wholePath)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tavrin
