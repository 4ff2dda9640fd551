#include "views/qt/RootViewModel.h"

namespace tavrin {

void RootViewModel::setShowsCheatsheet(bool value) {
    if (value == showsCheatsheet_)
        return;
    showsCheatsheet_ = value;
    emit showsCheatsheetChanged();
}

void RootViewModel::setHasMenuButton(bool value) {
    cheatsheet_.setHasMenu(value); // the button is a stop of the sheet's keyboard walk
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

void RootViewModel::setMenuEntries(const QVariantList& value) {
    if (value == menuEntries_)
        return;
    menuEntries_ = value;
    emit menuEntriesChanged();
}

void RootViewModel::triggerMenuEntry(int index) {
    if (menuTrigger)
        menuTrigger(index);
}

} // namespace tavrin
