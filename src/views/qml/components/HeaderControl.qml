import QtQuick
import QtQuick.Controls

// A window control of the header (shrink, pin): a plain button with the named image, padding 6,
// on a grey square while the pointer is over it. `helpText` is its tooltip and accessible name,
// `helpDescription` what it does for screen readers. `keyFocused`: the sheet's keyboard is on it
// (a ring, and Qt's active focus so that screen readers follow); clicks never focus it.
Button {
    id: control
    property string symbol
    property string helpText
    property string helpDescription
    property bool keyFocused: false
    property real iconSize: 14

    onKeyFocusedChanged: if (keyFocused) forceActiveFocus()

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

    FocusRing { shown: control.keyFocused }

    ToolTip.visible: hovered
    ToolTip.text: helpText
    ToolTip.delay: 500
    Accessible.name: helpText
    Accessible.description: helpDescription
    Accessible.onPressAction: clicked()
}
