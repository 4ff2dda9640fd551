import QtQuick
import QtQuick.Layouts

// A browser shortcut of the practice panel. The one to practise is highlighted in yellow and its
// keys pulse.
Rectangle {
    id: card
    property string name
    property string keys
    property bool isHighlighted: false

    width: 250
    implicitHeight: 40
    radius: 8
    color: isHighlighted ? "#ffd60a" : Qt.rgba(0.5, 0.5, 0.5, 0.3)
    Accessible.role: Accessible.StaticText
    Accessible.name: name + ": " + keys

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        Text { text: card.name; font.pixelSize: 14; font.bold: true; color: "#1b1b1b"; Layout.fillWidth: true }
        Text {
            id: keysText
            text: card.keys
            font.pixelSize: 12
            color: "#5a5a5a"
            property real pulse: 1
            scale: pulse
            SequentialAnimation on pulse {
                running: card.isHighlighted && card.visible
                loops: Animation.Infinite
                onRunningChanged: if (!running) keysText.pulse = 1
                NumberAnimation { to: 1.25; duration: 1000; easing.type: Easing.InOutQuad }
                NumberAnimation { to: 1; duration: 1000; easing.type: Easing.InOutQuad }
            }
        }
    }
}
