#include "views/qt/RootViewModel.h"

#include <QPoint>

namespace tavrin {

void RootViewModel::setShowsCheatsheet(bool value) {
    if (value == showsCheatsheet_)
        return;
    showsCheatsheet_ = value;
    emit showsCheatsheetChanged();
}

void RootViewModel::setHasMenuButton(bool value) {
    if (value == hasMenuButton_)
        return;
    hasMenuButton_ = value;
    emit hasMenuButtonChanged();
}

void RootViewModel::setNotice(const QString& value) {
    if (value == notice_)
        return;
    notice_ = value;
    emit noticeChanged();
}

void RootViewModel::openMenu(int screenX, int screenY) {
    if (menuOpener)
        menuOpener(QPoint(screenX, screenY));
}

} // namespace tavrin
