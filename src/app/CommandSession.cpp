#include "app/CommandSession.h"

namespace tavrin {

std::unique_ptr<DesktopSession> openSession(const DesktopSession::Options& options, CommandLoop& loop,
                                            std::ostream& err) {
    std::string problem;
    auto session = DesktopSession::open(options, loop.loop, loop.workers, problem);
    if (!session)
        err << "tavrin: " << problem << '\n';
    return session;
}

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

int focusRunningCheatsheet(std::ostream& err) {
    std::string problem;
    const auto folder = InstanceLock::runtimeDirectory(problem);
    if (folder && askRunningApplication(*folder / "tavrin.sock", "focus", std::chrono::milliseconds(500)))
        return 0;
    err << "tavrin: the cheat sheet cannot take the keyboard: the Tavrin application is not running"
        << (folder ? "" : " (" + problem + ")") << ".\n";
    return 1;
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

} // namespace tavrin
