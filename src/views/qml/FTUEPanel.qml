import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A translucent panel with its title above what it holds.
Rectangle {
    id: panel
    property string title
    default property alias content: holder.data
    radius: 12
    color: Qt.rgba(1, 1, 1, 0.6)
    implicitWidth: 480
    implicitHeight: 220
    Accessible.role: Accessible.Grouping
    Accessible.name: title
    Column {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 10
        Label { text: panel.title; font.pixelSize: 17; font.bold: true; color: "#1b1b1b" }
        Item { id: holder; width: parent.width; height: childrenRect.height }
    }
}
