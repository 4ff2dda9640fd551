#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tavrin {

// Notifications in the desktop's own corner (the freedesktop notification service on Linux),
// with buttons the user may answer with. Main thread; nothing here waits for the desktop.
class DesktopNotifications {
public:
    struct Notification {
        std::string summary;
        std::string body;
        // The buttons, as (key, label), in order.
        std::vector<std::pair<std::string, std::string>> actions;
        bool operator==(const Notification&) const = default;
    };
    // The user's answer, on the main thread, at most once per notification: the key of the button
    // chosen, or an empty key when the user closed the notification without choosing. Never called
    // for a notification that expired, was replaced or withdrawn, or that the desktop refused.
    using Answer = std::function<void(const std::string& key)>;

    virtual ~DesktopNotifications() = default;
    // Shows `notification` in place of the one shown before. Where the desktop has no
    // notification service, a line in the log says so and nothing else happens.
    virtual void show(const Notification& notification, Answer answer) = 0;
    // Takes the notification shown back, if it is still there.
    virtual void withdraw() = 0;
};

} // namespace tavrin
