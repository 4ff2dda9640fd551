import QtQuick

// The ring around the control that has the keyboard: the palette's highlight, two pixels wide, just
// inside the control's bounds so that neighbours and the list's clip leave it whole.
Rectangle {
    property bool shown: false
    anchors.fill: parent
    radius: 6
    color: "transparent"
    border.width: 2
    border.color: palette.highlight
    visible: shown
    Accessible.ignored: true
}
