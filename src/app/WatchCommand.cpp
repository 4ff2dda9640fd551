#include "app/DesktopCommands.h"

#include <ostream>

#include "app/CommandSession.h"
#include "app/StateJson.h"

namespace tavrin {

namespace {

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
    // What this session lets Tavrin see; on standard error with --json, which keeps its output JSON.
    for (const auto& line : describeSession(session->capabilities()))
        (options.json ? err : out) << line << '\n';
    if (!options.json)
        out << "Watching. Click buttons and menus in your applications; Ctrl+C stops." << std::endl;
    signals.listen(main.loop);
    main.loop.run();
    session->stop();
    main.settle();
    return 0;
}

} // namespace tavrin
