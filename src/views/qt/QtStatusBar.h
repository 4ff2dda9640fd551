#pragma once

#include <QMenu>
#include <QPointer>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

#include "platform/StatusBar.h"

namespace tavrin {

class QtStatusBar;

// The status item on a Linux desktop: an icon in the session's tray (StatusNotifierItem over
// D-Bus, or the older XEmbed tray) with its menu. Where the session has no tray (GNOME without
// an indicator extension), the item has no button: its menu is then opened from the window.
class QtStatusItem final : public StatusItem {
public:
    QtStatusItem();
    ~QtStatusItem() override;

    bool hasButton() const override { return tray_ != nullptr; }
    bool setImage(const std::string& name, double width, double height) override;
    void setMenu(std::vector<MenuItem> items) override;
    void setItemState(std::size_t index, bool on) override;

    // The menu as it is now, for the window's own copy of it where there is no tray.
    struct Entry {
        QString title;
        bool separator = false, checkable = false, checked = false;
    };
    std::vector<Entry> entries() const;
    // Runs the entry at this index, as a click on it in the tray would.
    void trigger(std::size_t index);
    // Called when the entries or their states change.
    std::function<void()> onMenuChanged;
    // A short message from the tray icon; false where there is no tray to show it.
    bool showMessage(const QString& title, const QString& message);
    // Called when the icon itself is clicked (not its menu).
    std::function<void()> onActivated;

private:
    friend class QtStatusBar;
    QtStatusBar* owner_ = nullptr;
    std::unique_ptr<QMenu> menu_;
    std::vector<QAction*> actions_;
    std::unique_ptr<QSystemTrayIcon> tray_;
};

// Makes the one status item, and keeps a handle on it for the window and the notices.
class QtStatusBar final : public StatusBar {
public:
    std::unique_ptr<StatusItem> statusItem() override;
    // The item made last, while it lives.
    QtStatusItem* item() const { return item_; }

private:
    friend class QtStatusItem;
    QtStatusItem* item_ = nullptr;
};

// Where the shipped images are, by the names the shell asks for.
QString imagePath(const std::string& name);

} // namespace tavrin
