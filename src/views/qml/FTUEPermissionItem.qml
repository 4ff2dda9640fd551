import QtQuick
import QtQuick.Layouts

// One permission: its symbol, title and why it is needed; a green check once it is granted.
Rectangle {
    id: item
    required property var viewModel
    property string icon
    property string title
    property string description
    property bool isGranted: false
    readonly property real u: viewModel.layoutScale

    radius: 10 * u
    color: Qt.rgba(palette.base.r, palette.base.g, palette.base.b, 0.55)
    implicitHeight: row.implicitHeight + 20 * u
    Accessible.role: Accessible.StaticText
    Accessible.name: title + (isGranted ? ", granted" : ", not granted")
    Accessible.description: description

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: 10 * item.u
        spacing: 12 * item.u
        SymbolIcon { symbol: item.icon; size: 24 * item.u; color: item.viewModel.colors.blue }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2 * item.u
            Text {
                text: item.title
                font.pixelSize: item.viewModel.fonts.callout
                font.bold: true
                color: palette.windowText
            }
            Text {
                Layout.fillWidth: true
                text: item.description
                wrapMode: Text.Wrap
                font.pixelSize: item.viewModel.fonts.subheadline
                color: palette.placeholderText
            }
        }
        SymbolIcon {
            visible: item.isGranted
            symbol: "checkmark.circle.fill"
            size: 22 * item.u
            color: item.viewModel.colors.green
        }
    }
}
