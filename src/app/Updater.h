#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/MainQueue.h"
#include "platform/common/Http.h"

namespace tavrin {

// Software updates. Main thread.
class Updater {
public:
    virtual ~Updater() = default;
    // A check the user asked for: it always answers, through the updater's notice.
    virtual void checkForUpdates() = 0;
};

// Updates announced by a feed, a small JSON document {"version": "0.2.0", "url": "https://..."}
// at a deployment's address. The check runs off the main thread and answers on it with a
// notice (a title and a line). Without a feed, Tavrin comes with the system's package manager,
// and a check says so.
class FeedUpdater final : public Updater {
public:
    using Notify = std::function<void(const std::string& title, const std::string& message)>;
    using Fetch = std::function<HttpResponse(const std::string& url)>;

    FeedUpdater(
        std::string feedUrl, std::string currentVersion, MainQueue& mainQueue, Executor& executor, Notify notify,
        Fetch fetch = [](const std::string& url) { return httpGet(url, 64 * 1024); });
    ~FeedUpdater() override;

    // The check at start: only a newer version is announced.
    void start();
    void checkForUpdates() override;

    // Negative when `a` is older than `b`: numbers compared as numbers, part by part ("0.10" is
    // newer than "0.9"); a missing part counts as 0.
    static int compareVersions(const std::string& a, const std::string& b);

private:
    void check(bool quietUnlessNewer);

    std::string feedUrl_;
    std::string currentVersion_;
    MainQueue& mainQueue_;
    Executor& executor_;
    Notify notify_;
    Fetch fetch_;
    bool checking_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
