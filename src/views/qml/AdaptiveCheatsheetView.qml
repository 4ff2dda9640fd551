import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The cheat sheet: where the user is, the two tabs and the cards, or the welcome panel while
// nothing is recommended. Shrunken, it drops the tabs and tightens the header.
Item {
    id: view
    required property CheatsheetViewModel viewModel
    // Room at the header's trailing end for a control the window lays over it.
    property real trailingInset: 0

    readonly property bool shrunken: viewModel.isShrunken
    readonly property var colors: viewModel.colors

    function tint(color, opacity) {
        return Qt.rgba(color.r, color.g, color.b, opacity)
    }

    // While the sheet has the keyboard, every key comes here from the stop in focus; the view model
    // decides what it does. With no stop to focus the view holds the keyboard itself, for Escape.
    Keys.onPressed: event => event.accepted = viewModel.pressKey(event.key, event.modifiers)
    Connections {
        target: view.viewModel
        function onFocusChanged() {
            if (view.viewModel.hasKeyboard && view.viewModel.focusedTab === "" && view.viewModel.focusedCard < 0
                    && view.viewModel.focusedControl === "")
                view.forceActiveFocus()
            if (view.viewModel.focusedCardRow >= 0)
                list.positionViewAtIndex(view.viewModel.focusedCardRow, ListView.Contain)
        }
    }

    Rectangle {
        id: sheet
        anchors.fill: parent
        radius: 10
        color: palette.window
        clip: true

        ColumnLayout {
            anchors.fill: parent
            spacing: 0

            // Header: the application's icon, title and subtitle, the shrink and pin controls.
            Rectangle {
                objectName: "header"
                Layout.fillWidth: true
                implicitHeight: headerRow.implicitHeight + 2 * (view.shrunken ? 4 : 8)
                color: view.tint(view.colors.gray, view.shrunken ? 0.1 : 0.2)

                RowLayout {
                    id: headerRow
                    anchors.fill: parent
                    anchors.leftMargin: 8
                    anchors.rightMargin: 8 + view.trailingInset
                    anchors.topMargin: view.shrunken ? 4 : 8
                    anchors.bottomMargin: view.shrunken ? 4 : 8
                    spacing: 0

                    Rectangle {
                        objectName: "appIcon"
                        readonly property real side: view.shrunken ? 20 : 30
                        implicitWidth: side
                        implicitHeight: side
                        radius: view.shrunken ? 3 : 5
                        color: "transparent"
                        border.color: view.colors.gray
                        border.width: 1
                        clip: true
                        SymbolIcon {
                            anchors.fill: parent
                            anchors.margins: 1
                            source: Qt.resolvedUrl(view.viewModel.appIconSource)
                            size: parent.side
                            color: "transparent"
                        }
                    }

                    Item { implicitWidth: 8 }

                    // The title with the subtitle under it. Anchored rather than a column layout:
                    // a layout that ran while the window was hidden left the subtitle out and drew it
                    // over the title once shown.
                    Item {
                        Layout.fillWidth: true
                        implicitWidth: Math.max(titleLabel.implicitWidth, subtitleRow.implicitWidth)
                        implicitHeight: titleLabel.implicitHeight
                                        + (view.viewModel.hasSubtitle ? 1 + subtitleRow.implicitHeight : 0)
                        Label {
                            id: titleLabel
                            objectName: "title"
                            anchors.top: parent.top
                            anchors.left: parent.left
                            anchors.right: parent.right
                            text: view.viewModel.title
                            font.pixelSize: view.shrunken ? 12 : 15
                            font.weight: view.shrunken ? Font.Normal : Font.DemiBold
                            color: view.shrunken ? view.tint(view.colors.gray, 0.8) : palette.windowText
                            elide: Text.ElideRight
                            Accessible.role: Accessible.Heading
                            Accessible.name: text
                        }
                        RowLayout {
                            id: subtitleRow
                            anchors.top: titleLabel.bottom
                            anchors.topMargin: 1
                            anchors.left: parent.left
                            visible: view.viewModel.hasSubtitle
                            spacing: 4
                            Label {
                                objectName: "subtitle"
                                text: view.viewModel.subtitle
                                font.pixelSize: 12
                                color: palette.placeholderText
                                elide: Text.ElideRight
                                Layout.maximumWidth: headerRow.width - 120
                                Accessible.role: Accessible.StaticText
                                Accessible.name: text
                            }
                            Button {
                                id: info
                                objectName: "info"
                                readonly property bool keyFocused: view.viewModel.focusedControl === "info"
                                onKeyFocusedChanged: if (keyFocused) forceActiveFocus()
                                visible: view.viewModel.subtitleShowsInfo
                                flat: true
                                padding: 2
                                focusPolicy: Qt.NoFocus
                                hoverEnabled: true
                                background: null
                                contentItem: SymbolIcon {
                                    symbol: "info.circle"
                                    size: 11
                                    color: palette.placeholderText
                                }
                                FocusRing { shown: info.keyFocused; radius: 4 }
                                ToolTip.visible: hovered
                                ToolTip.text: view.viewModel.subtitleTooltip
                                ToolTip.delay: 300
                                Accessible.name: view.viewModel.headerControls.info ? view.viewModel.headerControls.info.name : ""
                                Accessible.description: view.viewModel.headerControls.info
                                                        ? view.viewModel.headerControls.info.description : ""
                                Accessible.onPressAction: clicked()
                                onClicked: view.viewModel.openSubtitleHelp()
                            }
                        }
                    }

                    HeaderControl {
                        objectName: "shrink"
                        symbol: view.shrunken ? "arrow.up.left.and.arrow.down.right" : "arrow.down.right.and.arrow.up.left"
                        helpText: view.viewModel.headerControls.shrink.name
                        helpDescription: view.viewModel.headerControls.shrink.description
                        keyFocused: view.viewModel.focusedControl === "shrink"
                        onClicked: view.viewModel.toggleShrink()
                    }
                    HeaderControl {
                        objectName: "pin"
                        symbol: view.viewModel.isPinned ? "pin.fill" : "pin"
                        helpText: view.viewModel.headerControls.pin.name
                        helpDescription: view.viewModel.headerControls.pin.description
                        keyFocused: view.viewModel.focusedControl === "pin"
                        onClicked: view.viewModel.togglePin()
                    }
                }
            }

            // The category picker: a segmented control, left out when shrunken.
            Rectangle {
                objectName: "categoryPicker"
                visible: !view.shrunken
                Layout.fillWidth: true
                Layout.leftMargin: 8
                Layout.rightMargin: 8
                Layout.topMargin: 8
                implicitHeight: 26
                radius: 6
                color: view.tint(view.colors.gray, 0.15)
                Accessible.role: Accessible.PageTabList
                Accessible.name: "category"

                Row {
                    anchors.fill: parent
                    anchors.margins: 2
                    Repeater {
                        model: ["Recommended", "Learned"]
                        Button {
                            required property string modelData
                            readonly property bool selected: view.viewModel.category === modelData
                            readonly property bool keyFocused: view.viewModel.focusedTab === modelData
                            onKeyFocusedChanged: if (keyFocused) forceActiveFocus()
                            width: parent.width / 2
                            height: parent.height
                            text: modelData
                            flat: true
                            focusPolicy: Qt.NoFocus
                            font.pixelSize: 12
                            background: Rectangle {
                                radius: 5
                                color: parent.selected ? palette.base : "transparent"
                                border.width: parent.selected ? 0.5 : 0
                                border.color: view.tint(view.colors.gray, 0.5)
                            }
                            FocusRing { shown: parent.keyFocused }
                            Accessible.role: Accessible.PageTab
                            Accessible.name: modelData
                            Accessible.checkable: true
                            Accessible.checked: selected
                            Accessible.onPressAction: clicked()
                            onClicked: view.viewModel.selectCategory(modelData)
                        }
                    }
                }
            }

            // The content: the cards, or the welcome panel while nothing is recommended.
            Item {
                Layout.fillWidth: true
                Layout.fillHeight: true

                ListView {
                    id: list
                    objectName: "cards"
                    anchors.fill: parent
                    anchors.margins: 8
                    visible: !view.viewModel.showsWelcome
                    clip: true
                    spacing: 6
                    model: view.viewModel.cards
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar {}
                    Accessible.role: Accessible.List
                    Accessible.name: "Shortcuts"

                    delegate: ShortcutCard {
                        id: delegateCard
                        width: ListView.view.width
                        dark: view.viewModel.dark
                        green: view.colors.green
                        focusedPart: view.viewModel.focusedCard === shortcutId ? view.viewModel.focusedButton : -2
                        onButtonPressed: index => view.viewModel.pressCardButton(shortcutId, index)
                        onOfferPressed: index => view.viewModel.pressOfferButton(shortcutId, index)
                        Connections {
                            target: view.viewModel
                            function onCardButtonPressRequested(id, index) {
                                if (id === delegateCard.shortcutId)
                                    delegateCard.tap(index)
                            }
                        }
                    }

                    // A new nudge brings its card to the top of the list's view.
                    NumberAnimation {
                        id: scrollToNudge
                        target: list
                        property: "contentY"
                        duration: 250
                        easing.type: Easing.InOutQuad
                    }
                    Connections {
                        target: view.viewModel
                        function onNudgeChanged() {
                            const row = view.viewModel.nudgedRow
                            if (row < 0 || view.viewModel.nudgedAt === 0)
                                return
                            const from = list.contentY
                            list.positionViewAtIndex(row, ListView.Beginning)
                            scrollToNudge.to = list.contentY
                            list.contentY = from
                            scrollToNudge.restart()
                        }
                    }
                    add: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 200 } }
                    displaced: Transition { NumberAnimation { property: "y"; duration: 200; easing.type: Easing.InOutQuad } }
                    move: Transition { NumberAnimation { property: "y"; duration: 200; easing.type: Easing.InOutQuad } }
                }

                WelcomePanel {
                    anchors.fill: parent
                    colors: view.colors
                    opacity: view.viewModel.showsWelcome ? 1 : 0
                    visible: opacity > 0
                    Behavior on opacity { NumberAnimation { duration: 250; easing.type: Easing.InOutQuad } }
                }
            }
        }

        // The nudge for screen readers: an alert that shows, and so is announced, with every new
        // nudge ("Save: Ctrl + S").
        Item {
            id: nudgeAlert
            objectName: "nudgeAlert"
            width: 1
            height: 1
            visible: false
            Accessible.role: Accessible.AlertMessage
            Accessible.name: view.viewModel.nudgeAnnouncement
            Connections {
                target: view.viewModel
                function onNudgeChanged() {
                    nudgeAlert.visible = false
                    nudgeAlert.visible = view.viewModel.nudgeAnnouncement.length > 0
                }
            }
        }

        // Above everything in the sheet: the header and the welcome panel stop at the round corners.
        RoundedCorners {
            radius: sheet.radius
            color: sheet.color
        }
    }
}
