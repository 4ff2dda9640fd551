#include "app/DesktopCommands.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <future>
#include <iomanip>
#include <ostream>
#include <poll.h>
#include <pthread.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "app/DesktopSession.h"
#include "app/PictureFile.h"
#include "app/StateJson.h"
#include "platform/common/EventLoop.h"
#include "State/FTUEDomain.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/X11Desktop.h"
#include "platform/linux/X11ScreenCapture.h"
#include "platform/linux/XdgPaths.h"
#include "platform/linux/InstanceLock.h"
#include "sensing/UIElementAnalyzer.h"
#include "sensing/UIElementInspector.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManager.h"
#include "vision/onnx/OnnxModelLoader.h"

namespace tavrin {

namespace {

// Ctrl+C and SIGTERM end the loop instead of the process, so that the monitors stop in order.
// The signals are blocked before any thread starts (threads inherit the mask) and taken by one
// thread that asks the loop to quit.
class QuitOnSignal {
public:
    QuitOnSignal() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    }
    ~QuitOnSignal() {
        if (thread_.joinable()) {
            done_ = true;
            pthread_kill(thread_.native_handle(), SIGTERM);
            thread_.join();
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    void listen(EventLoop& loop) {
        thread_ = std::thread([this, &loop] {
            int signal = 0;
            sigwait(&signals_, &signal);
            if (!done_)
                loop.quit();
        });
    }

private:
    sigset_t signals_{}, previous_{};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

// The main loop and the workers of a command; the session runs on them and goes before them.
struct CommandLoop {
    EventLoop loop;
    ThreadPool workers{2};
    void settle() { tavrin::settle(loop, workers); }
};

std::unique_ptr<DesktopSession> openSession(const DesktopSession::Options& options, CommandLoop& loop,
                                            std::ostream& err) {
    std::string problem;
    auto session = DesktopSession::open(options, loop.loop, loop.workers, problem);
    if (!session)
        err << "tavrin: " << problem << '\n';
    return session;
}

// Only one process counts a session's clicks: two would count each click twice.
std::unique_ptr<InstanceLock> takeInstanceLock(const std::string& role, std::ostream& err) {
    std::string problem;
    const auto folder = InstanceLock::runtimeDirectory(problem);
    std::optional<InstanceLock::Holder> holder;
    auto lock = folder ? InstanceLock::acquire(*folder, role, holder, problem) : nullptr;
    if (lock)
        return lock;
    if (holder)
        err << "tavrin: " << describeHolder(*holder)
            << " is already counting your clicks on this desktop; quit it first, or two processes would count "
               "every click twice.\n";
    else
        err << "tavrin: cannot make sure no other Tavrin runs: " << problem << '\n';
    return nullptr;
}

bool startSession(DesktopSession& session, std::ostream& err) {
    try {
        session.start();
        return true;
    } catch (const std::exception& error) {
        err << "tavrin: cannot open the database: " << error.what() << '\n';
        return false;
    }
}

// What a watch block shows; a new block is printed when it changes.
struct Shown {
    AppDomain::ActiveNamespace place;
    std::vector<ShortcutRecommendation> list;
    bool operator==(const Shown&) const = default;
};

} // namespace

int runWatch(const WatchOptions& options, std::ostream& out, std::ostream& err) {
    QuitOnSignal signals;
    CommandLoop main;
    // Watching runs for the user, so it carries product analytics (sent once the user has agreed).
    auto session = openSession({.dataDir = options.dataDir,
                                .catalogueDir = options.catalogueDir,
                                .productAnalytics = true,
                                .analyticsEndpoint = options.analyticsEndpoint},
                               main, err);
    if (!session)
        return 1;
    if (!session->accessibilityEnabled()) {
        err << "tavrin: accessibility is switched off, so Tavrin cannot see what you click. "
            << kHowToEnableAccessibility << '\n';
        return 1;
    }
    const auto lock = takeInstanceLock("watch", err);
    if (!lock || !startSession(*session, err))
        return 1;
    main.settle(); // the stored state is loaded
    if (!session->store().state().ftue.ftueCompleted) {
        err << "tavrin: Tavrin is not set up yet, so it does not watch clicks. Run `tavrin setup` first (or "
               "`tavrin setup --yes`).\n";
        session->stop();
        return 1;
    }
    // The store shows a switch of application once its list has been read too, so every block
    // pairs a place with its own list.
    std::optional<Shown> last;
    auto show = [&](const AppDomain::State& state) {
        Shown now{state.activeNamespace, state.recommendations};
        if (now.place.app.empty() || (last && *last == now))
            return;
        last = now;
        if (options.json) {
            out << OutputJson{{"activeNamespace", toJson(now.place)}, {"recommendations", toJson(now.list)}}.dump()
                << std::endl;
            return;
        }
        out << '\n';
        printPlace(now.place, out);
        printList(now.list, out);
        out.flush();
    };
    const auto observation = session->store().observe(show);
    show(session->store().state()); // the place may have been reported while loading
    if (options.duration)
        main.loop.postAfter(Duration(*options.duration), [&] { main.loop.quit(); });
    if (!options.json)
        out << "Watching. Click buttons and menus in your applications; Ctrl+C stops." << std::endl;
    signals.listen(main.loop);
    main.loop.run();
    session->stop();
    main.settle();
    return 0;
}

namespace {

using FTUE = FTUEDomain::State;

// The first-run conversation. It runs on a thread of its own and reaches the store only through
// tasks posted to the main loop, which keeps running meanwhile (key presses, permission waits).
class SetupConversation {
public:
    SetupConversation(DesktopSession& session, MainQueue& mainQueue, const SetupOptions& options, std::istream& in,
                      std::ostream& out)
        : session_(session), mainQueue_(mainQueue), options_(options), in_(in), out_(out) {}

    bool run() {
        const FTUE start = read([](const AppDomain::State& s) { return s.ftue; });
        if (start.ftueCompleted) {
            out_ << "Tavrin is already set up. Run `tavrin watch` to see it work.\n";
            return true;
        }
        for (FTUE::Step step = start.currentStep;;) {
            if (!show(step))
                return false;
            send(FTUEDomain::nextStep{});
            const FTUE now = read([](const AppDomain::State& s) { return s.ftue; });
            if (step == FTUE::Step::privacySetup)
                return finish(now);
            step = now.currentStep;
        }
    }

private:
    template <class F> auto read(F f) -> decltype(f(std::declval<const AppDomain::State&>())) {
        using T = decltype(f(std::declval<const AppDomain::State&>()));
        std::promise<T> value;
        mainQueue_.post([&] { value.set_value(f(session_.store().state())); });
        return value.get_future().get();
    }
    void send(FTUEDomain::Action action) {
        std::promise<void> done;
        mainQueue_.post([&] {
            session_.store().send(AppDomain::ftue{std::move(action)});
            done.set_value();
        });
        done.get_future().get();
    }
    // Waits until `ready` holds for the first-run state or `seconds` pass. While it waits, `tick`
    // sees each new state and a typed line ends the wait when `stopOnEnter` allows it.
    template <class Ready, class Tick>
    bool waitFor(Ready ready, double seconds, Tick tick, std::function<bool()> stopOnEnter = {}) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (std::chrono::steady_clock::now() < until) {
            const FTUE now = read([](const AppDomain::State& s) { return s.ftue; });
            tick(now);
            if (ready(now))
                return true;
            if (stopOnEnter && lineTyped(100) && stopOnEnter())
                return false;
            if (!stopOnEnter)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    bool lineTyped(int milliseconds) {
        if (options_.acceptDefaults)
            return false;
        pollfd fd{STDIN_FILENO, POLLIN, 0};
        if (::poll(&fd, 1, milliseconds) <= 0)
            return false;
        std::string ignored;
        std::getline(in_, ignored);
        return true;
    }
    std::string ask(const std::string& prompt) {
        if (options_.acceptDefaults)
            return {};
        out_ << prompt << std::flush;
        std::string answer;
        if (!std::getline(in_, answer))
            return {};
        return answer;
    }

    bool show(FTUE::Step step) {
        switch (step) {
        case FTUE::Step::welcome:
            out_ << "\nUnlock 8 extra days in your year\nThat's a whole week of Netflix binging, folks!\n";
            return true;
        case FTUE::Step::personalization:
            personalize();
            return true;
        case FTUE::Step::productivityPotential: {
            out_ << "\nYour Productivity Potential\nLet's crunch those numbers!\n";
            send(FTUEDomain::calculateTimeSavings{});
            const auto savings = read([](const AppDomain::State& s) { return s.ftue.potentialTimeSavings; });
            if (savings)
                out_ << "With Tavrin, you could save:\n  " << savings->minutesPerDay << " minutes per day\n  "
                     << savings->hoursPerMonth << " hours per month\n  " << savings->daysPerYear << " days per year\n";
            return true;
        }
        case FTUE::Step::howToUseTavrin:
            practise();
            return true;
        case FTUE::Step::privacySetup:
            return askPermissions();
        }
        return true;
    }

    void personalize() {
        out_ << "\nLet's get to know you\n(don't worry, we won't gossip)\n\nWhat's your daily grind look like?\n";
        const FTUE current = read([](const AppDomain::State& s) { return s.ftue; });
        int index = 1;
        for (const auto role : FTUEDomain::kAllUserRoles)
            out_ << "  " << index++ << ". " << FTUEDomain::rawValue(role) << (role == current.userRole ? "  *" : "")
                 << '\n';
        for (;;) {
            const std::string answer = ask("Your role [" + std::string(FTUEDomain::rawValue(current.userRole)) + "]: ");
            if (answer.empty())
                break;
            const int choice = std::atoi(answer.c_str());
            if (choice >= 1 && choice <= static_cast<int>(std::size(FTUEDomain::kAllUserRoles))) {
                send(FTUEDomain::setUserRole{FTUEDomain::kAllUserRoles[choice - 1]});
                break;
            }
            out_ << "Type a number from the list, or press Enter to keep the marked one.\n";
        }
        out_ << "\nWhich apps make you go 'ugh' most often?\n";
        index = 1;
        for (const auto app : FTUEDomain::kAllAppTypes)
            out_ << "  " << index++ << ". " << FTUEDomain::rawValue(app)
                 << (current.frequentlyUsedApps.count(app) ? "  *" : "") << '\n';
        for (;;) {
            const std::string answer = ask("Numbers separated by spaces, Enter to keep the marked ones: ");
            std::istringstream numbers(answer);
            std::set<FTUE::AppType> chosen;
            bool valid = true;
            for (std::string word; numbers >> word;) {
                const int choice = std::atoi(word.c_str());
                if (choice < 1 || choice > static_cast<int>(std::size(FTUEDomain::kAllAppTypes)))
                    valid = false;
                else
                    chosen.insert(FTUEDomain::kAllAppTypes[choice - 1]);
            }
            if (!valid) {
                out_ << "Type numbers from the list.\n";
                continue;
            }
            if (!answer.empty())
                for (const auto app : FTUEDomain::kAllAppTypes)
                    if (chosen.count(app) != current.frequentlyUsedApps.count(app))
                        send(FTUEDomain::toggleFrequentApp{app});
            break;
        }
    }

    void practise() {
        send(FTUEDomain::startFirstChallenge{});
        const auto& keys = PlatformProfile::linuxDesktop().practiceKeysCopy;
        out_ << "\nHow Tavrin Works\n1. Perform Actions: you click a button, say Reload.\n"
             << "2. Tavrin Recommends Shortcuts: it shows the keys that do the same.\n\n";
        if (options_.acceptDefaults) {
            out_ << "Practice skipped.\n";
            return;
        }
        out_ << "Try this shortcut: press " << keys << " four times, in any window.\n";
        std::int64_t shown = -1;
        waitFor([](const FTUE& s) { return s.commandRCounter >= 4; }, 600,
                [&](const FTUE& s) {
                    if (s.commandRCounter == shown)
                        return;
                    shown = s.commandRCounter;
                    if (shown >= 1 && shown < 4)
                        out_ << "Great! " << 4 - shown << " more to go! (Enter skips)" << std::endl;
                },
                [&] {
                    // Skipping is offered once the shortcut has been pressed at least once.
                    return read([](const AppDomain::State& s) { return s.ftue.commandRCounter; }) >= 1;
                });
        if (read([](const AppDomain::State& s) { return s.ftue.commandRCounter; }) >= 4)
            out_ << "Great job! You've learned a new shortcut.\n";
    }

    bool askPermissions() {
        out_ << "\nYour Privacy Matters\nWe need permission to work our magic\n\n"
             << "Tavrin needs this permission:\n  Accessibility: To understand your workflow and suggest helpful "
                "shortcuts\n";
        if (!read([](const AppDomain::State& s) { return s.ftue.accessibilityPermissionGranted; })) {
            send(FTUEDomain::requestAccessibilityPermission{});
            const bool granted =
                waitFor([](const FTUE& s) { return s.accessibilityPermissionGranted; }, 65, [](const FTUE&) {});
            if (!granted) {
                out_ << "Accessibility is still switched off. " << kHowToEnableAccessibility << '\n';
                return false;
            }
            // Applications that were running before the switch register a moment later, or never.
            std::this_thread::sleep_for(std::chrono::seconds(1));
            std::promise<std::vector<std::string>> unseen;
            mainQueue_.post([&] { unseen.set_value(session_.desktop().applicationsToRestart()); });
            const auto names = unseen.get_future().get();
            if (!names.empty()) {
                out_ << "  Restart these applications once so that Tavrin can see their buttons:";
                for (std::size_t i = 0; i < names.size(); ++i)
                    out_ << (i ? ", " : " ") << names[i];
                out_ << '\n';
            }
        }
        out_ << "  Accessibility: granted\n\n"
             << "By agreeing, you allow us to collect anonymous data about your app usage. This helps us improve "
                "Tavrin's features and performance. Your privacy is our priority, and no personally identifiable "
                "information will be collected.\n";
        const bool agreed = read([](const AppDomain::State& s) { return s.ftue.dataShareAgreement; });
        for (;;) {
            const std::string answer =
                ask(std::string("I agree to share anonymous usage data to help improve Tavrin ") +
                    (agreed ? "[Y/n]: " : "[y/N]: "));
            if (answer.empty())
                break;
            const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(answer[0])));
            if (c != 'y' && c != 'n') {
                out_ << "Answer y or n.\n";
                continue;
            }
            if ((c == 'y') != agreed)
                send(FTUEDomain::toggleDataShareAgreement{});
            break;
        }
        return true;
    }

    bool finish(const FTUE&) {
        // Completing follows the last step by a few main-loop turns.
        if (!waitFor([](const FTUE& s) { return s.ftueCompleted; }, 2, [](const FTUE&) {})) {
            out_ << "The first-run flow could not complete.\n";
            return false;
        }
        out_ << "\nTavrin is set up. Run `tavrin watch` to see it work.\n";
        return true;
    }

    DesktopSession& session_;
    MainQueue& mainQueue_;
    const SetupOptions& options_;
    std::istream& in_;
    std::ostream& out_;
};

} // namespace

int runSetup(const SetupOptions& options, std::istream& in, std::ostream& out, std::ostream& err) {
    if (!options.acceptDefaults && !isatty(STDIN_FILENO)) {
        err << "tavrin: setup asks questions; run it in a terminal, or pass --yes to accept the defaults.\n";
        return 2;
    }
    QuitOnSignal signals;
    CommandLoop main;
    auto session = openSession({.dataDir = options.dataDir, .catalogueDir = options.catalogueDir}, main, err);
    if (!session)
        return 1;
    const auto lock = takeInstanceLock("setup", err);
    if (!lock || !startSession(*session, err))
        return 1;
    main.settle(); // the stored state is loaded
    std::atomic<bool> finished{false};
    bool completed = false;
    std::thread conversation([&] {
        completed = SetupConversation(*session, main.loop, options, in, out).run();
        finished = true;
        main.loop.quit();
    });
    signals.listen(main.loop);
    main.loop.run();
    session->stop();
    main.settle(); // what the flow wrote is on disk
    if (!finished) {
        // Interrupted while the conversation waits for a line: nothing more to save.
        out << "\nSetup interrupted; run `tavrin setup` again to finish it." << std::endl;
        std::_Exit(130);
    }
    conversation.join();
    return completed ? 0 : 1;
}

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
    std::unique_ptr<X11ScreenCapture> capture;
    PixelSize screen;
    try {
        capture = std::make_unique<X11ScreenCapture>();
        screen = capture->shareableContent().displays.at(0);
    } catch (const std::exception& error) {
        err << "tavrin: cannot read the screen: " << error.what() << '\n';
        return 1;
    }
    OnnxModelLoader loader;
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
    using Clock = std::chrono::steady_clock;
    auto ms = [](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); };
    std::vector<double> finds, reads;
    const TopLeftPoint point{options.x, options.y};
    for (int i = 0; i < options.repeat; ++i) {
        const auto start = Clock::now();
        const auto found = accessibility.elementAt(point);
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
    if (!display || !*display) {
        err << "tavrin: no X11 display: DISPLAY is not set.\n";
        return 1;
    }
    if (options.picture.empty())
        return inspectElement(options, out, err);
    if (const int status = inspectPicture(options, out, err); status != 0)
        return status;
    // The picture is what was asked for: an element that cannot be read is only mentioned.
    std::ostringstream problem;
    if (inspectElement(options, out, problem) != 0)
        err << problem.str();
    return 0;
}

} // namespace tavrin
