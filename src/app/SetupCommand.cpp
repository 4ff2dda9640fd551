#include "app/DesktopCommands.h"

#include <future>
#include <istream>
#include <ostream>
#include <poll.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "State/FTUEDomain.h"
#include "app/CheatsheetShortcut.h"
#include "app/CommandSession.h"
#include "app/HelperCommand.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/common/Threads.h"

namespace tavrin {

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
            mainQueue_.post([&] { unseen.set_value(session_.applicationsToRestart()); });
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
        if (confirm("I agree to share anonymous usage data to help improve Tavrin ", agreed) != agreed)
            send(FTUEDomain::toggleDataShareAgreement{});
        offerDesktopHelper();
        return true;
    }

    // y or n, asked until one is given; Enter (and --yes) keeps `byDefault`.
    bool confirm(const std::string& question, bool byDefault) {
        for (;;) {
            const std::string answer = ask(question + (byDefault ? "[Y/n]: " : "[y/N]: "));
            if (answer.empty())
                return byDefault;
            const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(answer[0])));
            if (c == 'y' || c == 'n')
                return c == 'y';
            out_ << "Answer y or n.\n";
        }
    }

    // On GNOME and KDE Plasma (Wayland) clicks are found through a helper of the desktop's own:
    // installed only when the user says yes to what it sees (never by --yes).
    void offerDesktopHelper() {
        const auto helper = sessionDesktopHelper();
        if (!helper || helper->state() != DesktopHelper::State::notInstalled)
            return;
        out_ << '\n' << helperConsentText(*helper) << '\n';
        if (confirm("Install the " + helper->kind() + " ", false))
            out_ << installHelper(*helper) << '\n';
        else
            out_ << "Not installed: clicks in Wayland applications are counted only where they move the focus. "
                    "`tavrin helper install` installs it later.\n";
    }

    KeyCombination storedShortcut() const {
        try {
            return cheatsheetShortcut(JsonFileUserDefaults(userPaths(options_.dataDir)->userDefaultsFile()));
        } catch (const std::exception&) {
            return kDefaultCheatsheetShortcut; // the application says the preferences' problem when it starts
        }
    }

    bool finish(const FTUE&) {
        // Completing follows the last step by a few main-loop turns.
        if (!waitFor([](const FTUE& s) { return s.ftueCompleted; }, 2, [](const FTUE&) {})) {
            out_ << "The first-run flow could not complete.\n";
            return false;
        }
        out_ << "\nWhat this desktop lets Tavrin see:\n";
        for (const auto& line : describeSession(session_.capabilities()))
            out_ << "  " << line << '\n';
        out_ << "\nThe cheat sheet by keyboard: " << cheatsheetKeysAdvice(storedShortcut(), isWaylandSession()) << '\n';
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
    std::thread conversation = startThread([&] {
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

} // namespace tavrin
