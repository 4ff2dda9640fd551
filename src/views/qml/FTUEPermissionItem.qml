import QtQuick
import QtQuick.Layouts

// One permission: its symbol, title and why it is needed; a green check once it is granted.
Rectangle {
    id: item
    property string icon
    property string title
    property string description
    property bool isGranted: false

    radius: 10
    color: Qt.rgba(1, 1, 1, 0.55)
    implicitHeight: row.implicitHeight + 20
    Accessible.role: Accessible.StaticText
    Accessible.name: title + (isGranted ? ", granted" : ", not granted")
    Accessible.description: description

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: 10
        spacing: 12
        SymbolIcon { symbol: item.icon; size: 24; color: "#1f6feb" }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text { text: item.title; font.pixelSize: 15; font.bold: true; color: "#1b1b1b" }
            Text {
                Layout.fillWidth: true
                text: item.description
                wrapMode: Text.Wrap
                font.pixelSize: 13
                color: "#555555"
            }
        }
        SymbolIcon {
            visible: item.isGranted
            symbol: "checkmark.circle.fill"
            size: 22
            color: "#2da44e"
        }
    }
}
