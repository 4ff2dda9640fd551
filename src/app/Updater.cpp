#include "app/Updater.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

namespace tavrin {

FeedUpdater::FeedUpdater(std::string feedUrl, std::string currentVersion, MainQueue& mainQueue, Executor& executor,
                         Notify notify, Fetch fetch)
    : feedUrl_(std::move(feedUrl)), currentVersion_(std::move(currentVersion)), mainQueue_(mainQueue),
      executor_(executor), notify_(std::move(notify)), fetch_(std::move(fetch)) {}

FeedUpdater::~FeedUpdater() {
    *alive_ = false;
}

void FeedUpdater::start() {
    if (!feedUrl_.empty())
        check(true);
}

void FeedUpdater::checkForUpdates() {
    if (feedUrl_.empty()) {
        notify_("Check for Updates",
                "Tavrin " + currentVersion_ + " is updated with the rest of your system, by its package manager.");
        return;
    }
    check(false);
}

void FeedUpdater::check(bool quietUnlessNewer) {
    if (checking_)
        return; // one check at a time; the running one answers
    checking_ = true;
    std::weak_ptr<bool> alive = alive_;
    executor_.execute([this, alive, quietUnlessNewer, queue = &mainQueue_, url = feedUrl_, current = currentVersion_,
                       fetch = fetch_] {
        const HttpResponse response = fetch(url);
        std::string title, message;
        bool newer = false;
        if (response.status < 200 || response.status >= 300) {
            title = "Update check failed";
            message = "The update feed did not answer (" +
                      (response.status ? "HTTP " + std::to_string(response.status) : response.error) + ").";
        } else {
            const auto feed = nlohmann::json::parse(response.body, nullptr, false);
            if (!feed.is_object() || !feed.contains("version") || !feed["version"].is_string()) {
                title = "Update check failed";
                message = "The update feed does not name a version.";
            } else {
                const std::string latest = feed["version"];
                newer = compareVersions(current, latest) < 0;
                if (newer) {
                    title = "Tavrin " + latest + " is available";
                    message = "You have " + current + ".";
                    if (feed.contains("url") && feed["url"].is_string())
                        message += " Get it at " + feed["url"].get<std::string>();
                } else {
                    title = "Tavrin is up to date";
                    message = "Tavrin " + current + " is the newest version.";
                }
            }
        }
        queue->post([this, alive, quietUnlessNewer, newer, title, message] {
            if (!alive.lock())
                return;
            checking_ = false;
            if (newer || !quietUnlessNewer)
                notify_(title, message);
        });
    });
}

int FeedUpdater::compareVersions(const std::string& a, const std::string& b) {
    auto parts = [](const std::string& version) {
        std::vector<long long> numbers;
        std::istringstream in(version);
        for (std::string part; std::getline(in, part, '.');) {
            try {
                numbers.push_back(std::stoll(part));
            } catch (const std::exception&) {
                numbers.push_back(0);
            }
        }
        return numbers;
    };
    const auto x = parts(a), y = parts(b);
    for (std::size_t i = 0; i < std::max(x.size(), y.size()); ++i) {
        const long long left = i < x.size() ? x[i] : 0, right = i < y.size() ? y[i] : 0;
        if (left != right)
            return left < right ? -1 : 1;
    }
    return 0;
}

} // namespace tavrin
