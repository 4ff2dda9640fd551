#pragma once

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>

#include "views/presenters/RootPresenter.h"
#include "views/qt/CheatsheetViewModel.h"

namespace tavrin {

// What RootView binds to. Filled from the presenters by the application; each property changes
// (and signals) only when its value does. The invokables are one call each.
class RootViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("given to RootView by the application")
    Q_PROPERTY(bool showsCheatsheet READ showsCheatsheet NOTIFY showsCheatsheetChanged)
    Q_PROPERTY(bool hasMenuButton READ hasMenuButton NOTIFY hasMenuButtonChanged)
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)
    // The application's menu for the window's menu button: {title, separator, checkable, checked}.
    Q_PROPERTY(QVariantList menuEntries READ menuEntries NOTIFY menuEntriesChanged)
    Q_PROPERTY(CheatsheetViewModel* cheatsheet READ cheatsheet CONSTANT)

public:
    using QObject::QObject;

    bool showsCheatsheet() const { return showsCheatsheet_; }
    bool hasMenuButton() const { return hasMenuButton_; }
    QString notice() const { return notice_; }
    QVariantList menuEntries() const { return menuEntries_; }
    CheatsheetViewModel* cheatsheet() { return &cheatsheet_; }

    void setShowsCheatsheet(bool value);
    void setHasMenuButton(bool value);
    void setNotice(const QString& value);
    void setMenuEntries(const QVariantList& value);

    // Runs the menu entry at an index (the window's menu, where the session has no tray).
    std::function<void(int)> menuTrigger;

    Q_INVOKABLE void triggerMenuEntry(int index);
    Q_INVOKABLE void dismissNotice() { setNotice({}); }

signals:
    void showsCheatsheetChanged();
    void hasMenuButtonChanged();
    void noticeChanged();
    void menuEntriesChanged();

private:
    bool showsCheatsheet_ = false;
    bool hasMenuButton_ = false;
    QString notice_;
    QVariantList menuEntries_;
    CheatsheetViewModel cheatsheet_;
};

} // namespace tavrin
