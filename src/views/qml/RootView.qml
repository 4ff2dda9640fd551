import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The one window: the first-run flow until it has completed, the cheat sheet afterwards. Where the
// session has no tray, a menu button in the corner opens the application's menu.
Window {
    id: root
    required property RootViewModel viewModel
    required property FTUEViewModel ftueViewModel

    title: "Tavrin"
    visible: false
    color: palette.window
    minimumWidth: 280 // the shrunken cheat sheet
    minimumHeight: 200

    Loader {
        id: content
        anchors.fill: parent
        sourceComponent: root.viewModel.showsCheatsheet ? cheatsheet : ftue
    }

    Component {
        id: ftue
        FTUEView {
            viewModel: root.ftueViewModel
            // The flow is used from the keyboard: the first control takes the focus.
            Component.onCompleted: forceActiveFocus()
        }
    }

    Component {
        id: cheatsheet
        AdaptiveCheatsheetView {
            viewModel: root.viewModel.cheatsheet
            trailingInset: menuButton.visible ? menuButton.width + 4 : 0
        }
    }

    ToolButton {
        id: menuButton
        objectName: "menuButton"
        readonly property var sheet: root.viewModel.cheatsheet
        // A stop of the cheat sheet's keyboard walk: its keys go to the sheet as the header's do.
        readonly property bool keyFocused: root.viewModel.showsCheatsheet && sheet.focusedControl === "menu"
        onKeyFocusedChanged: if (keyFocused) forceActiveFocus()
        Keys.onPressed: event => event.accepted = sheet.pressKey(event.key, event.modifiers)
        visible: root.viewModel.hasMenuButton
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: 4
        text: "\u2630"
        focusPolicy: Qt.NoFocus
        FocusRing { shown: menuButton.keyFocused }
        ToolTip.visible: hovered
        ToolTip.text: sheet.headerControls.menu ? sheet.headerControls.menu.name : "Menu"
        Accessible.name: ToolTip.text
        Accessible.description: sheet.headerControls.menu ? sheet.headerControls.menu.description : ""
        Accessible.onPressAction: clicked()
        onClicked: windowMenu.popup(menuButton, menuButton.width - windowMenu.width, menuButton.height)
        Connections {
            target: menuButton.sheet
            // From the keyboard: the menu takes it, its first entry highlighted, for the arrows and Enter.
            function onMenuRequested() {
                menuButton.clicked()
                windowMenu.forceActiveFocus()
                windowMenu.currentIndex = 0
            }
        }
    }

    // The same entries as the tray's menu, as items of this window, so that screen readers reach
    // them. Rebuilt when the entries change ("Pause Tavrin" turning into "Resume Tavrin").
    Menu {
        id: windowMenu
        objectName: "windowMenu"
    }
    Component {
        id: menuEntry
        MenuItem {
            required property int entryIndex
            // Never focused by a click; the menu's arrows walk only entries that take Tab focus.
            focusPolicy: Qt.TabFocus
            Accessible.name: text
            Accessible.onPressAction: triggered()
            onTriggered: root.viewModel.triggerMenuEntry(entryIndex)
        }
    }
    Component {
        id: menuSeparator
        MenuSeparator {}
    }
    function rebuildMenu() {
        while (windowMenu.count > 0)
            windowMenu.takeItem(0).destroy()
        const entries = root.viewModel.menuEntries
        for (let i = 0; i < entries.length; ++i) {
            const entry = entries[i]
            windowMenu.addItem(entry.separator ? menuSeparator.createObject(null)
                                               : menuEntry.createObject(null, {
                                                                            "entryIndex": i,
                                                                            "text": entry.title,
                                                                            "checkable": entry.checkable,
                                                                            "checked": entry.checked
                                                                        }))
        }
        // As wide as the widest entry: "Focus Cheat Sheet" carries its keys.
        let widest = 200
        for (let j = 0; j < windowMenu.count; ++j)
            widest = Math.max(widest, windowMenu.itemAt(j).implicitWidth)
        windowMenu.width = widest + windowMenu.leftPadding + windowMenu.rightPadding
    }
    Connections {
        target: root.viewModel
        function onMenuEntriesChanged() { root.rebuildMenu() }
    }
    Component.onCompleted: rebuildMenu()

    // Answers that a tray would show as a notification, where there is none.
    Rectangle {
        visible: root.viewModel.notice.length > 0
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 8
        height: noticeText.implicitHeight + 16
        radius: 6
        color: palette.highlight
        Accessible.role: Accessible.AlertMessage
        Accessible.name: root.viewModel.notice

        Label {
            id: noticeText
            anchors.left: parent.left
            anchors.right: closeNotice.left
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: 8
            text: root.viewModel.notice
            color: palette.highlightedText
            wrapMode: Text.Wrap
        }
        ToolButton {
            id: closeNotice
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: "\u2715"
            focusPolicy: Qt.NoFocus
            Accessible.name: "Dismiss"
            Accessible.onPressAction: clicked()
            onClicked: root.viewModel.dismissNotice()
        }
    }
}
