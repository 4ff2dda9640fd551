import QtQuick
import QtQuick.Controls

// A window control of the header (shrink, pin): a plain button with the named image, padding 6,
// on a grey square while the pointer is over it. `helpText` is its tooltip and accessible name.
Button {
    id: control
    property string symbol
    property string helpText
    property real iconSize: 14

    padding: 6
    flat: true
    focusPolicy: Qt.NoFocus
    hoverEnabled: true

    contentItem: SymbolIcon {
        symbol: control.symbol
        size: control.iconSize
        color: palette.windowText
    }
    background: Rectangle {
        radius: 5
        color: Qt.rgba(0.56, 0.56, 0.58, control.hovered ? 0.2 : 0)
    }

    ToolTip.visible: hovered
    ToolTip.text: helpText
    ToolTip.delay: 500
    Accessible.name: helpText
    Accessible.onPressAction: clicked()
}
