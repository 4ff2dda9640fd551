import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One row of the cheat sheet: badge, action name and key chips; on hover its buttons in a 90-wide
// frame at the trailing edge. Marking a shortcut learned plays a green ink fill with a check (the
// view model sends the mark once it has played); while that plays, every button of the card is
// ignored. The coach adds a "back for practice" badge or, under the row, the graduation offer with
// its two buttons; the card of a new nudge is outlined for a few seconds.
Item {
    id: card

    // From the list model's row.
    required property var shortcutId
    required property string actionName
    required property var chips
    required property string badgeSource
    required property color badgeColor
    required property color backgroundColor
    required property string tooltip
    required property var buttons
    required property string coachNote
    required property var offerButtons
    required property var nudgedAt

    readonly property bool offers: offerButtons.length > 0

    property bool dark: false
    // Which part of the card has the keyboard: -2 none, -1 the card, else the button at that index.
    property int focusedPart: -2
    property color green: "#2da44e"

    // A button of this card was pressed: its index in `buttons`.
    signal buttonPressed(int index)
    // A button of the graduation offer was pressed: its index in `offerButtons`.
    signal offerPressed(int index)

    property bool isHovering: false
    property bool showIcon: false
    property bool isMarkedDone: false
    property real inkFillProgress: 0
    property bool isAnimating: false

    // A tap on the button at `index`.
    function tap(index) {
        if (isAnimating)
            return
        if (buttons[index].animated)
            isMarkedDone = true
        card.buttonPressed(index)
    }

    // A tap on the offer's button at `index`; accepting plays the same check as marking learned.
    function tapOffer(index) {
        if (isAnimating)
            return
        if (offerButtons[index].animated)
            isMarkedDone = true
        card.offerPressed(index)
    }

    // Outlined while a new nudge is fresh.
    property bool nudgeMarked: false
    onNudgedAtChanged: {
        nudgeMarked = Number(nudgedAt) !== 0
        if (nudgeMarked)
            nudgeTimer.restart()
    }
    Timer {
        id: nudgeTimer
        interval: 4000
        onTriggered: card.nudgeMarked = false
    }

    implicitHeight: offers ? 64 : 36
    height: implicitHeight
    // The buttons show while the pointer is over the card, or the keyboard is in it.
    readonly property bool showsButtons: isHovering || focusedPart > -2

    Accessible.role: Accessible.ListItem
    Accessible.name: coachNote.length > 0 && !offers ? actionName + ", " + coachNote : actionName
    Accessible.description: tooltip

    onFocusedPartChanged: if (focusedPart === -1) forceActiveFocus()
    Component.onCompleted: {
        isMarkedDone = false
        inkFillProgress = 0
        isAnimating = false
        if (focusedPart === -1)
            forceActiveFocus()
    }

    onIsMarkedDoneChanged: {
        if (!isMarkedDone)
            return
        isAnimating = true
        inkFill.restart()
        fadeTimer.start()
    }

    NumberAnimation {
        id: inkFill
        target: card
        property: "inkFillProgress"
        to: 1
        duration: 500
        easing.type: Easing.InOutQuad
    }
    Timer {
        id: fadeTimer
        interval: 1500
        onTriggered: {
            card.isMarkedDone = false
            inkFade.restart()
            endTimer.start()
        }
    }
    NumberAnimation {
        id: inkFade
        target: card
        property: "inkFillProgress"
        to: 0
        duration: 300
        easing.type: Easing.InOutQuad
    }
    Timer {
        id: endTimer
        interval: 300
        onTriggered: card.isAnimating = false
    }

    HoverHandler {
        id: hover
        onHoveredChanged: {
            card.isHovering = hovered
            card.showIcon = true
        }
    }

    Rectangle {
        id: background
        anchors.fill: parent
        radius: 6
        color: card.backgroundColor
        border.width: card.nudgeMarked ? 2 : 0
        border.color: palette.highlight
    }
    SequentialAnimation {
        running: card.nudgeMarked
        NumberAnimation { target: background; property: "scale"; to: 1.03; duration: 150; easing.type: Easing.OutQuad }
        NumberAnimation { target: background; property: "scale"; to: 1; duration: 250; easing.type: Easing.InOutQuad }
    }

    // The ink: green from the leading edge, as wide as the fill's progress. A card-wide rounded
    // rectangle cut at the progress: its end is straight, its corners are the card's.
    Item {
        objectName: "ink"
        anchors.left: parent.left
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        width: card.width * card.inkFillProgress
        clip: true
        Rectangle {
            width: card.width
            height: parent.height
            radius: background.radius
            color: Qt.rgba(card.green.r, card.green.g, card.green.b, 0.2)
        }
    }

    RowLayout {
        id: content
        objectName: "content"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: 36
        anchors.leftMargin: 8 + shift
        anchors.rightMargin: 8 + (card.showsButtons ? 90 : 0)
        spacing: 6
        opacity: card.isMarkedDone ? 0 : 1
        property real shift: card.isMarkedDone ? 30 : 0

        Behavior on anchors.rightMargin { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
        Behavior on shift { NumberAnimation { duration: card.isMarkedDone ? 500 : 300; easing.type: Easing.InOutQuad } }
        Behavior on opacity { NumberAnimation { duration: card.isMarkedDone ? 500 : 300; easing.type: Easing.InOutQuad } }

        // The badge: at size 12 with padding 2.
        Item {
            visible: card.badgeSource.length > 0
            implicitWidth: 16
            implicitHeight: 16
            SymbolIcon {
                anchors.centerIn: parent
                source: card.badgeSource.length > 0 ? Qt.resolvedUrl(card.badgeSource) : ""
                size: 12
                color: card.badgeColor
            }
        }

        Label {
            Layout.fillWidth: true
            text: card.actionName
            font.pixelSize: 12
            font.weight: Font.Medium
            elide: Text.ElideRight
            Accessible.ignored: true
        }

        // "back for practice": a quiet pill before the keys.
        Label {
            objectName: "practiceBadge"
            visible: card.coachNote.length > 0 && !card.offers
            text: card.coachNote
            font.pixelSize: 10
            leftPadding: 5
            rightPadding: 5
            topPadding: 1
            bottomPadding: 1
            color: palette.windowText
            background: Rectangle {
                radius: 7
                color: "transparent"
                border.width: 1
                border.color: palette.placeholderText
            }
            Accessible.ignored: true
        }

        Row {
            spacing: 0
            Repeater {
                model: card.chips
                Row {
                    required property var modelData
                    required property int index
                    MiniKeyIcon {
                        text: modelData.text
                        source: modelData.source
                        dark: card.dark
                    }
                    Text {
                        visible: index < card.chips.length - 1
                        anchors.verticalCenter: parent.verticalCenter
                        text: " + "
                        font.pixelSize: 12
                        font.bold: true
                        color: "gray"
                        Accessible.ignored: true
                    }
                }
            }
        }
    }

    // The graduation offer under the row: its question and two small buttons, accept and not now.
    RowLayout {
        objectName: "offer"
        visible: card.offers
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: 8
        anchors.rightMargin: 6
        anchors.bottomMargin: 2
        height: 28
        spacing: 0
        opacity: card.isMarkedDone ? 0 : 1

        Label {
            Layout.fillWidth: true
            text: card.coachNote
            font.pixelSize: 11
            font.italic: true
            elide: Text.ElideRight
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Repeater {
            model: card.offerButtons
            HoverableIcon {
                required property var modelData
                required property int index
                symbol: modelData.icon
                color: modelData.color
                helpText: modelData.helpText
                onClicked: card.tapOffer(index)
            }
        }
    }

    // The buttons, in a 90-wide frame at the trailing edge, shown while the pointer is over the card.
    Item {
        objectName: "buttons"
        anchors.right: parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: content.verticalCenter
        width: 90
        height: buttonRow.height
        // Hidden by opacity only: screen readers and tests reach the buttons without hovering.
        opacity: card.showsButtons ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
        // Over the buttons their own help shows, not the card's; the frame outlives the buttons,
        // which are made anew whenever they change.
        HoverHandler { id: buttonsHover }

        Row {
            id: buttonRow
            anchors.right: parent.right
            Repeater {
                model: card.buttons
                HoverableIcon {
                    required property var modelData
                    required property int index
                    symbol: modelData.icon
                    color: modelData.color
                    helpText: modelData.helpText
                    readonly property bool keyFocused: card.focusedPart === index
                    onKeyFocusedChanged: if (keyFocused) forceActiveFocus()
                    Component.onCompleted: if (keyFocused) forceActiveFocus()
                    onClicked: card.tap(index)
                    FocusRing { shown: parent.keyFocused; radius: 6 }
                }
            }
        }
    }

    // While marked done: a green overlay with a white check.
    Rectangle {
        objectName: "checkOverlay"
        anchors.fill: parent
        radius: background.radius
        color: Qt.rgba(card.green.r, card.green.g, card.green.b, 0.8)
        opacity: card.isMarkedDone ? 1 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: card.isMarkedDone ? 500 : 300; easing.type: Easing.InOutQuad } }
        SymbolIcon {
            anchors.centerIn: parent
            symbol: "checkmark"
            size: 30
            color: "white"
        }
    }

    FocusRing { shown: card.focusedPart === -1 }

    // The card's help, unless a button shows its own.
    ToolTip.visible: hover.hovered && !buttonsHover.hovered
    ToolTip.text: tooltip
    ToolTip.delay: 800
}
