import QtQuick
import QtQuick.Controls

// The first-run screens' buttons: primary (white on blue, gray when disabled) or secondary
// (primary text on translucent gray). Both shrink a little while pressed. With `pulsing`, the
// button breathes to draw the eye.
Button {
    id: control
    property bool secondary: false
    property bool pulsing: false

    font.pixelSize: 15
    font.bold: !secondary
    leftPadding: 22
    rightPadding: 22
    topPadding: 10
    bottomPadding: 10
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.secondary ? "#1b1b1b" : "white"
        opacity: control.enabled || !control.secondary ? 1 : 0.5
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitWidth: 120
        implicitHeight: 40
        radius: 10
        color: control.secondary ? Qt.rgba(0.5, 0.5, 0.5, 0.25) : (control.enabled ? "#1f6feb" : "#8c8c8c")
        border.width: control.visualFocus ? 2 : 0
        border.color: control.secondary ? "#1f6feb" : "white"
    }

    scale: down ? 0.95 : pulseScale
    Behavior on scale { NumberAnimation { duration: 100 } }

    property real pulseScale: 1
    SequentialAnimation on pulseScale {
        running: control.pulsing && control.visible
        loops: Animation.Infinite
        onRunningChanged: if (!running) control.pulseScale = 1
        NumberAnimation { to: 1.08; duration: 1000; easing.type: Easing.InOutQuad }
        NumberAnimation { to: 1; duration: 1000; easing.type: Easing.InOutQuad }
    }
}
