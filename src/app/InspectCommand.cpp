#include "app/DesktopCommands.h"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <thread>

#include <glib.h>

#include "app/CommandSession.h"
#include "app/DesktopSession.h"
#include "app/HelperCommand.h"
#include "app/PictureFile.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/DesktopHelpers.h"
#include "platform/linux/HelperLink.h"
#include "platform/linux/X11ScreenCapture.h"
#include "platform/linux/XdgPaths.h"
#include "platform/wayland/PortalScreenCapture.h"
#include "sensing/UIElementAnalyzer.h"
#include "sensing/UIElementInspector.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManager.h"
#include "vision/onnx/OnnxRuntime.h"

namespace tavrin {

namespace {

// The outcome of one capture as the picture path reports it; ends the loop once it is known.
class PictureOutcome final : public ScreenshotStore {
public:
    PictureOutcome(EventLoop& loop, const InspectOptions& options) : loop_(loop), options_(options) {}

    ImageRef image;
    std::optional<ScreenshotError> captureError;
    std::optional<std::pair<std::string, float>> label;
    std::optional<ErrorValue> classificationError;

    void screenshotCaptured(const Uuid&, ImageRef picture) override { image = std::move(picture); }
    void screenshotCaptureFailed(const Uuid&, const ScreenshotError& error) override {
        captureError = error;
        loop_.quit();
    }
    void screenshotClassified(const Uuid&, const std::string& subType, float confidence) override {
        label = {subType, confidence};
        loop_.quit();
    }
    void screenshotClassificationFailed(const Uuid&, const ErrorValue& error) override {
        classificationError = error;
        loop_.quit();
    }
    void screenRecordingPermissionDenied(const ErrorValue&) override {}
    std::pair<std::string, std::string> activeApplication() const override { return {options_.app, options_.domain}; }

private:
    EventLoop& loop_;
    const InspectOptions& options_;
};

// The picture a click at the point would give, through the same capture and classifier as a click.
int inspectPicture(const InspectOptions& options, std::ostream& out, std::ostream& err) {
    EventLoop loop;
    std::unique_ptr<ScreenCapture> capture;
    PixelSize screen;
    try {
        // On Wayland the desktop portal's screenshot, else XWayland's X11 applications.
        if (!isWaylandSession())
            capture = std::make_unique<X11ScreenCapture>();
        else
            capture = std::make_unique<PortalScreenCapture>(
                std::getenv("DISPLAY") ? std::make_unique<X11ScreenCapture>() : nullptr);
        screen = capture->shareableContent().displays.at(0);
    } catch (const std::exception& error) {
        err << "tavrin: cannot read the screen: " << error.what() << '\n';
        return 1;
    }
    OnnxRuntime loader;
    const auto resources = defaultResourcesDirectory();
    ImageClassifier classifier(resources, loader);
    // Declared before the manager, which can go first: what its running tasks would bring back
    // to it is dropped, and the pool joins them before the classifier and the capture go.
    ThreadPool pool(1);
    PictureOutcome outcome(loop, options);
    ScreenshotManager manager({
        .capture = capture.get(),
        .classifier = [&]() -> ImageClassifier& { return classifier; },
        .mainQueue = &loop,
        .executor = &pool,
    });
    manager.setStore(&outcome);
    // A click's point counts from the bottom of the screen.
    manager.captureAndClassifyScreenshot(flipped(TopLeftPoint{options.x, options.y}, screen.height), Uuid::random());
    // The capture ends within its time-out; this only guards against a classifier that hangs.
    loop.postAfter(Duration(10), [&loop] { loop.quit(); });
    loop.run();
    manager.setStore(nullptr);

    if (outcome.captureError) {
        err << "tavrin: no picture around " << describePoint(TopLeftPoint{options.x, options.y}) << ": "
            << outcome.captureError->localizedDescription() << '\n';
        return 1;
    }
    if (!outcome.image) {
        err << "tavrin: the picture did not arrive\n";
        return 1;
    }
    if (const auto problem = writePng(*outcome.image, options.picture)) {
        err << "tavrin: cannot write " << options.picture.string() << ": " << *problem << '\n';
        return 1;
    }
    out << "Picture around " << describePoint(TopLeftPoint{options.x, options.y}) << ": " << outcome.image->width
        << " by " << outcome.image->height << ", saved to " << options.picture.string() << '\n';
    const auto name = classifier.modelAppName(options.app, options.domain);
    if (outcome.label) {
        char confidence[32];
        std::snprintf(confidence, sizeof confidence, "%.6f", outcome.label->second);
        out << "Label: " << outcome.label->first << ", confidence " << confidence << " (application \"" << options.app
            << "\", model name \"" << name << "\", index " << classifier.appIndex(name) << ")\n";
        return 0;
    }
    err << "tavrin: the picture was saved, but the classifier failed: "
        << (outcome.classificationError ? outcome.classificationError->description : std::string("no answer"));
    if (!classifier.hasModel())
        err << " (no usable model at " << (resources / ImageClassifier::modelFileName).string() << "; -v shows why)";
    err << '\n';
    return 1;
}

int inspectElement(const InspectOptions& options, std::ostream& out, std::ostream& err) {
    if (!AtspiAccessibility::busIsAvailable()) {
        err << "tavrin: the accessibility bus does not answer. Install at-spi2-core and log in again.\n";
        return 1;
    }
    AtspiAccessibility accessibility;
    if (!accessibility.isTrusted()) {
        err << "tavrin: accessibility is switched off. " << kHowToEnableAccessibility << '\n';
        return 1;
    }
    // On Wayland the desktop helper tells the window in front, and the point is found in it.
    std::unique_ptr<HelperLink> link;
    if (isWaylandSession()) {
        const auto helper = sessionDesktopHelper();
        std::string problem;
        if (helper && helper->state() == DesktopHelper::State::running)
            link = HelperLink::start(helperDesktopOfSession(), problem,
                                     enabledKWinScript(g_get_user_data_dir(), g_get_user_config_dir()));
        if (!link) {
            err << "tavrin: in a Wayland session the element at a point is found through the desktop helper, which "
                   "does not run here"
                << (problem.empty() ? "" : " (" + problem + ")") << ". See `tavrin helper`.\n";
            return 1;
        }
    }
    const TopLeftPoint point{options.x, options.y};
    auto lookUp = [&]() -> ElementAtPoint {
        if (!link)
            return accessibility.elementAt(point);
        std::optional<HelperPointer> pointer;
        for (int attempt = 0; attempt < 20 && !pointer; ++attempt) // the KWin script asks back first
            if (!(pointer = link->pointer(std::chrono::milliseconds(100))))
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!pointer)
            return {ElementAtPoint::Outcome::error, {}, "the desktop helper did not answer"};
        if (pointer->window.pid <= 0)
            return {ElementAtPoint::Outcome::noElement, {}, "no window is in front"};
        return accessibility.elementInWindow(pointer->window.pid, pointer->window.title,
                                             {point.x - pointer->surface.x, point.y - pointer->surface.y});
    };
    using Clock = std::chrono::steady_clock;
    auto ms = [](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); };
    std::vector<double> finds, reads;
    for (int i = 0; i < options.repeat; ++i) {
        const auto start = Clock::now();
        const auto found = lookUp();
        const auto located = Clock::now();
        if (found.outcome != ElementAtPoint::Outcome::found || !found.element) {
            err << "tavrin: no element at " << describePoint(point) << (found.error.empty() ? "" : ": " + found.error)
                << '\n';
            return 1;
        }
        const auto records =
            UIElementAnalyzer::collectElementInfo(found.element, 0, UIElementAnalyzer::maxDepth, "Root", std::nullopt);
        const auto proper = UIElementAnalyzer::findProperValue(records);
        finds.push_back(ms(located - start));
        reads.push_back(ms(Clock::now() - located));
        if (i > 0)
            continue;
        out << "Element at " << describePoint(point) << ", process " << found.element->processId().value_or(0) << ":\n";
        for (const auto& [depth, path, attribute, value] : records)
            out << "  " << depth << "  " << std::left << std::setw(28) << path << std::setw(20) << attribute << value
                << '\n';
        out << "Proper value: "
            << (proper ? std::get<1>(*proper) + " " + std::get<2>(*proper) + " = \"" + std::get<3>(*proper) + "\""
                       : std::string("none"))
            << '\n';
    }
    if (options.repeat > 1) {
        auto report = [&](const char* what, std::vector<double> values) {
            std::sort(values.begin(), values.end());
            char line[160];
            std::snprintf(line, sizeof line, "%-28s median %6.2f ms   p90 %6.2f ms   worst %6.2f ms   (%zu runs)\n",
                          what, values[values.size() / 2], values[values.size() * 9 / 10], values.back(),
                          values.size());
            out << line;
        };
        report("finding the element", finds);
        report("reading its walk", reads);
        std::vector<double> totals;
        for (std::size_t i = 0; i < finds.size(); ++i)
            totals.push_back(finds[i] + reads[i]);
        report("per click", totals);
    }
    return 0;
}

} // namespace

int runInspect(const InspectOptions& options, std::ostream& out, std::ostream& err) {
    const char* display = std::getenv("DISPLAY");
    const bool x11 = display && *display;
    if (options.picture.empty() && (x11 || isWaylandSession()))
        return inspectElement(options, out, err);
    if (!x11 && !isWaylandSession()) {
        err << "tavrin: no X11 display: DISPLAY is not set.\n";
        return 1;
    }
    if (const int status = inspectPicture(options, out, err); status != 0)
        return status;
    // The picture is what was asked for: an element that cannot be read is only mentioned.
    std::ostringstream problem;
    if (inspectElement(options, out, problem) != 0)
        err << problem.str();
    return 0;
}

} // namespace tavrin
