#include "views/qt/QtStatusBar.h"

#include <QFile>
#include <QIcon>

#include "views/qt/ViewResources.h"

namespace tavrin {

QString imagePath(const std::string& name) {
    return QString::fromLatin1(kViewsResourceRoot) + QStringLiteral("icons/") + QString::fromStdString(name) +
           QStringLiteral(".svg");
}

QtStatusItem::QtStatusItem() : menu_(std::make_unique<QMenu>()) {
    menu_->setTitle(QStringLiteral("Tavrin"));
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    tray_ = std::make_unique<QSystemTrayIcon>();
    tray_->setToolTip(QStringLiteral("Tavrin"));
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated, [this](QSystemTrayIcon::ActivationReason reason) {
        if ((reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) && onActivated)
            onActivated();
    });
    tray_->setContextMenu(menu_.get());
}

QtStatusItem::~QtStatusItem() {
    if (owner_ && owner_->item_ == this)
        owner_->item_ = nullptr;
    if (tray_)
        tray_->hide();
    tray_.reset();
}

bool QtStatusItem::setImage(const std::string& name, double width, double height) {
    const QString path = imagePath(name);
    if (!QFile::exists(path))
        return false;
    const QIcon icon(path);
    // Null when the image cannot be drawn (no SVG support installed).
    if (icon.pixmap(QSize(static_cast<int>(width), static_cast<int>(height))).isNull())
        return false;
    if (tray_) {
        tray_->setIcon(icon);
        tray_->show();
    }
    return true;
}

void QtStatusItem::setMenu(std::vector<MenuItem> items) {
    // Without its own image the item still shows, with the desktop's keyboard icon, so that its
    // menu stays reachable.
    if (tray_ && !tray_->isVisible()) {
        tray_->setIcon(QIcon::fromTheme(QStringLiteral("input-keyboard"),
                                        QIcon::fromTheme(QStringLiteral("application-x-executable"))));
        tray_->show();
    }
    menu_->clear();
    actions_.clear();
    for (auto& item : items) {
        if (item.isSeparator()) {
            actions_.push_back(menu_->addSeparator());
            continue;
        }
        QAction* action = menu_->addAction(QString::fromStdString(item.title));
        if (item.state) {
            action->setCheckable(true);
            action->setChecked(*item.state);
        }
        QObject::connect(action, &QAction::triggered, action, [run = std::move(item.action)] {
            if (run)
                run();
        });
        actions_.push_back(action);
    }
    if (onMenuChanged)
        onMenuChanged();
}

void QtStatusItem::setItemState(std::size_t index, bool on) {
    if (index < actions_.size())
        actions_[index]->setChecked(on);
    if (onMenuChanged)
        onMenuChanged();
}

std::vector<QtStatusItem::Entry> QtStatusItem::entries() const {
    std::vector<Entry> out;
    for (const QAction* action : actions_)
        out.push_back({action->text(), action->isSeparator(), action->isCheckable(), action->isChecked()});
    return out;
}

void QtStatusItem::trigger(std::size_t index) {
    if (index < actions_.size() && !actions_[index]->isSeparator())
        actions_[index]->trigger();
}

bool QtStatusItem::showMessage(const QString& title, const QString& message) {
    if (!tray_)
        return false;
    tray_->showMessage(title, message, QSystemTrayIcon::Information, 8000);
    return true;
}

std::unique_ptr<StatusItem> QtStatusBar::statusItem() {
    auto item = std::make_unique<QtStatusItem>();
    item->owner_ = this;
    item_ = item.get();
    return item;
}

} // namespace tavrin
