import QtQuick
import QtQuick.Controls.impl as Impl

// A symbol of the first-run screens by its name, tinted. The shapes are single-colour SVGs.
Item {
    id: symbol
    property string name
    property int size: 16
    property color color: "black"

    readonly property var files: ({
        "clock": "clock.svg",
        "calendar": "calendar.svg",
        "hourglass": "hourglass-split.svg",
        "display": "display.svg",
        "rectangle.on.rectangle": "window-stack.svg",
        "checkmark": "check-lg.svg",
        "checkmark.circle.fill": "check-circle-fill.svg",
        "chevron.left": "chevron-left.svg",
        "chevron.right": "chevron-right.svg",
        "arrow.clockwise": "arrow-clockwise.svg"
    })
    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    Impl.IconImage {
        anchors.fill: parent
        source: symbol.files[symbol.name] ? "icons/" + symbol.files[symbol.name] : ""
        sourceSize: Qt.size(symbol.size, symbol.size)
        color: symbol.color
    }
}
