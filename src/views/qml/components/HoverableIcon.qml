import QtQuick
import QtQuick.Controls

// A plain icon button: the named image in `color` in a 20 by 20 frame, on a 28 by 28 square
// that greys in while the pointer is over it. `helpText` is its tooltip and accessible name.
Button {
    id: control
    property string symbol
    property color color: palette.windowText
    property string helpText

    implicitWidth: 28
    implicitHeight: 28
    padding: 4
    flat: true
    focusPolicy: Qt.NoFocus
    hoverEnabled: true

    contentItem: Item {
        implicitWidth: 20
        implicitHeight: 20
        SymbolIcon {
            anchors.centerIn: parent
            symbol: control.symbol
            size: 16
            color: control.color
        }
    }
    background: Rectangle {
        radius: 6
        color: Qt.rgba(0.56, 0.56, 0.58, 0.2)
        opacity: control.hovered ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 100; easing.type: Easing.InOutQuad } }
    }

    ToolTip.visible: hovered && helpText.length > 0
    ToolTip.text: helpText
    ToolTip.delay: 500
    Accessible.name: helpText
    Accessible.onPressAction: clicked()
}
