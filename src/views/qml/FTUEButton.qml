import QtQuick
import QtQuick.Controls

// The first-run screens' buttons: primary (white on blue, gray when disabled) or secondary
// (the palette's text on translucent gray). Both shrink a little while pressed. With `pulsing`,
// the button breathes to draw the eye.
Button {
    id: control
    required property var viewModel
    property bool secondary: false
    property bool pulsing: false
    readonly property real u: viewModel.layoutScale

    font.pixelSize: viewModel.fonts.callout
    font.bold: !secondary
    leftPadding: 22 * u
    rightPadding: 22 * u
    topPadding: 10 * u
    bottomPadding: 10 * u
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.secondary ? control.palette.buttonText : "white"
        opacity: control.enabled || !control.secondary ? 1 : 0.5
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitWidth: 120 * control.u
        implicitHeight: 40 * control.u
        radius: 10 * control.u
        color: control.secondary ? Qt.rgba(0.5, 0.5, 0.5, 0.25)
                                 : (control.enabled ? control.viewModel.colors.blue : control.viewModel.colors.gray)
        border.width: control.visualFocus ? 2 : 0
        border.color: control.secondary ? control.viewModel.colors.blue : control.palette.buttonText
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
