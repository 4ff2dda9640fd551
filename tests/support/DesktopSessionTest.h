#pragma once

#include <atomic>
#include <sstream>

#include <SQLiteCpp/SQLiteCpp.h>

#include "app/DesktopCommands.h"
#include "app/DesktopSession.h"
#include "database/DatabaseManager.h"
#include "platform/common/EventLoop.h"
#include "support/Desktop.h"
#include "support/TempDir.h"

namespace tavrin::testing {

// The application core wired as on a user's desktop, in this process, on the private desktop: a
// data folder as `tavrin setup --yes` leaves it, the catalogue the test names, and the main loop
// turned while the test waits.
struct DesktopSessionTest : ::testing::Test {
    TempDir dir;
    EventLoop loop;
    ThreadPool workers{2};
    std::unique_ptr<DesktopSession> session;

    void TearDown() override { session.reset(); }

    // Sets up the data folder `data` (under `dir` by default) on the exports in `catalogue`, and
    // starts a session on it.
    void open(const std::filesystem::path& catalogue, std::filesystem::path data = {}) {
        session.reset();
        if (data.empty())
            data = dir / ("data-" + catalogue.filename().string());
        std::ostringstream out, err;
        ASSERT_EQ(runSetup({.dataDir = data, .catalogueDir = catalogue, .acceptDefaults = true}, std::cin, out, err), 0)
            << out.str() << err.str();
        std::string problem;
        session = DesktopSession::open({.dataDir = data, .catalogueDir = catalogue}, loop, workers, problem);
        ASSERT_TRUE(session) << problem;
        session->start();
        settle(loop, workers);
    }

    const AppDomain::State& state() const { return session->store().state(); }

    // Runs the main loop until `done` holds or `seconds` pass.
    template <class Done> bool pumpUntil(Done done, double seconds = 30) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!done()) {
            if (std::chrono::steady_clock::now() > until)
                return false;
            loop.postAfter(Duration(0.05), [this] { loop.quit(); });
            loop.run();
        }
        return true;
    }
    // Runs `steps` (xdotool and the accessibility reads, which wait) on a thread of their own while
    // the main loop turns, as it does for a user.
    void whilePumping(const std::function<void()>& steps) {
        std::atomic<bool> done = false;
        std::thread actor([&] {
            steps();
            done = true;
        });
        pumpUntil([&] { return done.load(); }, 60);
        actor.join();
    }
    bool inFront(const std::string& app) {
        return pumpUntil([&] { return state().activeNamespace.app == app; });
    }

    std::vector<std::pair<std::string, std::string>> clicks() const { return storedClicks(session->database().path()); }
    // At least `count` clicks stored, within a limit far above the second it takes.
    bool clicksReach(std::size_t count) {
        return pumpUntil([&] { return clicks().size() >= count; });
    }
};

} // namespace tavrin::testing
